"""Runs files of Python's tests, each in a process of its own: a fork of this one, which has imported
what most of them use. Those imports take as long as the tests of a small file.

For each line on standard input, a JSON list of the file for the output and of pytest's arguments,
answers with a JSON list of the status as os.wait4 has it and the seconds of processor time. Nothing
under test is imported here, nor does anything here begin a thread, which a fork wouldn't have.
"""

import gc
import json
import os
import random
import sys
import time

import hypothesis.strategies  # noqa: F401
import mpmath  # noqa: F401
import numpy  # noqa: F401
import pytest
import scipy.linalg  # noqa: F401


def run_tests(output: str, arguments: list[str]) -> int:
    """In the child, which keeps neither the server's pipes nor its state of random numbers."""
    nothing = os.open(os.devnull, os.O_RDONLY)
    printed = os.open(output, os.O_WRONLY | os.O_APPEND)
    for opened, descriptor in ((nothing, 0), (printed, 1), (printed, 2)):
        os.dup2(opened, descriptor)
    os.close(nothing)
    os.close(printed)
    random.seed()
    return pytest.main(arguments)


def main() -> int:
    sys.path[0] = os.getcwd()  # as python -m pytest has it
    gc.freeze()  # so that collections in a child don't copy the pages of what is imported
    counted = 0.0
    while line := sys.stdin.readline():
        child = os.fork()
        if child == 0:
            return run_tests(*json.loads(line))
        _, status, usage = os.wait4(child, 0)
        before, counted = counted, time.process_time()
        print(json.dumps([status, counted - before + usage.ru_utime + usage.ru_stime]), flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
