"""Q·R with a kept Q and column pivoting, against SciPy and NumPy."""

import pickle

import numpy as np
import pytest
import scipy.linalg as sla

import numerical as nm
from oracle import close, normal

linalg = nm.linalg
DTYPES = ["float64", "complex128"]
SHAPES = [(1, 1), (5, 3), (3, 5), (4, 4), (33, 32), (40, 70), (70, 40)]


@pytest.mark.parametrize("shape", [*SHAPES, (0, 3), (3, 0), (2, 5, 3), (2, 3, 5)])
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("pivoting", [False, True])
def test_qr_factor_unpacks_and_multiplies(shape, dtype, pivoting):
    a = normal(shape, dtype)
    factors = linalg.qr_factor(a, pivoting)
    q, r = np.asarray(factors.q), np.asarray(factors.r)
    k = min(shape[-2:])
    assert factors.shape == shape and factors.dtype.name == dtype
    assert len(factors) == (3 if pivoting else 2)
    permuted = np.take_along_axis(a, np.asarray(factors.perm)[..., None, :], -1) if pivoting else a
    close(q @ r, permuted)
    close(q.conj().swapaxes(-1, -2) @ q, np.broadcast_to(np.eye(k), (*shape[:-2], k, k)))
    if not pivoting:
        close(r, linalg.qr(a, "r"))
    c = normal((k, 2), dtype, 1)
    close(factors.q_multiply(c), q @ c)
    d = normal((shape[-2], 2), dtype, 2)
    close(factors.qh_multiply(d), q.conj().swapaxes(-1, -2) @ d)
    close(
        factors.q_multiply(factors.qh_multiply(d, complete=True)),
        np.broadcast_to(d, (*shape[:-2], *d.shape)),
    )
    if len(shape) == 2:
        close(factors.q_multiply(c[:, 0]), q @ c[:, 0])
        close(factors.qh_multiply(d[:, 0]), q.conj().T @ d[:, 0])
    again = pickle.loads(pickle.dumps(factors))
    assert again.r.tolist() == factors.r.tolist()
    assert again.qh_multiply(d).tolist() == factors.qh_multiply(d).tolist()


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("dtype", DTYPES)
def test_pivoting_is_scipys(shape, dtype):
    a = normal(shape, dtype)
    q, r, perm = linalg.qr(a, pivoting=True)
    _, theirs, their_perm = sla.qr(a, mode="economic", pivoting=True)
    assert perm.tolist() == their_perm.tolist()
    close(np.abs(np.asarray(r)), np.abs(theirs), 1e-10)
    close(np.asarray(q) @ np.asarray(r), a[:, their_perm])
    only_r, only_perm = linalg.qr(a, "r", pivoting=True)
    assert only_r.tolist() == r.tolist() and only_perm.tolist() == perm.tolist()
    whole_q, whole_r, _ = linalg.qr(a, "complete", pivoting=True)
    assert whole_q.shape == (shape[0],) * 2 and whole_r.shape == shape
    close(np.asarray(whole_q) @ np.asarray(whole_r), a[:, their_perm])


@pytest.mark.parametrize("pivoting", [False, True])
@pytest.mark.parametrize("dtype", DTYPES)
def test_a_qr_factor_solves_least_squares(pivoting, dtype):
    for shape in [(6, 6), (50, 20)]:
        a = normal(shape, dtype)
        factors = linalg.qr_factor(a, pivoting)
        for b in (
            normal(shape[:1], dtype, 1),
            normal((shape[0], 3), dtype, 1),
            normal(shape[:1], seed=2),
        ):
            close(factors.solve(b), np.linalg.lstsq(a, b, rcond=None)[0], 1e-10)
    stacked = normal((2, 1, 7, 4), dtype)
    b = normal((3, 7, 2), dtype, 1)
    close(linalg.qr_factor(stacked, pivoting).solve(b), np.linalg.pinv(stacked) @ b, 1e-10)
    vectors = linalg.qr_factor(stacked, pivoting).solve(b[0, :, 0])
    close(vectors, np.linalg.pinv(stacked) @ b[0, :, 0], 1e-10)


