"""eigh by divide and conquer against numpy.linalg.eigh, and by QL against LAPACK's QL driver."""

import functools

import numerical
import numpy

from alternate import Case

ORDERS = [4, 16, 32, 64, 100, 200, 500, 1000, 2000]
LEAST_QL_ORDER = 100  # below it the two drivers differ in overhead only
GREATEST_QL_ORDER = 1000  # LAPACK's takes half a minute for 2000


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
            if LEAST_QL_ORDER <= n <= GREATEST_QL_ORDER:
                yield f"eigh tridiagonal_ql {dtype}", Case(
                    f"eigh QL {dtype} n={n}",
                    functools.partial(numerical.linalg.eigh, ours, method="tridiagonal_ql"),
                    functools.partial(scipy.linalg.eigh, a, driver="ev", check_finite=False),
                    check=agree,
                )
