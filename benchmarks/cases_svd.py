"""svd by divide and conquer, lstsq, pinv and matrix_rank against numpy.linalg; svd by QR against
LAPACK's QR driver.

The pseudo-inverse sums its products in plain ascending order on the calling thread, and a rank comes
from the reduction that all singular values take.
"""

import functools

import numerical
import numpy

from alternate import Case

ORDERS = [4, 16, 32, 64, 100, 200, 500, 1000, 2000]
TALL = (4000, 200)
LEAST_QR_ORDER = 100  # below it the two drivers differ in overhead only
GREATEST_QR_ORDER = 1000  # LAPACK's takes minutes for 2000
GREATEST_OTHER_ORDER = 1000
RIGHT_SIDES = 4


def normal(shape, dtype):
    generator = numpy.random.default_rng(1)
    numbers = generator.standard_normal(shape)
    if dtype == "complex128":
        numbers = numbers + 1j * generator.standard_normal(shape)
    return numbers


def same_values(ours, theirs):
    """Both are backward stable, so their values differ by a few n epsilon of the largest."""
    values = theirs[1]
    numpy.testing.assert_allclose(numpy.asarray(ours[1]), values, rtol=0, atol=1e-12 * values.max())


def same_solution(ours, theirs):
    numpy.testing.assert_allclose(
        numpy.asarray(ours.x), theirs[0], rtol=0, atol=1e-6 * numpy.abs(theirs[0]).max()
    )


def same_matrix(ours, theirs):
    numpy.testing.assert_allclose(
        numpy.asarray(ours), theirs, rtol=0, atol=1e-6 * numpy.abs(theirs).max()
    )


def same_number(ours, theirs):
    assert ours == theirs


def svd_cases(shape, dtype, a, ours):
    yield f"svd divide_and_conquer {dtype}", Case(
        f"svd {dtype} {shape[0]}x{shape[1]}",
        functools.partial(numerical.svd, ours, full_matrices=False),
        functools.partial(numpy.linalg.svd, a, full_matrices=False),
        check=same_values,
    )
    if shape[0] == shape[1] and LEAST_QR_ORDER <= shape[0] <= GREATEST_QR_ORDER:
        import scipy.linalg

        yield f"svd bidiagonal_qr {dtype}", Case(
            f"svd QR {dtype} {shape[0]}x{shape[1]}",
            functools.partial(numerical.svd, ours, full_matrices=False, method="bidiagonal_qr"),
            functools.partial(
                scipy.linalg.svd, a, full_matrices=False, check_finite=False, lapack_driver="gesvd"
            ),
            check=same_values,
        )


def other_cases(shape, dtype, a, ours):
    name = f"{dtype} {shape[0]}x{shape[1]}"
    b = normal((shape[0], RIGHT_SIDES), dtype)
    yield f"lstsq {dtype}", Case(
        f"lstsq {name}",
        functools.partial(numerical.lstsq, ours, numerical.asarray(b)),
        functools.partial(numpy.linalg.lstsq, a, b, rcond=None),
        check=same_solution,
    )
    yield f"pinv {dtype}", Case(
        f"pinv {name}",
        functools.partial(numerical.pinv, ours),
        functools.partial(numpy.linalg.pinv, a),
        check=same_matrix,
    )
    yield f"matrix_rank {dtype}", Case(
        f"matrix_rank {name}",
        functools.partial(numerical.matrix_rank, ours),
        functools.partial(numpy.linalg.matrix_rank, a),
        check=same_number,
    )


def cases():
    for dtype in ("float64", "complex128"):
        for shape in [(n, n) for n in ORDERS] + [TALL]:
            a = normal(shape, dtype)
            ours = numerical.asarray(a)
            yield from svd_cases(shape, dtype, a, ours)
            if shape[1] <= GREATEST_OTHER_ORDER:
                yield from other_cases(shape, dtype, a, ours)
