"""Systems and inverses of tensors that stand for matrices: their axes are grouped into two."""

import math

from ._arguments import integer, shown
from ._conversion import asarray
from ._promotion import same_dtype
from ._shaping import normalized_axes, permute_dims, reshape
from ._systems import inv, solve


def tensorsolve(a, b, axes=None):
    """The solution x of tensordot(a, x, x.ndim) = b.

    Parameters
    ----------
    a : array_like, shape b.shape + Q
        After the axes named by `axes` have moved behind the others. The extents Q multiply to
        b.size.
    b : array_like
    axes : sequence of int, optional
        Axes of a to be moved to its end, in their order.

    Returns
    -------
    Tensor, shape Q

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If a, as a matrix, is singular, or holds an infinite or NaN entry.

    Examples
    --------
    >>> a = nm.eye(24).reshape((6, 4, 2, 3, 4))
    >>> b = nm.ones((6, 4))
    >>> x = nm.linalg.tensorsolve(a, b)
    >>> x.shape, nm.allclose(nm.tensordot(a, x, 3), b)
    ((2, 3, 4), True)
    """
    a, b = same_dtype(a, b)
    if axes is not None:
        moved = normalized_axes(axes, a.ndim, "axes")
        a = permute_dims(a, (*(i for i in range(a.ndim) if i not in moved), *moved))
    shape = a.shape[b.ndim :]
    if a.shape[: b.ndim] != b.shape or math.prod(shape) != b.size:
        raise ValueError(
            f"tensorsolve takes a of shape b.shape + Q, with as many elements of Q as of b:"
            f" not {a.shape} and {b.shape}"
        )
    return reshape(solve(reshape(a, (b.size, b.size)), reshape(b, (b.size,))), shape)


def tensorinv(a, ind=2):
    """The inverse of a tensor: tensordot(tensorinv(a, ind), b, ind) is tensorsolve(a, b).

    Parameters
    ----------
    a : array_like
        The extents of the first `ind` axes and those of the others have one product.
    ind : int, optional
        At least 1.

    Returns
    -------
    Tensor, shape a.shape[ind:] + a.shape[:ind]

    Raises
    ------
    ValueError
        If the products differ, or ind isn't positive.
    numerical.error
        If a, as a matrix, is singular, or holds an infinite or NaN entry.

    Examples
    --------
    >>> nm.linalg.tensorinv(nm.eye(24).reshape((4, 6, 8, 3))).shape
    (8, 3, 4, 6)
    """
    a, ind = asarray(a), integer(ind, "ind")
    if ind <= 0:
        raise ValueError(f"ind must be positive, not {shown(ind)}")
    first, last = a.shape[:ind], a.shape[ind:]
    n = math.prod(first)
    if math.prod(last) != n:
        raise ValueError(
            f"tensorinv takes as many elements before axis {shown(ind)} as behind it, not shape "
            f"{a.shape}"
        )
    return reshape(inv(reshape(a, (n, n))), last + first)
