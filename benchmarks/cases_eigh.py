"""eigh by divide and conquer against numpy.linalg.eigh, by QL against LAPACK's QL driver, and of
pairs and parts of the spectrum against scipy.linalg.eigh.
"""

import functools

import numerical
import numpy

from alternate import Case

ORDERS = [4, 16, 32, 64, 100, 200, 500, 1000, 2000]
LEAST_QL_ORDER = 100  # below it the two drivers differ in overhead only
GREATEST_QL_ORDER = 1000  # LAPACK's takes half a minute for 2000
LEAST_PART_ORDER = 100
WANTED = 10  # values of a part of the spectrum


def hermitian(n, dtype):
    generator = numpy.random.default_rng(1)
    a = generator.standard_normal((n, n))
    if dtype == "complex128":
        a = a + 1j * generator.standard_normal((n, n))
    return (a + a.conj().T) / 2


def agree(ours, theirs):
    """Both are backward stable, so their values differ by a few n epsilon of the largest."""
    values = theirs[0]
    largest = numpy.abs(values).max()
    numpy.testing.assert_allclose(numpy.asarray(ours[0]), values, rtol=0, atol=1e-12 * largest)


def definite(n, dtype):
    g = hermitian(n, dtype)
    return g @ g.conj().T / n + numpy.eye(n)


def parts_and_pairs(n, dtype, a, ours):
    import scipy.linalg

    b = definite(n, dtype)
    yield f"eigh of a pair {dtype}", Case(
        f"eigh(a, b) {dtype} n={n}",
        functools.partial(numerical.linalg.eigh, ours, b=numerical.asarray(b)),
        functools.partial(scipy.linalg.eigh, a, b, check_finite=False),
        check=agree,
    )
    places = (0, WANTED - 1)
    yield f"eigh of {WANTED} values {dtype}", Case(
        f"eigh {WANTED} of {dtype} n={n}",
        functools.partial(numerical.linalg.eigh, ours, subset_by_index=places),
        functools.partial(scipy.linalg.eigh, a, subset_by_index=places, check_finite=False),
        check=agree,
    )


def cases():
    import scipy.linalg

    for dtype in ("float64", "complex128"):
        for n in ORDERS:
            a = hermitian(n, dtype)
            ours = numerical.asarray(a)
            yield f"eigh divide_and_conquer {dtype}", Case(
                f"eigh {dtype} n={n}",
                functools.partial(numerical.linalg.eigh, ours, method="divide_and_conquer"),
                functools.partial(numpy.linalg.eigh, a),
                check=agree,
            )
            if n >= LEAST_PART_ORDER:
                yield from parts_and_pairs(n, dtype, a, ours)
            if LEAST_QL_ORDER <= n <= GREATEST_QL_ORDER:
                yield f"eigh tridiagonal_ql {dtype}", Case(
                    f"eigh QL {dtype} n={n}",
                    functools.partial(numerical.linalg.eigh, ours, method="tridiagonal_ql"),
                    functools.partial(scipy.linalg.eigh, a, driver="ev", check_finite=False),
                    check=agree,
                )
