"""Sylvester, Lyapunov and tensor equations, bases, polar and ordered Schur forms; SciPy is the oracle."""

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


def size(*matrices):
    return sum(np.linalg.norm(a) for a in matrices)


def sylvester_ratio(a, b, q, x):
    """The residual in units of what rounding of the coefficients may change."""
    return np.linalg.norm(a @ x + x @ b - q) / (EPS * max(x.shape) * size(a, b) * size(x))


def stein_ratio(a, q, x):
    residual = a @ x @ adjoint(a) - x + q
    return np.linalg.norm(residual) / (EPS * len(a) * (size(a) ** 2 + 1) * size(x))


# --- Sylvester and Lyapunov ----------------------------------------------------------------------
@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [
    (1, 1), (1, 5), (5, 1), (2, 2), (7, 4), (31, 32), (33, 32), (32, 33), (34, 65), (100, 3), (120, 90),
])  # fmt: skip
def test_sylvester_equations_are_solved(shape, dtype, path):
    m, n = shape
    a, b, q = normal((m, m), dtype, 1), normal((n, n), dtype, 2), normal((m, n), dtype, 3)
    with nm.limit_gemm_path(path):
        x = np.asarray(LA.solve_sylvester(a, b, q))
    assert sylvester_ratio(a, b, q, x) < 2
    expected = scipy.linalg.solve_sylvester(a, b, q)
    assert np.linalg.norm(x - expected) < 1e-9 * np.linalg.norm(expected)


def test_sylvester_of_mixed_dtypes_is_complex():
    x = LA.solve_sylvester([[1.0]], [[1j]], [[2.0]])
    assert x.tolist() == [[1 - 1j]]


@pytest.mark.parametrize("dtype", DTYPES)
def test_sylvester_of_triangles_with_pairs_across_the_halves(dtype):
    # Every second place of the recursion's cuts falls into a pair of complex eigenvalues.
    blocks = [np.array([[0.1 * k, 1.0], [-1.0, 0.1 * k]]) for k in range(1, 34)]
    a = scipy.linalg.block_diag([[3.0]], *blocks).astype(dtype)
    a += np.triu(normal(a.shape, dtype), 2) * 0.1
    q = normal(a.shape, dtype, 1)
    x = np.asarray(LA.solve_sylvester(a, a, q))
    assert sylvester_ratio(a, a, q, x) < 2


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 3, 10, 32, 33, 34, 66, 100])
def test_lyapunov_equations_are_solved(n, dtype, path):
    a, q = normal((n, n), dtype, 1), normal((n, n), dtype, 2)
    with nm.limit_gemm_path(path):
        x = np.asarray(LA.solve_continuous_lyapunov(a, q))
        y = np.asarray(LA.solve_discrete_lyapunov(a, q))
    assert sylvester_ratio(a, adjoint(a), q, x) < 2
    assert stein_ratio(a, q, y) < 2
    close(x, scipy.linalg.solve_continuous_lyapunov(a, q), 1e-7)


@pytest.mark.parametrize("dtype", DTYPES)
def test_lyapunov_solutions_of_hermitian_sides_are_hermitian_to_the_bit(dtype):
    a = normal((40, 40), dtype, 1)
    q = normal((40, 40), dtype, 2)
    q = q + adjoint(q)
    stable = a / (1.1 * np.max(np.abs(np.linalg.eigvals(a))))
    for x in (LA.solve_continuous_lyapunov(a, q), LA.solve_discrete_lyapunov(stable, q)):
        x = np.asarray(x)
        np.testing.assert_array_equal(x, adjoint(x))
    # The Gramian of a stable system is positive semidefinite.
    gramian = np.asarray(LA.solve_discrete_lyapunov(stable, np.eye(40)))
    assert np.linalg.eigvalsh(gramian)[0] >= 1 - 1e-10


def test_discrete_solutions_near_the_unit_circle_keep_their_digits():
    # The bilinear transform would divide by 1 - 1e-12 and lose them.
    a = np.diag([1 - 2.0**-40, -0.5])
    x = np.asarray(LA.solve_discrete_lyapunov(a, np.eye(2)))
    close(np.diag(x), [1 / (1 - a[0, 0] ** 2), 1 / 0.75], 1e-15)


