"""NumPy's functions called with tensors: ours where there is one, otherwise NumPy's own on views."""

import numpy as np
import pytest

import numerical as nm
from oracle import close, equal, integers, normal

A = normal((4, 3), seed=1)
S = normal((3, 3), seed=2) + 4 * np.eye(3)
H = S @ S.T
B = normal((3, 2), seed=3)
NEW = int(np.__version__.split(".")[0]) >= 2

# Each with the operands of its call, which the test hands over as tensors.
OURS = {
    "sum": (lambda a: np.sum(a, axis=0), A),
    "sum in its dtype": (lambda a: np.sum(a, 0, np.float64, keepdims=True), A),
    "sum in a wider dtype": (lambda a: np.sum(a, axis=1, dtype="complex128"), A),
    "mean": (lambda a: np.mean(a, axis=(0,)), A),
    "max": (lambda a: np.max(a, 1), A),
    "min": (lambda a: np.amin(a, axis=-1, keepdims=True), A),
    "var": (lambda a: np.var(a, axis=0, ddof=1), A),
    "std": (lambda a: np.std(a, 1), A),
    "real": (np.real, A + 1j),
    "imag": (np.imag, A + 1j),
    "reshape": (lambda a: np.reshape(a, (2, -1)), A),
    "ravel": (np.ravel, A),
    "squeeze": (lambda a: np.squeeze(a, axis=0), A[None]),
    "expand_dims": (lambda a: np.expand_dims(a, 1), A),
    "transpose": (lambda a: np.transpose(a, (1, 0)), A),
    "moveaxis": (lambda a: np.moveaxis(a, 0, -1), A),
    "swapaxes": (lambda a: np.swapaxes(a, 0, 1), A),
    "flip": (lambda a: np.flip(a, 0), A),
    "broadcast_to": (lambda a: np.broadcast_to(a, (2, 4, 3)), A),
    "concatenate": (lambda a, b: np.concatenate([a, b]), A, S),
    "concatenate all": (lambda a, b: np.concatenate((a, b), axis=None), A, S),
    "stack": (lambda a: np.stack([a, a], axis=1), A),
    "vstack": (lambda a, b: np.vstack([a, b]), A, A[0]),
    "hstack": (lambda a, b: np.hstack([a, b]), S, B),
    "hstack of vectors": (lambda a, b: np.hstack((a, b)), A[0], B[0]),
    "column_stack": (lambda a, b: np.column_stack([a, b]), S, A[0]),
    "tile": (lambda a: np.tile(a, (2, 2)), A),
    "repeat": (lambda a: np.repeat(a, 2, axis=1), A),
    "diag": (lambda a: np.diag(a, 1), S),
    "diagonal": (lambda a: np.diagonal(a, -1), S),
    "tril": (np.tril, S),
    "triu": (lambda a: np.triu(a, k=1), S),
    "dot": (np.dot, A, B),
    "inner": (np.inner, A, S),
    "outer": (np.outer, A[0], B),
    "tensordot": (lambda a, b: np.tensordot(a, b, axes=1), A, B),
    "kron": (np.kron, A, B),
    "einsum": (lambda a, b: np.einsum("ij,jk->ik", a, b), A, B),
    "einsum with options": (lambda a, b: np.einsum("ij,jk", a, b, optimize=True, order="K"), A, B),
    "einsum with lists": (lambda a, b: np.einsum(a, [0, 1], b, [1, 2]), A, B),
    "where": (lambda a: np.where(a > 0, a, 0.0), A),
    "where by a mask of NumPy's": (lambda a, b: np.where(A > 0, a, b), A, 2 * A),
    "clip": (lambda a: np.clip(a, -0.5, 0.5), A),
    "clip below": (lambda a: np.clip(a, -0.5, None), A),
    "clip by names": (lambda a: np.clip(a, a_max=0.5, a_min=A[0]), A),
    "sort": (np.sort, A),
    "sort all": (lambda a: np.sort(a, axis=None, kind="stable"), A),
    "cumsum": (np.cumsum, A),
    "cumsum in a wider dtype": (lambda a: np.cumsum(a, 1, dtype=complex), A),
    "cumprod": (lambda a: np.cumprod(a, axis=0), A),
    "prod": (lambda a: np.prod(a, axis=0, keepdims=True), A),
    "diff": (lambda a: np.diff(a, 2, axis=0), A),
    "diff of more": (lambda a: np.diff(a, axis=0, prepend=0.0, append=a[:2]), A),
    "round": (lambda a: np.round(a, 1), A),
    "around": (np.around, A),
    "cov": (lambda a: np.cov(a, rowvar=False, ddof=0), A),
    "corrcoef": (np.corrcoef, A),
    "roll": (lambda a: np.roll(a, 1, axis=0), A),
    "take": (lambda a: np.take(a, [2, 0], axis=1), A),
    "take_along_axis": (lambda a: np.take_along_axis(a, np.argsort(a, axis=0), axis=0), A),
    "split": (lambda a: np.split(a, 2)[1], A),
    "meshgrid": (lambda a, b: np.meshgrid(a, b, indexing="ij")[1], A[0], A[:, 0]),
    "vander": (lambda a: np.vander(a, 4, increasing=True), A[0]),
    "flipud": (np.flipud, A),
    "fliplr": (np.fliplr, A),
    "linalg.solve": (np.linalg.solve, S, B),
    "linalg.inv": (np.linalg.inv, S),
    "linalg.cholesky": (np.linalg.cholesky, H),
    "linalg.eigvalsh": (lambda a: np.linalg.eigvalsh(a, "U"), H),
    "linalg.svdvals": (lambda a: np.linalg.svd(a, compute_uv=False), A),
    "linalg.pinv": (np.linalg.pinv, A),
    "linalg.matrix_power": (lambda a: np.linalg.matrix_power(a, 3), S),
    "linalg.multi_dot": (lambda a, b, c: np.linalg.multi_dot([a, b, c]), A, S, B),
    "linalg.norm": (lambda a: np.linalg.norm(a, axis=1), A),
    "linalg.tensorsolve": (lambda a, b: np.linalg.tensorsolve(a, b, (0,)), S, B[:, 0]),
    "linalg.tensorinv": (lambda a: np.linalg.tensorinv(a, ind=1), S),
}  # fmt: skip


