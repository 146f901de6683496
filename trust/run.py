"""Tries the classes of faults, a line for each, and writes docs/trust.md from the last runs.

    ./dev trust                  every class, samples, ten minutes
    ./dev trust --long           everything of every class, hours; goes on where it was ended
    ./dev trust fuzz bits        some classes
    ./dev trust --again memory   from the beginning

A class is a file of this folder: its first line says what it tries, run(budget) does it, in processes of
its own where it may crash. What was tried stays in build/trust until the module changes.
"""

import argparse
import dataclasses
import datetime
import importlib
import json
import os
import platform
import sys

import support

# Seconds of a short run, and of a long one; a class ends sooner when nothing is left to try.
CLASSES = {
    "memory": (120, 3600),
    "leaks": (60, 3600),
    "fuzz": (90, 7200),
    "bits": (60, 3600),
    "forks": (60, 3600),
    "exits": (60, 7200),
    "races": (60, 7200),
    "accuracy": (60, 3600),
    "machines": (60, 1800),
}
RESULTS = support.WORK / "results.json"
PAGE = support.ROOT / "docs" / "trust.md"
BEGIN, END = "<!-- results -->", "<!-- end of results -->"


def try_class(name, long, seconds):
    module = importlib.import_module(name)
    outcome = module.run(support.Budget(CLASSES[name][long] if seconds is None else seconds, long))
    faults = len(outcome.faults)
    print(f"{name:<10} {outcome.tried:>10} tried, {faults} fault{'' if faults == 1 else 's'} ({outcome.note})",
          flush=True)  # fmt: skip
    for fault in outcome.faults[:20]:
        print(f"    {fault}", flush=True)
    return {
        **dataclasses.asdict(outcome), "what": module.__doc__.splitlines()[0],
        "how": module.HOW, "long": long,
        "day": datetime.date.today().isoformat(),
    }  # fmt: skip


def processor():
    with open("/proc/cpuinfo") as info:
        return next(
            line.partition(": ")[2].strip() for line in info if line.startswith("model name")
        )


def table(results):
    """The rows of the page, in the order of CLASSES."""
    yield "| class | how it is tried | tried | faults | run |"
    yield "|---|---|--:|--:|---|"
    for name in CLASSES:
        if name in results:
            row = results[name]
            yield (f"| {row['what'].rstrip('.')} | {row['how']} | {row['tried']:,} | {len(row['faults'])} "
                   f"| {row['note']}; {'long' if row['long'] else 'short'}, {row['commit']}, {row['day']} |")  # fmt: skip


def write_page(results):
    text = PAGE.read_text()
    before, _, rest = text.partition(BEGIN)
    _, _, after = rest.partition(END)
    machine = f"{processor()}, {os.cpu_count()} processors, Linux {platform.release().split('-')[0]}, Python {platform.python_version()}"
    rows = "\n".join(table(results))
    details = "".join(
        f"\n## {row['what'].partition(':')[0]}\n\n{row['details']}\n"
        for row in (results[name] for name in CLASSES if name in results) if row["details"]
    )  # fmt: skip
    PAGE.write_text(f"{before}{BEGIN}\n{rows}\n\nMachine: {machine}.\n{details}{END}{after}")


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("classes", nargs="*", help=" ".join(CLASSES))
    parser.add_argument("--long", action="store_true", help="everything, for hours")
    parser.add_argument("--again", action="store_true", help="forget what was tried before")
    parser.add_argument(
        "--seconds", type=float, help="for each class, instead of its own; 0 only writes the page"
    )
    parser.add_argument("--no-page", action="store_true", help="leave docs/trust.md as it is")
    options = parser.parse_args()
    if unknown := set(options.classes) - set(CLASSES):
        parser.error(f"no such class: {', '.join(sorted(unknown))}; there are {', '.join(CLASSES)}")

    for name in options.classes or CLASSES:
        if options.again:
            for kept in support.WORK.glob(f"{name}-{'long' if options.long else 'short'}*"):
                kept.unlink()
        result = try_class(name, options.long, options.seconds)
        results = json.loads(RESULTS.read_text()) if RESULTS.exists() else {}
        results[name] = result
        RESULTS.write_text(json.dumps(results, indent=1))
    if not options.no_page:
        write_page(results)
    return 1 if any(results[name]["faults"] for name in options.classes or CLASSES) else 0


if __name__ == "__main__":
    sys.exit(main())
