"""Stacks of matrices: every matrix has the bits that it has alone, and failures say which it is."""

import sys

import numpy as np
import pytest

import numerical as nm
from oracle import close, equal, normal

pytestmark = pytest.mark.boundary

NOTES = pytest.mark.skipif(sys.version_info < (3, 11), reason="exceptions carry no notes")
ORDERS = [1, 2, 3, 4, 5, 8, 16, 17, 33]
DTYPES = ["float64", "complex128"]


def definite(shape, dtype, seed=0):
    a = normal(shape, dtype, seed)
    return a @ np.conj(np.swapaxes(a, -1, -2)) + np.eye(shape[-1])


def tensors_of(result):
    return result if isinstance(result, tuple) else (result,)


def same_as_single_calls(function, *stacks):
    """Compares the results for a stack of two leading axes with those of its matrices, bit by bit."""
    whole = tensors_of(function(*map(nm.asarray, stacks)))
    lead = stacks[0].shape[:2]
    for place in np.ndindex(lead):
        single = tensors_of(function(*(nm.asarray(stack[place]) for stack in stacks)))
        for of_stack, of_one in zip(whole, single):
            assert (
                np.array(of_stack[place], complex).tobytes() == np.array(of_one, complex).tobytes()
            )


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
@pytest.mark.parametrize("name", ["inv", "det", "slogdet", "cholesky", "eigvalsh", "eigh"])
def test_square_matrices_of_a_stack_have_the_bits_of_single_calls(name, n, dtype):
    same_as_single_calls(getattr(nm.linalg, name), definite((2, 5, n, n), dtype))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(1, 1), (2, 3), (4, 4), (8, 3), (3, 8), (33, 17)])
@pytest.mark.parametrize("name", ["qr", "svd", "svdvals", "pinv", "matrix_rank"])
def test_rectangular_matrices_of_a_stack_have_the_bits_of_single_calls(name, shape, dtype):
    same_as_single_calls(getattr(nm.linalg, name), normal((3, 3, *shape), dtype))


@pytest.mark.parametrize(
    "shape", [(2, 2), (3, 3), (4, 4), (7, 7), (8, 8), (9, 9), (16, 8), (3, 11), (17, 4)]
)
def test_small_spectra_are_those_of_another_library(shape):
    for a in (normal((5, 3, *shape)), np.round(normal((5, 3, *shape), seed=1))):
        scale = np.abs(a).sum()
        u, s, vh = map(np.asarray, nm.linalg.svd(a, full_matrices=False))
        expected = np.linalg.svd(a, compute_uv=False)
        close(s / scale, expected / scale, 1e-15)
        close(np.asarray(nm.linalg.svdvals(a)) / scale, expected / scale, 1e-15)
        close(u * s[..., None, :] @ vh, a, 1e-13)
        if shape[0] == shape[1]:
            h = a + np.swapaxes(a, -1, -2)
            values, vectors = map(np.asarray, nm.linalg.eigh(h))
            close(values / scale, np.linalg.eigvalsh(h) / scale, 1e-15)
            close(nm.linalg.eigvalsh(h), values, 1e-13)
            close(vectors * values[..., None, :] @ np.swapaxes(vectors, -1, -2), h, 1e-13)
    a = normal((5, 3, *shape), seed=2)
    close(nm.linalg.pinv(a), np.linalg.pinv(a), 1e-11)


def test_other_methods_of_small_matrices_are_those_of_the_drivers():
    a = normal((4, 3, 3))
    h = a + np.swapaxes(a, -1, -2)
    for method in ("tridiagonal_ql", "jacobi"):
        close(
            np.asarray(nm.linalg.eigh(h, method=method).eigenvalues), np.linalg.eigvalsh(h), 1e-13
        )
    for method in ("bidiagonal_qr", "jacobi"):
        close(
            np.asarray(nm.linalg.svd(a, method=method).S), np.linalg.svd(a, compute_uv=False), 1e-13
        )


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
def test_systems_of_a_stack_have_the_bits_of_single_calls(n, dtype):
    a = normal((2, 5, n, n), dtype)
    same_as_single_calls(nm.linalg.solve, a, normal((2, 5, n, 3), dtype, 1))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(1, 1), (3, 3), (5, 9), (4, 8), (7, 130), (130, 7), (33, 1)])
def test_products_of_a_stack_with_vectors_have_the_bits_of_single_calls(shape, dtype):
    a = normal((2, 5, *shape), dtype)
    right, left = normal(shape[1], dtype, 1), normal(shape[0], dtype, 2)
    same_as_single_calls(lambda stack: stack @ right, a)
    same_as_single_calls(lambda stack: left @ stack, a)
    columns = normal((2, 5, shape[1], 1), dtype, 3)
    same_as_single_calls(lambda stack, column: stack @ column, a, columns)
    close(nm.asarray(a) @ right, a @ right)
    close(left @ nm.asarray(a), left @ a)
    close(nm.asarray(a) @ columns, a @ columns)


