"""Forks: a child computes what its parent computes, whatever other threads were in.

The parent has used the pool, or is using it from several threads, or is in the first use of it when the
fork comes. Each child, and each child of a child, makes calls that would take the pool; their bits must be
the parent's, and it must end by itself. A child that hangs is ended by an alarm.
"""

import os
import signal
import threading

import catalogue
import support

HOW = (
    "children of a parent at rest, of children, of parents whose threads compute, of other threads than the main"
    " one, of multiprocessing's pools, and of the first use: their bits are the parent's, and they end"
)
ORDER = 100
NAMES = (
    "matmul",
    "solve",
    "inverse",
    "linalg.svdvals",
    "linalg.eigh",
    "linalg.qr_factor",
    "exp",
    "sum",
)
PATIENCE = 100  # seconds of a child's alarm
FORKS = {False: 300, True: 10_000}
FORKS_OF_A_CELL = 25


class Battery:
    def __init__(self, nm):
        self.operands = catalogue.Operands(nm, ORDER)
        calls = dict(catalogue.calls(nm))
        self.calls = [calls[name] for name in NAMES]

    def bits(self):
        return [catalogue.digest(call(self.operands)) for call in self.calls]


def status_of(child):
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def forked(check):
    """How a child ended that runs check(): "" for the status 0."""
    child = os.fork()
    if child == 0:
        signal.alarm(PATIENCE)
        try:
            os._exit(0 if check() else 9)
        except BaseException:
            os._exit(8)
    status = status_of(child)
    return "" if status == 0 else support.how_it_ended(status)


def plain(battery, expected):
    return forked(lambda: battery.bits() == expected)


def grandchild(battery, expected):
    return forked(
        lambda: forked(lambda: battery.bits() == expected) == "" and battery.bits() == expected
    )


def thread(battery, expected):
    """From a thread other than the main one."""
    said = []
    forker = threading.Thread(target=lambda: said.append(plain(battery, expected)))
    forker.start()
    forker.join()
    return said[0]


def during(fork, battery, expected, nm):
    """Forks while two other threads compute."""
    stop, wrong = threading.Event(), []

    def compute():
        while not stop.is_set():
            if battery.bits() != expected:
                wrong.append("another result in the parent")

    threads = [threading.Thread(target=compute) for _ in range(2)]
    for each in threads:
        each.start()
    said = [fork(battery, expected) for _ in range(FORKS_OF_A_CELL)]
    stop.set()
    for each in threads:
        each.join()
    return said + wrong


def _bits_in_pool(_):
    return Battery(support.package()).bits()


def in_pools(battery, expected, nm):
    """multiprocessing's workers, forked after the parent's use of the engine."""
    import multiprocessing

    with multiprocessing.get_context("fork").Pool(2) as pool:
        found = pool.map(_bits_in_pool, range(FORKS_OF_A_CELL))
    return ["" if bits == expected else "another result" for bits in found]


def at_rest(fork):
    return lambda battery, expected, nm: [fork(battery, expected) for _ in range(FORKS_OF_A_CELL)]


def in_first_use(battery, expected, nm):
    """Children that fork while their own first use of the pool starts in a thread."""

    def check():
        began = threading.Barrier(2)
        same = []

        def compute():
            began.wait()
            same.append(battery.bits() == expected)

        first = threading.Thread(target=compute)
        first.start()
        began.wait()
        said = forked(lambda: battery.bits() == expected)
        first.join()
        return said == "" and same == [True]

    return [forked(check) for _ in range(FORKS_OF_A_CELL)]


KINDS = {
    "plain": at_rest(plain), "grandchild": at_rest(grandchild), "thread": at_rest(thread), "pool": in_pools,
    "plain, threads computing": lambda *of: during(plain, *of),
    "grandchild, threads computing": lambda *of: during(grandchild, *of),
    "thread, threads computing": lambda *of: during(thread, *of),
    "first use": in_first_use,
}  # fmt: skip
UNUSED = {"first use"}  # kinds whose parent must not have used the pool


def answer(cell, place):
    place.write(cell)
    nm = support.package()
    kind = cell.partition(" #")[0]
    battery = Battery(nm)
    # Expected on one thread, so that no pool is made by it.
    nm._numerical._set_num_threads(1)
    expected = battery.bits()
    nm._numerical._set_num_threads(0)
    if kind not in UNUSED and battery.bits() != expected:
        return 1, [f"{cell}: another result on all threads"]
    said = KINDS[kind](battery, expected, nm)
    return len(said), [f"{cell}: {text}" for text in said if text]


def run(budget):
    ledger = support.Ledger("forks", budget.long)
    rounds = -(-FORKS[budget.long] // FORKS_OF_A_CELL // len(KINDS))
    cells = [f"{kind} #{i}" for i in range(rounds) for kind in KINDS]
    # Each kind has processes of its own: whether the pool was used before is part of it.
    for kind in KINDS:
        support.work_through(
            __file__, [cell for cell in cells if cell.startswith(f"{kind} #")], ledger, budget
        )
    return ledger.outcome(len(cells))


if __name__ == "__main__":
    support.answer_cells(answer)
