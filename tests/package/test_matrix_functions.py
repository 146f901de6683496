"""expm, sqrtm and logm against mpmath in fifty digits, against SciPy, and by identities."""

import math

import mpmath
import numpy as np
import pytest
import scipy.linalg

import numerical as nm
from oracle import close, normal

LA = nm.linalg
EPS = 2.0**-52
DTYPES = ["float64", "complex128"]
PATHS = ["portable", "avx2", "avx512"]


def adjoint(a):
    return np.conj(a.T)


def jordan(n, value, dtype="float64"):
    return np.diag(np.full(n, value, dtype)) + np.eye(n, k=1)


def rotated(a, seed=5):
    """A similar matrix that shows nothing of the triangle it comes from."""
    q = np.linalg.qr(normal(a.shape, seed=seed))[0]
    return q @ a @ q.T


def precisely(function, a):
    """The function in fifty digits, as an array of complex numbers."""
    with mpmath.workdps(50):
        found = function(mpmath.matrix(a.tolist()))
        return np.array([[complex(found[i, j]) for j in range(len(a))] for i in range(len(a))])


def through_eigenvectors(scalar):
    """The function of a matrix with distinct eigenvalues, for `precisely`."""

    def function(a):
        values, vectors = mpmath.eig(a)
        return vectors * mpmath.diag([scalar(value) for value in values]) * vectors**-1

    return function


precise_logarithm = through_eigenvectors(mpmath.log)
precise_root = through_eigenvectors(mpmath.sqrt)


def error_of(found, expected):
    """In units of eps·norm."""
    found = np.asarray(found)
    return np.linalg.norm(found - expected) / (EPS * np.linalg.norm(expected))


def condition(name, a):
    """A lower bound of the relative condition number: of one small perturbation, in any direction."""
    base = precisely(name, a)
    change = normal(a.shape, a.dtype.name, seed=8)
    change *= 1e-9 * np.linalg.norm(a) / np.linalg.norm(change)
    moved = np.linalg.norm(precisely(name, a + change) - base) / np.linalg.norm(base)
    return max(moved / 1e-9, 1.0)


# --- the exponential -----------------------------------------------------------------------------
EXPONENTIALS = {
    "tiny": normal((4, 4)) * 1e-9,
    "degree 3": normal((4, 4)) * 3e-3,
    "degree 5": normal((4, 4)) * 0.05,
    "degree 18": normal((4, 4)) * 0.3,
    "degree 9": normal((4, 4)) * 0.7,
    "degree 13": normal((4, 4)) * 1.5,
    "squared": normal((5, 5)) * 9,
    "complex": normal((5, 5), "complex128") * 4,
    "imaginary": 1j * normal((4, 4)) * 20,
    "antisymmetric": (lambda a: a - a.T)(normal((6, 6))) * 8,
    "symmetric": (lambda a: a + a.T)(normal((6, 6))),
    "negative": rotated(np.diag([-1.0, -20, -50, -90])),
    "defective": rotated(jordan(5, 2.0)),
    "Jordan": jordan(6, -3.0),
    "nilpotent": rotated(jordan(6, 0.0)),
    # Published hard cases: (Ward 1977), with eigenvalues -1, -17 and -17, and one of large norm.
    "Ward": np.array([[-131.0, 19, 18], [-390, 56, 54], [-387, 57, 52]]),
    "one percent": np.array([[1.0, 1e2], [-1e-2, -1.0]]),
    "lower": np.tril(normal((5, 5)) * 3),
    "upper": np.triu(normal((5, 5), "complex128") * 3),
    "graded": normal((5, 5)) * 10.0 ** -np.arange(5)[:, None],
}


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("name", EXPONENTIALS)
def test_exponentials_have_the_digits_that_their_condition_leaves(name, path):
    a = EXPONENTIALS[name]
    with nm.limit_gemm_path(path):
        found = LA.expm(a)
    assert found.dtype == a.dtype.name
    expected = precisely(mpmath.expm, a)
    assert error_of(found, expected) < 16 * len(a) * condition(mpmath.expm, a)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("scale", [1e-3, 0.1, 1.0])
