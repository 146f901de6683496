"""Hermitian eigenproblems of pairs and parts of spectra, against NumPy and by their definitions."""

import math

import numpy as np
import pytest

import numerical as nm
from oracle import close, normal

LA = nm.linalg
EPS = 2.0**-52
BOTH = pytest.mark.parametrize("dtype", ["float64", "complex128"])
TYPES = pytest.mark.parametrize("type", [1, 2, 3])


def adjoint(a):
    return a.conj().swapaxes(-1, -2)


def hermitian(shape, dtype, seed=0):
    a = normal(shape, dtype, seed)
    return a + adjoint(a)


def definite(shape, dtype, seed=1):
    g = normal(shape, dtype, seed)
    return g @ adjoint(g) / shape[-1] + np.eye(shape[-1])


def standard(a, b, type):
    """The matrix of the standard problem, by NumPy."""
    lower = np.linalg.cholesky(b)
    if type == 1:
        inverse = np.linalg.inv(lower)
        return inverse @ a @ adjoint(inverse)
    return adjoint(lower) @ a @ lower


def sides(a, b, x, w, type):
    if type == 1:
        return a @ x, b @ x * w[..., None, :]
    return (a @ b if type == 2 else b @ a) @ x, x * w[..., None, :]


@BOTH
@TYPES
@pytest.mark.parametrize("uplo", ["L", "U"])
@pytest.mark.parametrize("n", [1, 2, 3, 8, 33, 70, 150])
def test_pairs_solve_their_problem(n, uplo, type, dtype):
    a, b = hermitian((n, n), dtype), definite((n, n), dtype)
    expected = np.linalg.eigvalsh(standard(a, b, type))
    keep = np.tril if uplo == "L" else np.triu
    given = keep(a), keep(b)
    w, x = map(np.asarray, LA.eigh(given[0], uplo, b=given[1], type=type))
    tolerance = 60 * n * EPS * abs(expected).max()
    np.testing.assert_allclose(w, expected, rtol=0, atol=tolerance)
    np.testing.assert_allclose(
        LA.eigvalsh(given[0], uplo, b=given[1], type=type), expected, rtol=0, atol=tolerance
    )
    left, right = sides(a, b, x, w, type)
    np.testing.assert_allclose(left, right, rtol=0, atol=60 * n * EPS * abs(left).max())
    gram = adjoint(x) @ (np.linalg.solve(b, x) if type == 3 else b @ x)
    np.testing.assert_allclose(gram, np.eye(n), rtol=0, atol=60 * n * EPS)


@BOTH
def test_pairs_in_stacks_broadcast_and_keep_the_bits_of_single_ones(dtype):
    a, b = hermitian((3, 1, 6, 6), dtype), definite((2, 6, 6), dtype)
    w, x = LA.eigh(a, b=b)
    assert w.shape == (3, 2, 6) and x.shape == (3, 2, 6, 6)
    part = LA.eigh(a, b=b, subset_by_index=(1, 3))
    assert part.eigenvectors.shape == (3, 2, 6, 3)
    values = LA.eigvalsh(a, b=b, subset_by_index=(1, 3))
    for i in range(3):
        for j in range(2):
            single = LA.eigh(a[i, 0], b=b[j])
            assert (w[i, j] == single.eigenvalues).all() and (x[i, j] == single.eigenvectors).all()
            single = LA.eigh(a[i, 0], b=b[j], subset_by_index=(1, 3))
            assert (part.eigenvalues[i, j] == single.eigenvalues).all()
            assert (part.eigenvectors[i, j] == single.eigenvectors).all()
            assert (values[i, j] == LA.eigvalsh(a[i, 0], b=b[j], subset_by_index=(1, 3))).all()


def test_pairs_of_two_dtypes_are_complex():
    a, b = hermitian((4, 4), "complex128"), definite((4, 4), "float64")
    for pair in ((a, b), (b, definite((4, 4), "complex128"))):
        w, x = LA.eigh(pair[0], b=pair[1])
        assert w.dtype == "float64" and x.dtype == "complex128"
        close(pair[0] @ np.asarray(x), pair[1] @ np.asarray(x) * np.asarray(w))


def test_empty_stacks_and_matrices_of_pairs():
    w, x = LA.eigh(nm.zeros((0, 3, 3)), b=nm.eye(3))
    assert w.shape == (0, 3) and x.shape == (0, 3, 3)
    w, x = LA.eigh(nm.zeros((0, 0)), b=nm.zeros((0, 0)))
    assert w.shape == (0,) and x.shape == (0, 0)
    w, x = LA.eigh(nm.zeros((0, 0)), subset_by_value=(0, 1))
    assert w.shape == (0,) and x.shape == (0, 0)