@pytest.mark.parametrize("dtype", DTYPES)
def test_products_with_empty_vectors_are_zeros(dtype):
    a, none = nm.zeros((2, 3, 0), dtype), nm.zeros(0, dtype)
    equal(a @ none, np.zeros((2, 3), dtype))
    equal(none @ nm.zeros((2, 0, 3), dtype), np.zeros((2, 3), dtype))
    assert none @ none == 0
    assert (nm.zeros((0, 3), dtype) @ nm.ones(3, dtype)).shape == (0,)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("mode", ["reduced", "complete", "r"])
@pytest.mark.parametrize("shape", [(3, 3), (5, 3), (3, 5), (70, 33), (4, 0), (0, 3), (0, 0)])
def test_qr_of_every_mode_is_a_factorization(shape, mode, dtype):
    for a in (normal(shape, dtype), normal((2, *shape), dtype)):
        if mode == "r":
            r = np.asarray(nm.linalg.qr(a, "r"))
            equal(nm.linalg.qr(a).R, r)
            continue
        q, r = map(np.asarray, nm.linalg.qr(a, mode))
        k = shape[0] if mode == "complete" else min(shape)
        assert q.shape == (*a.shape[:-1], k) and r.shape == (*a.shape[:-2], k, shape[1])
        close(
            np.conj(np.swapaxes(q, -1, -2)) @ q, np.broadcast_to(np.eye(k), (*a.shape[:-2], k, k))
        )
        close(q @ r, a)
        assert not np.tril(r, -1).any()


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(3, 3), (5, 3), (3, 5), (70, 33), (4, 0), (0, 3)])
def test_full_singular_vectors_are_bases_that_begin_with_the_thin_ones(shape, dtype):
    for a in (normal(shape, dtype), normal((2, *shape), dtype)):
        u, s, vh = map(np.asarray, nm.linalg.svd(a))
        thin_u, thin_s, thin_vh = map(np.asarray, nm.linalg.svd(a, full_matrices=False))
        k = min(shape)
        equal(u[..., :k], thin_u)
        equal(s, thin_s)
        equal(vh[..., :k, :], thin_vh)
        for basis in (u, np.conj(np.swapaxes(vh, -1, -2))):
            n = basis.shape[-1]
            gram = np.conj(np.swapaxes(basis, -1, -2)) @ basis
            close(gram, np.broadcast_to(np.eye(n), gram.shape))


@pytest.mark.parametrize("dtype", DTYPES)
def test_leading_axes_of_systems_broadcast(dtype):
    a = normal((3, 1, 4, 4), dtype)
    for shape in [(4,), (4, 2), (2, 4, 1), (3, 2, 4, 2), (1, 1, 4, 2)]:
        b = normal(shape, dtype, 1)
        right = b if b.ndim > 1 else b[:, None]
        lead = np.broadcast_shapes((3, 1), right.shape[:-2])
        expected = np.linalg.solve(a, np.broadcast_to(right, (*lead, *right.shape[-2:])))
        close(nm.linalg.solve(a, b), expected if b.ndim > 1 else expected[..., 0], 1e-10)
    with pytest.raises(ValueError) as failure:
        nm.linalg.solve(a, normal((2, 2, 4, 2)))
    assert (
        str(failure.value) == "operands could not be broadcast together with shapes (3, 1) (2, 2)"
    )


def test_real_and_complex_operands_meet_in_complex128():
    a, b = normal((2, 3, 3)), normal((2, 3, 1), "complex128", 1)
    close(nm.linalg.solve(a, b), np.linalg.solve(a, b))
    close(nm.linalg.solve(b @ b.swapaxes(-1, -2) + np.eye(3), a),
          np.linalg.solve(b @ b.swapaxes(-1, -2) + np.eye(3), a))  # fmt: skip


@pytest.mark.parametrize("lead", [(0,), (2, 0), (0, 3)])
def test_stacks_of_no_matrix_give_results_of_no_element(lead):
    a = nm.zeros((*lead, 3, 3))
    assert nm.linalg.inv(a).shape == (*lead, 3, 3)
    assert nm.linalg.det(a).shape == lead
    assert [t.shape for t in nm.linalg.slogdet(a)] == [lead, lead]
    assert nm.linalg.cholesky(a).shape == (*lead, 3, 3)
    assert [t.shape for t in nm.linalg.qr(a)] == [(*lead, 3, 3)] * 2
    assert [t.shape for t in nm.linalg.eigh(a)] == [(*lead, 3), (*lead, 3, 3)]
    assert [t.shape for t in nm.linalg.svd(a)] == [(*lead, 3, 3), (*lead, 3), (*lead, 3, 3)]
    assert nm.linalg.solve(a, nm.zeros((*lead, 3, 2))).shape == (*lead, 3, 2)


