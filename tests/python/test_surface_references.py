"""References and memory are balanced on every way through creation, indexing, arithmetic, sums.

Each call is made 5,000 times. Afterwards the arguments, what they hold and the objects that every
module function touches have the reference counts of before, and Python and the C library hold no
more memory than before, but for what other things do in the meantime.
"""

import gc
import math
import sys

import pytest
from support import ADDRESS_SANITIZER, bytes_in_use, not_under_address_sanitizer

import _numerical as nm

pytestmark = pytest.mark.boundary

CALLS = 1_000 if ADDRESS_SANITIZER else 5_000

VECTOR = nm._arange(0, 3, 1)
MATRIX = nm._reshape(nm._arange(0, 6, 1), (2, 3))
COMPLEX = nm._full((3,), 1 + 2j, True)
SCALAR = nm._full((), 2.0, False)
EMPTY = nm._full((0, 3), 1.0, False)
BLANK = nm.Tensor.__new__(nm.Tensor)
LONG = [1000, 1001]  # integers that the interpreter does not share


class BrokenSequence:
    def __len__(self):
        return 1

    def __getitem__(self, place):
        raise KeyError(place)


class BrokenIndex:
    def __index__(self):
        raise ZeroDivisionError


BROKEN = BrokenSequence()
BROKEN_ITEM = [BrokenIndex()]

SUCCESSES = [
    (nm._full, (2, 3), 1.5, False),
    (nm._full, [], 1.5, True),
    (nm._eye, 2, False),
    (nm._eye, 0, True),
    (nm._arange, 0, 5, 1),
    (nm._arange, 5, 0, 1),
    (nm._linspace, 0, 1, 5),
    (nm._reshape, MATRIX, [3, 2]),
    (nm._reshape, COMPLEX, (3, 1)),
    (nm._take, MATRIX, [0, 1], [1, 1], [2, 2], [1, 1]),
    (nm._take, COMPLEX, (2,), (-1,), (3,), (1,)),
    (nm._take, MATRIX, [0, 1], [1, 1], [1, 1], [0, 0]),
    (nm._take, COMPLEX, (1,), LONG[:1], (1,), (0,)),
    *((nm._binary, name, VECTOR, VECTOR) for name in "+-*/^"),
    *((nm._binary, name, COMPLEX, COMPLEX) for name in "+-*/^"),
    (nm._binary, "+", MATRIX, VECTOR),
    (nm._binary, "^", MATRIX, SCALAR),
    (nm._negate, MATRIX),
    (nm._negate, COMPLEX),
    *((nm._unary, name, VECTOR) for name in ("exp", "log", "sqrt", "sin", "cos", "tan", "tanh")),
    (nm._unary, "abs", VECTOR),
    (nm._unary, "abs", COMPLEX),
    (nm._unary, "exp", COMPLEX),
    *(
        (nm._reduce, name, MATRIX, axis)
        for name in ("sum", "mean", "max", "min")
        for axis in (-1, 0, 1)
    ),
    (nm._reduce, "sum", COMPLEX, -1),
    (nm._reduce, "mean", COMPLEX, 0),
]

