"""Factors that are kept, against SciPy and NumPy."""

import copy
import pickle

import numpy as np
import pytest
import scipy.linalg as sla

import numerical as nm
from oracle import close, normal

linalg = nm.linalg
DTYPES = ["float64", "complex128"]
EPS = np.finfo(float).eps


def residual(a, x, b):
    """‖b - a·x‖ / (n·‖a‖·‖x‖·ε)."""
    a, x, b = (np.asarray(t) for t in (a, x, b))
    scale = max(a.shape[-1], 1) * np.linalg.norm(a) * np.linalg.norm(x) * EPS
    error = np.linalg.norm(b - a @ x)
    return error / scale if error else 0.0


def definite(n, dtype="float64", seed=0):
    a = normal((n, n), dtype, seed)
    return a @ a.conj().T + np.eye(n)


# --- LU ------------------------------------------------------------------------------------------
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [0, 1, 2, 5, 33, 64, 65, 130, 257])
def test_lu_factor_is_scipys(n, dtype):
    a = normal((n, n), dtype)
    factors = linalg.lu_factor(a)
    packed, piv = factors
    close(factors.p @ factors.l @ factors.u, a)
    if n and dtype == "float64":  # complex pivots are chosen by the true modulus
        theirs, theirs_piv = sla.lu_factor(a)
        close(packed, theirs, 1e-10)
        assert piv.tolist() == theirs_piv.tolist()
    assert factors.shape == (n, n) and factors.dtype.name == dtype
    for trans, matrix in [(0, a), (1, a.T), (2, a.conj().T)]:
        for shape in [(n,), (n, 3)]:
            b = normal(shape, dtype, 3)
            assert residual(matrix, linalg.lu_solve(factors, b, trans), b) < 3


def test_lu_solve_takes_scipys_pairs_and_letters():
    a, b = normal((6, 6)), normal((6,), seed=1)
    close(linalg.lu_solve(sla.lu_factor(a), b), np.linalg.solve(a, b))
    close(linalg.lu_solve(linalg.lu_factor(a), b, "T"), np.linalg.solve(a.T, b))
    close(sla.lu_solve(tuple(map(np.asarray, linalg.lu_factor(a))), b), np.linalg.solve(a, b))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize(
    "shape", [(0, 3), (3, 0), (1, 4), (4, 1), (7, 5), (5, 7), (65, 64), (40, 300), (300, 70)]
)
def test_lu_of_rectangular_matrices_is_scipys(shape, dtype):
    a = normal(shape, dtype)
    factors = linalg.lu(a)
    rows, cols = shape
    assert [t.shape for t in factors] == [(rows, rows), (rows, min(shape)), (min(shape), cols)]
    p, lower, upper = factors
    close(p @ lower @ upper, a)
    assert nm.array_equal(nm.tril(lower), lower) and nm.array_equal(nm.triu(upper), upper)
    if dtype == "float64" and a.size:
        for ours, theirs in zip(factors, sla.lu(a)):
            close(ours, theirs, 1e-9)
    for ours, theirs in zip(linalg.lu(a, permute_l=True), (p @ lower, upper)):
        assert nm.array_equal(ours, theirs)


def test_lu_of_rectangular_stacks_is_that_of_each_matrix():
    a = normal((2, 3, 6, 4))
    factors = linalg.lu(a)
    assert [t.shape for t in factors] == [(2, 3, 6, 6), (2, 3, 6, 4), (2, 3, 4, 4)]
    for place in np.ndindex(2, 3):
        for ours, single in zip(factors, linalg.lu(a[place])):
            assert nm.array_equal(ours[place], single)


@pytest.mark.parametrize("method", ["det", "slogdet", "rcond", "inverse", "cond_estimate"])
def test_rectangular_factors_answer_nothing_of_square_ones(method):
    factors = linalg.lu(normal((2, 3)))
    name = {"inverse": "solve", "cond_estimate": "rcond"}.get(method, method)
    with pytest.raises(ValueError) as refused:
        getattr(factors, method)()
    assert str(refused.value) == f"{name} takes square matrices, not shape (2, 3)"


