"""Creation, indexing, element-wise arithmetic and reductions, from 10 to 10^7 elements.

The largest rows are bound by memory. Their rate counts each operand read once and each result
written once; the name of such a row tells the bandwidth of this machine, measured just before by
NumPy's addition into memory that is mapped already and, for reductions, by the fastest reading.
"""

import math
import time

import numpy as np
from alternate import Case
from numerical import _numerical as nm

SIZES = (10, 1_000, 100_000, 10_000_000)
LARGE = 10_000_000


def tensor(array):
    return nm.asarray(np.ascontiguousarray(array))


def random(shape, dtype):
    generator = np.random.default_rng(7)
    values = generator.uniform(0.5, 1.5, shape)
    return values + 1j * generator.uniform(0.5, 1.5, shape) if dtype == complex else values


def same_bits(ours, theirs):
    np.testing.assert_array_equal(np.asarray(ours), theirs)


def close(ours, theirs):
    np.testing.assert_allclose(np.asarray(ours), theirs, rtol=1e-13)


def seconds(call):
    best = math.inf
    for _ in range(7):
        start = time.process_time()
        call()
        best = min(best, time.process_time() - start)
    return best


def measured_bandwidth():
    """Bytes a second of a sum of two arrays into a third, and of reading one."""
    a, b, out = (np.ones(LARGE) for _ in range(3))
    writing = 24 * LARGE / seconds(lambda: np.add(a, b, out=out))
    reading = 8 * LARGE / min(seconds(lambda: np.max(a)), seconds(lambda: np.sum(a)))
    return writing / 1e9, reading / 1e9


def binary(name, operator, function, a, b, bandwidth=0.0, check=same_bits):
    x, y = tensor(a), tensor(b)
    moved = a.nbytes + b.nbytes + function(a, b).nbytes
    if bandwidth:
        name += f" [memory: {bandwidth:.0f} GB/s]"
    return Case(
        name,
        lambda: nm._binary(operator, x, y),
        lambda: function(a, b),
        work=moved,
        unit="byte",
        check=check,
    )


OPERATORS = {"+": np.add, "-": np.subtract, "*": np.multiply, "/": np.divide}


