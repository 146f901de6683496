"""eigh: values to the last digits, residuals, messages, threads and the interpreter lock."""

import functools

import _numerical
import mpmath
import numpy as np
import pytest
from support import error_of, lock_is_held_during, lock_is_released_during, numerical_error

EPS = np.finfo(float).eps
DTYPES = ["float64", "complex128"]
REDUCTIONS = ["divide_and_conquer", "tridiagonal_ql"]
METHODS = [(dtype, method) for dtype in DTYPES for method in REDUCTIONS] + [("float64", "jacobi")]
ORDERS = [1, 2, 3, 31, 32, 33, 34, 63, 64, 65, 66, 128, 257]


def value_tolerance(method, order):
    """Of the largest modulus. Jacobi stops at 1e-12 of the Frobenius norm; the others end at the
    rounding of their reflections, a unit for each (Wilkinson 1965, The Algebraic Eigenvalue
    Problem, chapter 5)."""
    return 1e-12 if method == "jacobi" else max(order, 4) * EPS


def tensor(array, dtype=None):
    array = np.asarray(array)
    dtype = dtype or ("complex128" if np.iscomplexobj(array) else "float64")
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def eigh(a, method):
    values, vectors = _numerical.eigh(tensor(a), method)
    return np.asarray(values), np.asarray(vectors)