@pytest.mark.parametrize("pivoting", [False, True])
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", [1, 2, 3, 8, 33, 40])
def test_a_square_qr_factor_answers_what_it_can_tell(n, pivoting, dtype):
    a = normal((n, n), dtype)
    factors = linalg.qr_factor(a, pivoting)
    np.testing.assert_allclose(factors.det(), np.linalg.det(a), rtol=1e-10)
    sign, log = factors.slogdet()
    close([sign, log], np.linalg.slogdet(a), 1e-10)
    close(factors.inverse(), np.linalg.inv(a), 1e-9)
    exact = 1 / np.linalg.cond(np.asarray(factors.r), 1)
    assert exact * 0.999 <= factors.rcond() <= 3 * exact
    assert factors.cond_estimate() == 1 / factors.rcond()


@pytest.mark.parametrize("pivoting", [False, True])
@pytest.mark.parametrize("shape", [(3, 2, 5, 5), (0, 3, 3), (2, 0, 0)])
def test_stacks_answer_as_their_matrices(shape, pivoting):
    a = normal(shape)
    factors = linalg.qr_factor(a, pivoting)
    close(factors.det(), np.linalg.det(a), 1e-10)
    close(factors.slogdet().logabsdet, np.linalg.slogdet(a)[1], 1e-10)
    close(factors.inverse(), np.linalg.inv(a), 1e-10)
    if a.size:
        one = linalg.qr_factor(a[1, 0], pivoting)
        assert factors.rcond()[1, 0] == one.rcond()
        assert factors.q[1, 0].tolist() == one.q.tolist()


@pytest.mark.parametrize("path", ["portable", "avx2", "avx512"])
def test_pivots_show_the_rank(path):
    a = normal((60, 5)) @ normal((5, 40), seed=1)
    with nm.limit_gemm_path(path):
        diagonal = np.diag(np.asarray(linalg.qr(a, "r", pivoting=True)[0]))
    assert np.all(diagonal[:5] > 1) and np.all(diagonal[5:] < 1e-12)


@pytest.mark.parametrize("mode", ["left", "right"])
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("pivoting", [False, True])
@pytest.mark.parametrize("conjugate", [False, True])
def test_qr_multiply_is_a_product_with_q(mode, dtype, pivoting, conjugate):
    for shape in [(5, 3), (4, 4), (3, 5)]:
        a = normal(shape, dtype)
        k = min(shape)
        c = normal((k, 2) if mode == "left" else (2, shape[0]), dtype, 1)
        q = np.asarray(linalg.qr_factor(a, pivoting).q)
        q = q.conj() if conjugate else q
        found, *rest = linalg.qr_multiply(a, c, mode, pivoting, conjugate)
        close(found, q @ c if mode == "left" else c @ q)
        assert len(rest) == (2 if pivoting else 1)
        vector = c[:, 0] if mode == "left" else c[0]
        found, *_ = linalg.qr_multiply(a, vector, mode, pivoting, conjugate)
        close(found, q @ vector if mode == "left" else vector @ q)


def test_what_doesnt_fit_is_refused():
    wide = linalg.qr_factor(np.ones((2, 3)))
    for wrong, kind, text in [
        (lambda: wide.solve(np.ones(2)), ValueError,
         "solve by QR takes matrices with at least as many rows as columns, not (2, 3)"),
        (lambda: wide.det(), ValueError, "det takes square matrices, not shape (2, 3)"),
        (lambda: wide.rcond(), ValueError, "rcond takes no more columns than rows, not (2, 3)"),
        (lambda: wide.q_multiply(np.ones(3)), nm.error, "q_multiply: the number of rows differs from Q's"),
        (lambda: linalg.qr_factor(np.zeros((2, 2))).solve(np.ones(2)), nm.error, "solve: matrix is singular"),
        (lambda: linalg.qr_factor([1.0]), ValueError,
         "qr_factor takes a matrix or a stack of them, not a tensor of rank 1"),
        (lambda: linalg.qr_factor([[np.nan]]), nm.error,
         "QR decomposition: the matrix holds an infinite or NaN entry"),
        (lambda: linalg.qr_multiply(np.eye(2), np.ones(2), "both"), ValueError,
         "mode is 'left' or 'right', not 'both'"),
    ]:  # fmt: skip
        with pytest.raises(kind) as failure:
            wrong()
        assert str(failure.value) == text
    with pytest.raises(AttributeError, match="^QRFactor is immutable$"):
        wide.r = 1
    assert linalg.qr_factor(np.zeros((2, 2))).slogdet() == (0, -np.inf)
    assert repr(wide) == "QRFactor(shape=(2, 3), dtype='float64')"
