"""Our functions against NumPy's, alternately in one run: prints ratios, writes a JSON.

Each file cases_<family>.py beside this one holds a generator `cases()` of (group, Case): the
group is what a geometric mean is taken over. Cases are made one at a time, so that only one
case's data is in memory.

    PYTHONPATH=build/release/python python3 benchmarks/against_numpy.py lu svd --threads 1,2

`package` stands for the families of what people import, on one thread. With --scaling each call of
theirs that takes 50 microseconds or more runs on two threads against itself on one as well. `large`
are the package's calls on matrices of order 256 to 2000.
"""

import argparse
import dataclasses
import importlib
import json
import os
import pathlib
import platform
import re
import sys

PACKAGE = ["array", "linear_algebra", "kept_factors", "matrix_functions"]
SCALED = "two threads against one"  # the family of such rows
SCALED_FROM = 50e-6  # seconds: below, no loop has work for two

HERE = pathlib.Path(__file__).parent
sys.path.insert(0, str(HERE))

import alternate  # noqa: E402


def families() -> list[str]:
    return sorted(path.stem.removeprefix("cases_") for path in HERE.glob("cases_*.py"))


def processor() -> str:
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as info:
        found = re.search(r"model name\s*:\s*(.*)", info.read())
    return found.group(1) if found else platform.processor()


def set_threads(threads: int) -> None:
    import numerical

    numerical.set_num_threads(threads)
    alternate.set_rival_threads(threads)


def on_threads(threads: int, call: alternate.Call) -> alternate.Call:
    import numerical

    def run():
        numerical.set_num_threads(threads)
        return call()

    return run


def scaling(case: alternate.Case, budget: float) -> alternate.Row:
    """Our call on two threads, and in place of the rival's the same on one."""
    import numerical

    both = alternate.Case(case.name, on_threads(2, case.ours), on_threads(1, case.ours))
    row = alternate.measure(both, 2, budget, rival_spins=0.0)
    numerical.set_num_threads(1)
    return row


def run_family(family: str, threads: int, options: argparse.Namespace) -> list[dict]:
    rows: list[dict] = []
    groups: dict[str, list[float]] = {}
    print(f"\n{family}, {threads} thread{'s' if threads != 1 else ''}")
    print(f"{'case':<52} {'ours':>11} {'theirs':>11} {'ratio':>7} {'rate':>8}")
    set_threads(threads)
    for group, case in importlib.import_module(f"cases_{family}").cases():
        if options.filter and not re.search(options.filter, f"{group} {case.name}"):
            continue
        row = alternate.measure(case, threads, options.budget)
        rows.append({"family": family, "group": group, **dataclasses.asdict(row)})
        groups.setdefault(group, []).append(row.ratio)
        rate = f"{row.rate:7.1f}{'F' if case.unit == 'flop' else 'B'}" if row.rate else ""
        mark = "  <" if row.ratio < 1 else ""
        print(
            f"{case.name:<52} {row.ours * 1e6:9.1f}us {row.theirs * 1e6:9.1f}us"
            f" {row.ratio:7.2f} {rate:>8}{mark}",
            flush=True,
        )
        if options.scaling and row.ours >= SCALED_FROM:
            scaled = scaling(case, options.budget)
            rows.append({"family": SCALED, "group": group, **dataclasses.asdict(scaled)})
    for group, ratios in groups.items():
        mean = alternate.geometric_mean(ratios)
        print(f"geometric mean, {group}: {mean:.2f} over {len(ratios)}, least {min(ratios):.2f}")
    return rows


def print_behind(rows: list[dict], rival: str) -> None:
    if not rows:
        return
    behind = sorted((row for row in rows if row["ratio"] < 1), key=lambda row: row["ratio"])
    print(f"\n{len(behind)} of {len(rows)} rows take longer than {rival}, ours/theirs:")
    for row in behind:
        print(f"  {1 / row['ratio']:5.2f}  {row['name']}, {row['group']}")
    mean = alternate.geometric_mean([row["ratio"] for row in rows])
    print(f"geometric mean of all, theirs/ours: {mean:.2f}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("families", nargs="*", help="package, or any of: " + ", ".join(families()))
    parser.add_argument("--threads", help="thread counts; default 1,2, and 1 for the package")
    parser.add_argument("--filter", default="", help="regular expression on group and name")
    parser.add_argument(
        "--budget", type=float, help="seconds for a case; default 0.5, the package 0.15"
    )
    parser.add_argument("--scaling", action="store_true", help="two threads against one as well")
    parser.add_argument("--json", type=pathlib.Path, help="write the rows here")
    parser.add_argument(
        "--page", action="store_true", help="write the family's part of docs/benchmarks.md"
    )
    options = parser.parse_args()
    package = options.families == ["package"]
    large = options.families == ["large"]
    if options.page and not (package or large and options.threads in (None, "1,2")):
        parser.error("--page is of the package, or of large on one and two threads")
    if package:
        options.families = PACKAGE
    options.threads = options.threads or ("1" if package else "1,2")
    options.budget = options.budget or (0.15 if package else 0.5)

    import numerical
    import numpy  # noqa: F401  (loads the rival's library before it is asked)

    about = {
        "processor": processor(),
        "cores": os.cpu_count(),
        "path": numerical._numerical._gemm_path(),
        "rival": alternate.rival(),
        "python": platform.python_version(),
    }
    print("\n".join(f"{key}: {value}" for key, value in about.items()))
    print("ratio: theirs/ours, above 1 we are faster; rate: GFLOP/s (F) or GB/s (B) of ours")
    rows: list[dict] = []
    for threads in (int(text) for text in options.threads.split(",")):
        for family in options.families or families():
            rows += run_family(family, threads, options)
    print_behind([row for row in rows if row["family"] != SCALED], "the rival")
    print_behind([row for row in rows if row["family"] == SCALED], "on one thread")
    result = {"about": about, "rows": rows}
    if options.json:
        options.json.parent.mkdir(parents=True, exist_ok=True)
        options.json.write_text(json.dumps(result, indent=1) + "\n")
        print(f"\nwrote {options.json}")
    if options.page:
        importlib.import_module("package_page" if package else "large_page").write(result)


if __name__ == "__main__":
    main()
