"""Least squares, pseudo-inverse and rank."""

from ._arguments import real
from ._decompositions import svd
from ._functions import abs as _abs
from ._functions import square
from ._hints import add_hint
from ._matrices import matrices
from ._native_module import native
from ._numerical import Tensor
from ._products import matmul
from ._promotion import same_dtype
from ._shaping import reshape

EPS = 2.0**-52


class LstsqResult:
    """What lstsq returns: unpacks into four, as NumPy's tuple does.

    x and the sums for residuals are computed at once; rank and singular_values cost the singular
    values of a small factor when one of them is first read. For a stack of matrices all are stacks,
    and rank is a tensor.

    Attributes
    ----------
    x : Tensor, shape (..., N) or (..., N, K)
        The solutions of least norm.
    residuals : Tensor
        The squared norms of the columns of b - a @ x if M > N = rank; otherwise it holds nothing.
    rank : int or Tensor
    singular_values : Tensor, shape (..., min(M, N))

    Examples
    --------
    >>> fit = nm.linalg.lstsq([[1.0, 0.0], [0.0, 1.0], [0.0, 0.0]], [1.0, 2.0, 3.0])
    >>> x, residuals, rank, values = fit
    >>> residuals, rank
    (Tensor([9.0]), 2)
    """

    def __init__(self, a, b, rcond):
        self._rcond = EPS * max(a.shape[-2:]) if rcond is None else rcond if rcond >= 0 else EPS
        self._shape = a.shape
        if a.ndim == 2 and b.ndim in (1, 2):
            found = native.lstsq_fit(a, b, self._rcond)
            self.x, self._missed, self._triangle, self._scale, self._values = found
            return
        self._a, self._b = a, b
        self._triangle, self._scale, self._values, self._missed = a, 1.0, None, None
        if rcond is None:
            self.x = native.lstsq(a, b)
        else:
            u, self._values, vh = native.svd(a, False, "divide_and_conquer")
            self.x = matmul(_truncated_inverse(u, self._values, vh, self._rcond), b)

    @property
    def singular_values(self):
        if self._values is None:
            self._values = native.svdvals(self._triangle) * self._scale
        return self._values

    @property
    def rank(self):
        values = self.singular_values
        found = native.sum(values > self._rcond * values[..., :1], -1)
        return found if values.ndim > 1 else int(found)

    @property
    def residuals(self):
        rows, columns = self._shape[-2:]
        if rows <= columns or not _all_equal(self.rank, columns):
            return Tensor([], (0,))
        if self._missed is None:
            missed = square(_abs(_product(self._a, self.x) - self._b))
            self._missed = native.sum(missed, -1 if missed.ndim < self._a.ndim else -2)
        return self._missed

    def __repr__(self):
        return f"LstsqResult(x={self.x!r}; residuals, rank, singular_values)"

    def __len__(self):
        return 4

    def __iter__(self):
        return (self[i] for i in range(4))

    def __getitem__(self, index):
        names = ("x", "residuals", "rank", "singular_values")[index]
        if isinstance(names, tuple):
            return tuple(getattr(self, name) for name in names)
        return getattr(self, names)


def _cutoff(rcond):
    try:
        return real(rcond, "rcond")
    except TypeError as failure:
        raise add_hint(
            failure, "rcond=None, the default, means max(M, N)·2^-52, and -1 means 2^-52"
        ) from None


def lstsq(a, b, rcond=None):
    """The least-squares solutions x of least norm: those that minimise norm(a @ x - b).

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    b : array_like, shape (M,) or (..., M, K)
        One right-hand side, or one in each column.
    rcond : float, optional
        Singular values up to rcond times the largest count as zero. max(M, N)·2^-52 by default;
        a negative one means 2^-52.

    Returns
    -------
    LstsqResult
        x, residuals, rank and singular_values.

    Raises
    ------
    numerical.error
        If a matrix isn't finite, or b has another number of rows.
    ValueError
        If a is below rank 2.

    Notes
    -----
    Householder QR where the matrix is well conditioned, otherwise the SVD.

    Examples
    --------
    >>> x, residuals, rank, values = nm.linalg.lstsq([[1.0, 0.0], [1.0, 1.0], [1.0, 2.0]], [1.0, 3.0, 5.0])
    >>> nm.allclose(x, [1.0, 2.0]), rank
    (True, 2)
    """
    rcond = None if rcond is None else _cutoff(rcond)
    a, b = same_dtype(a, b)
    a = matrices(a, "lstsq")
    return LstsqResult(a, b, rcond)


