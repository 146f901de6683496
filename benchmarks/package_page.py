"""The package's part of docs/benchmarks.md and its picture, from the rows of `./dev bench package`.

    python3 benchmarks/package_page.py build/bench/package.json

The text between the page's two marks is replaced. The picture needs Debian's python3-matplotlib.
"""

import json
import pathlib
import sys

import page
from alternate import geometric_mean

PICTURE = page.ROOT / "docs" / "pictures" / "package.png"
SCALED = "two threads against one"
BEHIND = 0.97  # below, a row is listed


def ratios_of(rows):
    return [row["ratio"] for row in rows]


def grouped(rows, key):
    groups = {}
    for row in rows:
        groups.setdefault(key(row), []).append(row)
    return groups


def size_of(row):
    """The size at the end of a group's name of the array family: "choice, 10000"."""
    return int(row["group"].rsplit(", ", 1)[1])


def cells_of(rows):
    return (
        f" {geometric_mean(ratios_of(rows)):.2f} | {min(ratios_of(rows)):.2f} |" if rows else " | |"
    )


def array_table(rows):
    sizes = sorted({size_of(row) for row in rows})
    head = "".join(f" mean, {size} | least |" for size in sizes)
    yield f"| group | rows |{head}"
    yield f"|---|--:|{'--:|--:|' * len(sizes)}"
    for group, of_group in grouped(rows, lambda row: row["group"].rsplit(", ", 1)[0]).items():
        by_size = grouped(of_group, size_of)
        cells = "".join(cells_of(by_size.get(size, [])) for size in sizes)
        yield f"| {group} | {len(of_group) // len(sizes)} |{cells}"


def group_table(rows):
    yield "| group | rows | mean | least |"
    yield "|---|--:|--:|--:|"
    for group, of_group in grouped(rows, lambda row: row["group"]).items():
        yield f"| {group} | {len(of_group)} |{cells_of(of_group)}"


def row_table(rows):
    yield "| row | ours/theirs |"
    yield "|---|--:|"
    for row in sorted(rows, key=lambda row: row["ratio"]):
        yield f"| {row['name']} | {1 / row['ratio']:.2f} |"


def page_of(result):
    rows = [row for row in result["rows"] if row["family"] != SCALED]
    scaled = [row for row in result["rows"] if row["family"] == SCALED]
    about = result["about"]
    behind = [row for row in rows if row["ratio"] < BEHIND]
    path = ("portable", "AVX2", "AVX-512")[about["path"]]
    yield f"{about['processor']}, {path} path, {about['rival']}."
    yield (
        f"Over all {len(rows)} rows the rival takes {geometric_mean(ratios_of(rows)):.2f} times as"
        f" long; {len(behind)} rows take longer than 1/{BEHIND} of its time and stand below."
    )
    yield "\n![NumPy's time over ours, a dot for each row](pictures/package.png)\n"
    yield "The array surface, by the number of elements:\n"
    yield from array_table([row for row in rows if row["family"] == "array"])
    yield "\nLinear algebra, factors and functions of matrices:\n"
    yield from group_table([row for row in rows if row["family"] != "array"])
    if behind:
        yield "\nRows above NumPy's time:\n"
        yield from row_table(behind)
    if scaled:
        slower = [row for row in scaled if row["ratio"] < BEHIND]
        yield (
            f"\nOn two threads {len(scaled)} of the calls take one thread's time divided by"
            f" {geometric_mean(ratios_of(scaled)):.2f}; {len(slower)} take longer than on one."
        )
        if slower:
            yield ""
            yield from row_table(slower)


def draw(rows):
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    groups = grouped(rows, lambda row: row["group"])
    figure, axes = pyplot.subplots(figsize=(9, 0.2 * len(groups) + 1), layout="constrained")
    for place, of_group in enumerate(reversed(groups.values())):
        axes.plot(
            ratios_of(of_group), [place] * len(of_group), "o", ms=3, alpha=0.4, color="#3b528b"
        )
        axes.plot(geometric_mean(ratios_of(of_group)), place, "|", ms=10, mew=2, color="#c8502e")
    axes.axvline(1, color="grey", lw=0.8)
    axes.set(xscale="log", xlabel="the rival's time / ours", ylim=(-1, len(groups)))
    axes.set_xticks([1 / 16, 1 / 4, 1, 4, 16, 64], ["1/16", "¼", "1", "4", "16", "64"])
    axes.minorticks_off()
    axes.set_yticks(range(len(groups)), list(reversed(groups)), fontsize=7)
    figure.savefig(PICTURE, dpi=90)


def write(result):
    page.write_part("package", page_of(result))
    draw([row for row in result["rows"] if row["family"] != SCALED])
    print(f"wrote {PICTURE}")


if __name__ == "__main__":
    write(json.loads(pathlib.Path(sys.argv[1]).read_text()))