@pytest.mark.parametrize("n", [1, 2, 9, 33, 64, 65, 120])
def test_exponentials_are_scipys(n, scale, dtype):
    a = normal((n, n), dtype) * scale
    expected = scipy.linalg.expm(a)
    assert error_of(LA.expm(a), expected) < 50 * n


def test_exponentials_known_without_rounding():
    assert LA.expm(nm.zeros((3, 3))).tolist() == np.eye(3).tolist()
    assert LA.expm(nm.zeros((0, 0))).shape == (0, 0)
    assert LA.expm([[1.0]]).tolist() == [[math.e]]
    a = np.diag([0.5, -800.0, 709.0, 0.0])
    np.testing.assert_array_equal(LA.expm(a), np.diag(np.exp(np.diag(a))))
    np.testing.assert_array_equal(LA.expm([[0.0, 1e200], [0.0, 0.0]]), [[1, 1e200], [0, 1]])
    np.testing.assert_array_equal(LA.expm([[0.0, 0.0], [-1e20, 0.0]]), [[1, 0], [-1e20, 1]])


def test_scaling_follows_the_powers_and_not_the_norm():
    # A norm of 1e6 would ask for 18 squarings, each of which doubles the error; powers ask for none.
    a = np.array([[1.0, 1e6], [0.0, -1.0]])
    expected = precisely(mpmath.expm, a)
    for matrix, wanted in ((a, expected), (a.T, expected.T)):
        assert np.abs(np.asarray(LA.expm(matrix)) - wanted).max() < 4 * EPS * np.abs(wanted).max()
    b = np.array([[0.0, 1e6, 1.0], [0.0, 0.0, 2.0], [1e-9, 0.0, 0.0]])
    assert error_of(LA.expm(b), precisely(mpmath.expm, b)) < 100 * condition(mpmath.expm, b)


def test_diagonals_of_triangles_are_those_of_the_scalar_function():
    for t in (np.triu(normal((30, 30)) * 9), np.triu(normal((8, 8), "complex128") * 9)):
        for a, found in ((t, np.asarray(LA.expm(t))), (t.T, np.asarray(LA.expm(t.T)).T)):
            np.testing.assert_allclose(np.diag(found), np.exp(np.diag(t)), rtol=2 * EPS)
            assert not np.any(np.tril(found, -1))


@pytest.mark.parametrize("gap", [0.0, 2.0**-30, 0.5, 3.0])
def test_the_diagonal_beside_that_of_a_triangle_keeps_its_digits(gap):
    # The quotient of differences would lose half of them for the small gap.
    a = np.array([[-20.0, 3.0], [0.0, -20.0 - gap]])
    expected = precisely(mpmath.expm, a).real
    np.testing.assert_allclose(np.asarray(LA.expm(a)), expected, rtol=8 * EPS)


@pytest.mark.parametrize("dtype", DTYPES)
def test_inverse_exponentials_are_those_of_the_negative(dtype):
    a = normal((20, 20), dtype) / 4
    product = np.asarray(LA.expm(a) @ LA.expm(-a))
    bound = np.linalg.norm(np.asarray(LA.expm(a))) * np.linalg.norm(np.asarray(LA.expm(-a)))
    assert np.linalg.norm(product - np.eye(20)) < 20 * EPS * bound


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [20, 99, 100, 101])
def test_exponentials_of_hermitian_matrices_are_hermitian(n, dtype):
    a = normal((n, n), dtype) / np.sqrt(n)
    a = a + adjoint(a)
    x = np.asarray(LA.expm(a))
    assert error_of(x, scipy.linalg.expm(a)) < 20 * n
    if n >= 100:
        np.testing.assert_array_equal(x, adjoint(x))
    assert np.linalg.eigvalsh(x)[0] > 0
    # An element changed by its last bit makes it another matrix, but not another result.
    a[0, 1] *= 1 + EPS
    assert error_of(LA.expm(a), x) < 20 * n


