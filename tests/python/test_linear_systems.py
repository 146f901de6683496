"""solve, inverse, determinant and slogdet: results, shapes and messages."""

import math
import threading

import _numerical
import mpmath
import numpy as np
import pytest

EPS = np.finfo(float).eps
DTYPES = ["float64", "complex128"]

# 64 by 64 are 4096 elements, from which on the interpreter lock is released.
ORDERS = [1, 2, 3, 8, 16, 17, 33, 63, 64, 65, 130, 257]


def tensor(array):
    array = np.asarray(array)
    dtype = "complex128" if np.iscomplexobj(array) else "float64"
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def normal(shape, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    numbers = generator.standard_normal(shape)
    return numbers + 1j * generator.standard_normal(shape) if dtype == "complex128" else numbers


def norm(a):
    return np.abs(a).sum(axis=-1).max() if a.ndim == 2 else np.abs(a).max()


def backward_error(a, x, b):
    """In units of n epsilon: a stable elimination stays below a small constant."""
    return norm(b - a @ x) / ((norm(a) * norm(x) + norm(b)) * len(a) * EPS)


def error_of(function, *arguments):
    with pytest.raises(Exception) as caught:
        function(*arguments)
    return caught.type, str(caught.value)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
def test_solve_has_a_small_backward_error(n, dtype):
    a = normal((n, n), dtype)
    for shape in [(n,), (n, 1), (n, 16), (n, 17)]:
        b = normal(shape, dtype, seed=1)
        x = _numerical.solve(tensor(a), tensor(b))
        assert x.shape == shape
        assert x.dtype == dtype
        assert backward_error(a, np.asarray(x), b) < 1


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
def test_inverse_is_one_from_both_sides(n, dtype):
    a = normal((n, n), dtype)
    x = np.asarray(_numerical.inverse(tensor(a)))
    assert x.shape == (n, n)
    assert backward_error(a, x, np.eye(n)) < 1
    assert backward_error(x, a, np.eye(n)) < 1


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
def test_determinants_agree_with_numpy(n, dtype):
    a = normal((n, n), dtype)
    determinant = _numerical.determinant(tensor(a))
    sign, log = _numerical.slogdet(tensor(a))
    assert type(determinant) is type(sign) is (complex if dtype == "complex128" else float)
    assert type(log) is float
    expected_sign, expected_log = np.linalg.slogdet(a)
    assert abs(sign - expected_sign) < 1e-9
    assert abs(log - expected_log) < 1e-9
    assert determinant == pytest.approx(np.linalg.det(a), rel=1e-8)


def hilbert(n):
    return [[1 / mpmath.mpf(i + j + 1) for j in range(n)] for i in range(n)]


def test_determinants_of_hilbert_matrices_agree_with_exact_ones():
    with mpmath.workdps(60):
        for n in range(1, 7):
            rounded = [[float(x) for x in row] for row in hilbert(n)]
            exact = mpmath.det(mpmath.matrix(rounded))
            condition = mpmath.cond(mpmath.matrix(rounded))
            allowed = float(condition * n * EPS)
            determinant = _numerical.determinant(tensor(rounded))
            sign, log = _numerical.slogdet(tensor(rounded))
            assert abs(determinant / exact - 1) < allowed
            assert sign == mpmath.sign(exact)
            assert abs(log - mpmath.log(abs(exact))) < allowed


@pytest.mark.parametrize("dtype", DTYPES)
def test_empty_system(dtype):
    empty = _numerical.Tensor([], (0, 0), dtype)
    one = 1 + 0j if dtype == "complex128" else 1.0
    assert _numerical.determinant(empty) == one
    assert repr(_numerical.slogdet(empty)) == repr((one, 0.0))
    assert _numerical.inverse(empty).shape == (0, 0)
    for shape in [(0,), (0, 0), (0, 5), (0, 40)]:
        assert _numerical.solve(empty, _numerical.Tensor([], shape, dtype)).shape == shape


def test_no_right_sides():
    assert _numerical.solve(tensor(np.eye(3)), _numerical.Tensor([], (3, 0))).shape == (3, 0)


def test_slogdet_of_a_singular_matrix():
    assert _numerical.slogdet(tensor([[1.0, 2.0], [2.0, 4.0]])) == (0.0, -math.inf)
    sign, log = _numerical.slogdet(tensor(np.zeros((3, 3), complex)))
    assert repr(sign) == "0j"
    assert log == -math.inf
    assert _numerical.determinant(tensor([[1.0, 2.0], [2.0, 4.0]])) == 0.0


def test_slogdet_where_the_determinant_underflows():
    a = tensor(np.diag([1e-200] * 3))
    sign, log = _numerical.slogdet(a)
    assert sign == 1.0
    assert log == pytest.approx(-600 * math.log(10), rel=1e-15)
    assert _numerical.determinant(a) == 0.0


def test_slogdet_keeps_the_sign_of_a_subnormal():
    assert _numerical.slogdet(tensor([[-5e-324]]))[0] == -1.0
    assert _numerical.slogdet(tensor([[-5e-324j]]))[0] == -1j


@pytest.mark.parametrize("shape", [(), (3,), (2, 2, 2)])
def test_rank_messages(shape):
    a = _numerical.Tensor([0.0] * math.prod(shape), shape)
    for name in ("inverse", "determinant", "slogdet"):
        assert error_of(getattr(_numerical, name), a) == (
            _numerical.error,
            f"{name} expects a matrix (rank-2 tensor)",
        )
    message = (_numerical.error, "solve(a, b) needs a rank-2 a and a rank-1 or rank-2 b")
    matrix = tensor(np.eye(2))
    assert error_of(_numerical.solve, a, matrix) == message
    if len(shape) not in (1, 2):
        assert error_of(_numerical.solve, matrix, a) == message


def test_solve_reports_rank_before_dtype_before_all_else():
    real = tensor([[math.nan, 0.0]])
    other = tensor(np.ones((5, 5), complex))
    message = (_numerical.error, "solve operands must share one dtype")
    assert error_of(_numerical.solve, real, other) == message
    assert error_of(_numerical.solve, other, real) == message
    cube = tensor(np.ones((1, 1, 1), complex))
    assert "rank-2 a" in error_of(_numerical.solve, real, cube)[1]


@pytest.mark.parametrize("dtype", DTYPES)
def test_solve_reports_the_matrix_before_the_size_before_singularity(dtype):
    wrong = tensor(np.ones(3, dtype))
    wrong_rows = tensor(np.ones((3, 1), dtype))
    size = (_numerical.error, "solve: right-hand side size differs from the matrix")
    rows = (_numerical.error, "solve: right-hand side row count differs from the matrix")
    singular = tensor(np.zeros((2, 2), dtype))
    bad = tensor(np.array([[1, np.inf], [0, 1]], dtype))
    oblong = tensor(np.array([[1, np.nan, 0], [0, 1, 0]], dtype))
    assert error_of(_numerical.solve, oblong, wrong) == (
        _numerical.error,
        "LU decomposition requires a square matrix",
    )
    assert error_of(_numerical.solve, bad, wrong) == (
        _numerical.error,
        "LU decomposition: the matrix holds an infinite or NaN entry",
    )
    assert error_of(_numerical.solve, singular, wrong) == size
    assert error_of(_numerical.solve, singular, wrong_rows) == rows
    assert error_of(_numerical.solve, singular, tensor(np.ones(2, dtype))) == (
        _numerical.error,
        "solve: matrix is singular",
    )


@pytest.mark.parametrize("name", ["inverse", "determinant", "slogdet"])
def test_bad_matrices(name):
    function = getattr(_numerical, name)
    assert error_of(function, tensor([[1.0, 2.0, 3.0]])) == (
        _numerical.error,
        "LU decomposition requires a square matrix",
    )
    assert error_of(function, tensor([[math.nan]])) == (
        _numerical.error,
        "LU decomposition: the matrix holds an infinite or NaN entry",
    )
    if name == "inverse":
        assert error_of(function, tensor(np.ones((70, 70)))) == (
            _numerical.error,
            "inverse: matrix is singular",
        )


def test_arguments():
    matrix = tensor(np.eye(2))
    assert error_of(_numerical.solve, matrix) == (TypeError, "expected 2 argument(s), got 1")
    assert error_of(_numerical.inverse) == (TypeError, "expected 1 argument(s), got 0")
    for name in ("solve", "inverse"):
        arguments = [3] if name == "inverse" else [matrix, 3]
        assert error_of(getattr(_numerical, name), *arguments) == (
            TypeError,
            "expected a numerical.Tensor",
        )
    for name in ("determinant", "slogdet"):
        assert error_of(getattr(_numerical, name), 3) == (
            _numerical.error,
            "expected a numerical.Tensor",
        )
        assert error_of(getattr(_numerical, name))[0] is TypeError


def test_nan_of_the_right_side_comes_out_without_an_error():
    x = _numerical.solve(tensor(np.eye(2)), tensor([1.0, math.nan])).tolist()
    assert math.isnan(x[1])
    for columns in (16, 17):
        b = np.ones((20, columns))
        b[:, 3] = math.nan
        x = np.asarray(_numerical.solve(tensor(normal((20, 20))), tensor(b)))
        assert np.isnan(x[:, 3]).all()
        assert np.isfinite(x[:, 4]).all()


def test_operands_stay_as_they_were():
    a, b = normal((70, 70)), normal((70, 3))
    ours, right = tensor(a), tensor(b)
    _numerical.solve(ours, right)
    _numerical.inverse(ours)
    assert (np.asarray(ours) == a).all()
    assert (np.asarray(right) == b).all()


@pytest.mark.parametrize("dtype", DTYPES)
def test_bits_do_not_depend_on_the_number_of_threads(dtype):
    a, b = tensor(normal((300, 300), dtype)), tensor(normal((300, 70), dtype))

    def bits():
        x, inverse = _numerical.solve(a, b), _numerical.inverse(a)
        determinants = _numerical.determinant(a), _numerical.slogdet(a)
        return np.asarray(x).tobytes(), np.asarray(inverse).tobytes(), repr(determinants)

    try:
        _numerical._set_num_threads(1)
        one = bits()
        for threads in (2, 3, 64):
            _numerical._set_num_threads(threads)
            assert bits() == one
    finally:
        _numerical._set_num_threads(0)


def test_several_threads_may_solve_at_once():
    a, b = normal((200, 200)), normal((200, 40))
    ours, right = tensor(a), tensor(b)
    expected = np.asarray(_numerical.solve(ours, right)).tobytes()
    results = []

    def work():
        for _ in range(5):
            results.append(np.asarray(_numerical.solve(ours, right)).tobytes() == expected)

    workers = [threading.Thread(target=work) for _ in range(4)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    assert results == [True] * 20
