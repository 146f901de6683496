"""The tables and the picture of docs/benchmarks.md, from the rows that against_numpy.py wrote.

    python3 benchmarks/tables.py build/bench/against_numpy.json docs/pictures/benchmarks.png

The picture needs Debian's python3-matplotlib, which nothing else here does.
"""

import json
import pathlib
import re
import sys

from alternate import geometric_mean

# Of the picture: a group's name without its element type, in the order of its panels.
PANELS = [
    "solve, right sides=1", "inverse", "cholesky", "qr", "eigh divide_and_conquer",
    "svd divide_and_conquer",
]  # fmt: skip


def groups_of(rows):
    """Rows by family and group, in the order in which they were run."""
    groups = {}
    for row in rows:
        groups.setdefault((row["family"], row["group"]), []).append(row)
    return groups


def of_threads(rows, threads):
    return [row for row in rows if row["threads"] == threads]


def summary(rows):
    if not rows:
        return "|  |  "
    least = min(rows, key=lambda row: row["ratio"])
    return f"| {geometric_mean([row['ratio'] for row in rows]):.2f} | {least['ratio']:.2f} "


def print_tables(rows, threads):
    head = "".join(f" mean, {count} | least, {count} |" for count in threads)
    family_before = None
    for (family, group), of_group in groups_of(rows).items():
        if family != family_before:
            print(f"\n### {family}\n\n| group | rows |{head}\n|---|--:|{'--:|--:|' * len(threads)}")
            family_before = family
        cells = "".join(summary(of_threads(of_group, count)) for count in threads)
        print(f"| {group} | {len(of_threads(of_group, threads[0]))} {cells}|")


def print_behind(rows, threads):
    heads = (f"{count} thread" + "s" * (count > 1) for count in threads)
    print("\n| row | " + " | ".join(heads) + " |")
    print("|---|" + "--:|" * len(threads))
    ratios = {}
    for row in rows:
        ratios.setdefault(row["name"], {})[row["threads"]] = row["ratio"]
    for name, of_name in ratios.items():
        if min(of_name.values()) < 0.97:
            cells = " | ".join(f"{of_name[count]:.2f}" for count in threads)
            print(f"| {name} | {cells} |")


def order_of(row):
    """The n of "solve float64 n=100", "qr 64x64 float64" or "cholesky 4 float64", or nothing."""
    found = re.search(r"\bn=(\d+)|\b(\d+)x\2\b|\b(\d+) ", row["name"])
    return next((int(text) for text in found.groups() if text), None) if found else None


def draw(rows, target):
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(2, 3, figsize=(11, 6), sharey=True, layout="constrained")
    for panel, name in zip(axes.flat, PANELS):
        for dtype, colour in (("float64", "#3b528b"), ("complex128", "#c8502e")):
            of_panel = [
                (order_of(row), row["ratio"]) for row in of_threads(rows, 1)
                if row["group"].startswith((f"{name} ", f"{name},")) and dtype in row["group"] and order_of(row)
            ]  # fmt: skip
            if of_panel:
                panel.plot(*zip(*sorted(of_panel)), "o-", ms=3, color=colour, label=dtype)
        panel.axhline(1, color="grey", lw=0.8)
        panel.set(title=name, xscale="log", yscale="log", xlabel="n", ylabel="NumPy's time / ours")
        panel.set_yticks([0.5, 1, 2, 4, 8], ["½", "1", "2", "4", "8"])
        panel.minorticks_off()
    axes.flat[0].legend(frameon=False)
    figure.savefig(target, dpi=90)


def main():
    result = json.loads(pathlib.Path(sys.argv[1]).read_text())
    rows = result["rows"]
    threads = sorted({row["threads"] for row in rows})
    print("\n".join(f"- {key}: {value}" for key, value in result["about"].items()))
    print_tables(rows, threads)
    print_behind(rows, threads)
    draw(rows, sys.argv[2])


if __name__ == "__main__":
    main()
