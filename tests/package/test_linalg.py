"""numerical.linalg against numpy.linalg, for matrices and stacks of both dtypes."""

import pickle

import numpy as np
import pytest

import numerical as nm
from oracle import close, normal

LA = nm.linalg
STACKS = [(), (1,), (3,), (2, 1), (0,)]
BOTH = pytest.mark.parametrize("dtype", ["float64", "complex128"])
STACKED = pytest.mark.parametrize("lead", STACKS)


def hermitian(shape, dtype):
    a = normal(shape, dtype)
    return a + a.swapaxes(-1, -2).conj()


@BOTH
@STACKED
def test_systems(lead, dtype):
    a, b = normal((*lead, 4, 4), dtype), normal((*lead, 4, 2), dtype, 1)
    close(LA.solve(a, b), np.linalg.solve(a, b))
    close(LA.inv(a), np.linalg.inv(a))
    close(LA.det(a), np.linalg.det(a))
    ours, theirs = LA.slogdet(a), np.linalg.slogdet(a)
    close(ours.sign, theirs[0])
    close(ours.logabsdet, theirs[1])
    vector = normal(4, dtype, 2)
    close(
        LA.solve(a, vector),
        np.linalg.solve(a, np.broadcast_to(vector[:, None], (*lead, 4, 1)))[..., 0],
    )


def test_stacks_of_a_system_broadcast():
    a, b = normal((3, 1, 4, 4)), normal((2, 4, 1), seed=1)
    close(
        LA.solve(a, b),
        np.linalg.solve(np.broadcast_to(a, (3, 2, 4, 4)), np.broadcast_to(b, (3, 2, 4, 1))),
    )


@BOTH
@STACKED
@pytest.mark.parametrize("shape", [(4, 4), (5, 3), (3, 5)])
def test_factorizations_give_back_the_matrix(shape, lead, dtype):
    a = normal((*lead, *shape), dtype)
    k = min(shape)
    q, r = LA.qr(a)
    assert q.shape == (*lead, shape[0], k) and r.shape == (*lead, k, shape[1])
    close(q @ r, a)
    q, r = LA.qr(a, mode="complete")
    assert q.shape == (*lead, shape[0], shape[0]) and r.shape == a.shape
    close(q @ r, a)
    close(q.mH @ q, np.broadcast_to(np.eye(shape[0]), q.shape))
    close(LA.qr(a, mode="r"), np.triu(np.asarray(r))[..., :k, :])
    u, s, vh = LA.svd(a, full_matrices=False)
    close((np.asarray(u) * np.asarray(s)[..., None, :]) @ np.asarray(vh), a)
    close(s, np.linalg.svd(a, compute_uv=False))
    close(LA.svdvals(a), s)
    u, s, vh = LA.svd(a)
    assert u.shape == (*lead, shape[0], shape[0]) and vh.shape == (*lead, shape[1], shape[1])
    close(u.mH @ u, np.broadcast_to(np.eye(shape[0]), u.shape))
    close(vh @ vh.mH, np.broadcast_to(np.eye(shape[1]), vh.shape))
    close((np.asarray(u)[..., :k] * np.asarray(s)[..., None, :]) @ np.asarray(vh)[..., :k, :], a)


@BOTH
@STACKED
def test_hermitian_problems(lead, dtype):
    a = hermitian((*lead, 4, 4), dtype)
    values, vectors = LA.eigh(a)
    close(values, np.linalg.eigvalsh(a))
    close(a @ np.asarray(vectors), np.asarray(vectors) * np.asarray(values)[..., None, :])
    close(LA.eigvalsh(np.triu(a), "U"), np.linalg.eigvalsh(a))
    close(LA.eigvalsh(np.tril(a)), np.linalg.eigvalsh(a))
    definite = a @ a.swapaxes(-1, -2).conj() + np.eye(4)
    close(LA.cholesky(definite), np.linalg.cholesky(definite))
    close(LA.cholesky(definite, upper=True), np.linalg.cholesky(definite).swapaxes(-1, -2).conj())