@pytest.mark.parametrize("dtype", DTYPES)
def test_lu_unpacks_as_scipys_and_solves(dtype):
    a, b = normal((7, 7), dtype), normal((7, 2), dtype, 1)
    factors = linalg.lu(a)
    p, lower, upper = factors
    close(p @ lower @ upper, a)
    if dtype == "float64":
        for ours, theirs in zip(factors, sla.lu(a)):
            close(ours, theirs)
    assert len(factors) == 3
    close(factors[1], factors.l)
    assert residual(a, factors.solve(b), b) < 3
    assert residual(a.T, factors.solve(b, transposed=True), b) < 3
    assert residual(a.conj().T, factors.solve(b, adjoint=True), b) < 3
    left, right = linalg.lu(a, permute_l=True)
    close(left @ right, a)
    p, lower, upper = linalg.lu(a, p_indices=True)
    close(np.asarray(lower)[np.asarray(p)] @ np.asarray(upper), a)


@pytest.mark.parametrize("dtype", DTYPES)
def test_lu_answers_what_a_factored_matrix_can_tell(dtype):
    a = normal((20, 20), dtype)
    factors = linalg.lu_factor(a)
    close(factors.inverse(), np.linalg.inv(a), 1e-11)
    close(factors.det(), np.linalg.det(a), abs(np.linalg.det(a)) * 1e-12)
    sign, log = factors.slogdet()
    close(sign, np.linalg.slogdet(a)[0])
    close(log, np.linalg.slogdet(a)[1])
    exact = 1 / np.linalg.cond(a, 1)
    assert exact * 0.999 <= factors.rcond() <= 3 * exact
    assert factors.cond_estimate() == 1 / factors.rcond()


def test_a_singular_matrix_has_factors_and_no_solutions():
    factors = linalg.lu_factor([[1.0, 2.0], [2.0, 4.0]])
    assert factors.det() == 0 and factors.rcond() == 0
    assert factors.slogdet() == (0, -np.inf)
    assert factors.cond_estimate() == np.inf
    for b in ([1.0, 1.0], [0.0, 0.0], np.ones((2, 0)), np.ones((2, 3))):
        for options in ({}, {"transposed": True}):
            with pytest.raises(nm.error, match="^solve: matrix is singular$"):
                factors.solve(b, **options)


@pytest.mark.parametrize("n, count", [(1, 3), (3, 4), (40, 2)])
@pytest.mark.parametrize("dtype", DTYPES)
def test_a_stack_has_the_bits_of_its_matrices(dtype, n, count):
    a = normal((2, count, n, n), dtype)
    b = normal((count, n, 2), dtype, 1)
    factors = linalg.lu(a)
    solved, inverse = factors.solve(b), factors.inverse()
    vectors = factors.solve(b[0, :, 0])
    p, lower, upper = factors
    close(p @ lower @ upper, a)
    assert factors.piv.shape == (2, count, n)
    for i in range(2):
        for j in range(count):
            one = linalg.lu(a[i, j])
            assert solved[i, j].tolist() == one.solve(b[j]).tolist()
            assert vectors[i, j].tolist() == one.solve(b[0, :, 0]).tolist()
            assert inverse[i, j].tolist() == one.inverse().tolist()
            assert factors.rcond()[i, j] == one.rcond()
            assert factors.det()[i, j] == one.det()
            assert factors.slogdet()[1][i, j] == one.slogdet()[1]


def test_the_matrix_of_a_stack_that_fails_is_told():
    a = np.stack([np.eye(2), np.zeros((2, 2))])
    with pytest.raises(nm.error, match="^solve: matrix is singular$") as failure:
        linalg.lu_factor(a).solve([1.0, 2.0])
    if hasattr(failure.value, "__notes__"):
        assert any("(1,)" in note for note in failure.value.__notes__)


