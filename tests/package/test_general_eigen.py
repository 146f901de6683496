"""Eigenvalues of general matrices, Schur and Hessenberg forms, as NumPy and SciPy have them."""

import numpy as np
import pytest

import numerical as nm
from oracle import normal

LA = nm.linalg
EPS = 2.0**-52
DTYPES = ["float64", "complex128"]


def ratio(difference, a):
    """The size of a backward error in units of n·eps·norm(a)."""
    n = max(a.shape[-1], 1)
    scale = np.linalg.norm(a) or 1.0
    return np.linalg.norm(difference) / (n * EPS * scale)


def matched(ours, theirs):
    """Both as multisets: the largest distance when each takes its nearest partner that is left."""
    rest = list(np.asarray(theirs))
    worst = 0.0
    for value in np.asarray(ours):
        nearest = min(range(len(rest)), key=lambda i: abs(rest[i] - value))
        worst = max(worst, abs(rest.pop(nearest) - value))
    return worst


MATRICES = {
    "normal": lambda n, dtype: normal((n, n), dtype),
    "triangular": lambda n, dtype: np.triu(normal((n, n), dtype)),
    "companion": lambda n, dtype: np.eye(n, k=-1) + np.outer(np.arange(n) == 0, normal(n, dtype)),
    "symmetric": lambda n, dtype: (lambda a: a + a.conj().T)(normal((n, n), dtype)),
    "graded": lambda n, dtype: normal((n, n), dtype)
    * 2.0 ** -np.minimum(np.arange(n), 40)[:, None],
    "zero": lambda n, dtype: np.zeros((n, n), dtype),
}


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 3, 8, 33, 100])
@pytest.mark.parametrize("kind", sorted(MATRICES))
def test_eigenpairs_satisfy_their_equation(kind, n, dtype):
    a = MATRICES[kind](n, dtype)
    values, vectors = map(np.asarray, LA.eig(a))
    assert ratio(a @ vectors - vectors * values, a) < 10
    np.testing.assert_allclose(np.linalg.norm(vectors, axis=0), 1.0, rtol=0, atol=16 * n * EPS)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 5, 40])
def test_eigenvalues_are_numpys(n, dtype):
    a = normal((n, n), dtype)
    assert matched(LA.eigvals(a), np.linalg.eigvals(a)) < 1e-11
    assert matched(LA.eig(a).eigenvalues, np.linalg.eigvals(a)) < 1e-11


def test_real_eigenvalues_of_a_real_matrix_are_float64():
    values, vectors = LA.eig([[2.0, 1.0], [0.0, 3.0]])
    assert (values.dtype, vectors.dtype) == ("float64", "float64")
    assert sorted(values.tolist()) == [2.0, 3.0]
    values, vectors = LA.eig([[0.0, 1.0], [-1.0, 0.0]])
    assert (values.dtype, vectors.dtype) == ("complex128", "complex128")
    assert values.tolist() == [1j, -1j]
    assert LA.eigvals([[1j, 0.0], [0.0, 1.0]]).dtype == "complex128"


@pytest.mark.parametrize("dtype", DTYPES)
def test_matrices_of_a_stack_have_the_bits_of_single_calls(dtype):
    a = normal((2, 3, 5, 5), dtype)
    whole = LA.eig(a)
    alone = LA.eigvals(a)
    for place in np.ndindex(2, 3):
        for of_stack, of_one in zip(whole, LA.eig(a[place])):
            assert (
                np.array(of_stack[place], complex).tobytes() == np.array(of_one, complex).tobytes()
            )
        one = LA.eigvals(a[place])
        assert np.array(alone[place], complex).tobytes() == np.array(one, complex).tobytes()
    assert [t.shape for t in LA.eig(nm.zeros((0, 3, 3)))] == [(0, 3), (0, 3, 3)]


@pytest.mark.parametrize("dtype", DTYPES)
def test_left_vectors_satisfy_their_equation(dtype):
    a = normal((20, 20), dtype)
    values, left, right = map(np.asarray, LA.eig(a, left=True))
    assert ratio(left.conj().T @ a - values[:, None] * left.conj().T, a) < 10
    assert ratio(a @ right - right * values, a) < 10


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 10, 97, 130])
def test_schur_and_hessenberg_forms_are_unitary_similarities(n, dtype):
    a = normal((n, n), dtype)
    for form in (LA.schur(a), LA.schur(a, "complex"), LA.hessenberg(a, calc_q=True)):
        t, q = map(np.asarray, form)
        assert ratio(q @ t @ q.conj().T - a, a) < 10
        assert np.linalg.norm(q.conj().T @ q - np.eye(n)) < 10 * n * EPS
        assert not np.tril(t, -2).any()
    assert not np.tril(np.asarray(LA.schur(a, "complex")[0]), -1).any()
    assert np.array_equal(LA.hessenberg(a), LA.hessenberg(a, calc_q=True)[0])


@pytest.mark.parametrize("name", ["eig", "eigvals", "schur", "hessenberg"])
def test_what_is_no_square_matrix_is_refused(name):
    function = getattr(LA, name)
    with pytest.raises(ValueError, match=rf"^{name} takes square matrices, not shape \(2, 3\)$"):
        function(nm.ones((2, 3)))
    with pytest.raises(
        ValueError, match=rf"^{name} takes a matrix or a stack of them, not a tensor"
    ):
        function(nm.ones(2))
    with pytest.raises(nm.error):
        function(np.full((2, 2), np.nan))


def test_forms_of_stacks_and_unknown_outputs_are_refused():
    with pytest.raises(
        ValueError, match=r"^schur takes one matrix, not a stack of shape \(2, 3, 3\)$"
    ):
        LA.schur(nm.ones((2, 3, 3)))
    with pytest.raises(ValueError, match=r"^output is 'real' or 'complex', not 'other'$"):
        LA.schur(nm.eye(2), "other")