@pytest.mark.parametrize("size", [0.3, 8.0])
@pytest.mark.parametrize("n", [40, 99, 100, 101, 170])
def test_exponentials_of_antihermitian_matrices_are_unitary(n, size):
    a = normal((n, n), "complex128") * (size / np.sqrt(n))
    a = a - adjoint(a)
    u = np.asarray(LA.expm(a))
    assert error_of(u, scipy.linalg.expm(a)) < 20 * n
    assert np.linalg.norm(adjoint(u) @ u - np.eye(n)) < 100 * n * EPS
    # An element changed by its last bit makes it another matrix, but not another result.
    a[0, 1] *= 1 + EPS
    assert error_of(LA.expm(a), u) < 20 * n


def test_exponentials_of_large_antihermitian_matrices_are_unitary_at_any_norm():
    h = normal((120, 120), "complex128")
    for scale in (1e-300, 1e8, 1e150):
        u = np.asarray(LA.expm(1j * scale * (h + adjoint(h))))
        assert np.linalg.norm(adjoint(u) @ u - np.eye(120)) < 120 * EPS * 30
    real = normal((120, 120), "float64")
    rotation = np.asarray(LA.expm(real - real.T))
    assert rotation.dtype == np.float64
    assert error_of(rotation, scipy.linalg.expm(real - real.T)) < 20 * 120


def test_exponentials_of_antihermitian_matrices_have_the_same_bits_on_any_number_of_threads():
    h = normal((150, 150), "complex128")
    a = nm.asarray(1j * (h + adjoint(h)))
    before = nm.get_num_threads()
    found = set()
    for threads in (1, 2, 3):
        nm.set_num_threads(threads)
        found.add(np.asarray(LA.expm(a)).tobytes())
    nm.set_num_threads(before)
    assert len(found) == 1


def test_exponentials_beyond_the_range_are_not_finite():
    assert LA.expm([[1000.0]]).tolist() == [[math.inf]]
    assert LA.expm([[-1000.0]]).tolist() == [[0.0]]
    huge = np.asarray(LA.expm(np.full((3, 3), 1e300)))
    assert not np.isfinite(huge).any()
    assert not np.asarray(LA.expm(rotated(np.diag([-1e30, -1e25, -1e28])))).any()


@pytest.mark.parametrize("dtype", DTYPES)
def test_exponentials_of_a_stack_have_the_bits_of_single_calls(dtype):
    a = normal((2, 3, 5, 5), dtype)
    whole = LA.expm(a)
    for place in np.ndindex(2, 3):
        assert np.array(whole[place]).tobytes() == np.array(LA.expm(a[place])).tobytes()
    assert LA.expm(nm.zeros((0, 3, 3))).shape == (0, 3, 3)


# --- the square root -----------------------------------------------------------------------------
def root_ratio(a, x):
    """The residual in units of what rounding of the root may change (Higham 2008)."""
    x = np.asarray(x)
    return np.linalg.norm(x @ x - a) / (EPS * len(a) * np.linalg.norm(x) ** 2)