@pytest.mark.parametrize("name", OURS)
def test_a_function_that_we_have_gives_a_tensor(name):
    call, *operands = OURS[name]
    result = call(*map(nm.asarray, operands))
    assert type(result) is nm.Tensor
    close(result, call(*operands), 1e-12)


def test_one_tensor_among_the_operands_is_enough():
    for a, b in ((nm.asarray(S), B), (S, nm.asarray(B)), (nm.asarray(S), B.tolist())):
        assert isinstance(np.linalg.solve(a, b), nm.Tensor)
    assert isinstance(np.concatenate([A, nm.asarray(S), np.ones((1, 3), int)]), nm.Tensor)


def test_decompositions_run_our_kernels():
    t, h = nm.asarray(A), nm.asarray(H)
    for theirs, ours in (
        (np.linalg.qr(t), nm.linalg.qr(t)),
        (np.linalg.qr(t, mode="complete"), nm.linalg.qr(t, "complete")),
        (np.linalg.eigh(h), nm.linalg.eigh(h)),
        (np.linalg.svd(t), nm.linalg.svd(t)),
        (np.linalg.svd(t, full_matrices=False), nm.linalg.svd(t, False)),
        (np.linalg.slogdet(h), nm.linalg.slogdet(h)),
    ):
        assert type(theirs) is type(ours)
        for one, other in zip(theirs, ours):
            assert nm.array_equal(one, other)
    assert nm.array_equal(np.linalg.qr(t, "r"), nm.linalg.qr(t, "r"))
    x, residuals, rank, values = np.linalg.lstsq(t, nm.asarray(A[:, 0]), rcond=None)
    close(x, [1.0, 0.0, 0.0], 1e-13)
    assert rank == 3 and residuals.shape == (1,) and isinstance(values, nm.Tensor)


