"""Fuzzing: texts, ranges, descriptions of memory and indices of any kind.

Three parsers are fuzzed by libFuzzer under the address and undefined-behaviour sanitizers, from the corpora
of this folder; interfaces, records and indices by random descriptions over a buffer between pages that
can't be read (boundary.py). What is accepted is compared with a model.
"""

import re
import shutil
import subprocess
import sys

import support

HOW = (
    "libFuzzer with sanitizers: subscripts, typestrings, take ranges; random array interfaces and DLPack records over a"
    " guarded buffer, and indices: models decide what is accepted, and its values"
)
RUNS = {False: 400_000, True: 10_000_000}  # of each target
BATCH = {False: 20_000, True: 250_000}  # of them in one cell
KINDS = ("interfaces", "records", "indices")
# What is compiled with sanitizers; the rest of the core comes from the build's library.
TENSOR = ["tensor", "storage", "scalar", "shape_list", "checks"]
SOURCES = {
    "subscripts": [f"numerical/{name}.cpp" for name in ("einsum/subscripts", *TENSOR)],
    "typestr": ["module/typestr.cpp"],
    "take": [f"numerical/{name}.cpp" for name in ("strided/take", "strided/strided_copy", *TENSOR)],
}
LIBRARY = support.BUILD / "libnumerical_core.a"


def built(target):
    program = support.WORK / f"fuzz_{target}"
    sources = [
        support.HERE / f"fuzz_{target}.cpp",
        *(support.ROOT / "src" / name for name in SOURCES[target]),
        LIBRARY,
    ]
    if not program.exists() or program.stat().st_mtime < max(
        source.stat().st_mtime for source in sources
    ):
        support.WORK.mkdir(parents=True, exist_ok=True)
        subprocess.run(
            ["clang++", "-std=c++20", "-O1", "-g", "-fsanitize=fuzzer,address,undefined",
             "-fno-sanitize-recover=all", "-pthread", "-Wl,--allow-multiple-definition",
             f"-I{support.ROOT / 'src'}", *sources, "-o", program], check=True)  # fmt: skip
    return program


def fuzz_target(target, seed, runs):
    """One process over the corpus; new inputs go to build/trust, and so does one that fails."""
    grown = support.WORK / f"corpus_{target}"
    grown.mkdir(exist_ok=True)
    done = subprocess.run(
        [built(target), f"-runs={runs}", f"-seed={seed + 1}", "-max_len=96", "-timeout=10",
         f"-artifact_prefix={support.WORK}/failing_{target}_", grown, support.HERE / "corpora" / target],
        capture_output=True, text=True)  # fmt: skip
    made = re.search(r"Done (\d+) runs", done.stderr)
    if done.returncode == 0 and made:
        return int(made[1]), []
    return 1, [f"{target}: {done.stderr[-600:]}"]


def answer(cell, place):
    place.write(cell)
    kind, seed, count = cell.split()
    if kind not in KINDS:
        return fuzz_target(kind, int(seed), int(count))
    import warnings

    import boundary

    warnings.simplefilter("ignore", RuntimeWarning)  # NumPy's, of NaNs that it converts
    return int(count), boundary.fuzz(support.package(), kind, int(seed), int(count))


def minimize():
    """Puts the inputs that reach new code into the corpora of the repository."""
    for target in SOURCES:
        kept = support.HERE / "corpora" / target
        kept.mkdir(parents=True, exist_ok=True)
        grown = support.WORK / f"corpus_{target}"
        subprocess.run([built(target), "-merge=1", "-max_len=96", kept, grown], check=True)


def run(budget):
    ledger = support.Ledger("fuzz", budget.long)
    batch = BATCH[budget.long]
    targets = list(SOURCES) if shutil.which("clang++") else []
    batches = range(RUNS[budget.long] // batch)
    cells = [f"{kind} {seed} {batch}" for seed in batches for kind in (*targets, *KINDS)]
    for target in targets:
        built(target)
    support.work_through(__file__, cells, ledger, budget)
    outcome = ledger.outcome(len(cells))
    outcome.note = ", ".join(
        f"{sum(cell['tried'] for name, cell in ledger.cells.items() if name.startswith(kind + ' ')):,} {kind}"
        for kind in (*targets, *KINDS)) + ("" if targets else "; no clang++")  # fmt: skip
    return outcome


if __name__ == "__main__":
    if "--minimize" in sys.argv:
        minimize()
    else:
        support.answer_cells(answer)