ROOTS = {
    "near the identity": np.eye(5) + normal((5, 5)) * 1e-3,
    "without negative eigenvalues": normal((6, 6)) + 6 * np.eye(6),
    "complex": normal((6, 6), "complex128"),
    "negative eigenvalues": rotated(np.diag([-4.0, -1, 2, 9, 3])) + 1e-3 * np.triu(np.ones((5, 5))),
    "all pairs": rotated(scipy.linalg.block_diag(*[[[0.1 * k, 1.0], [-1.0, 0.1 * k]] for k in range(1, 5)])),
    "pairs in the left half-plane": rotated(scipy.linalg.block_diag([[-3.0, 1e-3], [-1e-3, -3.0]], [[2.0, 5], [-5, 2]])),
    "Jordan": jordan(5, 4.0),
    "Jordan of a negative value": jordan(4, -4.0),
    "defective": rotated(jordan(4, 1.0)),
    "small and large": np.diag([1e-150, 1.0]) + np.triu(np.ones((2, 2)), 1),
}  # fmt: skip
DEFECTIVE = ["Jordan", "Jordan of a negative value", "defective"]


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("name", ROOTS)
def test_square_roots_have_the_digits_that_their_condition_leaves(name, path):
    a = ROOTS[name]
    with nm.limit_gemm_path(path):
        x = LA.sqrtm(a)
    is_complex = name == "complex" or "negative" in name.replace("without negative", "")
    assert x.dtype == ("complex128" if is_complex else "float64")
    assert root_ratio(a, x) < 10
    if name in DEFECTIVE:
        close(x, scipy.linalg.sqrtm(a), 1e-6)
    else:
        assert error_of(x, precisely(precise_root, a)) < 16 * len(a) * condition(precise_root, a)


def test_square_roots_of_numbers_near_the_ends_of_the_range():
    a = normal((9, 9)) + 9 * np.eye(9)
    x = np.asarray(LA.sqrtm(a))
    for exponent in (1000, -1000):
        moved = np.asarray(LA.sqrtm(a * 2.0**exponent)) / 2.0 ** (exponent // 2)
        np.testing.assert_allclose(moved, x, rtol=0, atol=1e-13)


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 3, 31, 32, 33, 64, 65, 100])
def test_square_roots_of_random_matrices(n, dtype, path):
    a = normal((n, n), dtype)
    with nm.limit_gemm_path(path):
        for matrix in (a, a @ a + 2 * n * np.eye(n)):
            x = LA.sqrtm(matrix)
            assert root_ratio(matrix, x) < 10
            assert np.all(np.linalg.eigvals(np.asarray(x)).real > -1e-7)


def test_real_roots_stay_real():
    assert LA.sqrtm(normal((40, 40)) + 40 * np.eye(40)).dtype == "float64"
    assert LA.sqrtm(-np.eye(2)).tolist() == [[1j, 0j], [0j, 1j]]
    assert LA.sqrtm([[0.0, 1.0], [-1.0, 0.0]]).dtype == "float64"
    assert LA.sqrtm(nm.zeros((0, 0))).shape == (0, 0)


@pytest.mark.parametrize("dtype", DTYPES)
def test_roots_of_hermitian_matrices_are_hermitian_to_the_bit(dtype):
    b = normal((30, 10), dtype)
    a = b @ adjoint(b)
    a = (a + adjoint(a)) / 2
    x = np.asarray(LA.sqrtm(a))  # of rank 10: rounding makes some eigenvalues negative
    assert x.dtype.name == dtype
    np.testing.assert_array_equal(x, adjoint(x))
    assert root_ratio(a, x) < 10
    indefinite = (lambda c: c + adjoint(c))(normal((30, 30), dtype))
    y = LA.sqrtm(indefinite)
    assert y.dtype == "complex128"
    assert root_ratio(indefinite, y) < 10
    assert np.all(np.linalg.eigvals(np.asarray(y)).real > -1e-12)


def test_singular_matrices_have_roots_if_zero_is_semisimple():
    assert LA.sqrtm(nm.zeros((3, 3))).tolist() == np.zeros((3, 3)).tolist()
    a = np.array([[4.0, 2.0, 1.0], [0.0, 0.0, 0.0], [0.0, 0.0, 0.0]])
    x = np.asarray(LA.sqrtm(a))
    np.testing.assert_allclose(x, [[2, 1, 0.5], [0, 0, 0], [0, 0, 0]], rtol=1e-15)


