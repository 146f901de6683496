"""Exits: a process ends at once and quietly, whatever its threads compute.

Daemon threads make calls, small and large, when the process ends, in each of the ways that there are.
It must end with the status of that way, with nothing said, and within a minute. Everything is imported
before: CPython 3.11 frees its import lock while a daemon thread may wait for it.
"""

import atexit
import ctypes
import os
import signal
import sys
import tempfile
import threading

import catalogue
import support

HOW = (
    "daemon threads in calls while the process returns, exits, raises, is told to end, replaced, or ends by C:"
    " the way's own status, nothing on stderr, no hang"
)
PATIENCE = 60
EXITS = {False: 360, True: 20_000}
EXITS_OF_A_CELL = 10
NAMES = (
    "matmul",
    "solve",
    "linalg.svdvals",
    "Tensor.__add__",
    "linalg.lu_factor",
    "fails: a singular matrix",
)
_libc = ctypes.CDLL(None)


def raised():
    raise ZeroDivisionError


def ended_by(number):
    os.kill(os.getpid(), number)
    threading.Event().wait()


def interrupted():
    # A shell that starts a program in the background has it ignore Ctrl-C.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    ended_by(signal.SIGINT)


def from_a_thread():
    threading.Thread(target=os._exit, args=(5,)).start()
    threading.Event().wait()


def atexit_that_computes(call):
    atexit.register(call)
    sys.exit(6)


def fork_and_exit():
    """The child leaves by sys.exit as well, without the threads."""
    child = os.fork()
    if child:
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7
    sys.exit(7)


def threads_that_end(stop):
    stop.set()
    sys.exit(8)


# Way of ending, what does it, the status to be seen.
WAYS = {
    "return": (lambda call, stop: None, 0),
    "sys.exit": (lambda call, stop: sys.exit(3), 3),
    "os._exit": (lambda call, stop: os._exit(4), 4),
    "exception": (lambda call, stop: raised(), 1),
    "SIGTERM": (lambda call, stop: ended_by(signal.SIGTERM), -signal.SIGTERM),
    "SIGKILL": (lambda call, stop: ended_by(signal.SIGKILL), -signal.SIGKILL),
    "Ctrl-C": (lambda call, stop: interrupted(), -signal.SIGINT),
    "exit of C": (lambda call, stop: _libc.exit(9), 9),
    "os._exit of a thread": (lambda call, stop: from_a_thread(), 5),
    "atexit": (lambda call, stop: atexit_that_computes(call), 6),
    "exec": (lambda call, stop: os.execv("/bin/true", ["true"]), 0),
    "fork": (lambda call, stop: fork_and_exit(), 7),
    "threads that end": (lambda call, stop: threads_that_end(stop), 8),
}


def start_threads(calls, operands):
    """Three daemon threads that go through the calls; returns when each has made one."""
    stop = threading.Event()
    began = threading.Barrier(4)

    def work(first):
        turn = first
        waiting = True
        while not stop.is_set():
            catalogue.result_of(calls[turn % len(calls)], operands)
            turn += 1
            if waiting:
                began.wait()
                waiting = False

    for first in range(3):
        threading.Thread(target=work, args=(first,), daemon=True).start()
    began.wait()
    return stop


class Ended(BaseException):
    """Passes the child out of the worker's loop, so that the interpreter ends as it does."""


def child_of(way, calls, operands, errors):
    signal.alarm(PATIENCE)
    os.dup2(errors, 2)
    os.dup2(errors, 1)
    stop = start_threads(calls, operands)
    WAYS[way][0](lambda: catalogue.result_of(calls[0], operands), stop)
    raise Ended


def ended(way, calls, operands):
    """What was wrong with one end, "" if nothing."""
    with tempfile.TemporaryFile() as errors:
        child = os.fork()
        if child == 0:
            child_of(way, calls, operands, errors.fileno())
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        errors.seek(0)
        said = errors.read().decode(errors="replace")
    expected = WAYS[way][1]
    if status != expected:
        return f"{support.how_it_ended(status)} for {expected}: {said[-200:]}"
    noisy = {"exception": "ZeroDivisionError", "Ctrl-C": "KeyboardInterrupt"}
    if way in noisy:
        return (
            ""
            if said.rstrip().endswith(noisy[way]) and "Fatal" not in said
            else f"said {said[-200:]}"
        )
    return f"said {said[-200:]}" if said else ""


def answer_with(nm):
    table = dict(catalogue.calls(nm))
    calls = [table[name] for name in NAMES]
    sizes = {"small": catalogue.Operands(nm, 4), "large": catalogue.Operands(nm, 100)}
    nm._numerical._set_num_threads(1)  # everything is imported and made once, but no pool
    for operands in sizes.values():
        for call in calls:
            catalogue.result_of(call, operands)
    nm._numerical._set_num_threads(0)

    def answer(cell, place):
        place.write(cell)
        size, way, _ = cell.split(": ")
        said = [ended(way, calls, sizes[size]) for _ in range(EXITS_OF_A_CELL)]
        return len(said), [f"{cell}: {text}" for text in said if text]

    return answer


def run(budget):
    ledger = support.Ledger("exits", budget.long)
    rounds = -(-EXITS[budget.long] // EXITS_OF_A_CELL // len(WAYS) // 2)
    cells = [
        f"{size}: {way}: {i}" for i in range(rounds) for way in WAYS for size in ("small", "large")
    ]
    support.work_through(__file__, cells, ledger, budget)
    outcome = ledger.outcome(len(cells))
    outcome.note += f", {len(WAYS)} ways"
    return outcome


if __name__ == "__main__":
    try:
        support.answer_cells(answer_with(support.package()))
    except Ended:
        pass
