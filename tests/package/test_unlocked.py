"""Element-wise work on large operands runs without the interpreter lock, on small ones with it."""

import functools
import operator
import sys
import threading

import pytest

import numerical as nm

FROM = 2**14  # elements


def lets_another_thread_in(call, tries):
    """Whether another thread, which waits for the interpreter lock, gets it inside the call.

    The interpreter hands the lock over by itself after the switch interval alone, which is so long
    that it never does.
    """
    gate = threading.Lock()
    gate.acquire()
    entered = []

    def enter():
        with gate:
            entered.append(None)

    thread = threading.Thread(target=enter)
    thread.start()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(3600)
    try:
        gate.release()
        for _ in range(tries):
            call()
            if entered:
                break
        return bool(entered)
    finally:
        sys.setswitchinterval(interval)
        thread.join()


def calls(n):
    v = nm.sin(nm.arange(float(n)))
    z = v + 1j
    mask = v > 0
    unary = [nm.exp, nm.sqrt, nm.abs, nm.floor, nm.isnan, nm.sign, nm.logical_not, nm.square,
             operator.neg, operator.abs, nm.round]  # fmt: skip
    binary = [nm.add, nm.less, nm.maximum, nm.logical_and, nm.copysign, nm.arctan2, nm.allclose,
              nm.isclose, nm.array_equal, operator.mul, operator.mod, operator.eq]  # fmt: skip
    whole = [nm.sum, nm.mean, nm.var, nm.max, nm.argmin, nm.sort, nm.argsort, nm.cumsum, nm.diff,
             nm.count_nonzero, nm.nonzero]  # fmt: skip
    for f in unary + whole:
        yield f.__name__, functools.partial(f, v)
    for f in binary:
        yield f.__name__, functools.partial(f, v, v)
    for f in (nm.exp, nm.conj, nm.imag, nm.abs, nm.isfinite, nm.sqrt):
        yield f"{f.__name__} of complex numbers", functools.partial(f, z)
    yield "any", functools.partial(nm.any, nm.zeros(n))
    yield "all", functools.partial(nm.all, nm.ones(n))
    yield "and", functools.partial(operator.and_, mask, mask)
    yield "invert", functools.partial(operator.invert, mask)
    yield "where", functools.partial(nm.where, mask, v, 0.0)
    yield "clip", functools.partial(nm.clip, v, -0.5, 0.5)
    yield "searchsorted", functools.partial(nm.searchsorted, nm.arange(float(n)), v)


NAMES = [name for name, _ in calls(1)]


@pytest.mark.parametrize("place", range(len(NAMES)), ids=NAMES)
def test_large_operands_let_another_thread_in(place):
    assert lets_another_thread_in(list(calls(FROM))[place][1], tries=100_000)


@pytest.mark.parametrize("place", range(len(NAMES)), ids=NAMES)
def test_small_operands_keep_the_lock(place):
    assert not lets_another_thread_in(list(calls(FROM - 1))[place][1], tries=20)


def test_a_large_result_of_small_operands_counts():
    column, row = nm.ones((200, 1)), nm.ones((1, 200))
    assert lets_another_thread_in(functools.partial(operator.add, column, row), tries=100_000)
