"""Solve with 1, 16 and n right sides, inverse, determinant and slogdet against numpy.linalg."""

import functools

import numerical
import numpy

from alternate import Case

ORDERS = [4, 8, 16, 32, 64, 100, 128, 200, 256, 400, 512, 700, 1000, 1024, 1500, 2000, 3000, 4000]
GREATEST_COMPLEX_ORDER = 2000

FACTOR_FLOPS = 2 / 3  # of n³; solving takes 2 n² for each right side
INVERSE_FLOPS = 2


def normal(shape, dtype):
    generator = numpy.random.default_rng(1)
    numbers = generator.standard_normal(shape)
    if dtype == "complex128":
        numbers = numbers + 1j * generator.standard_normal(shape)
    return numbers


def agree(ours, theirs):
    """Both stand on a backward stable elimination: they differ by its condition times epsilon."""
    numpy.testing.assert_allclose(
        numpy.asarray(ours), theirs, rtol=1e-6, atol=1e-6 * numpy.abs(theirs).max()
    )


def solve_cases(n, dtype, a, ours, real_flops):
    for columns in sorted({1, 16, n}):
        b = normal((n,) if columns == 1 else (n, columns), dtype)
        count = "n" if columns == n else columns
        yield f"solve, right sides={count}", Case(
            f"solve {dtype} n={n} right sides={columns}",
            functools.partial(numerical.solve, ours, numerical.asarray(b)),
            functools.partial(numpy.linalg.solve, a, b),
            real_flops * (FACTOR_FLOPS * n**3 + 2.0 * n**2 * columns),
            check=agree,
        )


def other_cases(n, dtype, a, ours, real_flops):
    for name, theirs, flops in (
        ("inverse", numpy.linalg.inv, INVERSE_FLOPS),
        ("determinant", numpy.linalg.det, FACTOR_FLOPS),
        ("slogdet", numpy.linalg.slogdet, FACTOR_FLOPS),
    ):
        yield name, Case(
            f"{name} {dtype} n={n}",
            functools.partial(getattr(numerical, name), ours),
            functools.partial(theirs, a),
            real_flops * flops * n**3,
            check=agree if name == "inverse" else None,
        )


def cases():
    for dtype in ("float64", "complex128"):
        for n in ORDERS:
            if dtype == "complex128" and n > GREATEST_COMPLEX_ORDER:
                continue
            a = normal((n, n), dtype)
            ours = numerical.asarray(a)
            real_flops = 4.0 if dtype == "complex128" else 1.0
            beyond = " beyond n=2000" if n > 2000 else ""
            for make in (solve_cases, other_cases):
                for name, case in make(n, dtype, a, ours, real_flops):
                    yield f"{name}, {dtype}{beyond}", case