def _all_equal(ranks, columns):
    """Whether a rank, or each of a stack's, is `columns`."""
    return ranks == columns if isinstance(ranks, int) else native.min(ranks) == columns


def _product(a, x):
    """a @ x, where x of a stack may hold one vector for each matrix."""
    if a.ndim > 2 and x.ndim == a.ndim - 1:
        return reshape(matmul(a, reshape(x, (*x.shape, 1))), (*a.shape[:-1],))
    return matmul(a, x)


def _truncated_inverse(u, s, vh, rtol):
    """V·diag(1/s)·Uᴴ over the singular values above rtol times the largest, of a matrix or a stack."""
    counts = s > rtol * s[..., :1]
    inverted = counts / (s * counts + (1.0 - counts))  # 0 for those that don't count
    columns = reshape(inverted, (*s.shape[:-1], 1, s.shape[-1]))
    return matmul(vh.mH * columns, u.mH)


def pinv(a, rcond=None, hermitian=False, *, rtol=None):
    """The Moore-Penrose inverses of matrices.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    rcond : float, optional
        NumPy's name of rtol.
    hermitian : bool, optional
        Whether the matrices are Hermitian: the lower triangle is read, by eigh.
    rtol : float, optional
        Singular values up to rtol times the largest count as zero; max(M, N)·2^-52 by default.

    Returns
    -------
    Tensor, shape (..., N, M)

    Raises
    ------
    ValueError
        Below rank 2, or if both rcond and rtol are given.
    numerical.error
        If a matrix isn't finite.

    Notes
    -----
    By default a matrix of full rank that is well conditioned is factored as Q·R, and its inverse is
    R⁻¹·Qᴴ; others are inverted by their singular values.

    Examples
    --------
    >>> nm.linalg.pinv([[2.0, 0.0], [0.0, 0.0]])
    Tensor([[0.5, 0.0],
            [0.0, 0.0]])
    """
    if rcond is not None and rtol is not None:
        raise ValueError("pinv: rcond and rtol are one: give either")
    rtol = rcond if rtol is None else rtol
    if rtol is None and not hermitian:
        return native.pinv(a)
    a = matrices(a, "pinv", square_only=bool(hermitian))
    limit = EPS * max(a.shape[-2:]) if rtol is None else real(rtol, "rtol")
    return _truncated_inverse(*svd(a, False, hermitian=hermitian), limit)


def matrix_rank(a, tol=None, hermitian=False, *, rtol=None):
    """The number of singular values above a threshold.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    tol : float, optional
        The threshold itself.
    hermitian : bool, optional
        Whether the matrices are Hermitian: the values are then the moduli of the eigenvalues.
    rtol : float, optional
        The threshold relative to the largest value; max(M, N)·2^-52 by default.

    Returns
    -------
    int or Tensor
        An int for a matrix, a tensor of shape (...) for a stack.

    Raises
    ------
    ValueError
        Below rank 2, or if both tol and rtol are given.
    numerical.error
        If a matrix isn't finite.

    Examples
    --------
    >>> nm.linalg.matrix_rank([[1.0, 2.0], [2.0, 4.0]])
    1
    """
    if tol is not None and rtol is not None:
        raise ValueError("matrix_rank takes tol or rtol, not both")
    if tol is None and rtol is None and not hermitian:
        return native.matrix_rank(a)
    a = matrices(a, "matrix_rank", square_only=bool(hermitian))
    values = svd(a, compute_uv=False, hermitian=hermitian)
    if tol is not None:
        threshold = real(tol, "tol")
    else:
        limit = EPS * max(a.shape[-2:]) if rtol is None else real(rtol, "rtol")
        threshold = limit * values[..., :1]
    found = native.sum(values > threshold, -1)
    return found if values.ndim > 1 else int(found)
