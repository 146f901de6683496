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
    that it never does. Of the thread neither, which therefore runs on to the gate when it starts.
    """
    gate = threading.Lock()
    gate.acquire()
    entered = []

    def enter():
        with gate:
            entered.append(None)

    thread = threading.Thread(target=enter)
    interval = sys.getswitchinterval()
    sys.setswitchinterval(3600)
    try:
        thread.start()
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
    half, matrix, places = v[: n // 2], nm.reshape(v, (1, n)), nm.argsort(v)
    for name, call in {
        "concatenate": lambda: nm.concatenate([v[:1], v[1:]]), "stack": lambda: nm.stack([half, half]),
        "column_stack": lambda: nm.column_stack([half, half]), "tile": lambda: nm.tile(half, 2),
        "repeat": lambda: nm.repeat(half, 2), "roll": lambda: nm.roll(v, 3), "tril": lambda: nm.tril(matrix),
        "transpose": lambda: matrix.T, "mT": lambda: matrix.mT, "mH": lambda: matrix.mH,
        "permute_dims": lambda: nm.permute_dims(matrix, (1, 0)), "ones": lambda: nm.ones(n),
        "full": lambda: nm.full((n,), 2.5), "arange": lambda: nm.arange(n), "tri": lambda: nm.tri(1, n), "eye": lambda: nm.eye(1, n), "a square eye": lambda: nm.eye(int(n**0.5)),
        "broadcast_to": lambda: nm.broadcast_to(nm.ones((1, 1)), (1, n)), "a step": lambda: v[::-1],
        "a list": lambda: v[places], "a mask": lambda: v[mask], "a mask of rows": lambda: matrix.T[mask],
        "take_along_axis": lambda: nm.take_along_axis(v, places, 0), "points": lambda: matrix[places * 0, places],
        "at": lambda: v.at[0].set(1.0), "diag": lambda: nm.diag(nm.ones(int(n**0.5))),
    }.items():  # fmt: skip
        yield name, call
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
