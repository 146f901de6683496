"""Our functions against NumPy's, alternately in one run: prints ratios, writes a JSON.

Each file cases_<family>.py beside this one holds a generator `cases()` of (group, Case): the
group is what a geometric mean is taken over. Cases are made one at a time, so that only one
case's data is in memory.

    PYTHONPATH=build/release/python python3 benchmarks/against_numpy.py lu svd --threads 1,2
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
    for group, ratios in groups.items():
        mean = alternate.geometric_mean(ratios)
        print(f"geometric mean, {group}: {mean:.2f} over {len(ratios)}, least {min(ratios):.2f}")
    return rows


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("families", nargs="*", help="all of: " + ", ".join(families()))
    parser.add_argument("--threads", default="1,2", help="thread counts, default 1,2")
    parser.add_argument("--filter", default="", help="regular expression on group and name")
    parser.add_argument("--budget", type=float, default=0.5, help="seconds for a case")
    parser.add_argument("--json", type=pathlib.Path, help="write the rows here")
    options = parser.parse_args()

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
    rows = []
    for threads in (int(text) for text in options.threads.split(",")):
        for family in options.families or families():
            rows += run_family(family, threads, options)
    if options.json:
        options.json.write_text(json.dumps({"about": about, "rows": rows}, indent=1) + "\n")
        print(f"\nwrote {options.json}")


if __name__ == "__main__":
    main()