def test_methods_agree():
    a = hermitian((20, 20), "float64")
    for method in ("divide_and_conquer", "tridiagonal_ql", "jacobi"):
        close(LA.eigvalsh(a, method=method), np.linalg.eigvalsh(a))
    for method in ("divide_and_conquer", "bidiagonal_qr", "jacobi"):
        close(LA.svd(a, method=method).S, np.linalg.svd(a, compute_uv=False))


@BOTH
@pytest.mark.parametrize("shape", [(6, 3), (3, 6), (4, 4)])
@pytest.mark.parametrize("columns", [None, 2])
@pytest.mark.parametrize("rcond", [None, 0.4])
def test_least_squares(rcond, columns, shape, dtype):
    a = normal(shape, dtype)
    b = normal(shape[0] if columns is None else (shape[0], columns), dtype, 1)
    ours, theirs = LA.lstsq(a, b, rcond), np.linalg.lstsq(a, b, rcond)
    close(ours.x, theirs[0])
    x, residuals, rank, values = ours
    close(residuals, theirs[1])
    assert rank == theirs[2]
    close(values, theirs[3])
    assert repr(ours) == f"LstsqResult(x={x!r}; residuals, rank, singular_values)"
    assert len(ours) == 4 and ours[2] == rank and ours[1:3][1] == rank


@BOTH
@STACKED
def test_ranks_and_inverses(lead, dtype):
    a = normal((*lead, 5, 2), dtype) @ normal((*lead, 2, 4), dtype, 1)
    close(LA.matrix_rank(a), np.linalg.matrix_rank(a))
    close(LA.matrix_rank(a, tol=1e3), np.zeros(lead))
    close(LA.pinv(a), np.linalg.pinv(a), 1e-11)
    b = normal((*lead, 4, 3), dtype)
    close(LA.pinv(b, rtol=0.5), np.linalg.pinv(b, rcond=0.5))
    assert LA.pinv(nm.zeros((3, 2)), rtol=0.1).shape == (2, 3)
    values = np.linalg.svd(b, compute_uv=False)
    close(LA.matrix_rank(b, rtol=0.5), (values > 0.5 * values[..., :1]).sum(-1))


@BOTH
@pytest.mark.parametrize("order", [None, "fro", "nuc", 1, -1, 2, -2, np.inf, -np.inf])
@pytest.mark.parametrize("keepdims", [False, True])
def test_matrix_norms(keepdims, order, dtype):
    a = normal((2, 3, 4), dtype)
    close(LA.norm(a[0], order, keepdims=keepdims), np.linalg.norm(a[0], order, keepdims=keepdims))
    close(LA.norm(a, order, (2, 0), keepdims), np.linalg.norm(a, order, (2, 0), keepdims))
    if order is not None:
        close(
            LA.matrix_norm(a, ord=order, keepdims=keepdims),
            np.linalg.norm(a, order, (1, 2), keepdims),
        )


@BOTH
@pytest.mark.parametrize("order", [0, 0.5, 1, 2, 3, np.inf, -np.inf])
def test_vector_norms(order, dtype):
    a = normal((3, 4), dtype)
    close(LA.vector_norm(a, ord=order, axis=1), np.linalg.norm(a, order, 1))
    close(LA.vector_norm(a, ord=order), np.linalg.norm(a.ravel(), order))


@pytest.mark.parametrize("scale", [3.5e307, 1e300, 1e-300, 5e-324])
def test_norms_neither_overflow_nor_underflow(scale):
    close(LA.norm([3 * scale, 4 * scale]) / scale, 5.0)
    largest = 4 * scale
    close(LA.norm([largest], 3) / largest, 1.0)
    close(LA.norm([largest / 2, largest / 2], -1) / largest, 0.25)


def test_every_vector_has_a_scale_of_its_own():
    scales = np.array([1e300, 1e150, 1.0, 1e-50, 1e-300])
    a = scales[:, None] * np.array([3.0, 4.0])
    close(np.asarray(LA.norm(a, axis=1)) / scales, np.full(5, 5.0))
    close(np.asarray(LA.norm(a.T, axis=0, keepdims=True)) / scales, np.full((1, 5), 5.0))
    close(np.asarray(LA.norm(a, 3, 1)) / scales, np.full(5, 91 ** (1 / 3)))


