"""Cholesky, QR, Hermitian eigenvalues and singular values of matrices and stacks of them."""

from . import _numerical
from ._creation import eye
from ._functions import conj
from ._matrices import (
    EighResult, QRResult, SVDResult, matrices, matrix_transpose, over_stack, told,
)  # fmt: skip
from ._shaping import concatenate


@told
def cholesky(a, *, upper=False):
    """L with a = L·Lᴴ for Hermitian positive-definite matrices; Lᴴ if upper."""
    a = matrices(a, "cholesky", square_only=True)
    lower = over_stack(lambda m: (_numerical.cholesky(m),), a, lambda m, n, d: [((m, n), d)])[0] \
        if a.ndim > 2 else _numerical.cholesky(a)  # fmt: skip
    return matrix_transpose(conj(lower)) if upper else lower


@told
def qr(a, mode="reduced"):
    """QRResult(Q, R) with a = Q·R, orthonormal columns of Q and R's diagonal not negative.

    Q is (..., M, K), K = min(M, N); (..., M, M) for mode "complete". Mode "r" gives R alone.
    """
    if mode not in ("reduced", "complete", "r"):
        raise ValueError(f"mode is 'reduced', 'complete' or 'r', not {mode!r}")
    a = matrices(a, "qr")
    factor = _complete_qr if mode == "complete" else _numerical.qr

    def empty(m, n, dtype):
        k = m if mode == "complete" else min(m, n)
        return [((m, k), dtype), ((k, n), dtype)]

    result = QRResult(*over_stack(factor, a, empty))
    return result.R if mode == "r" else result


def _complete_qr(a):
    """The factors of [a I]: its first columns are a's, and the rest completes the basis."""
    rows, columns = a.shape
    if rows <= columns:
        return _numerical.qr(a)
    q, r = _numerical.qr(concatenate([a, eye(rows, dtype=a.dtype)], axis=1))
    return q, _numerical._take(r, (0, 0), (1, 1), (rows, columns), (1, 1))


@told
def eigh(a, UPLO="L", *, method="divide_and_conquer"):
    """EighResult(eigenvalues, eigenvectors) of Hermitian matrices, values ascending.

    One triangle is read: the lower, or the upper for UPLO "U". Column j of the vectors belongs to
    value j. method: "divide_and_conquer", "tridiagonal_ql", or "jacobi" (float64 only).
    """
    a = _hermitian(a, UPLO, "eigh")
    return EighResult(
        *over_stack(
            lambda m: _numerical.eigh(m, method), a,
            lambda m, n, dtype: [((m,), "float64"), ((m, n), dtype)],
        )  # fmt: skip
    )


def _hermitian(a, uplo, name):
    a = matrices(a, name, square_only=True)
    if uplo not in ("L", "U"):
        raise ValueError(f"UPLO is 'L' or 'U', not {uplo!r}")
    return matrix_transpose(conj(a)) if uplo == "U" else a


def eigvalsh(a, UPLO="L", *, method="divide_and_conquer"):
    """The eigenvalues of Hermitian matrices, ascending."""
    return eigh(a, UPLO, method=method).eigenvalues


@told
def svd(a, full_matrices=True, *, method="divide_and_conquer"):
    """SVDResult(U, S, Vh) with a = U·diag(S)·Vh, S descending.

    U is (..., M, M) and Vh (..., N, N); (..., M, K) and (..., K, N) with K = min(M, N) unless
    full_matrices. method: "divide_and_conquer", "bidiagonal_qr" or "jacobi".
    """
    a = matrices(a, "svd")

    def decompose(matrix):
        u, s, vh = _numerical.svd(matrix, method)
        if not full_matrices:
            return u, s, vh
        return _completed(u), s, matrix_transpose(conj(_completed(matrix_transpose(conj(vh)))))

    def empty(m, n, dtype):
        k = min(m, n)
        u, v = (m, n) if full_matrices else (k, k)
        return [((m, u), dtype), ((k,), "float64"), ((v, n), dtype)]

    return SVDResult(*over_stack(decompose, a, empty))


def _completed(u):
    """Orthonormal columns completed to a basis: they are their own Q, as R's diagonal is 1."""
    return u if u.shape[0] == u.shape[1] else _complete_qr(u)[0]


def svdvals(a):
    """The singular values, descending."""
    return svd(a, full_matrices=False).S