def test_what_doesnt_fit_is_refused():
    factors = linalg.lu_factor(np.eye(3))
    for wrong, kind, text in [
        (lambda: factors.solve([1.0, 2.0]), nm.error, "solve: right-hand side size differs from the matrix"),
        (lambda: factors.solve(np.ones((2, 2))), nm.error,
         "solve: right-hand side row count differs from the matrix"),
        (lambda: factors.solve(1.0), ValueError,
         "solve takes right-hand sides of rank 1 and more, not a number"),
        (lambda: linalg.lu_factor(np.ones((2, 3))), ValueError,
         "lu_factor takes square matrices, not shape (2, 3)"),
        (lambda: linalg.lu_factor([[np.nan]]), nm.error,
         "LU decomposition: the matrix holds an infinite or NaN entry"),
        (lambda: linalg.lu_solve(factors, np.ones(3), 3), ValueError,
         "trans is 0, 1, 2, 'N', 'T' or 'C', not 3"),
        (lambda: linalg.lu_solve(np.eye(3), np.ones(3)), TypeError,
         "lu_solve takes a LUFactor or a pair (lu, piv)"),
        (lambda: linalg.lu_solve((np.eye(3), [0, 1]), np.ones(3)), ValueError,
         "solve: piv of shape (2,) doesn't belong to factors of shape (3, 3)"),
        (lambda: linalg.lu_solve((np.eye(3), [0, 1, 3]), np.ones(3)), ValueError,
         "solve: piv holds 3, which is no row of a matrix of 3"),
        (lambda: factors.solve(np.ones(3), transposed=True, adjoint=True), ValueError,
         "solve is transposed or adjoint, not both"),
    ]:  # fmt: skip
        with pytest.raises(kind) as failure:
            wrong()
        assert str(failure.value) == text


@pytest.mark.parametrize(
    "factors",
    [
        linalg.lu(normal((4, 4))),
        linalg.lu_factor(normal((2, 3, 3), "complex128")),
        linalg.cho_factor(definite(3)),
        linalg.cholesky_factor(definite(3, "complex128")),
    ],
    ids=["lu", "lu_factor", "cho_factor", "cholesky_factor"],
)
def test_factors_are_immutable_and_travel(factors):
    again = pickle.loads(pickle.dumps(factors))
    assert type(again) is type(factors)
    for ours, theirs in zip(again, factors):
        assert np.array_equal(np.asarray(ours), np.asarray(theirs))
    n = factors.shape[-1]
    assert again.solve(np.ones(n)).tolist() == factors.solve(np.ones(n)).tolist()
    assert again.rcond() == factors.rcond() if n == 4 else True
    assert copy.copy(factors) is factors and copy.deepcopy(factors) is factors
    name = type(factors).__name__
    for change in (lambda: setattr(factors, "shape", 1), lambda: delattr(factors, "shape")):
        with pytest.raises(AttributeError, match=f"^{name} is immutable$"):
            change()
    assert repr(factors) == f"{name}(shape={factors.shape}, dtype='{factors.dtype.name}')"


# --- Cholesky ------------------------------------------------------------------------------------
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [0, 1, 2, 17, 65, 130])
@pytest.mark.parametrize("lower", [False, True])
def test_cho_factor_is_scipys(n, dtype, lower):
    a = definite(n, dtype)
    unread = np.tril(np.full((n, n), 7.0), -1) if not lower else np.triu(np.full((n, n), 7.0), 1)
    factors = linalg.cho_factor(a + unread, lower=lower)
    c, is_lower = factors
    assert is_lower is lower
    if n:
        clean = np.tril if lower else np.triu
        close(c, clean(sla.cho_factor(a, lower=lower)[0]))
    for shape in [(n,), (n, 4)]:
        b = normal(shape, dtype, 1)
        assert residual(a, linalg.cho_solve(factors, b), b) < 3
        assert residual(a.T, factors.solve(b, transposed=True), b) < 3
        assert residual(a, factors.solve(b, adjoint=True), b) < 3
        if n:
            assert residual(a, linalg.cho_solve(sla.cho_factor(a, lower=lower), b), b) < 3


@pytest.mark.parametrize("dtype", DTYPES)
def test_a_cholesky_factor_answers_what_it_can_tell(dtype):
    a = definite(20, dtype)
    for factor in (linalg.cholesky_factor(a), linalg.cho_factor(a)):
        close(factor.l, np.linalg.cholesky(a))
        close(factor.inverse(), np.linalg.inv(a), 1e-11)
        np.testing.assert_allclose(factor.det(), np.linalg.det(a).real, rtol=1e-12)
        assert factor.slogdet().sign == 1
        close(factor.slogdet().logabsdet, np.linalg.slogdet(a)[1])
        exact = 1 / np.linalg.cond(a, 1)
        assert exact * 0.999 <= factor.rcond() <= 4 * exact


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("lower", [False, True])
def test_updates_are_those_of_the_matrix(dtype, lower):
    a, v = definite(30, dtype), normal((30,), dtype, 1)
    square = np.outer(v, v.conj())
    factor = linalg.cho_factor(a, lower=lower)
    up = factor.update(v)
    close(up.c, np.asarray(linalg.cho_factor(a + square, lower=lower).c), 1e-11)
    close(up.downdate(v).c, np.asarray(factor.c), 1e-11)
    assert up.lower is lower