def hermitian(n, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal((n, n))
    if dtype == "complex128":
        a = a + 1j * generator.standard_normal((n, n))
    return a + a.conj().T


@pytest.mark.parametrize("dtype, method", METHODS)
@pytest.mark.parametrize("n", ORDERS)
def test_agrees_with_numpy_and_has_small_ratios(n, dtype, method):
    a = hermitian(n, dtype)
    values, vectors = eigh(a, method)
    assert values.dtype == np.float64 and vectors.dtype == dtype
    assert values.shape == (n,) and vectors.shape == (n, n)
    norm = np.abs(a).sum(axis=1).max()
    accepted = 30 if method != "jacobi" else 1e-12 / EPS
    assert np.abs(a @ vectors - vectors * values).max() < accepted * n * norm * EPS
    assert np.abs(vectors.conj().T @ vectors - np.eye(n)).max() < 30 * n * EPS
    assert np.abs(values - np.linalg.eigvalsh(a)).max() < accepted * n * norm * EPS


def hilbert(n):
    return [[1 / (i + j + 1) for j in range(n)] for i in range(n)]


def second_difference(n):
    return [[2.0 if i == j else -1.0 * (abs(i - j) == 1) for j in range(n)] for i in range(n)]


def wilkinson(n):
    half = (n - 1) / 2
    return [
        [abs(i - half) if i == j else 1.0 * (abs(i - j) == 1) for j in range(n)] for i in range(n)
    ]


def kahan_like(n):
    return [[0.3 ** max(i, j) * (1 if i == j else -0.5) for j in range(n)] for i in range(n)]


def hard_complex(n):
    a = np.array(hilbert(n), dtype=complex)
    phases = np.exp(1j * np.arange(n))
    a = phases[:, None] * a * phases.conj()
    return (np.tril(a, -1) + np.tril(a, -1).conj().T + np.diag(np.diag(a).real)).tolist()


HARD = {
    "hilbert 6": hilbert(6),
    "hilbert 12": hilbert(12),
    "second difference 20": second_difference(20),
    "Wilkinson 21": wilkinson(21),
    "falling 15": kahan_like(15),
    "near multiple": [[1.0, 1e-9, 0], [1e-9, 1.0, 1e-9], [0, 1e-9, 1.0]],
    "far apart": [[1e-200, 1e-200], [1e-200, 1.0]],
    "turned hilbert 8": hard_complex(8),
}


def exact_values(a):
    """Eigenvalues to fifty digits of the matrix that the lower triangle stands for."""
    with mpmath.workdps(50):
        return sorted(mpmath.eighe(mpmath.matrix(a), eigvals_only=True))


@pytest.mark.parametrize("name", HARD)
def test_values_agree_with_fifty_digits(name):
    a = HARD[name]
    exact = exact_values(a)
    largest = max(abs(value) for value in exact)
    is_complex = np.iscomplexobj(np.asarray(a))
    for method in REDUCTIONS + ([] if is_complex else ["jacobi"]):
        values, _ = eigh(a, method)
        errors = [abs(mpmath.mpf(found) - value) for found, value in zip(values, exact)]
        print(name, method, float(max(errors) / largest / EPS), "epsilon")
        tolerance = value_tolerance(method, len(exact)) * largest
        assert all(error <= tolerance for error in errors)


def test_the_shift_may_be_beyond_all_squares():
    for small in (1e-200, 1e-320):
        for method in [*REDUCTIONS, "jacobi"]:
            values, vectors = eigh([[small, small], [small, 1.0]], method)
            assert values.tolist() == [small, 1.0]
            assert np.isfinite(vectors).all()


def test_an_imaginary_diagonal_is_dropped_and_not_seen_by_the_scale():
    a = [[2e-10 + 1e308j, 0], [1e-10 + 5e-11j, -1e-10 + 3j]]
    clean = [[2e-10, 1e-10 - 5e-11j], [1e-10 + 5e-11j, -1e-10]]
    for method in REDUCTIONS:
        values, _ = eigh(a, method)
        assert np.abs(values - np.linalg.eigvalsh(clean)).max() < 4 * EPS * 2.4e-10


@pytest.mark.parametrize("dtype, method", METHODS)
def test_empty_single_and_zero_matrices(dtype, method):
    values, vectors = _numerical.eigh(_numerical.Tensor([], (0, 0), dtype), method)
    assert values.shape == (0,) and vectors.shape == (0, 0)
    values, vectors = _numerical.eigh(_numerical.Tensor([-2.0], (1, 1), dtype), method)
    assert values.tolist() == [-2.0]
    assert abs(vectors.tolist()[0][0]) == 1.0
    values, vectors = _numerical.eigh(_numerical.Tensor([0.0] * 1600, (40, 40), dtype), method)
    assert values.tolist() == [0.0] * 40
    assert np.array_equal(abs(np.asarray(vectors)) ** 2, np.eye(40))


@pytest.mark.parametrize("dtype, method", METHODS)
def test_what_stands_above_the_diagonal_is_not_read(dtype, method):
    a = hermitian(40, dtype)
    dirty = np.where(np.triu(np.ones((40, 40)), 1) > 0, np.nan, a)
    for clean_part, dirty_part in zip(eigh(a, method), eigh(dirty, method)):
        assert np.array_equal(clean_part, dirty_part)


@pytest.mark.parametrize("dtype, method", METHODS)
def test_input_stays_as_it_was(dtype, method):
    a = tensor(hermitian(20, dtype))
    before = np.asarray(a).copy()
    _numerical.eigh(a, method)
    assert np.array_equal(np.asarray(a), before)


NOT_FINITE = ": the matrix holds an infinite or NaN entry"
SYMMETRIC = "symmetric eigendecomposition"
HERMITIAN = "Hermitian eigendecomposition"


def test_messages():
    one = tensor([[1.0]])
    for method in ["", "QL", "Jacobi", "divide_and_conquer "]:
        assert error_of(_numerical.eigh, one, method) == numerical_error(
            f"unknown method '{method}'"
        )
    wide = tensor(np.ones((2, 3)))
    complex_wide = tensor(np.ones((2, 3), complex))
    for method in REDUCTIONS:
        assert error_of(_numerical.eigh, wide, method) == numerical_error(
            f"{SYMMETRIC} requires a square matrix"
        )
        assert error_of(_numerical.eigh, complex_wide, method) == numerical_error(
            f"{HERMITIAN} requires a square matrix"
        )
    assert error_of(_numerical.eigh, complex_wide, "jacobi") == numerical_error(
        f"{HERMITIAN}: the Jacobi method is for real symmetric matrices"
    )
    for shape in [(), (4,), (1, 2, 2)]:
        a = _numerical.Tensor([1.0] * int(np.prod(shape)), shape)
        assert error_of(_numerical.eigh, a, "jacobi") == numerical_error(
            "eigh expects a matrix (rank-2 tensor)"
        )
    for bad in [np.nan, np.inf, -np.inf]:
        a = [[1.0, 2.0], [bad, 3.0]]
        assert error_of(eigh, a, "jacobi") == numerical_error(SYMMETRIC + NOT_FINITE)
        assert error_of(eigh, [[bad * 1j, 0], [0, 0]], "tridiagonal_ql") == numerical_error(
            HERMITIAN + NOT_FINITE
        )


def test_the_method_is_looked_up_before_the_tensor_is_looked_at():
    vector = _numerical.Tensor([1.0], (1,))
    assert error_of(_numerical.eigh, vector, "no") == numerical_error("unknown method 'no'")
    assert error_of(_numerical.eigh, 3, 4)[0] is TypeError
    assert error_of(_numerical.eigh, 3, 4)[1] == "expected str, got int"
    assert error_of(_numerical.eigh, vector)[0] is TypeError


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("method", REDUCTIONS)
def test_bits_do_not_depend_on_the_number_of_threads(dtype, method):
    a = hermitian(200, dtype)
    before = _numerical.get_num_threads()
    try:
        results = []
        for threads in [1, 2, 3, 64]:
            _numerical._set_num_threads(threads)
            results.append(eigh(a, method))
    finally:
        _numerical._set_num_threads(before)
    for values, vectors in results[1:]:
        assert np.array_equal(values, results[0][0])
        assert np.array_equal(vectors, results[0][1])


@pytest.mark.parametrize("dtype, method", METHODS)
def test_the_lock_is_released_from_4096_elements_on(dtype, method):
    small = tensor(hermitian(63, dtype))
    assert lock_is_held_during(functools.partial(_numerical.eigh, small, method), tries=20)
    large = tensor(hermitian(64, dtype))
    assert lock_is_released_during(functools.partial(_numerical.eigh, large, method))
