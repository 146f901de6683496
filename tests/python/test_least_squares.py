"""lstsq, pinv and matrix_rank against NumPy, at the ends of the range, and their messages."""

import functools

import _numerical
import numpy as np
import pytest
from support import (
    error_of,
    lock_is_held_during,
    lock_is_released_during,
    numerical_error,
    output_of,
)

EPS = np.finfo(float).eps
DTYPES = ["float64", "complex128"]
SHAPES = [(1, 1), (6, 6), (40, 40), (200, 30), (30, 200), (70, 1), (1, 70)]


def tensor(array, dtype=None):
    array = np.asarray(array)
    dtype = dtype or ("complex128" if np.iscomplexobj(array) else "float64")
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def normal(shape, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if dtype == "complex128" else a


def of_rank(shape, rank, dtype):
    return normal((shape[0], rank), dtype, 1) @ normal((rank, shape[1]), dtype, 2)


def lstsq(a, b):
    return np.asarray(_numerical.lstsq(tensor(a), tensor(b)))


def matrices(shape, dtype):
    yield normal(shape, dtype)
    yield of_rank(shape, max(min(shape) // 2, 1), dtype)
    yield np.zeros(shape, dtype)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", SHAPES)
def test_agrees_with_numpy(shape, dtype):
    for a in matrices(shape, dtype):
        for b in [normal(shape[:1], dtype, 3), normal((shape[0], 3), dtype, 4)]:
            expected = np.linalg.lstsq(a, b, rcond=EPS * max(shape))[0]
            found = lstsq(a, b)
            assert found.shape == expected.shape and found.dtype == dtype
            assert np.allclose(found, expected, rtol=0, atol=1e-10 * (1 + np.abs(expected).max()))
        expected = np.linalg.pinv(a, rcond=EPS * max(shape))
        found = np.asarray(_numerical.pinv(tensor(a)))
        assert found.shape == shape[::-1] and found.dtype == dtype
        assert np.allclose(found, expected, rtol=0, atol=1e-10 * (1 + np.abs(expected).max()))
        rank = _numerical.matrix_rank(tensor(a))
        assert type(rank) is int and rank == np.linalg.matrix_rank(a)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("factor", [2.0**996, 2.0**-996])
@pytest.mark.parametrize("shape", [(12, 12), (30, 12), (12, 30)])
def test_solutions_keep_their_digits_at_both_ends_of_the_range(shape, factor, dtype):
    a, b = normal(shape, dtype), normal(shape[:1], dtype, 1)
    assert np.array_equal(lstsq(a * factor, b) * factor, lstsq(a, b))
    deficient = of_rank(shape, 5, dtype)
    scaled = np.asarray(_numerical.pinv(tensor(deficient * factor)))
    plain = np.asarray(_numerical.pinv(tensor(deficient)))
    assert np.allclose(scaled * factor, plain, rtol=0, atol=1e-10 * np.abs(plain).max())
    assert _numerical.matrix_rank(tensor(deficient * factor)) == 5


def test_exactly_singular_square_systems_have_the_least_norm():
    found = lstsq([[1.0, 1.0], [1.0, 1.0]], [2.0, 4.0])
    assert np.allclose(found, [1.5, 1.5], rtol=0, atol=1e-15)


def test_empty_extents():
    for m, n in [(0, 0), (0, 3), (3, 0)]:
        a = _numerical.Tensor([], (m, n))
        assert np.array_equal(
            np.asarray(_numerical.lstsq(a, _numerical.Tensor([1.0] * m, (m,)))), np.zeros(n)
        )
        assert _numerical.pinv(a).shape == (n, m)
        assert _numerical.matrix_rank(a) == 0
    no_columns = _numerical.lstsq(tensor(normal((5, 3))), _numerical.Tensor([], (5, 0)))
    assert no_columns.shape == (3, 0)


ASTRONOMIC = """
import _numerical as m
size = 2**61
for dtype in ["float64", "complex128"]:
    tall, wide, empty = (m.Tensor([], shape, dtype) for shape in [(size, 0), (0, size), (0, 0)])
    for a in [tall, wide]:
        q, r = m.qr(a)
        print(q.shape, r.shape, m.pinv(a).shape == a.shape[::-1], m.matrix_rank(a))
        for method in ["divide_and_conquer", "bidiagonal_qr", "jacobi"]:
            u, s, vh = m.svd(a, method)
            print(u.shape, s.shape, vh.shape)
    print(m.lstsq(tall, tall).shape, m.lstsq(wide, empty).shape, m.solve(empty, wide).shape)
"""


def test_an_astronomic_extent_beside_a_zero_one_costs_no_time():
    n = 2**61
    expected = [
        f"({n}, 0) (0, 0) True 0",
        *[f"({n}, 0) (0,) (0, 0)"] * 3,
        f"(0, 0) (0, {n}) True 0",
        *[f"(0, 0) (0,) (0, {n})"] * 3,
        f"(0, 0) ({n}, 0) (0, {n})",
    ]
    assert output_of(ASTRONOMIC).splitlines() == expected * 2


@pytest.mark.parametrize("dtype", DTYPES)
def test_a_value_exactly_at_the_threshold_does_not_count(dtype):
    threshold = 4 * EPS
    for smallest, rank in [(threshold, 3), (2 * threshold, 4)]:
        diagonal = np.diag([1.0, 1.0, 1.0, smallest]).astype(dtype)
        assert _numerical.matrix_rank(tensor(diagonal)) == rank
        inverse = np.asarray(_numerical.pinv(tensor(diagonal)))
        assert inverse[3, 3] == (0 if rank == 3 else 1 / smallest)


def test_non_finite_right_sides_go_through():
    for a in [[[1.0, 0.0], [0.0, 1.0]], [[1.0, 1.0], [1.0, 1.0]]]:
        assert not np.isfinite(lstsq(a, [np.nan, 1.0])).all()


def test_messages():
    matrix, vector = tensor([[1.0, 2.0], [3.0, 4.0]]), tensor([1.0, 2.0])
    ranks = numerical_error("lstsq(a, b) needs a rank-2 a and a rank-1 or rank-2 b")
    cube = _numerical.Tensor([1.0] * 8, (2, 2, 2))
    for arguments in [(vector, vector), (matrix, cube), (matrix, _numerical.Tensor([1.0], ()))]:
        assert error_of(_numerical.lstsq, *arguments) == ranks
    mixed = numerical_error("lstsq operands must share one dtype")
    assert error_of(_numerical.lstsq, matrix, tensor([1j, 2])) == mixed
    size = numerical_error("lstsq: right-hand side size differs from the matrix")
    bad = tensor([[np.nan, 1.0], [1.0, 1.0]])
    for b in [tensor([1.0]), tensor([[1.0]]), tensor(np.ones((3, 2)))]:
        assert error_of(_numerical.lstsq, bad, b) == size
    for name, arguments in [("lstsq", (bad, vector)), ("pinv", (bad,)), ("matrix_rank", (bad,))]:
        assert error_of(getattr(_numerical, name), *arguments) == numerical_error(
            f"{name}: the matrix holds an infinite or NaN entry"
        )
    for name in ["pinv", "matrix_rank"]:
        for a in [vector, cube]:
            assert error_of(getattr(_numerical, name), a) == numerical_error(
                f"{name} expects a matrix (rank-2 tensor)"
            )


def test_the_lock_is_released_by_the_size_of_the_matrix_alone():
    calls = [_numerical.pinv, _numerical.matrix_rank]
    for call in calls:
        assert lock_is_held_during(functools.partial(call, tensor(normal((63, 65)))), tries=20)
        assert lock_is_released_during(functools.partial(call, tensor(normal((64, 64)))))
    many = tensor(normal((63, 100)))
    small = functools.partial(_numerical.lstsq, tensor(normal((63, 65))), many)
    assert lock_is_held_during(small, tries=20)
    large = functools.partial(_numerical.lstsq, tensor(normal((64, 64))), tensor(normal(64)))
    assert lock_is_released_during(large)