# --- the logarithm -------------------------------------------------------------------------------
LOGARITHMS = {
    **ROOTS,
    "very near the identity": np.eye(4) + normal((4, 4)) * 1e-10,
    "rotation": np.array([[0.0, 1.0], [-1.0, 0.0]]),
    "near the branch cut": rotated(scipy.linalg.block_diag([[-1.0, 1e-6], [-1e-6, -1.0]], [[2.0, 1], [-1, 2]])),
    "neighbours across the branch cut": np.array([[-1 + 1e-3j, 2.0], [0.0, -1 - 1e-3j]]),
    "on the branch cut, negative": rotated(np.diag([-1.0, -2.0, 3.0])) + 1e-3 * np.triu(np.ones((3, 3))),
    "graded": np.diag([1e-8, 1e-3, 1.0, 1e4]) + np.triu(normal((4, 4)), 1) * 1e-3,
    "far from normal": np.array([[1e-2, 1e4], [0.0, 2e-2]]),
}  # fmt: skip
SHOWN_BY_RESIDUAL = [*DEFECTIVE, "very near the identity"]


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("name", LOGARITHMS)
def test_logarithms_have_the_digits_that_their_condition_leaves(name, path):
    a = LOGARITHMS[name]
    with nm.limit_gemm_path(path):
        x = LA.logm(a)
    is_complex = a.dtype.kind == "c" or "negative" in name.replace("without negative", "")
    assert x.dtype == ("complex128" if is_complex else "float64")
    if name in SHOWN_BY_RESIDUAL:
        x = np.asarray(x)
        assert error_of(precisely(mpmath.expm, x), a) < 16 * len(a) * condition(mpmath.expm, x)
    else:
        expected = precisely(precise_logarithm, a)
        limit = 16 * len(a) * condition(precise_logarithm, a)
        assert error_of(x, expected) < limit


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 3, 31, 32, 33, 63, 64, 65, 100])
def test_logarithms_undo_exponentials(n, dtype, path):
    a = normal((n, n), dtype) / (2 * np.sqrt(n))  # eigenvalues of modulus less than π
    with nm.limit_gemm_path(path):
        x = LA.logm(LA.expm(a))
    assert x.dtype == dtype
    assert np.linalg.norm(np.asarray(x) - a) < 50 * n * EPS * np.linalg.norm(a)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [2, 10, 40])
def test_logarithms_are_scipys(n, dtype):
    a = normal((n, n), dtype)
    expected = scipy.linalg.logm(a)
    x = np.asarray(LA.logm(a))
    assert np.linalg.norm(x - expected) < 1e-10 * np.linalg.norm(expected)


def test_diagonals_of_triangles_are_logarithms():
    t = np.triu(normal((20, 20)), 1) + np.diag(2.0 ** np.linspace(-30, 30, 20))
    x = np.asarray(LA.logm(t))
    found = np.linalg.eigvals(x)
    np.testing.assert_allclose(np.sort(found.real), np.sort(np.log(np.diag(t))), rtol=1e-12)


@pytest.mark.parametrize("dtype", DTYPES)
def test_logarithms_of_hermitian_matrices(dtype):
    b = normal((30, 30), dtype)
    positive = b @ adjoint(b) + np.eye(30)
    positive = (positive + adjoint(positive)) / 2
    x = np.array(LA.logm(positive))
    assert x.dtype.name == dtype
    np.testing.assert_array_equal(x, adjoint(x))
    assert error_of(scipy.linalg.expm(x), positive) < 200 * 30
    indefinite = b + adjoint(b)
    y = LA.logm(indefinite)
    assert y.dtype == "complex128"
    assert error_of(scipy.linalg.expm(np.array(y)), indefinite) < 200 * 30


def test_logarithms_known_without_rounding():
    assert LA.logm(nm.eye(4)).tolist() == np.zeros((4, 4)).tolist()
    assert LA.logm(nm.zeros((0, 0))).shape == (0, 0)
    assert LA.logm([[1.0, 1e5], [0.0, 1.0]]).tolist() == [[0.0, 1e5], [0.0, 0.0]]
    assert LA.logm(-nm.eye(2)).tolist() == [[math.pi * 1j, 0j], [0j, math.pi * 1j]]