def shapes_of(size):
    """Shapes of about `size` elements whose operands broadcast, by the form of their rows."""
    side = max(2, math.isqrt(size))
    half = size // 2
    return {
        "one number": ((size,), ()),
        "a number first": ((), (size,)),
        "a row to each row": ((side, side), (side,)),
        "a column to each row": ((side, side), (side, 1)),
        "a column by a row": ((side, 1), (side,)),
        "the first axis repeated": ((2, half), (1, half)),
        "the middle axis repeated": ((2, side, side // 2), (2, 1, side // 2)),
        "three numbers to each row": ((size // 3, 3), (3,)),
        "a number to each three": ((size // 3, 3), (size // 3, 1)),
    }


def arithmetic_cases(bandwidth):
    for size in SIZES:
        shown = bandwidth if size == LARGE else 0.0
        for dtype in (float, complex):
            if dtype == complex and size == LARGE:
                continue
            a, b = random(size, dtype), random(size, dtype)[::-1]
            kind = "complex " if dtype == complex else ""
            for operator, function in OPERATORS.items():
                group = f"{kind}arithmetic"
                check = close if kind and operator in "*/" else same_bits
                if kind and operator == "/":
                    group = "complex quotient"
                yield group, binary(
                    f"{kind}a {operator} b, {size}", operator, function, a, b, shown, check
                )
        for name, (left, right) in shapes_of(size).items():
            for operator in "+/":
                yield (
                    "broadcast",
                    binary(
                        f"a {operator} b, {name}, {size}",
                        operator,
                        OPERATORS[operator],
                        random(left, float),
                        random(right, float),
                        shown,
                    ),
                )


REDUCTIONS = {"sum": np.sum, "mean": np.mean, "max": np.max, "min": np.min}


def reduction(name, operation, a, axis, bandwidth):
    x = tensor(a)
    function = REDUCTIONS[operation]
    if bandwidth:
        name += f" [memory: {bandwidth:.0f} GB/s]"
    return Case(
        name,
        lambda: nm._reduce(operation, x, -1 if axis is None else axis),
        lambda: function(a, axis=axis),
        work=a.nbytes,
        unit="byte",
        check=close,
    )


def reduction_cases(bandwidth):
    for size in SIZES:
        side = max(2, math.isqrt(size))
        thin = size // 10 or 1
        shown = bandwidth if size == LARGE else 0.0
        shapes = [
            ((size,), None),
            ((side, side), 0),
            ((side, side), 1),
            ((thin, 10), 0),
            ((thin, 10), 1),
            ((10, thin), 0),
            ((2, side, side // 2), 1),
        ]
        for operation in REDUCTIONS:
            for shape, axis in shapes:
                name = f"{operation}, {shape}" + ("" if axis is None else f" along {axis}")
                yield "reductions", reduction(name, operation, random(shape, float), axis, shown)
        for operation in ("sum", "mean"):
            for shape, axis in (((size // 2,), None), ((side // 2 + 1, side), 0)):
                name = f"complex {operation}, {shape}" + ("" if axis is None else f" along {axis}")
                yield "reductions", reduction(name, operation, random(shape, complex), axis, shown)


def unary_cases():
    for size in SIZES:
        a = random(size, float)
        x = tensor(a)
        for name in ("sqrt", "abs"):
            yield "unary", Case(
                f"{name}, {size}",
                lambda name=name: nm._unary(name, x),
                lambda name=name: getattr(np, name)(a),
                check=same_bits,
            )
        yield "unary", Case(f"-a, {size}", lambda: nm._negate(x), lambda: -a, check=same_bits)
        for exponent in (2.0, 0.5, -1.0):
            e = nm._full((), exponent, False)
            yield "unary", Case(
                f"a ** {exponent}, {size}",
                lambda: nm._binary("^", x, e),
                lambda exponent=exponent: a**exponent,
                check=same_bits,
            )
        if size <= 100_000:
            for name in ("exp", "log", "sin", "cos", "tan", "tanh"):
                yield "functions of the C library", Case(
                    f"{name}, {size}",
                    lambda name=name: nm._unary(name, x),
                    lambda name=name: getattr(np, name)(a),
                    check=close,
                )


def creation_cases():
    for size in SIZES:
        side = max(2, math.isqrt(size))
        yield "creation", Case(
            f"arange, {size}",
            lambda: nm._arange(0.5, size + 0.5, 1.0),
            lambda: np.arange(0.5, size + 0.5, 1.0),
            check=close,
        )
        yield "creation", Case(
            f"linspace, {size}",
            lambda: nm._linspace(0.0, 1.0, size),
            lambda: np.linspace(0.0, 1.0, size),
            check=same_bits,
        )
        yield "creation", Case(
            f"full, {size}",
            lambda: nm._full((size,), 1.5, False),
            lambda: np.full((size,), 1.5),
            check=same_bits,
        )
        yield "creation", Case(
            f"eye, {side}", lambda: nm._eye(side, False), lambda: np.eye(side), check=same_bits
        )


def take_cases():
    for size in SIZES:
        side = max(4, math.isqrt(size))
        a = random((side, side), float)
        x = tensor(a)
        half = side // 2
        selections = {
            "all": (((0, 0), (1, 1), (side, side), (1, 1)), np.s_[:, :]),
            "a block": (((1, 1), (1, 1), (half, half), (1, 1)), np.s_[1 : 1 + half, 1 : 1 + half]),
            "every other column": (
                ((0, 0), (1, 2), (side, half), (1, 1)),
                np.s_[:, : 2 * half : 2],
            ),
            "reversed": (((side - 1, side - 1), (-1, -1), (side, side), (1, 1)), np.s_[::-1, ::-1]),
            "a column": (((0, 1), (1, 1), (side, 1), (1, 0)), np.s_[:, 1]),
        }
        for name, (ranges, key) in selections.items():
            yield "take", Case(
                f"{name} of {side} x {side}",
                lambda ranges=ranges: nm._take(x, *ranges),
                lambda key=key: a[key].copy(),
                check=same_bits,
            )
        yield "take", Case(
            f"reshape, {side} x {side}",
            lambda: nm._reshape(x, (side * side,)),
            lambda: a.reshape(side * side).copy(),
            check=same_bits,
        )


def operator_cases():
    """Through the operators of the Python layer, against NumPy's own."""
    a, b = random(10, float), random(10, float)
    x, y = tensor(a), tensor(b)
    m = random((3, 3), float)
    t = tensor(m)
    rows = {
        "a + b": (lambda: x + y, lambda: a + b),
        "a * 2.0": (lambda: x * 2.0, lambda: a * 2.0),
        "2 / a": (lambda: 2 / x, lambda: 2 / a),
        "-a": (lambda: -x, lambda: -a),
        "a[3]": (lambda: x[3], lambda: a[3]),
        "a[1:9:2] copied": (lambda: x[1:9:2], lambda: a[1:9:2].copy()),
        "m[:, 1] copied": (lambda: t[:, 1], lambda: m[:, 1].copy()),
        "m[1, 2]": (lambda: t[1, 2], lambda: m[1, 2]),
    }
    for name, (ours, theirs) in rows.items():
        yield "operators", Case(f"{name}, 10 elements", ours, theirs, check=same_bits)


def cases():
    writing, reading = measured_bandwidth()
    yield from operator_cases()
    yield from arithmetic_cases(writing)
    yield from reduction_cases(reading)
    yield from unary_cases()
    yield from creation_cases()
    yield from take_cases()