def test_equations_of_empty_matrices_have_empty_solutions():
    none = nm.zeros((0, 0))
    assert LA.solve_sylvester(none, nm.eye(2), nm.zeros((0, 2))).shape == (0, 2)
    assert LA.solve_continuous_lyapunov(none, none).shape == (0, 0)
    assert LA.solve_discrete_lyapunov(none, none).shape == (0, 0)


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
@pytest.mark.parametrize(
    ("lead_a", "lead_b", "lead_q"),
    [((3,), (3,), (3,)), ((), (2, 1), (3,)), ((2, 1), (), (1,)), ((0,), (), ())],
)
def test_stacks_of_equations_broadcast_with_the_bits_of_single_calls(lead_a, lead_b, lead_q, dtype):
    rng = np.random.default_rng(5)

    def normal(*shape):
        a = rng.standard_normal(shape)
        return a + 1j * rng.standard_normal(shape) if dtype == "complex128" else a

    a, b, q = normal(*lead_a, 4, 4), normal(*lead_b, 3, 3), normal(*lead_q, 4, 3)
    lead = np.broadcast_shapes(lead_a, lead_b, lead_q)
    found = LA.solve_sylvester(a, b, q)
    assert found.shape == (*lead, 4, 3)
    every = [np.broadcast_to(x, (*lead, *x.shape[-2:])) for x in (a, b, q)]
    for place in np.ndindex(lead):
        single = LA.solve_sylvester(*(x[place] for x in every))
        assert np.array_equal(np.asarray(found)[place], np.asarray(single))
    s = normal(*lead_q, 4, 4)
    for solve in (LA.solve_continuous_lyapunov, LA.solve_discrete_lyapunov):
        lead = np.broadcast_shapes(lead_a, lead_q)
        found = solve(a, s)
        assert found.shape == (*lead, 4, 4)
        every = [np.broadcast_to(x, (*lead, 4, 4)) for x in (a, s)]
        for place in np.ndindex(lead):
            assert np.array_equal(
                np.asarray(found)[place], np.asarray(solve(*(x[place] for x in every)))
            )


ROTATION = [[0.0, 1.0], [-1.0, 0.0]]
REFUSALS = [
    (lambda: LA.solve_sylvester([[1.0]], [[-1.0]], [[1.0]]), nm.error,
     "solve_sylvester: a and -b have an eigenvalue in common"),
    (lambda: LA.solve_sylvester(ROTATION, ROTATION, nm.ones((2, 2))), nm.error,
     "solve_sylvester: a and -b have an eigenvalue in common"),
    (lambda: LA.solve_sylvester([[1j]], [[-1j]], [[1.0]]), nm.error,
     "solve_sylvester: a and -b have an eigenvalue in common"),
    (lambda: LA.solve_continuous_lyapunov(ROTATION, nm.eye(2)), nm.error,
     "solve_continuous_lyapunov: a has eigenvalues that are each other's negative conjugate"),
    (lambda: LA.solve_discrete_lyapunov(ROTATION, nm.eye(2)), nm.error,
     "solve_discrete_lyapunov: a has eigenvalues that are each other's reciprocal conjugate"),
    (lambda: LA.solve_discrete_lyapunov([[-1.0]], [[1.0]]), nm.error,
     "solve_discrete_lyapunov: a has eigenvalues that are each other's reciprocal conjugate"),
    (lambda: LA.solve_sylvester(nm.eye(2), nm.eye(3), nm.ones((3, 2))), ValueError,
     "solve_sylvester takes q of shape (2, 3), not (3, 2)"),
    (lambda: LA.solve_sylvester(nm.ones((2, 3)), nm.eye(3), nm.ones((3, 2))), ValueError,
     "solve_sylvester takes square matrices, not shape (2, 3)"),
    (lambda: LA.solve_sylvester(nm.ones((2, 3, 3)), nm.eye(3), nm.ones((2, 3))), ValueError,
     "solve_sylvester takes q of shape (3, 3), not (2, 3)"),
    (lambda: LA.solve_sylvester(nm.ones((2, 3, 3)), nm.ones((3, 1, 1)), nm.ones((3, 1))), ValueError,
     "operands could not be broadcast together with shapes (2,) (3,)"),
    (lambda: LA.solve_continuous_lyapunov(nm.ones((2, 3, 3)), nm.ones((3, 3, 3))), ValueError,
     "operands could not be broadcast together with shapes (2,) (3,)"),
    (lambda: LA.solve_continuous_lyapunov(nm.eye(2), nm.ones(2)), ValueError,
     "solve_continuous_lyapunov takes q of shape (2, 2), not (2,)"),
    (lambda: LA.solve_discrete_lyapunov(nm.eye(2), nm.eye(3)), ValueError,
     "solve_discrete_lyapunov takes q of shape (2, 2), not (3, 3)"),
    (lambda: LA.solve_sylvester([[np.nan]], [[1.0]], [[1.0]]), nm.error,
     "solve_sylvester: the matrix holds an infinite or NaN entry"),
    (lambda: LA.solve_sylvester([[1.0]], [[1.0]], [[np.inf]]), nm.error,
     "solve_sylvester: the matrix holds an infinite or NaN entry"),
    (lambda: LA.solve_discrete_lyapunov([[2.0]], [[np.nan]]), nm.error,
     "solve_discrete_lyapunov: the matrix holds an infinite or NaN entry"),
    (lambda: LA.tensorsolve(nm.ones((2, 3)), nm.ones(2)), ValueError,
     "tensorsolve takes a of shape b.shape + Q, with as many elements of Q as of b: not (2, 3) and (2,)"),
    (lambda: LA.tensorsolve(nm.zeros((2, 2)), nm.ones(2)), nm.error, "solve: matrix is singular"),
    (lambda: LA.tensorinv(nm.ones((2, 3)), 1), ValueError,
     "tensorinv takes as many elements before axis 1 as behind it, not shape (2, 3)"),
    (lambda: LA.tensorinv(nm.eye(2), 0), ValueError, "ind must be positive, not 0"),
    (lambda: LA.orth(nm.ones(3)), ValueError, "orth takes one matrix, not a tensor of rank 1"),
    (lambda: LA.null_space(nm.ones((2, 2, 2))), ValueError,
     "null_space takes one matrix, not a tensor of rank 3"),
    (lambda: LA.orth(nm.eye(2), "x"), TypeError, "rcond must be a real number, not str"),
    (lambda: LA.polar(nm.eye(2), "up"), ValueError, "side is 'right' or 'left', not 'up'"),
    (lambda: LA.polar(nm.ones(2)), ValueError,
     "polar takes a matrix or a stack of them, not a tensor of rank 1"),
    (lambda: LA.polar([[np.nan]]), nm.error, "SVD: the matrix holds an infinite or NaN entry"),
    (lambda: LA.schur(nm.eye(2), sort="up"), ValueError,
     "sort is 'lhp', 'rhp', 'iuc' or 'ouc', not 'up'"),
    (lambda: LA.schur(nm.eye(2), sort=1), TypeError, "sort must be a text or a function, not int"),
]  # fmt: skip


