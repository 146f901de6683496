"""Cholesky, QR, Hermitian eigenvalues and singular values of matrices and stacks of them."""

from ._arguments import one_of
from ._functions import abs as _abs
from ._functions import argsort, conj, sort, where
from ._matrices import EighResult, QRResult, SVDResult, matrices, matrix_transpose
from ._arrangement import take_along_axis
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
    UPLO = _triangle(UPLO)
    one_of(method, "method", _EIGH_METHODS, _EIGH_HINTS)
    return EighResult(*native.eigh(a if UPLO == "L" else _of_triangle(a, UPLO, "eigh"), method))


def _triangle(uplo):
    """"L" or "U", in either case."""
    if isinstance(uplo, str) and uplo in ("l", "u"):
        return uplo.upper()
    return one_of(uplo, "UPLO", ("L", "U"))


def _of_triangle(a, uplo, name):
    """The matrices with the named triangle as the lower one."""
    a = matrices(a, name, square_only=True)
    return matrix_transpose(conj(a)) if uplo == "U" else a


def eigvalsh(a, UPLO="L", *, method="divide_and_conquer"):
    """The eigenvalues of Hermitian matrices, ascending; one triangle is read, as by eigh.

    By another method than divide and conquer the values are those of eigh.
    """
    UPLO = _triangle(UPLO)
    if one_of(method, "method", _EIGH_METHODS, _EIGH_HINTS) != "divide_and_conquer":
        return eigh(a, UPLO, method=method).eigenvalues
    return native.eigvalsh(a if UPLO == "L" else _of_triangle(a, UPLO, "eigvalsh"))


def svd(
    a, full_matrices=True, compute_uv=True, hermitian=False, *, method="divide_and_conquer"
):
    """SVDResult(U, S, Vh) with a = U·diag(S)·Vh, S descending.

    U is (..., M, M) and Vh (..., N, N); (..., M, K) and (..., K, N) with K = min(M, N) unless
    full_matrices. method: "divide_and_conquer", "bidiagonal_qr" or "jacobi".

    S alone unless compute_uv. Of hermitian matrices one triangle is read and the factors come from
    eigh, in less time.
    """
    one_of(method, "method", ("divide_and_conquer", "bidiagonal_qr", "jacobi"))
    if hermitian:
        return _svd_of_hermitian(a) if compute_uv else _moduli(eigvalsh(a))
    if not compute_uv:
        return svdvals(a) if method == "divide_and_conquer" else svd(a, False, method=method).S
    return SVDResult(*native.svd(a, bool(full_matrices), method))


svdvals = native.svdvals


def _moduli(values):
    return sort(_abs(values), -1, descending=True)


def _svd_of_hermitian(a):
    """With eigenvalues w and vectors v the factors v, |w| and (v·sign w)ᴴ, by descending |w|."""
    values, vectors = eigh(a)
    order = argsort(_abs(values), -1, descending=True)
    w = take_along_axis(values, order, -1)
    u = take_along_axis(vectors, order[..., None, :], -1)
    signs = where(w < 0, -1.0, 1.0)[..., None, :]
    return SVDResult(u, _abs(w), matrix_transpose(conj(u * signs)))