FAILURES = [
    (nm._full, (-1,), 0, False),
    (nm._full, 3, 0, False),
    (nm._full, BROKEN, 0, False),
    (nm._full, (2.5,), 0, False),
    (nm._full, (2,), "x", False),
    (nm._full, (2,), "x", True),
    (nm._full, (2**32, 2**32), 0, False),
    (nm._full, (2**60,), 0, False),
    # The address sanitizer ends a process that runs out of memory.
    *([] if ADDRESS_SANITIZER else [(nm._full, (2**59,), 0, False)]),
    (nm._eye, -1, False),
    (nm._eye, 2**30, False),
    (nm._eye, "x", False),
    (nm._arange, 0, 1, 0),
    (nm._arange, 0, 1e30, 1),
    (nm._arange, "x", 1, 1),
    (nm._linspace, 0, 1, -1),
    (nm._linspace, 0, 1, 2**60),
    (nm._reshape, MATRIX, [5]),
    (nm._reshape, MATRIX, [-1]),
    (nm._reshape, MATRIX, BROKEN),
    (nm._reshape, 5, [1]),
    (nm._reshape, BLANK, [1]),
    (nm._take, 5, [], [], [], []),
    (nm._take, BLANK, [], [], [], []),
    (nm._take, VECTOR, [], [], [], []),
    (nm._take, VECTOR, LONG[:1], [1], [1], [1]),
    (nm._take, VECTOR, BROKEN, [1], [1], [1]),
    (nm._take, VECTOR, [0], [1], [1], BROKEN_ITEM),
    (nm._take, VECTOR, [0], [2**63], [1], [1]),
    (nm._take, VECTOR, [0], [0], [2**61], [1]),
    (nm._take, VECTOR, [0], [1], [2], [0, 0]),
    (nm._take, MATRIX, [0, 0], [1, 1], [2, 3], [0, 1]),
    (nm._binary, "**", VECTOR, VECTOR),
    (nm._binary, "+", VECTOR, 1.0),
    (nm._binary, "+", 1.0, VECTOR),
    (nm._binary, "+", VECTOR, BLANK),
    (nm._binary, "+", VECTOR, COMPLEX),
    (nm._binary, "+", MATRIX, nm._arange(0, 4, 1)),
    (nm._binary, 5, VECTOR, VECTOR),
    (nm._negate, 1.0),
    (nm._negate, BLANK),
    (nm._unary, "sinh", VECTOR),
    (nm._unary, "exp", 1.0),
    (nm._reduce, "prod", VECTOR, 0),
    (nm._reduce, "max", COMPLEX, 0),
    (nm._reduce, "sum", VECTOR, 1),
    (nm._reduce, "max", EMPTY, 0),
    (nm._reduce, "max", EMPTY, -1),
    (nm._reduce, "sum", 1.0, 0),
    (nm._reduce, "sum", VECTOR, 1.0),
]


def run(function, arguments, succeeds, calls=CALLS):
    if succeeds:
        for _ in range(calls):
            function(*arguments)
        return
    for _ in range(calls):
        try:
            function(*arguments)
        except Exception:
            continue
        raise AssertionError("no exception")


def held_objects(arguments):
    items = [item for value in arguments if isinstance(value, (list, tuple)) for item in value]
    return [
        *arguments,
        *items,
        None,
        NotImplemented,
        nm.Tensor,
        nm.error,
        ValueError,
        TypeError,
        IndexError,
        OverflowError,
        MemoryError,
        KeyError,
    ]


def case_name(case):
    function, *arguments = case
    shown = ", ".join(
        f"{value.dtype}{value.shape}"
        if isinstance(value, nm.Tensor) and value is not BLANK
        else "blank"
        if value is BLANK
        else str(value)
        for value in arguments
    )
    return f"{function.__name__}({shown})"


@pytest.mark.parametrize(
    "succeeds, case",
    [
        *(pytest.param(True, case, id=case_name(case)) for case in SUCCESSES),
        *(pytest.param(False, case, id="fails: " + case_name(case)) for case in FAILURES),
    ],
)
def test_references_and_memory_are_balanced(succeeds, case):
    function, *arguments = case
    run(function, arguments, succeeds, CALLS // 100)  # what is made once is made here
    objects = held_objects(arguments)
    gc.collect()
    counts = [sys.getrefcount(value) for value in objects]
    blocks = sys.getallocatedblocks()
    used = bytes_in_use()
    run(function, arguments, succeeds)
    gc.collect()
    # A few references come and go with the interpreter's own bookkeeping.
    changes = [sys.getrefcount(value) - count for value, count in zip(objects, counts)]
    assert max(map(abs, changes)) < 50, changes
    assert abs(sys.getallocatedblocks() - blocks) < CALLS // 100
    assert bytes_in_use() - used < 2 * CALLS  # the least block takes 32


@not_under_address_sanitizer("without the interpreter's allocator no blocks are counted")
def test_the_count_sees_a_leak():
    kept = []
    before = sys.getallocatedblocks()
    for _ in range(1000):
        kept.append(nm._full((), math.pi, False))
    assert sys.getallocatedblocks() - before > 900  # some lie in the memory of dead tensors
