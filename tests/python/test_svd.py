"""svd: values to the last digits, ratios, order, messages, threads and the interpreter lock."""

import functools

import _numerical
import mpmath
import numpy as np
import pytest
from support import error_of, lock_is_held_during, lock_is_released_during, numerical_error

EPS = np.finfo(float).eps
DTYPES = ["float64", "complex128"]
METHODS = ["divide_and_conquer", "bidiagonal_qr", "jacobi"]
SHAPES = [
    (1, 1),
    (2, 2),
    (33, 33),
    (64, 64),
    (129, 129),
    (200, 200),
    (1, 9),
    (9, 1),
    (400, 50),
    (50, 400),
    (70, 69),
]


def tensor(array, dtype=None):
    array = np.asarray(array)
    dtype = dtype or ("complex128" if np.iscomplexobj(array) else "float64")
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def svd(a, method):
    return tuple(np.asarray(part) for part in _numerical.svd(tensor(a), method))


def normal(shape, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if dtype == "complex128" else a


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("method", METHODS)
@pytest.mark.parametrize("shape", SHAPES)
def test_agrees_with_numpy_and_has_small_ratios(shape, method, dtype):
    a = normal(shape, dtype)
    m, n, k = *shape, min(shape)
    u, s, vh = svd(a, method)
    assert (u.dtype, s.dtype, vh.dtype) == (dtype, "float64", dtype)
    assert (u.shape, s.shape, vh.shape) == ((m, k), (k,), (k, n))
    assert (np.diff(s) <= 0).all() and (s >= 0).all()
    norm = np.abs(a).sum(axis=1).max()
    ratios = [
        np.abs(u * s @ vh - a).max() / (max(m, n) * norm * EPS),
        np.abs(u.conj().T @ u - np.eye(k)).max() / (m * EPS),
        np.abs(vh @ vh.conj().T - np.eye(k)).max() / (n * EPS),
    ]
    assert max(ratios) < 30, ratios
    expected = np.linalg.svd(a, compute_uv=False)
    assert np.abs(s - expected).max() <= 8 * max(m, n) * EPS * expected[0]


def hilbert(n):
    return [[1 / (i + j + 1) for j in range(n)] for i in range(n)]


def kahan(n, angle=1.2):
    s, c = np.sin(angle), np.cos(angle)
    return [[s**i * (1.0 if i == j else -c * (j > i)) for j in range(n)] for i in range(n)]


def bidiagonal(d, e):
    return (np.diag(np.asarray(d, float)) + np.diag(np.asarray(e, float), 1)).tolist()


def turned(a):
    """The same values in a complex matrix."""
    phases = np.exp(1j * np.arange(len(a)))
    return (phases[:, None] * np.asarray(a, complex) * phases[::-1]).tolist()


HARD = {
    "hilbert 6": hilbert(6),
    "hilbert 12": hilbert(12),
    "kahan 15": kahan(15),
    "golden ratio": [[1.0, 1.0], [0.0, 1.0]],
    "bidiagonal 34": bidiagonal([1.0] * 34, [1.0] * 33),
    "zero in the middle": bidiagonal([1, 2, 0, 3, 4], [1, 1, 1, 1]),
    "graded upwards": bidiagonal(
        [10.0**i for i in range(-9, 1)], [10.0**i / 2 for i in range(-9, 0)]
    ),
    "near multiple": [[1.0, 1e-9, 0], [1e-9, 1.0, 1e-9], [0, 1e-9, 1.0]],
    "turned hilbert 8": turned(hilbert(8)),
}


def exact_values(a):
    """Singular values to fifty digits."""
    with mpmath.workdps(50):
        a = mpmath.matrix(a)
        is_complex = any(isinstance(x, mpmath.mpc) for x in a)
        values = (
            mpmath.svd_c(a, compute_uv=False) if is_complex else mpmath.svd_r(a, compute_uv=False)
        )
        return sorted(values, reverse=True)


@pytest.mark.parametrize("name", HARD)
def test_values_agree_with_fifty_digits(name):
    exact = exact_values(HARD[name])
    for method in METHODS:
        _, values, _ = svd(HARD[name], method)
        errors = [abs(mpmath.mpf(found) - value) for found, value in zip(values, exact)]
        print(name, method, float(max(errors) / exact[0] / EPS), "epsilon")
        accepted = max(8, len(exact)) if method == "jacobi" else 8  # its rotations add up
        assert all(error <= accepted * EPS * exact[0] for error in errors)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("method", METHODS)
def test_empty_single_and_zero_matrices(method, dtype):
    for m, n in [(0, 0), (0, 3), (3, 0)]:
        u, s, vh = _numerical.svd(_numerical.Tensor([], (m, n), dtype), method)
        assert (u.shape, s.shape, vh.shape) == ((m, 0), (0,), (0, n))
    u, s, vh = _numerical.svd(_numerical.Tensor([-2.0], (1, 1), dtype), method)
    assert s.tolist() == [2.0]
    assert u.tolist()[0][0] * vh.tolist()[0][0] == -1.0
    u, s, vh = (
        np.asarray(part) for part in _numerical.svd(tensor(np.zeros((40, 30), dtype)), method)
    )
    assert s.tolist() == [0.0] * 30
    assert np.array_equal(u.conj().T @ u, np.eye(30)) and np.array_equal(
        vh @ vh.conj().T, np.eye(30)
    )


@pytest.mark.parametrize("method", METHODS)
@pytest.mark.parametrize("factor", [1e300, 1e-300, 1e-310])
def test_values_keep_their_digits_at_both_ends_of_the_range(method, factor):
    a = normal((40, 40)) * factor
    u, s, vh = svd(a, method)
    largest = np.abs(a).max()
    assert np.allclose(u * (s / largest) @ vh, a / largest, rtol=0, atol=1e-12)
    assert np.abs(u.T @ u - np.eye(40)).max() < 1e-12


@pytest.mark.parametrize("n", [4, 10, 13, 33])
def test_jacobi_takes_exactly_dependent_columns(n):
    u, s, vh = svd(np.ones((n, n)), "jacobi")
    assert abs(s[0] - n) < 1e-13 and s[1] < 1e-13
    assert np.abs(u.T @ u - np.eye(n)).max() < 1e-13


def test_messages():
    one = tensor([[1.0]])
    for method in ["", "QR", "Jacobi", "divide_and_conquer "]:
        assert error_of(_numerical.svd, one, method) == numerical_error(
            f"unknown method '{method}'"
        )
    for shape in [(), (4,), (1, 2, 2)]:
        a = _numerical.Tensor([1.0] * int(np.prod(shape)), shape)
        assert error_of(_numerical.svd, a, "jacobi") == numerical_error(
            "svd expects a matrix (rank-2 tensor)"
        )
    for method in METHODS:
        for bad in [np.nan, np.inf, -np.inf, complex(0, np.nan)]:
            assert error_of(svd, [[1.0, bad], [2.0, 3.0]], method) == numerical_error(
                "SVD: the matrix holds an infinite or NaN entry"
            )


def test_the_method_is_looked_up_before_the_tensor_is_looked_at():
    vector = _numerical.Tensor([1.0], (1,))
    assert error_of(_numerical.svd, vector, "no") == numerical_error("unknown method 'no'")
    assert error_of(_numerical.svd, 3, 4) == (TypeError, "expected str, got int")
    assert error_of(_numerical.svd, vector)[0] is TypeError


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("method", METHODS)
def test_bits_do_not_depend_on_the_number_of_threads(method, dtype):
    a = normal((160, 140), dtype)
    before = _numerical.get_num_threads()
    results = []
    try:
        for threads in [1, 2, 3, 64]:
            _numerical._set_num_threads(threads)
            results.append(svd(a, method))
    finally:
        _numerical._set_num_threads(before)
    for parts in results[1:]:
        for part, first in zip(parts, results[0]):
            assert np.array_equal(part, first)


@pytest.mark.parametrize("method", METHODS)
def test_the_lock_is_released_from_4096_elements_on(method):
    small = tensor(normal((63, 65)))
    assert lock_is_held_during(functools.partial(_numerical.svd, small, method), tries=20)
    large = tensor(normal((64, 64)))
    assert lock_is_released_during(functools.partial(_numerical.svd, large, method))