def test_whole_sums_and_figures_are_numbers():
    t = nm.asarray(S)
    for result, expected in (
        (np.sum(t), np.sum(S)), (np.trace(t), np.trace(S)), (np.vdot(t, t), np.vdot(S, S)),
        (np.linalg.det(t), np.linalg.det(S)), (np.linalg.norm(t, 2), np.linalg.norm(S, 2)),
        (np.linalg.cond(t), np.linalg.cond(S)),
    ):  # fmt: skip
        assert type(result) is float
        assert result == pytest.approx(expected, rel=1e-12)
    assert np.linalg.matrix_rank(t) == 3
    assert np.allclose(t, S) and np.array_equal(t, S)
    assert np.shape(t) == (3, 3) and np.ndim(t) == 2 and np.size(t) == 9


def test_what_we_lack_is_numpys_own():
    t, a = nm.asarray(S), integers((2, 3, 3))
    stacked = nm.asarray(a)
    for result, expected in (
        (np.median(t, axis=0), np.median(S, axis=0)),
        (np.linalg.eigvals(t), np.linalg.eigvals(S)),
        (np.sum(t, where=S > 0), np.sum(S, where=S > 0)),
        (np.sum(t, axis=0, dtype=np.float32), np.sum(S, axis=0, dtype=np.float32)),
        (np.sum(nm.asarray(S + 1j), axis=0, initial=2.0), np.sum(S + 1j, axis=0, initial=2.0)),
        (np.array_equal(nm.full(2, np.nan), nm.full(2, np.nan), equal_nan=True), True),
        (np.trace(stacked), np.trace(a)),
        (np.diagonal(stacked), np.diagonal(a)),
        (np.repeat(t, [1, 0, 2], axis=0), np.repeat(S, [1, 0, 2], axis=0)),
        (np.reshape(t, (9,), order="F"), np.reshape(S, (9,), order="F")),
        (np.ravel(t, "F"), np.ravel(S, "F")),
        (np.sort(nm.asarray(S + 1j)), np.sort(S + 1j)),
        (np.clip(nm.asarray(S + 1j), -1, 1), np.clip(S + 1j, -1, 1)),
        (np.take(t, [4, -1], mode="wrap"), np.take(S, [4, -1], mode="wrap")),
        (
            np.take_along_axis(t, np.array([4, 1]), None),
            np.take_along_axis(S, np.array([4, 1]), None),
        ),
        (np.cumsum(t, dtype="float32"), np.cumsum(S, dtype="float32")),
        (np.meshgrid(t[0], t[1], sparse=True)[0], np.meshgrid(S[0], S[1], sparse=True)[0]),
        (np.dot(t, t, out=np.zeros((3, 3))), S @ S),
        (np.linalg.svd(nm.asarray(H), hermitian=True)[1], np.linalg.svd(H)[1]),
        (np.stack([t, t], out=np.zeros((2, 3, 3))), np.stack([S, S])),
        (np.array_split(t, 2)[1], S[2:]),
    ):
        assert not isinstance(result, nm.Tensor)
        np.testing.assert_allclose(result, expected, rtol=1e-12)


# What code written for NumPy does with arrays of ints and booleans: assigns, adds up, asks the dtype.
INTS_AND_BOOLEANS = {
    "argsort": np.argsort,
    "argsort of a sorter": lambda a: np.argsort(a, axis=0, kind="stable"),
    "argmax": lambda a: np.argmax(a, axis=1),
    "argmin": lambda a: np.argmin(a, 0),
    "searchsorted": lambda a: np.searchsorted(np.sort(a, axis=None), a, side="right"),
    "nonzero": lambda a: np.nonzero(a > 0)[1],
    "where": lambda a: np.where(a > 0)[0],
    "argwhere": lambda a: np.argwhere(a > 0),
    "count_nonzero": lambda a: np.count_nonzero(a > 0, axis=0),
    "isclose": lambda a: np.isclose(a, A),
    "isnan": np.isnan,
    "less": lambda a: np.less(a, 0.0),
    "any": lambda a: np.any(a > 0, axis=0),
    "all": lambda a: np.all(a, axis=1),
    "logical_and": lambda a: np.logical_and(a > 0, a < 1),
}