def test_norms_of_zeros_infinities_and_nan():
    inf, nan = float("inf"), float("nan")
    a = [[0.0, 0.0], [inf, 1.0], [nan, 1.0], [3.0, 4.0]]
    np.testing.assert_array_equal(np.asarray(LA.norm(a, axis=1)), [0.0, inf, nan, 5.0])
    assert LA.norm([inf, inf], -2) == inf
    assert LA.norm([0.0, 1.0], -2) == 0.0
    assert LA.norm([]) == 0.0
    assert LA.norm(nm.zeros((2, 0)), axis=1).tolist() == [0.0, 0.0]


@BOTH
@pytest.mark.parametrize("order", [None, 1, -1, 2, -2, np.inf, "fro", "nuc"])
def test_condition_numbers(order, dtype):
    a = normal((3, 3), dtype)
    close(LA.cond(a, order), np.linalg.cond(a, order), 1e-11)
    stack = normal((2, 1, 3, 3), dtype)
    close(LA.cond(stack, order), np.linalg.cond(stack, order), 1e-11)
    assert LA.cond([[1.0, 1.0], [1.0, 1.0]], 1) == np.inf
    assert LA.cond(nm.zeros((2, 2)), order) == np.inf
    with pytest.raises(nm.error, match=r"the matrix holds an infinite or NaN entry$"):
        LA.cond([[float("nan"), 0.0], [0.0, 1.0]], order)


def test_a_negative_rcond_is_the_machine_precision():
    a, b = np.ones((3, 2)), normal(3)
    for rcond in (-1, 0.0):
        ours, theirs = LA.lstsq(a, b, rcond), np.linalg.lstsq(a, b, -1)
        close(ours.x, theirs[0])
    assert LA.lstsq(a, b, -1).rank == 1


def test_the_rest_of_the_extension():
    a, b = normal((4, 3)), normal((4, 3), seed=1)
    close(LA.cross(a, b), np.cross(a, b))
    close(LA.vecdot(1j * a, b), (np.conj(1j * a) * b).sum(-1))
    assert LA.vecdot([1j, 2.0], [3.0, 4.0]) == 8 - 3j
    close(LA.matrix_transpose(a), a.T)
    assert set(LA.__all__) <= set(dir(LA))


def test_results_have_names():
    a = hermitian((3, 3), "float64")
    for result in (LA.eigh(a), LA.qr(a), LA.svd(a), LA.slogdet(a)):
        assert len(result) == len(result._fields)
        assert all(getattr(result, name) is item for name, item in zip(result._fields, result))
        back = pickle.loads(pickle.dumps(result))
        assert type(back) is type(result) and repr(back) == repr(result)
    assert LA.eigh(a)._fields == ("eigenvalues", "eigenvectors")
    assert LA.qr(a)._fields == ("Q", "R")
    assert LA.svd(a)._fields == ("U", "S", "Vh")
    assert repr(LA.slogdet([[2.0]])) == "SlogdetResult(sign=1.0, logabsdet=0.6931471805599453)"


def test_errors_keep_the_modules_words_and_carry_a_note():
    with pytest.raises(LA.LinAlgError) as failure:
        LA.solve([[1.0, 2.0], [2.0, 4.0]], [1.0, 1.0])
    assert LA.LinAlgError is nm.error
    assert str(failure.value) == "solve: matrix is singular"
    with pytest.raises(
        nm.error, match=r"^solve\(a, b\) needs a rank-2 a and a rank-1 or rank-2 b$"
    ):
        LA.solve(nm.eye(2), 1.0)
    if hasattr(failure.value, "__notes__"):
        assert failure.value.__notes__ == [
            "given float64 of shape (2, 2), float64 of shape (2,); the matrix has no inverse:"
            " lstsq and pinv give the least-squares answer"
        ]


