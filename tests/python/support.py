"""What several test files share."""

import ctypes
import functools
import operator
import os
import subprocess
import sys
import threading

from conftest import MODULE_FOLDER

import _numerical
import pytest
from hypothesis import settings

ADDRESS_SANITIZER = "libasan" in os.environ.get("LD_PRELOAD", "")


def not_under_address_sanitizer(reason):
    return pytest.mark.skipif(ADDRESS_SANITIZER, reason=reason)


def examples(count):
    """Of a property that needs more examples than others; under a sanitizer it gets a fifth."""
    sanitized = os.environ.get("HYPOTHESIS_PROFILE") == "sanitized"
    return settings(max_examples=count // 5 if sanitized else count)


def error_of(function, *arguments, **keywords):
    """The class and the whole text of the exception that the call raises."""
    try:
        result = function(*arguments, **keywords)
    except Exception as error:
        return type(error), str(error)
    raise AssertionError(f"no exception, but {result!r}")


def runs_out_of_memory(function, *arguments):
    """Whether the call raises MemoryError. The address sanitizer's operator new ends the process
    instead of throwing: under it the call isn't made."""
    return ADDRESS_SANITIZER or error_of(function, *arguments)[0] is MemoryError


class Heap(ctypes.Structure):
    _fields_ = [
        (name, ctypes.c_size_t)
        for name in [
            "arena",
            "ordblks",
            "smblks",
            "hblks",
            "hblkhd",
            "usmblks",
            "fsmblks",
            "uordblks",
            "fordblks",
            "keepcost",
        ]
    ]


heap = ctypes.CDLL(None).mallinfo2
heap.restype = Heap


def bytes_in_use():
    """What the C library's heap and mappings hold, in every arena."""
    now = heap()
    return now.uordblks + now.hblkhd


def numerical_error(text):
    return _numerical.error, text


def run_python(script, *arguments):
    """A fresh interpreter that has the module's folder on its path."""
    prelude = f"import sys; sys.path.insert(0, {str(MODULE_FOLDER)!r})\n"
    return subprocess.run(
        [sys.executable, "-c", prelude + script, *map(str, arguments)],
        capture_output=True,
        text=True,
    )


def output_of(script, *arguments):
    done = run_python(script, *arguments)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def lock_is_released_during(call, tries=50_000):
    """Whether another thread gets the interpreter lock inside the call.

    It is asked from C code only, as the interpreter itself may hand the lock over between any two
    instructions: map calls the functions in turn, and none of them is written in Python. The sum
    gives the other thread the time to ask for the lock; where all processors are busy it may take
    many tries until it is given one at the right moment.
    """
    delay = functools.partial(sum, range(10_000))
    ticks = []
    stop = threading.Event()

    def tick():
        while not stop.is_set():
            ticks.append(None)

    interval = sys.getswitchinterval()
    thread = threading.Thread(target=tick)
    thread.start()
    sys.setswitchinterval(1e-6)
    try:
        for _ in range(tries):
            ticks.clear()
            before, _, _, after = map(
                operator.methodcaller("__call__"), (ticks.__len__, delay, call, ticks.__len__)
            )
            if after != before:
                return True
        return False
    finally:
        stop.set()
        sys.setswitchinterval(interval)
        thread.join()


def lock_is_held_during(call, tries=200):
    """Whether no other thread is seen to get the interpreter lock inside the call."""
    return not lock_is_released_during(call, tries)