@pytest.mark.parametrize(("call", "kind", "message"), REFUSALS)
def test_a_refusal_says_why(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert type(failure.value) is kind
    assert str(failure.value) == message


def test_a_singular_equation_without_right_side_has_the_solution_zero():
    assert LA.solve_sylvester([[1.0]], [[-1.0]], [[0.0]]).tolist() == [[0.0]]
    assert LA.solve_sylvester(ROTATION, ROTATION, nm.zeros((2, 2))).tolist() == [[0.0] * 2] * 2


# --- tensors that stand for matrices -------------------------------------------------------------
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize(("a_shape", "b_shape", "axes"), [
    ((6, 4, 2, 3, 4), (6, 4), None), ((2, 3, 6), (2, 3), None), ((6, 2, 3), (6,), None), ((4, 4), (4,), None),
    ((2, 6, 3), (6,), (0, 2)), ((2, 6, 3), (6,), (2, 0)), ((3, 2, 3, 2), (3, 2), (0, 1)),
])  # fmt: skip
def test_tensor_systems_are_numpys(a_shape, b_shape, axes, dtype):
    a, b = normal(a_shape, dtype, 1), normal(b_shape, dtype, 2)
    close(LA.tensorsolve(a, b, axes), np.linalg.tensorsolve(a, b, axes), 1e-10)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize(
    ("shape", "ind"), [((4, 6, 8, 3), 2), ((24, 8, 3), 1), ((2, 3, 6), 2), ((5, 5), 1)]
)
def test_tensor_inverses_are_numpys(shape, ind, dtype):
    a = normal(shape, dtype)
    close(LA.tensorinv(a, ind), np.linalg.tensorinv(a, ind), 1e-10)


# --- bases and polar factors ---------------------------------------------------------------------
def low_rank(shape, rank, dtype):
    return normal((shape[0], rank), dtype, 1) @ normal((rank, shape[1]), dtype, 2)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("rank", [0, 1, 3, 4])
@pytest.mark.parametrize("shape", [(4, 4), (9, 4), (4, 9), (60, 40), (40, 60)])
def test_bases_span_range_and_null_space(shape, rank, dtype):
    a = low_rank(shape, rank, dtype)
    q, z = np.asarray(LA.orth(a)), np.asarray(LA.null_space(a))
    assert q.shape == (shape[0], rank) and z.shape == (shape[1], shape[1] - rank)
    limit = 4 * EPS * max(shape)
    assert np.linalg.norm(adjoint(q) @ q - np.eye(rank)) < limit
    assert np.linalg.norm(adjoint(z) @ z - np.eye(z.shape[1])) < limit
    assert np.linalg.norm(a - q @ (adjoint(q) @ a)) <= limit * np.linalg.norm(a)
    assert np.linalg.norm(a @ z) <= limit * np.linalg.norm(a)


def test_the_cutoff_of_bases_is_relative():
    a = np.diag([1e10, 1.0, 1e-3])
    for rcond in (None, 1e-14, 1e-12, 1e-9, 1.0):
        assert LA.orth(a, rcond).shape == scipy.linalg.orth(a, rcond).shape
        assert LA.null_space(a, rcond).shape == scipy.linalg.null_space(a, rcond).shape


def test_bases_of_matrices_without_elements():
    assert LA.orth(nm.zeros((3, 0))).shape == (3, 0)
    assert LA.null_space(nm.zeros((0, 3))).tolist() == np.eye(3).tolist()
    assert LA.null_space(nm.zeros((3, 0))).shape == (0, 0)


@pytest.mark.parametrize("side", ["right", "left"])
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize(
    "shape", [(1, 1), (3, 3), (7, 4), (4, 7), (60, 60), (129, 260), (2, 3, 5, 4)]
)
def test_polar_factors_have_their_properties(shape, dtype, side):
    a = normal(shape, dtype)
    u, p = LA.polar(a, side)
    product = np.asarray(u @ p if side == "right" else p @ u)
    limit = 8 * EPS * max(shape)
    assert np.linalg.norm(product - a) < limit * np.linalg.norm(a)
    assert np.array_equal(p, p.mH)
    assert np.linalg.eigvalsh(np.asarray(p)).min() > -limit * np.linalg.norm(a)
    gram = np.asarray(u.mH @ u if shape[-2] >= shape[-1] else u @ u.mH)
    assert np.abs(gram - np.eye(gram.shape[-1])).max() < limit
    if a.ndim == 2:
        close(u, scipy.linalg.polar(a, side)[0], 1e-11)


def test_polar_factors_of_a_singular_matrix_are_still_isometric_and_semidefinite():
    u, p = LA.polar([[0.0, 2.0], [0.0, 0.0]])
    close(u.mH @ u, np.eye(2))
    close(p, [[0.0, 0.0], [0.0, 2.0]])


# --- ordered Schur forms -------------------------------------------------------------------------
@pytest.mark.parametrize("sort", ["lhp", "rhp", "iuc", "ouc"])
@pytest.mark.parametrize(("dtype", "output"), [
    ("float64", "real"), ("float64", "complex"), ("complex128", "real"), ("complex128", "complex"),
])  # fmt: skip
@pytest.mark.parametrize("n", [1, 2, 5, 40])
def test_ordered_schur_forms_have_what_is_asked_for_at_the_top(n, dtype, output, sort):
    a = normal((n, n), dtype) / np.sqrt(n)
    t, q, count = LA.schur(a, output, sort)
    t, q = np.asarray(t), np.asarray(q)
    assert np.linalg.norm(q @ t @ adjoint(q) - a) < 20 * n * EPS * np.linalg.norm(a)
    assert np.linalg.norm(adjoint(q) @ q - np.eye(n)) < 20 * n * EPS
    inside = {"lhp": lambda z: z.real < 0, "rhp": lambda z: z.real >= 0,
              "iuc": lambda z: abs(z) <= 1, "ouc": lambda z: abs(z) > 1}[sort]  # fmt: skip
    assert count == np.sum(inside(np.linalg.eigvals(a)))
    top, rest = t[:count, :count], t[count:, count:]
    assert np.all(inside(np.linalg.eigvals(top)))
    assert not np.any(inside(np.linalg.eigvals(rest)))
    assert not np.any(t[count:, :count])


def test_a_function_sorts_by_parts_in_the_real_form_and_by_numbers_in_the_complex_one():
    a = normal((6, 6))
    seen = []
    LA.schur(a, sort=lambda x, y: seen.append((x, y)) or x > 0)
    assert len(seen) == 6 and all(type(x) is type(y) is float for x, y in seen)
    t, _, count = LA.schur(a, "complex", lambda z: abs(z.imag) > 0.1)
    assert np.all(np.abs(np.diag(np.asarray(t)).imag[:count]) > 0.1)


def test_what_a_sorting_function_raises_stands():
    with pytest.raises(ZeroDivisionError):
        LA.schur(nm.eye(2), sort=lambda x, y: 1 / 0)