@pytest.mark.parametrize("name", INTS_AND_BOOLEANS)
def test_ints_and_booleans_are_arrays_of_numpy(name):
    call = INTS_AND_BOOLEANS[name]
    found, expected = call(nm.asarray(A)), call(A)
    assert type(found) is np.ndarray and found.dtype == expected.dtype and found.flags.writeable
    np.testing.assert_array_equal(found, expected)
    t = nm.asarray(A)
    if found.shape in (A.shape, A.shape[:1]) and found.dtype == bool:
        equal(t[found], A[expected])  # and they index tensors as they index arrays


def test_single_places_are_numpys_numbers():
    t = nm.asarray(A)
    for found, expected in (
        (np.argmax(t), np.argmax(A)),
        (np.argmin(t), np.argmin(A)),
        (np.searchsorted(np.sort(t[:, 0]), 0.1), np.searchsorted(np.sort(A[:, 0]), 0.1)),
    ):
        assert type(found) is type(expected) and found == expected
    assert np.argmax(nm.asarray(A + 1j)) == np.argmax(A + 1j)


def test_arrays_to_be_filled_are_numpys():
    t = nm.asarray(A)
    for made in (np.empty_like(t), np.zeros_like(t), np.ones_like(t), np.full_like(t, 2.0)):
        assert type(made) is np.ndarray and made.flags.writeable and made.shape == t.shape


def test_a_tensor_is_no_out_of_a_function():
    t = nm.zeros(3)
    words = (
        r"^tensors are immutable: numpy\.sum can't write its result into one; give an array as out$"
    )
    with pytest.raises(TypeError, match=words):
        np.sum(A, axis=0, out=t)
    with pytest.raises(ValueError, match="read-only"):
        np.copyto(t, 1.0)
    assert t.tolist() == [0.0, 0.0, 0.0]


def test_a_failure_is_caught_as_numpys_and_as_ours():
    singular = nm.ones((2, 2))
    for kind in (np.linalg.LinAlgError, nm.linalg.LinAlgError, nm.error):
        with pytest.raises(kind, match="^solve: matrix is singular$") as caught:
            np.linalg.solve(singular, singular)
    assert "float64 of shape (2, 2)" in getattr(caught.value, "__notes__", [caught.value.hint])[0]


class Plain(np.ndarray):
    """An array by another name."""


class Own:
    """A class with functions of its own."""

    def __array_function__(self, func, types, args, kwargs):
        return f"own {func.__name__}"


def test_others_with_functions_of_their_own_have_them():
    assert np.concatenate([nm.ones(2), Own()]) == "own concatenate"


def test_masks_and_subclasses_stay_with_numpy():
    masked = np.ma.masked_array([1.0, 2.0], [True, False])
    stacked = np.stack([masked, nm.ones(2)])
    assert not isinstance(stacked, nm.Tensor)
    plain = np.ones((1, 2)).view(Plain)
    assert not isinstance(np.vstack([plain, nm.ones(2)]), nm.Tensor)
    equal(np.stack([np.ones(2), nm.ones(2)]), np.ones((2, 2)))


def test_a_dtype_that_is_the_results_leaves_a_ufunc_ours():
    t = nm.ones(2)
    assert isinstance(np.add(t, t, dtype="float64"), nm.Tensor)
    assert isinstance(np.divide(t, 1j, dtype=complex), nm.Tensor)
    assert type(np.add(t, t, dtype=complex)) is np.ndarray
