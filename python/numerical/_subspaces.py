"""Bases of range and null space, and the polar decomposition: all from singular values."""

from ._arguments import one_of, real
from ._conversion import asarray
from ._matrices import matrices
from ._native_module import native
from ._products import matmul
from ._results import PolarResult

EPS = 2.0**-52
_METHOD = "divide_and_conquer"


def _matrix(a, name):
    a = asarray(a)
    if a.ndim != 2:
        raise ValueError(f"{name} takes one matrix, not a tensor of rank {a.ndim}")
    return a


def _rank(values, shape, rcond):
    """How many singular values are above rcond times the largest."""
    limit = EPS * max(shape) if rcond is None else real(rcond, "rcond")
    return int(native.sum(values > limit * values[0])) if values.size else 0


def orth(a, rcond=None):
    """An orthonormal basis of the range of a matrix.

    Parameters
    ----------
    a : array_like, shape (M, N)
    rcond : float, optional
        Singular values up to rcond times the largest count as zero; max(M, N)·2^-52 by default.

    Returns
    -------
    Tensor, shape (M, K)
        The left singular vectors of the K values that don't count as zero.

    Raises
    ------
    ValueError
        If a is no matrix.
    numerical.error
        If a holds an infinite or NaN entry.

    Examples
    --------
    >>> nm.linalg.orth([[3.0, 6.0], [4.0, 8.0]]).shape
    (2, 1)
    """
    a = _matrix(a, "orth")
    u, values, _ = native.svd(a, False, _METHOD)
    return u[:, : _rank(values, a.shape, rcond)]


def null_space(a, rcond=None):
    """An orthonormal basis of the null space of a matrix.

    Parameters
    ----------
    a : array_like, shape (M, N)
    rcond : float, optional
        Singular values up to rcond times the largest count as zero; max(M, N)·2^-52 by default.

    Returns
    -------
    Tensor, shape (N, K)
        The right singular vectors of the values that count as zero, and of the N - M that a flat
        matrix has none for.

    Raises
    ------
    ValueError
        If a is no matrix.
    numerical.error
        If a holds an infinite or NaN entry.

    Examples
    --------
    >>> a = nm.array([[1.0, 1.0], [1.0, 1.0]])
    >>> z = nm.linalg.null_space(a)
    >>> z.shape, bool(nm.linalg.norm(a @ z) < 1e-15)
    ((2, 1), True)
    """
    a = _matrix(a, "null_space")
    # The basis that Vᴴ completes; of a tall matrix the thin factor holds it already.
    _, values, vh = native.svd(a, a.shape[0] < a.shape[1], _METHOD)
    return vh[_rank(values, a.shape, rcond) :].mH


def polar(a, side="right"):
    """The polar decomposition of matrices, by singular values.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    side : {'right', 'left'}, optional
        The side of the Hermitian factor: a = u @ p or a = p @ u.

    Returns
    -------
    PolarResult
        u, of shape (..., M, N), with orthonormal columns, or rows if M < N; and p, positive
        semidefinite and Hermitian to the bit, of shape (..., N, N) for the right side and
        (..., M, M) for the left one.

    Raises
    ------
    ValueError
        If a is neither a matrix nor a stack of them, or side is another text.
    numerical.error
        If a holds an infinite or NaN entry.

    Notes
    -----
    With a = W·diag(s)·Vᴴ they are u = W·Vᴴ and p = V·diag(s)·Vᴴ, or W·diag(s)·Wᴴ for the left side
    (Higham 1986). Where a has full rank, p is definite and both are unique.

    Examples
    --------
    >>> u, p = nm.linalg.polar([[0.0, -2.0], [3.0, 0.0]])
    >>> print(u.round(12), p.round(12), sep="\\n")
    [[ 0.0, -1.0],
     [ 1.0,  0.0]]
    [[3.0, 0.0],
     [0.0, 2.0]]
    """
    one_of(side, "side", ("right", "left"))
    w, values, vh = native.svd(matrices(a, "polar"), False, _METHOD)
    rows = vh if side == "right" else w.mH
    if rows.ndim == 2:
        p = native.spectral_sum(rows, values)
    else:
        p = matmul(rows.mH * values[..., None, :], rows)
        p = (p + p.mH) / 2
    return PolarResult(matmul(w, vh), p)
