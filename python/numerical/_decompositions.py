"""Cholesky, QR, Hermitian eigenvalues and singular values of matrices and stacks of them."""

from ._arguments import one_of
from ._functions import conj
from ._matrices import EighResult, QRResult, SVDResult, matrices, matrix_transpose
from ._native_module import native


def cholesky(a, *, upper=False):
    """L with a = L·Lᴴ for Hermitian positive-definite matrices; Lᴴ if upper."""
    lower = native.cholesky(a)
    return matrix_transpose(conj(lower)) if upper else lower


def qr(a, mode="reduced"):
    """QRResult(Q, R) with a = Q·R, orthonormal columns of Q and R's diagonal not negative.

    Q is (..., M, K), K = min(M, N); (..., M, M) for mode "complete". Mode "r" gives R alone.
    """
    one_of(mode, "mode", ("reduced", "complete", "r"))
    result = native.qr(a, mode)
    return result if mode == "r" else QRResult(*result)


_EIGH_HINTS = {
    "qr": 'method="tridiagonal_ql" iterates as QR does, from the other end',
    "ql": 'write method="tridiagonal_ql"',
    "dc": 'write method="divide_and_conquer", or nothing: it is the default',
}
_EIGH_METHODS = ("divide_and_conquer", "tridiagonal_ql", "jacobi")


def eigh(a, UPLO="L", *, method="divide_and_conquer"):
    """EighResult(eigenvalues, eigenvectors) of Hermitian matrices, values ascending.

    One triangle is read: the lower, or the upper for UPLO "U". Column j of the vectors belongs to
    value j. method: "divide_and_conquer", "tridiagonal_ql", or "jacobi" (float64 only).
    """
    one_of(UPLO, "UPLO", ("L", "U"))
    one_of(method, "method", _EIGH_METHODS, _EIGH_HINTS)
    return EighResult(*native.eigh(a if UPLO == "L" else _of_triangle(a, UPLO, "eigh"), method))


def _of_triangle(a, uplo, name):
    """The matrices with the named triangle as the lower one."""
    a = matrices(a, name, square_only=True)
    return matrix_transpose(conj(a)) if uplo == "U" else a


def eigvalsh(a, UPLO="L", *, method="divide_and_conquer"):
    """The eigenvalues of Hermitian matrices, ascending; one triangle is read, as by eigh.

    By another method than divide and conquer the values are those of eigh.
    """
    one_of(UPLO, "UPLO", ("L", "U"))
    if one_of(method, "method", _EIGH_METHODS, _EIGH_HINTS) != "divide_and_conquer":
        return eigh(a, UPLO, method=method).eigenvalues
    return native.eigvalsh(a if UPLO == "L" else _of_triangle(a, UPLO, "eigvalsh"))


def svd(a, full_matrices=True, *, method="divide_and_conquer"):
    """SVDResult(U, S, Vh) with a = U·diag(S)·Vh, S descending.

    U is (..., M, M) and Vh (..., N, N); (..., M, K) and (..., K, N) with K = min(M, N) unless
    full_matrices. method: "divide_and_conquer", "bidiagonal_qr" or "jacobi".
    """
    one_of(method, "method", ("divide_and_conquer", "bidiagonal_qr", "jacobi"))
    return SVDResult(*native.svd(a, bool(full_matrices), method))


svdvals = native.svdvals
