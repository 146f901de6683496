"""Bits: one result for every number of threads, and for every compiler and optimization.

Each call of the catalogue is made on fixed operands with 1, 2, 3, 8 and 64 threads, on each path, in a
process that takes the machine for one of 64 processors. Other builds of the same sources do the same, and
what differs from the release build is counted.
"""

import json
import shutil
import subprocess

import catalogue
import support

HOW = (
    "each call on fixed operands with 1, 2, 3, 8 and 64 threads (64 processors pretended) on each path; the same"
    " from other compilers and optimizations"
)
THREADS = (1, 2, 3, 8, 64)
PATHS = {"portable": 0, "AVX2": 1, "AVX-512": 2}
ORDERS = {False: (3, 40), True: (3, 40, 150)}
# Made where --long finds the compiler: name, compiler, flags. The release build is g++'s with -O3;
# that of g++ 12 with -O2 warns of its own library's strings.
BUILDS = {
    "g++ -O2": ("g++", "-O2 -DNDEBUG -Wno-array-bounds"),
    "clang++ -O2": ("clang++", "-O2 -DNDEBUG"),
    "clang++ -O3": ("clang++", "-O3 -DNDEBUG"),
}
RELEASE = "g++ -O3"
# The package's elementary functions have one result on all paths.
ON_ALL_PATHS = (
    "exp exp2 expm1 log log2 log10 log1p sin cos tan tanh sinh cosh asin acos atan arctan2 sqrt"
)


def folder_of(name):
    if name == RELEASE:
        return support.BUILD
    return support.ROOT / "build" / ("bits_" + name.replace("++", "").replace(" ", ""))


def digests_file(name, path, order, is_complex):
    return support.WORK / f"digests {name} {path} {order} {is_complex}.json".replace(" ", "_")


def answer(cell, place):
    """The digests of all calls of one path, order and dtype; those that differ among threads are faults."""
    name, path, order, is_complex = json.loads(cell)
    nm = support.package()
    if nm._numerical._limit_gemm_path(PATHS[path]) != PATHS[path]:
        return 0, []
    operands = catalogue.Operands(nm, order, is_complex)
    digests, faults, tried = {}, [], 0
    for called, call in catalogue.calls(nm):
        if "threads" in called:  # these set and tell the number
            continue
        place.write(f"{cell} {called}")
        found = {}
        for threads in THREADS:
            nm._numerical._set_num_threads(threads)
            found[threads] = catalogue.result_of(call, operands)
            tried += 1
        nm._numerical._set_num_threads(0)
        nm._numerical._limit_gemm_path(PATHS[path])
        digests[called] = found[1]
        if len(set(found.values())) != 1:
            differing = [threads for threads in THREADS if found[threads] != found[1]]
            faults.append(f"{cell} {called}: {differing} threads differ from one")
    digests_file(name, path, order, is_complex).write_text(json.dumps(digests))
    return tried, faults


def build(name):
    """Configures and builds the module of one row of BUILDS; whether it is there."""
    compiler, flags = BUILDS[name]
    folder = folder_of(name)
    commands = [
        ["cmake", "-S", support.ROOT, "-B", folder, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}",
         "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS_RELEASE={flags}", "-DNUMERICAL_TESTS=OFF",
         "-DNUMERICAL_BENCHMARKS=OFF", "-DNUMERICAL_GROUPED=OFF"],
        ["cmake", "--build", folder, "--target", "_numerical"],
    ]  # fmt: skip
    return all(
        subprocess.run(command, stdout=subprocess.DEVNULL).returncode == 0 for command in commands
    )


def compared(names, long):
    """Rows of a table: on each path, how many results of another build, or path, are those of the release."""

    def load(name, path, order, is_complex):
        file = digests_file(name, path, order, is_complex)
        return json.loads(file.read_text()) if file.exists() else {}

    cases = [(order, is_complex) for order in ORDERS[long] for is_complex in (False, True)]
    yield "| against g++ -O3 | " + " | ".join(PATHS) + " |"
    yield "|---" * (1 + len(PATHS)) + "|"
    for name in names:
        if name == RELEASE:
            continue
        counts = []
        for path in PATHS:
            pairs = [(load(name, path, *case), load(RELEASE, path, *case)) for case in cases]
            counts.append(count_equal(pairs))
        yield f"| {name} | " + " | ".join(counts) + " |"
    paths = [
        [(load(RELEASE, path, *case), load(RELEASE, "portable", *case)) for case in cases]
        for path in PATHS
    ]
    yield "| the portable path | " + " | ".join(map(count_equal, paths)) + " |"


def count_equal(pairs):
    equal = sum(
        found[called] == there[called]
        for found, there in pairs
        for called in found
        if called in there
    )
    total = sum(called in there for found, there in pairs for called in found)
    return f"{equal:,} of {total:,}" if total else "not run"


def elementary_faults(long):
    """Elementary functions whose bits differ between paths, which they promise not to."""
    for order in ORDERS[long]:
        for is_complex in (False, True):
            files = [digests_file(RELEASE, path, order, is_complex) for path in PATHS]
            found = [json.loads(file.read_text()) for file in files if file.exists()]
            for called in ON_ALL_PATHS.split():
                if len({digests[called] for digests in found if called in digests}) > 1:
                    yield f"{called} of order {order} differs between paths"


def run(budget):
    ledger = support.Ledger("bits", budget.long)
    library = support.compiled("processors.c", "processors.so", "-O1", "-fPIC", "-shared")
    names, unbuilt = [RELEASE], []
    for name, (compiler, _) in BUILDS.items():
        if budget.long and not budget.is_spent() and shutil.which(compiler) and not build(name):
            unbuilt.append(f"{name} doesn't build")
        if support.module_file(folder_of(name)).exists():
            names.append(name)
    total = 0
    for name in names:
        cells = [json.dumps([name, path, order, is_complex]) for order in ORDERS[budget.long] for path in PATHS
                 for is_complex in (False, True)]  # fmt: skip
        total += len(cells)
        support.work_through(__file__, cells, ledger, budget, {
            "LD_PRELOAD": str(library), "TRUST_PROCESSORS": "64", "NUMERICAL_BUILD": str(folder_of(name)),
        })  # fmt: skip
    outcome = ledger.outcome(total)
    outcome.add(0, unbuilt + list(elementary_faults(budget.long)))
    outcome.details = "\n".join(compared(names, budget.long))
    return outcome


if __name__ == "__main__":
    support.answer_cells(answer)