@pytest.mark.parametrize("function", [LA.sqrtm, LA.logm])
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
@pytest.mark.parametrize("n", [1, 4, 20])
def test_stacks_have_the_bits_of_single_calls(function, n, dtype):
    a = nm.asarray(
        np.stack(
            [
                normal((n, n), dtype, seed) @ normal((n, n), dtype, seed).conj().T + np.eye(n)
                for seed in range(6)
            ]
        )
    )
    stack = function(nm.reshape(a, (2, 3, n, n)))
    assert stack.dtype == dtype
    assert stack.shape == (2, 3, n, n)
    for i in range(6):
        assert nm.array_equal(stack[i // 3, i % 3], function(a[i]))


@pytest.mark.parametrize("function", [LA.sqrtm, LA.logm])
def test_a_stack_is_complex_if_one_result_is(function):
    both = function([[[4.0]], [[-4.0]]])
    assert both.dtype == "complex128"
    assert both[0, 0, 0] == function([[4.0]])[0, 0]
    assert both[1, 0, 0] == function([[-4.0]])[0, 0]
    none = function(nm.zeros((0, 3, 3)))
    assert (none.shape, none.dtype) == ((0, 3, 3), nm.float64)


@pytest.mark.parametrize("function", [LA.sqrtm, LA.logm])
def test_the_failing_matrix_of_a_stack_is_named(function):
    with pytest.raises(nm.error) as refused:
        function([np.eye(2), np.full((2, 2), np.inf)])
    assert str(refused.value) == f"{function.__name__}: the matrix holds an infinite or NaN entry"


NO_LOGARITHM = "logm: the matrix is singular and has no logarithm"
NO_ROOT = "sqrtm: the matrix is singular, and no square root of it was found"


@pytest.mark.parametrize(
    ("call", "kind", "message"),
    [
        (lambda: LA.sqrtm([[0.0, 1.0], [0.0, 0.0]]), nm.error, NO_ROOT),
        (lambda: LA.sqrtm([[0.0, 1.0j], [0.0, 0.0]]), nm.error, NO_ROOT),
        (lambda: LA.sqrtm(nm.ones((2, 3))), ValueError, "sqrtm takes square matrices, not shape (2, 3)"),
        (lambda: LA.sqrtm([[np.nan]]), nm.error, "sqrtm: the matrix holds an infinite or NaN entry"),
        (lambda: LA.sqrtm([[1j, np.inf], [0, 0]]), nm.error, "sqrtm: the matrix holds an infinite or NaN entry"),
        (lambda: LA.logm(nm.ones((2, 2))), nm.error, NO_LOGARITHM),
        (lambda: LA.logm([[0.0, 1.0], [0.0, 0.0]]), nm.error, NO_LOGARITHM),
        (lambda: LA.logm([[0.0, 1j], [0.0, 2.0]]), nm.error, NO_LOGARITHM),
        (lambda: LA.logm(nm.ones((2, 3))), ValueError, "logm takes square matrices, not shape (2, 3)"),
        (lambda: LA.logm([[np.inf]]), nm.error, "logm: the matrix holds an infinite or NaN entry"),
        (lambda: LA.expm(nm.ones((2, 3))), ValueError, "expm takes square matrices, not shape (2, 3)"),
        (lambda: LA.expm(nm.ones(3)), ValueError, "expm takes a matrix or a stack of them, not a tensor of rank 1"),
        (lambda: LA.expm([[np.inf]]), nm.error, "expm: the matrix holds an infinite or NaN entry"),
        (lambda: LA.expm([np.eye(2), np.full((2, 2), np.nan)]), nm.error, "expm: the matrix holds an infinite or NaN entry"),
    ],
)  # fmt: skip
def test_a_refusal_says_why(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert type(failure.value) is kind
    assert str(failure.value) == message