FAILURES = {
    "inv": (np.zeros((3, 3)), "inverse: matrix is singular"),
    "cholesky": (-np.eye(3), "Cholesky: matrix is not positive-definite"),
    "qr": (np.full((3, 3), np.nan), "QR decomposition: the matrix holds an infinite or NaN entry"),
    "svd": (np.full((3, 3), np.inf), "SVD: the matrix holds an infinite or NaN entry"),
}


@NOTES
@pytest.mark.parametrize("name", sorted(FAILURES))
def test_a_failing_matrix_raises_the_single_calls_error_and_is_named(name):
    bad, words = FAILURES[name]
    a = np.broadcast_to(np.eye(3), (2, 4, 3, 3)).copy()
    a[1, 2] = a[1, 3] = bad
    with pytest.raises(nm.error) as failure:
        getattr(nm.linalg, name)(a)
    assert str(failure.value) == words
    assert failure.value.__notes__[0].startswith("given float64 of shape (2, 4, 3, 3)")
    assert failure.value.__notes__[1] == "matrix (1, 2) of the stack"
    with pytest.raises(nm.error) as failure:
        getattr(nm.linalg, name)(bad)
    assert str(failure.value) == words
    assert len(failure.value.__notes__) == 1


@NOTES
def test_a_singular_system_of_a_stack_is_named():
    a = np.broadcast_to(np.eye(2), (5, 2, 2)).copy()
    a[3] = 0.0
    with pytest.raises(nm.error) as failure:
        nm.linalg.solve(a, np.ones(2))
    assert str(failure.value) == "solve: matrix is singular"
    assert failure.value.__notes__[1] == "matrix (3,) of the stack"


def test_singular_matrices_of_a_stack_have_determinant_zero():
    a = np.broadcast_to(np.eye(2), (5, 2, 2)).copy()
    a[3] = 0.0
    assert nm.linalg.det(a).tolist() == [1.0, 1.0, 1.0, 0.0, 1.0]
    signs, logs = nm.linalg.slogdet(a)
    assert signs.tolist() == [1.0, 1.0, 1.0, 0.0, 1.0]
    assert logs.tolist() == [0.0, 0.0, 0.0, -np.inf, 0.0]


@pytest.mark.parametrize(
    "name", ["solve", "inv", "det", "slogdet", "cholesky", "qr", "svd", "svdvals"]
)
def test_bad_arguments_are_told_in_pythons_words(name):
    function = getattr(nm.linalg, name)
    with pytest.raises(TypeError):
        function()
    with pytest.raises(TypeError):
        function(nm.eye(2), nm.eye(2), nm.eye(2), nm.eye(2), nm.eye(2))
    with pytest.raises(TypeError):
        function(nm.eye(2), nothing=1)
    with pytest.raises(TypeError):
        function({})


def test_native_functions_tell_their_parameters():
    with pytest.raises(TypeError, match=r"^solve\(\) missing required argument: 'b'$"):
        nm.linalg.solve(nm.eye(2))
    with pytest.raises(
        TypeError, match=r"^solve\(\) takes 2 positional arguments but 3 were given$"
    ):
        nm.linalg.solve(1, 2, 3)
    with pytest.raises(TypeError, match=r"^inv\(\) takes 1 positional argument but 2 were given$"):
        nm.linalg.inv(1, 2)
    with pytest.raises(TypeError, match=r"^inv\(\) got an unexpected keyword argument 'b'$"):
        nm.linalg.inv(nm.eye(2), b=1)
    with pytest.raises(TypeError, match=r"^solve\(\) got multiple values for argument 'a'$"):
        nm.linalg.solve(nm.eye(2), a=1)
    equal(nm.linalg.solve(b=nm.ones(2), a=nm.eye(2)), np.ones(2))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(5, 3), (3, 5), (4, 4)])
def test_least_squares_of_a_stack_are_those_of_its_matrices(shape, dtype):
    a = normal((2, 3, *shape), dtype)
    for b in (normal((2, 3, shape[0], 2), dtype, 1), normal((3, shape[0], 1), dtype, 2),
              normal((shape[0],), dtype, 3)):  # fmt: skip
        x, residuals, rank, values = nm.linalg.lstsq(a, b)
        assert rank.tolist() == [[min(shape)] * 3] * 2
        right = b if b.ndim == 1 else np.broadcast_to(b, (2, 3, *b.shape[-2:]))
        for place in np.ndindex(2, 3):
            one = nm.linalg.lstsq(a[place], right if b.ndim == 1 else right[place])
            equal(x[place], np.asarray(one.x))
            close(values[place], one.singular_values, 1e-14)
            if shape == (5, 3):
                close(
                    residuals[place],
                    np.asarray(one.residuals).reshape(b.shape[-1:] if b.ndim > 1 else ()),
                )
        assert shape == (5, 3) or residuals.shape == (0,)
    b = normal((2, 3, shape[0], 2), dtype, 1)
    x = nm.linalg.lstsq(a, b, rcond=0.5).x
    for place in np.ndindex(2, 3):
        close(x[place], np.linalg.lstsq(a[place], b[place], rcond=0.5)[0], 1e-10)