@BOTH
@pytest.mark.parametrize("n", [1, 2, 7, 8, 9, 32, 33, 34, 100])
def test_places_are_slices_of_the_whole(n, dtype):
    a = hermitian((n, n), dtype)
    whole = np.asarray(LA.eigh(a).eigenvalues)
    bound = 30 * n * EPS * abs(whole).max()
    for first, last in {(0, 0), (n - 1, n - 1), (n // 3, n // 2), (0, n - 1)}:
        w, x = map(np.asarray, LA.eigh(a, subset_by_index=(first, last)))
        np.testing.assert_allclose(w, whole[first : last + 1], rtol=0, atol=bound)
        values = LA.eigvalsh(a, subset_by_index=[first, last])
        np.testing.assert_allclose(values, whole[first : last + 1], rtol=0, atol=bound)
        assert x.shape == (n, last + 1 - first)
        np.testing.assert_allclose(a @ x, x * w, rtol=0, atol=bound)
        np.testing.assert_allclose(adjoint(x) @ x, np.eye(len(w)), rtol=0, atol=30 * n * EPS)


@BOTH
def test_places_span_the_spaces_of_the_whole(dtype):
    a = np.diag(np.arange(50.0)) + 0.01 * hermitian((50, 50), dtype)
    whole = np.asarray(LA.eigh(a).eigenvectors)[:, 10:20]
    part = np.asarray(LA.eigh(a, subset_by_index=(10, 19)).eigenvectors)
    cosines = np.linalg.svd(adjoint(whole) @ part, compute_uv=False)
    np.testing.assert_allclose(cosines, 1, rtol=0, atol=1e-12)


def test_an_interval_is_open_below_and_closed_above():
    a = nm.diag([4.0, 1.0, 3.0, 2.0])
    for low, high, expected in [
        (1, 3, [2, 3]), (0.5, 1, [1]), (-math.inf, 2, [1, 2]), (3, math.inf, [4]), (5, 6, []),
    ]:  # fmt: skip
        w, x = LA.eigh(a, subset_by_value=(low, high))
        assert np.asarray(w).tolist() == expected and x.shape == (4, len(expected))
        assert np.asarray(LA.eigvalsh(a, subset_by_value=(low, high))).tolist() == expected


def test_an_interval_of_a_pair_is_in_its_own_units():
    a, b = nm.diag([16.0, 4.0, 12.0, 8.0]), nm.eye(4) * 4.0  # powers of two, so that all is exact
    for type, interval, expected in ((1, (1, 3), [2, 3]), (2, (16, 48), [32, 48])):
        w = LA.eigh(a, b=b, type=type, subset_by_value=interval).eigenvalues
        assert np.asarray(w).tolist() == expected


def test_agrees_with_scipy_in_values_and_meaning():
    linalg = pytest.importorskip("scipy.linalg")
    a, b = hermitian((40, 40), "complex128"), definite((40, 40), "complex128")
    for type in (1, 2, 3):
        for options in ({}, {"subset_by_index": (3, 9)}, {"subset_by_value": (-1.0, 2.5)}):
            theirs = linalg.eigh(a, b, type=type, eigvals_only=True, **options)
            ours = LA.eigvalsh(a, b=b, type=type, **options)
            assert ours.shape == theirs.shape
            np.testing.assert_allclose(ours, theirs, rtol=0, atol=1e-12 * abs(theirs).max())


@pytest.mark.parametrize("path", ["portable", "avx2", "avx512"])
def test_bits_do_not_depend_on_threads(path):
    a, b = hermitian((200, 200), "float64"), definite((200, 200), "float64")
    with nm.limit_gemm_path(path):
        seen = set()
        for threads in (1, 2, 3, 64):
            with nm.num_threads(threads):
                w, x = LA.eigh(a, b=b, subset_by_index=(5, 90))
            seen.add((np.asarray(w).tobytes(), np.asarray(x).tobytes()))
    assert len(seen) == 1


@pytest.mark.parametrize("name", ["eigh", "eigvalsh"])
def test_an_indefinite_second_matrix_is_an_error(name):
    find = getattr(LA, name)
    message = "generalized eigendecomposition: b is not positive-definite"
    with pytest.raises(nm.error) as failure:
        find(nm.eye(3), b=nm.diag([1.0, 0.0, 1.0]))
    assert str(failure.value) == message
    with pytest.raises(nm.error) as failure:
        find(nm.eye(2), b=[[[1.0, 0.0], [0.0, 1.0]], [[1.0, 2.0], [2.0, 1.0]]])
    assert str(failure.value) == message
    if hasattr(failure.value, "__notes__"):
        assert failure.value.__notes__[-1] == "matrix (1,) of the stack"


def test_entries_that_are_not_finite_are_an_error():
    spoiled = nm.array([[1.0, 0.0], [math.nan, 1.0]])
    message = "generalized eigendecomposition: the matrix holds an infinite or NaN entry"
    for a, b in ((spoiled, nm.eye(2)), (nm.eye(2), spoiled)):
        with pytest.raises(nm.error) as failure:
            LA.eigh(a, b=b)
        assert str(failure.value) == message
    with pytest.raises(nm.error) as failure:
        LA.eigh(spoiled, subset_by_index=(0, 0))
    assert str(failure.value) == (
        "symmetric eigendecomposition: the matrix holds an infinite or NaN entry"
    )
    LA.eigh([[1.0, math.nan], [0.0, 1.0]], b=[[1.0, math.nan], [0.0, 1.0]])  # read below alone


TWO = nm.eye(2)


@pytest.mark.parametrize(
    ("arguments", "kind", "message"),
    [
        ({"b": nm.eye(3)}, ValueError, "eigh takes a and b of one order, not shapes (2, 2) and (3, 3)"),
        ({"b": nm.ones((2, 3))}, ValueError, "eigh takes square matrices, not shape (2, 3)"),
        ({"b": 1.0}, ValueError, "eigh takes a matrix or a stack of them, not a tensor of rank 0"),
        ({"b": TWO, "type": 4}, ValueError, "type is 1, 2 or 3, not 4"),
        ({"type": 0}, ValueError, "type is 1, 2 or 3, not 0"),
        ({"type": "1"}, TypeError, "type must be an int, not str"),
        ({"b": TWO, "method": "jacobi"}, ValueError,
         "eigh takes b and subsets by method 'divide_and_conquer', not 'jacobi'"),
        ({"subset_by_index": (0, 1), "method": "tridiagonal_ql"}, ValueError,
         "eigh takes b and subsets by method 'divide_and_conquer', not 'tridiagonal_ql'"),
        ({"subset_by_index": (0, 2)}, ValueError,
         "subset_by_index is (first, last) with 0 <= first <= last < 2, not (0, 2)"),
        ({"subset_by_index": (-1, 1)}, ValueError,
         "subset_by_index is (first, last) with 0 <= first <= last < 2, not (-1, 1)"),
        ({"subset_by_index": (1, 0)}, ValueError,
         "subset_by_index is (first, last) with 0 <= first <= last < 2, not (1, 0)"),
        ({"subset_by_index": 1}, ValueError, "subset_by_index is (first, last), not 1"),
        ({"subset_by_index": (0, 1.0)}, TypeError,
         "subset_by_index must be an int or a sequence of ints, not of float"),
        ({"subset_by_value": (1, 1)}, ValueError,
         "subset_by_value is (low, high) with low < high, not (1.0, 1.0)"),
        ({"subset_by_value": (0, math.nan)}, ValueError,
         "subset_by_value is (low, high) with low < high, not (0.0, nan)"),
        ({"subset_by_value": (0, "1")}, TypeError, "subset_by_value must be a real number, not str"),
        ({"subset_by_value": 2.0}, TypeError, "subset_by_value must be two real numbers, not float"),
        ({"subset_by_index": (0, 0), "subset_by_value": (0, 1)}, ValueError,
         "subset_by_index and subset_by_value exclude each other"),
        ({"b": nm.ones((2, 2, 2)), "subset_by_value": (0, 1)}, ValueError,
         "subset_by_value takes one matrix: those of a stack may have different numbers of values"),
    ],
)  # fmt: skip
def test_bad_arguments(arguments, kind, message):
    with pytest.raises(kind) as failure:
        LA.eigh(TWO, **arguments)
    assert str(failure.value) == message


def test_stacks_that_do_not_broadcast():
    with pytest.raises(ValueError) as failure:
        LA.eigh(nm.zeros((2, 3, 3)), b=nm.zeros((4, 3, 3)))
    assert str(failure.value) == ("operands could not be broadcast together with shapes (2,) (4,)")


def test_what_is_no_triangle_is_told_the_name_of_a_second_matrix():
    with pytest.raises(TypeError) as failure:
        LA.eigh(nm.eye(2), 2.0)
    assert str(failure.value) == "UPLO must be a text, not float"
    assert failure.value.hint == "a second matrix is given as b="


def test_a_matrix_behind_a_is_b_as_for_scipy():
    a, b = nm.array([[2.0, 1.0], [1.0, 2.0]]), [[1.0, 0.0], [0.0, 4.0]]
    for second in (b, tuple(b), nm.array(b), np.array(b)):
        assert LA.eigh(a, second).eigenvalues.tolist() == LA.eigh(a, b=b).eigenvalues.tolist()
        assert LA.eigvalsh(a, second).tolist() == LA.eigvalsh(a, b=b).tolist()
    with pytest.raises(TypeError, match="^UPLO must be a text, not Tensor$"):
        LA.eigh(a, nm.array(b), b=b)
