"""Cholesky, QR and singular values of matrices and stacks of them."""

from ._arguments import count, one_of, shown
from ._functions import abs as _abs
from ._functions import argsort, sort, where
from ._hermitian import eigh, eigvalsh
from ._low_rank import leading_svd
from ._matrices import matrices
from ._arrangement import take_along_axis
from ._native_module import native
from ._orthogonal_factors import pivoted_qr
from ._results import QRResult, SVDResult


def cholesky(a, *, upper=False):
    """The Cholesky factors of Hermitian positive-definite matrices: L with a = L @ L.mH.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
        Only the lower triangles are used; all elements must be finite.
    upper : bool, optional
        Whether to return the upper factors L.mH.

    Returns
    -------
    Tensor, shape (..., M, M)
        Lower triangular; the diagonal is real and positive.

    Raises
    ------
    numerical.error
        If a matrix is not positive-definite ("Cholesky: matrix is not positive-definite") or not finite.
    ValueError
        If the matrices aren't square.

    Examples
    --------
    >>> nm.linalg.cholesky([[4.0, 2.0], [2.0, 5.0]])
    Tensor([[2.0, 0.0],
            [1.0, 2.0]])
    """
    lower = native.cholesky(a)
    return lower.mH if upper else lower


def qr(a, mode="reduced", *, pivoting=False):
    """The QR factorization of matrices: a = Q @ R with orthonormal columns of Q.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    mode : {'reduced', 'complete', 'r'}, optional
        The shapes of the factors, with K = min(M, N) or K = M for 'complete'; 'r' for R alone.
    pivoting : bool, optional
        Columns change places, a[:, perm] = Q @ R, so that the diagonal of R falls and shows the
        rank. The result is then (Q, R, perm), or (R, perm).

    Returns
    -------
    QRResult, Tensor or tuple
        Q of shape (..., M, K) and R of shape (..., K, N). R's diagonal is real and not negative, so
        that the factors of a matrix of full rank are unique.

    Raises
    ------
    ValueError
        Below rank 2, or for another mode.
    numerical.error
        If a matrix isn't finite.

    Notes
    -----
    Householder reflections in blocks of compact form (Schreiber and Van Loan 1989); pivots are found
    in panels (Quintana-Orti, Sun and Bischof 1998).

    Examples
    --------
    >>> q, r = nm.linalg.qr([[3.0, 1.0], [4.0, 2.0]])
    >>> q
    Tensor([[ 0.6, -0.8],
            [ 0.8,  0.6]])
    >>> r
    Tensor([[5.0, 2.2],
            [0.0, 0.4]])
    """
    one_of(mode, "mode", ("reduced", "complete", "r"))
    if pivoting:
        return pivoted_qr(a, mode)
    result = native.qr(a, mode)
    return result if mode == "r" else QRResult(*result)


def svd(
    a, full_matrices=True, compute_uv=True, hermitian=False, *, k=None,
    method="divide_and_conquer"
):  # fmt: skip
    """The singular value decomposition: a = U @ diag(S) @ Vh.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    full_matrices : bool, optional
        Whether U is (..., M, M) and Vh (..., N, N); otherwise they are (..., M, K) and (..., K, N) with
        K = min(M, N).
    compute_uv : bool, optional
        If false, S alone is returned.
    hermitian : bool, optional
        Whether the matrices are Hermitian: the lower triangle is read, and the factors come from eigh in
        less time.
    k : int, optional
        The leading k values and vectors alone, exactly those of the whole, in less time: U (..., M, k),
        S (..., k), Vh (..., k, N). randomized_svd approximates them in much less.
    method : {'divide_and_conquer', 'bidiagonal_qr', 'jacobi'}, optional

    Returns
    -------
    SVDResult or Tensor
        U, S and Vh; S is float64 of shape (..., K), descending.

    Raises
    ------
    ValueError
        Below rank 2, for another method, or for k beyond min(M, N).
    numerical.error
        If a matrix isn't finite, or an iteration doesn't converge.

    Notes
    -----
    Bidiagonal reduction, then divide and conquer (Gu and Eisenstat 1995). By 'jacobi' the small
    singular values of graded matrices are the more accurate (Demmel and Veselić 1992).

    Examples
    --------
    >>> u, s, vh = nm.linalg.svd([[3.0, 0.0], [0.0, -4.0]])
    >>> s
    Tensor([4.0, 3.0])
    >>> nm.allclose(u * s @ vh, [[3.0, 0.0], [0.0, -4.0]])
    True
    >>> u, s, vh = nm.linalg.svd(nm.diag([1.0, 3.0, 2.0]), k=2)
    >>> u.shape, s, vh.shape
    ((3, 2), Tensor([3.0, 2.0]), (2, 3))
    """
    one_of(method, "method", ("divide_and_conquer", "bidiagonal_qr", "jacobi"))
    if k is not None:
        return _leading(a, k, compute_uv, hermitian, method)
    if hermitian:
        return _svd_of_hermitian(a) if compute_uv else _moduli(eigvalsh(a))
    if not compute_uv:
        return svdvals(a) if method == "divide_and_conquer" else svd(a, False, method=method).S
    return SVDResult(*native.svd(a, bool(full_matrices), method))


def svdvals(a, *, k=None):
    """The singular values, descending.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    k : int, optional
        Only the k largest, at most min(M, N).

    Returns
    -------
    Tensor, shape (..., K)
        float64; K is min(M, N), or k.

    Raises
    ------
    ValueError
        Below rank 2, or for k beyond min(M, N).
    numerical.error
        If a matrix isn't finite, or the iteration doesn't converge.

    Examples
    --------
    >>> nm.linalg.svdvals([[3.0, 0.0], [0.0, -4.0]])
    Tensor([4.0, 3.0])
    >>> nm.linalg.svdvals([[3.0, 0.0], [0.0, -4.0]], k=1)
    Tensor([4.0])
    """
    return native.svdvals(a) if k is None else _leading(a, k, False, False, "divide_and_conquer")


def _leading(a, k, compute_uv, hermitian, method):
    if compute_uv and not hermitian and method == "divide_and_conquer":
        return leading_svd(a, k)
    a, k = matrices(a, "svd"), count(k, "k")
    if k > min(a.shape[-2:]):
        raise ValueError(f"k is at most min(M, N) = {min(a.shape[-2:])}, not {shown(k)}")
    whole = svd(a, False, compute_uv, hermitian, method=method)
    if not compute_uv:
        return whole[..., :k]
    return SVDResult(whole.U[..., :k], whole.S[..., :k], whole.Vh[..., :k, :])


def _moduli(values):
    return sort(_abs(values), -1, descending=True)


def _svd_of_hermitian(a):
    """With eigenvalues w and vectors v the factors v, |w| and (v·sign w)ᴴ, by descending |w|."""
    values, vectors = eigh(a)
    order = argsort(_abs(values), -1, descending=True)
    w = take_along_axis(values, order, -1)
    u = take_along_axis(vectors, order[..., None, :], -1)
    signs = where(w < 0, -1.0, 1.0)[..., None, :]
    return SVDResult(u, _abs(w), (u * signs).mH)