def test_an_update_that_cannot_be_is_refused():
    factor = linalg.cholesky_factor(np.eye(3))
    for wrong, kind, text in [
        (lambda: factor.downdate([0.0, 1.0, 0.0]), nm.error, "downdate: matrix would not be positive-definite"),
        (lambda: factor.update([0.0, np.nan, 0.0]), nm.error,
         "update: the vector holds an infinite or NaN entry"),
        (lambda: factor.update([1.0, 2.0]), ValueError, "update takes a vector of 3 elements, not shape (2,)"),
        (lambda: linalg.cholesky_factor(np.stack([np.eye(2)] * 2)).downdate([1.0, 2.0]), ValueError,
         "downdate takes one matrix, not a stack of shape (2, 2, 2)"),
        (lambda: linalg.cholesky_factor([[0.0]]), nm.error, "Cholesky: matrix is not positive-definite"),
    ]:  # fmt: skip
        with pytest.raises(kind) as failure:
            wrong()
        assert str(failure.value) == text


# --- triangles -----------------------------------------------------------------------------------
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("lower", [False, True])
@pytest.mark.parametrize("unit", [False, True])
@pytest.mark.parametrize("trans", [0, 1, 2, "N", "T", "C"])
def test_solve_triangular_is_scipys(dtype, lower, unit, trans):
    for n in (1, 2, 31, 70):
        a = normal((n, n), dtype) / n + np.eye(n)
        for b in (normal((n,), dtype, 1), normal((n, 3), dtype, 1), normal((n,), seed=2)):
            theirs = sla.solve_triangular(a, b, trans=trans, lower=lower, unit_diagonal=unit)
            other = np.tril(np.full((n, n), np.nan), -1)
            other = other.T if lower else other
            close(linalg.solve_triangular(a + other, b, trans, lower, unit), theirs, 1e-11)


def test_solve_triangular_of_stacks_broadcasts():
    a = np.triu(normal((3, 1, 4, 4))) + 4 * np.eye(4)
    b = normal((2, 4, 2), seed=1)
    close(linalg.solve_triangular(a, b), np.linalg.solve(a, np.broadcast_to(b, (3, 2, 4, 2))))


def test_solve_triangular_refuses_what_it_cannot_solve():
    inf = np.inf
    for wrong, kind, text in [
        (lambda: linalg.solve_triangular([[1.0, 2.0], [0.0, 0.0]], [1.0, 1.0]), nm.error,
         "solve_triangular: matrix is singular"),
        (lambda: linalg.solve_triangular([[1.0, 2.0], [0.0, 0.0]], [0.0, 0.0]), nm.error,
         "solve_triangular: matrix is singular"),
        (lambda: linalg.solve_triangular([[1.0, inf], [0.0, 1.0]], [1.0, 0.0]), nm.error,
         "solve_triangular: the matrix holds an infinite or NaN entry"),
        (lambda: linalg.solve_triangular([[1.0, 1.0], [0.0, inf]], [1.0, 1.0]), nm.error,
         "solve_triangular: the matrix holds an infinite or NaN entry"),
        (lambda: linalg.solve_triangular(np.eye(2), [1.0, 1.0, 1.0]), nm.error,
         "solve_triangular: right-hand side size differs from the matrix"),
        (lambda: linalg.solve_triangular(np.ones((2, 3)), [1.0, 1.0]), ValueError,
         "solve_triangular takes square matrices, not shape (2, 3)"),
        (lambda: linalg.solve_triangular(np.eye(2), [1.0, 1.0], trans="x"), ValueError,
         "trans is 0, 1, 2, 'N', 'T' or 'C', not 'x'"),
    ]:  # fmt: skip
        with pytest.raises(kind) as failure:
            wrong()
        assert str(failure.value) == text
    close(linalg.solve_triangular(np.eye(2), [inf, 1.0]), [inf, 1.0])