@pytest.mark.parametrize(
    "call",
    [
        lambda a, b: LA.lstsq(a, b, None),
        lambda a, b: LA.lstsq(b=b, rcond=None, a=a),
        lambda a, b: LA.solve([[1.0, 2.0], [2.0, 4.0]], b),
    ],
)
def test_a_note_tells_of_the_operands_alone(call):
    with pytest.raises(nm.error) as failure:
        call(np.full((2, 2), np.nan), nm.ones(2))
    if hasattr(failure.value, "__notes__"):
        (note,) = failure.value.__notes__
        assert note.startswith("given float64 of shape (2, 2), float64 of shape (2,); ")


@pytest.mark.parametrize(
    "call",
    [
        lambda: LA.pinv(np.full((2, 2), np.nan), None),
        lambda: LA.matrix_rank(np.full((2, 2), np.nan), None),
        lambda: LA.qr(np.full((2, 2), np.nan), "r"),
        lambda: LA.inv(np.array([["a"]])),
        lambda: LA.lstsq(np.eye(2), np.array(["a", "b"]), None),
    ],
)
def test_a_note_never_replaces_the_error(call):
    with pytest.raises(nm.error) as failure:
        call()
    assert failure.value.__context__ is None


def test_the_axes_of_vecdot_match_and_the_others_broadcast():
    for a, b in (
        ([2.0], [1.0, 2.0, 3.0]),
        ([1.0, 2.0, 3.0], [2.0]),
        (nm.ones((3, 1)), nm.ones((3, 2))),
    ):
        sizes = (np.shape(a)[-1], np.shape(b)[-1])
        with pytest.raises(
            ValueError, match=r"^vecdot takes vectors of one length, not %d and %d$" % sizes
        ):
            LA.vecdot(a, b)
    a, b = normal((2, 1, 3), "complex128"), normal((4, 3), seed=1)
    close(LA.vecdot(a, b), (a.conj() * b).sum(-1))
    close(LA.vecdot(a.swapaxes(-1, -2), b.T, axis=-2), (a.conj() * b).sum(-1))
    close(LA.vecdot(normal((3, 2)), normal((3, 2)), axis=0), (normal((3, 2)) ** 2).sum(0))
    with pytest.raises(IndexError, match=r"^axis -1 is out of bounds for a tensor of rank 0$"):
        LA.vecdot(2.0, [1.0])


@pytest.mark.parametrize(
    ("call", "message"),
    [
        (lambda: LA.inv(nm.ones((2, 3))), "inv takes square matrices, not shape (2, 3)"),
        (lambda: LA.det(nm.ones(3)), "det takes a matrix or a stack of them, not a tensor of rank 1"),
        (lambda: LA.qr(nm.ones((2, 2)), "full"), "mode is 'reduced', 'complete' or 'r', not 'full'"),
        (lambda: LA.cholesky(nm.ones((2, 3))), "cholesky takes square matrices, not shape (2, 3)"),
        (lambda: LA.cross([1.0, 2.0, 3.0], [1.0, 2.0]), "cross takes vectors of 3 elements, not 3 and 2"),
        (lambda: LA.eigh(nm.ones((2, 3))), "eigh takes square matrices, not shape (2, 3)"),
        (lambda: LA.eigh(nm.eye(2), "X"), "UPLO is 'L' or 'U', not 'X'"),
        (lambda: LA.matrix_rank(nm.eye(2), 1, rtol=1), "matrix_rank takes tol or rtol, not both"),
        (lambda: LA.norm(nm.ones(2), "fro"), "vector_norm: ord is a number, inf or -inf, not 'fro'"),
        (lambda: LA.solve(nm.ones((2, 2, 3)), nm.ones(2)), "solve takes square matrices, not shape (2, 2, 3)"),
        (lambda: LA.solve(nm.ones((2, 2, 2)), 1.0), "solve takes right-hand sides of rank 1 and more, not a number"),
        (lambda: LA.matrix_norm(nm.eye(2), ord=3), "matrix_norm: ord is 'fro', 'nuc', 1, -1, 2, -2, inf or -inf, not 3"),
    ],
)  # fmt: skip
def test_bad_arguments_are_value_errors(call, message):
    with pytest.raises(ValueError) as failure:
        call()
    assert str(failure.value) == message
