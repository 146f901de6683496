"""Races: calls of eight threads at once, each result compared bit for bit.

Eight threads make calls of the table in orders of their own, on operands that they share, while another
changes the cap on threads, the path that products take and the affinity of the process. A call during
which the path stayed must have the bits that it has alone on that path. In a process that takes the machine
for one of 64 processors the pool has 64 workers. Under the thread sanitizer:

    LD_PRELOAD=$(g++ -print-file-name=libtsan.so) NUMERICAL_BUILD=build/tsan python3 trust/races.py 4000
"""

import os
import random
import sys
import threading

import catalogue
import support

HOW = (
    "eight threads make mixed calls on shared operands while the cap, the path and the affinity change, with the"
    " pool's own workers and with 64: bits compared"
)
CALLERS = 8
CALLS = {False: 20_000, True: 1_000_000}
CALLS_OF_A_CELL = 4_000
ORDERS = (3, 20, 90)
PATHS = (0, 1, 2)
# What tells or sets what the program changes, or is slow by far.
LEFT_OUT = ("threads", "gemm_path", "show_config", "cpu_quota", "jacobi", "fails: ")


class Expected:
    """What each call gives on each path, alone."""

    def __init__(self, nm):
        self.operands = [
            catalogue.Operands(nm, order, is_complex)
            for order in ORDERS
            for is_complex in (False, True)
        ]
        kept = [
            pair for pair in catalogue.calls(nm) if not any(word in pair[0] for word in LEFT_OUT)
        ]
        self.names, self.calls = zip(*kept)
        self.results = {}
        nm._numerical._set_num_threads(1)  # makes no pool
        for path in PATHS:
            nm._numerical._limit_gemm_path(path)
            for i, call in enumerate(self.calls):
                for j, operands in enumerate(self.operands):
                    self.results[path, i, j] = catalogue.result_of(call, operands)
        nm._numerical._set_num_threads(0)


class Settings:
    """Cap, path and affinity, changed over and over by a thread until it is stopped."""

    def __init__(self, nm, seed):
        self.module, self.source = nm._numerical, random.Random(seed)
        self.processors = sorted(os.sched_getaffinity(0))
        self.stop = threading.Event()
        self.version = 0  # odd while the path changes
        self.change_path()

    def change_path(self):
        self.version += 1
        self.path = self.module._limit_gemm_path(self.source.choice(PATHS))
        self.version += 1

    def change_all(self):
        while not self.stop.wait(0.005):
            self.module._set_num_threads(self.source.choice([0, 1, 2, 3, 64]))
            self.change_path()
            if "TRUST_PROCESSORS" not in os.environ:
                some = self.source.sample(
                    self.processors, self.source.randint(1, len(self.processors))
                )
                os.sched_setaffinity(0, some)
        if "TRUST_PROCESSORS" not in os.environ:
            os.sched_setaffinity(0, self.processors)
        self.module._set_num_threads(0)


def mixed_calls(nm, expected, seed, count):
    """So many calls by all threads together: how many were compared, and those that were wrong."""
    settings = Settings(nm, seed)
    compared, wrong = [], []

    def work(caller):
        source = random.Random(f"{seed} {caller}")
        for _ in range(count // CALLERS):
            i, j = source.randrange(len(expected.calls)), source.randrange(len(expected.operands))
            version, path = settings.version, settings.path
            found = catalogue.result_of(expected.calls[i], expected.operands[j])
            if version % 2 == 0 and settings.version == version:
                compared.append(1)
                if found != expected.results[path, i, j]:
                    wrong.append(
                        f"{expected.names[i]} on operands {j}, path {path}: another result"
                    )

    callers = [threading.Thread(target=work, args=(caller,)) for caller in range(CALLERS)]
    changer = threading.Thread(target=settings.change_all)
    for thread in (*callers, changer):
        thread.start()
    for thread in callers:
        thread.join()
    settings.stop.set()
    changer.join()
    return len(compared), wrong


def answers():
    nm = support.package()
    expected = Expected(nm)

    def answer(cell, place):
        place.write(cell)
        compared, wrong = mixed_calls(nm, expected, cell, CALLS_OF_A_CELL)
        return compared, [f"{cell}: {text}" for text in wrong[:5]]

    return answer


def run(budget):
    ledger = support.Ledger("races", budget.long)
    library = support.compiled("processors.c", "processors.so", "-O1", "-fPIC", "-shared")
    rounds = CALLS[budget.long] // CALLS_OF_A_CELL // 2
    own = [f"own workers #{i}" for i in range(rounds)]
    many = [f"64 workers #{i}" for i in range(rounds)]
    pretended = {"LD_PRELOAD": str(library), "TRUST_PROCESSORS": "64"}
    half = support.Budget(budget.left() / 2, budget.long)
    support.work_through(__file__, own, ledger, half)
    support.work_through(__file__, many, ledger, budget, pretended)
    return ledger.outcome(len(own) + len(many))


if __name__ == "__main__":
    if "--worker" in sys.argv:
        support.answer_cells(answers())
    else:
        package = support.package()
        count, faults = mixed_calls(package, Expected(package), 1, int(sys.argv[1]))
        print(f"{count} of {sys.argv[1]} calls compared, {len(faults)} wrong", *faults, sep="\n")
        sys.exit(1 if faults else 0)