@pytest.mark.parametrize("path", ["portable", "avx2", "avx512"])
@pytest.mark.parametrize("dtype", DTYPES)
def test_hard_systems_are_solved_on_every_path(path, dtype):
    n = 100
    fall = np.logspace(0, -14, n)
    cases = {
        "graded rows": normal((n, n), dtype) * fall[:, None],
        "graded columns": normal((n, n), dtype) * fall,
        "near singular": normal((n, n - 1), dtype) @ normal((n - 1, n), dtype, 1)
        + 1e-13 * np.eye(n),
        "huge": normal((n, n), dtype) * 1e300,
        "tiny": normal((n, n), dtype) * 1e-300,
    }
    b = normal((n, 2), dtype, 5)
    with nm.limit_gemm_path(path):
        for name, a in cases.items():
            factors = linalg.lu_factor(a)
            scale = {"huge": 2.0**-1000, "tiny": 2.0**1000}.get(name, 1.0)
            x = np.asarray(factors.solve(b))
            assert residual(a * scale, x / scale, b) < 10, name
            assert 0 < factors.rcond() < 1, name


# --- symmetric indefinite ------------------------------------------------------------------------
def symmetric(n, dtype="float64", hermitian=True, seed=0):
    a = normal((n, n), dtype, seed)
    return a + (a.conj().T if hermitian else a.T)


@pytest.mark.parametrize(
    "dtype, hermitian", [("float64", True), ("complex128", True), ("complex128", False)]
)
@pytest.mark.parametrize("n", [0, 1, 2, 3, 10, 31, 32, 33, 100])
@pytest.mark.parametrize("lower", [True, False])
def test_ldl_unpacks_as_scipys_and_solves(n, dtype, hermitian, lower):
    a = symmetric(n, dtype, hermitian)
    if n > 1:
        a[np.arange(0, n, 3), np.arange(0, n, 3)] = 0
    unread = np.triu(np.full((n, n), np.nan), 1)
    factors = linalg.ldl(a + (unread if lower else unread.T), lower, hermitian)
    outer, d, perm = map(np.asarray, factors)
    close(outer @ d @ (outer.conj().T if hermitian else outer.T), a)
    assert np.array_equal(np.triu(outer[perm], 1), np.zeros((n, n)))
    close(factors.l, outer[perm])
    close(factors.d, d)
    for shape in [(n,), (n, 3)]:
        b = normal(shape, dtype, 1)
        assert residual(a, factors.solve(b), b) < 3
        assert residual(a.T, factors.solve(b, transposed=True), b) < 3
        assert residual(a.conj().T, factors.solve(b, adjoint=True), b) < 3
    if n:
        np.testing.assert_allclose(factors.det(), np.linalg.det(a), rtol=1e-10, atol=1e-30)
        sign, log = factors.slogdet()
        np.testing.assert_allclose(sign * np.exp(log), np.linalg.det(a), rtol=1e-10)
        close(factors.inverse(), np.linalg.inv(a), 1e-9)
        exact = 1 / np.linalg.cond(a, 1)
        assert exact * 0.999 <= factors.rcond() <= 3 * exact
    again = pickle.loads(pickle.dumps(factors))
    assert again.solve(np.ones(n)).tolist() == factors.solve(np.ones(n)).tolist()


def test_ldl_of_a_stack_has_the_bits_of_its_matrices():
    a = np.stack([symmetric(12, seed=i) for i in range(3)])
    b = normal((12, 2))
    factors = linalg.ldl(a)
    solved, rcond, logs = factors.solve(b), factors.rcond(), factors.slogdet().logabsdet
    for i in range(3):
        one = linalg.ldl(a[i])
        assert solved[i].tolist() == one.solve(b).tolist()
        assert rcond[i] == one.rcond() and logs[i] == one.slogdet().logabsdet
    complex_right = factors.solve(b * 1j)
    close(complex_right, 1j * np.asarray(solved))


def test_ldl_refuses_what_it_cannot_solve():
    zero = linalg.ldl(np.zeros((2, 2)))
    assert zero.rcond() == 0 and zero.det() == 0 and zero.slogdet() == (0, -np.inf)
    for wrong, kind, text in [
        (lambda: zero.solve([1.0, 1.0]), nm.error, "solve: matrix is singular"),
        (lambda: linalg.ldl(np.ones((2, 3))), ValueError, "ldl takes square matrices, not shape (2, 3)"),
        (lambda: linalg.ldl([[1.0, 0.0], [np.inf, 1.0]]), nm.error,
         "LDL decomposition: the matrix holds an infinite or NaN entry"),
        (lambda: zero.solve([1.0]), nm.error, "solve: right-hand side size differs from the matrix"),
    ]:  # fmt: skip
        with pytest.raises(kind) as failure:
            wrong()
        assert str(failure.value) == text
