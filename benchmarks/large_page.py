"""The table of large matrices in docs/benchmarks.md, from the rows of `./dev bench large`.

    python3 benchmarks/large_page.py build/bench/large.json
"""

import json
import pathlib
import sys

import page
from alternate import geometric_mean


def means(of_threads):
    for threads, rows in of_threads.items():
        ratios = [1 / row["ratio"] for row in rows.values()]
        above = sum(ratio > 1 for ratio in ratios)
        yield (
            f"{geometric_mean(ratios):.2f} on {threads} thread{'s' if threads > 1 else ''},"
            f" {above} above 1"
        )


def table(of_threads):
    one, two = of_threads[1], of_threads[2]
    yield "| row | ms, 1 thread | GFLOP/s | ours/theirs | ms, 2 threads | ours/theirs |"
    yield "|---|--:|--:|--:|--:|--:|"
    for name, row in one.items():
        rate = f"{row['rate']:.1f}" if row["rate"] else ""
        other = two[name]
        yield (
            f"| {name} | {row['ours'] * 1e3:.2f} | {rate} | {1 / row['ratio']:.2f} |"
            f" {other['ours'] * 1e3:.2f} | {1 / other['ratio']:.2f} |"
        )


def lines_of(result):
    of_threads = {
        threads: {row["name"]: row for row in result["rows"] if row["threads"] == threads}
        for threads in (1, 2)
    }
    about = result["about"]
    path = ("portable", "AVX2", "AVX-512")[about["path"]]
    yield f"{about['processor']}, {path} path, {about['rival']}; ours over theirs as geometric means:"
    yield f"{'; '.join(means(of_threads))}, of {len(of_threads[1])} rows."
    yield ""
    yield from table(of_threads)


def write(result):
    page.write_part("large", lines_of(result))


if __name__ == "__main__":
    write(json.loads(pathlib.Path(sys.argv[1]).read_text()))
