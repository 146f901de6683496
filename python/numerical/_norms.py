"""Norms of vectors and matrices, and the condition number."""

import math

from ._arguments import real, shown
from ._conversion import asarray
from ._decompositions import svdvals
from ._functions import abs as _abs
from ._functions import divide, multiply
from ._functions import max as _max
from ._functions import min as _min
from ._functions import sum as _sum
from ._matrices import matrices
from ._native_module import native
from ._numerical import Tensor, error
from ._shaping import moveaxis, normalized_axes, reshape
from ._systems import inv


def vector_norm(x, *, axis=None, keepdims=False, ord=2):
    """The norms of vectors along axes, of all elements by default.

    Parameters
    ----------
    x : array_like
    axis : int or sequence of int, optional
    keepdims : bool, optional
        Whether the axes stay, with extent 1.
    ord : real number, optional
        The norm is sum(abs(x)**ord)**(1/ord); for inf and -inf it is the largest and the least modulus, for
        0 the number of elements that aren't zero.

    Returns
    -------
    float or Tensor

    Raises
    ------
    ValueError
        If ord is a text.
    IndexError
        If an axis is out of bounds.

    Notes
    -----
    Powers are scaled by a power of two where they might overflow or underflow.

    Examples
    --------
    >>> nm.linalg.vector_norm([3.0, 4.0])
    5.0
    >>> nm.linalg.vector_norm([[3.0, -4.0], [1.0, 0.0]], axis=1, ord=1)
    Tensor([7.0, 1.0])
    """
    x = asarray(x)
    if isinstance(ord, str):
        raise ValueError(f"vector_norm: ord is a number, inf or -inf, not {shown(ord)}")
    ord = real(ord, "ord")
    if ord == 2:
        return native.euclidean_norm(x, axis, keepdims=keepdims)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    size = _abs(x)
    if ord == math.inf:
        return _max(size, axes, keepdims=keepdims)
    if ord == -math.inf:
        return _min(size, axes, keepdims=keepdims)
    if ord == 0:
        return _sum(size != 0, axes, keepdims=keepdims)
    if ord == 1:
        return _sum(size, axes, keepdims=keepdims)
    return _power_norm(size, axes, keepdims, ord)


def _power_norm(size, axes, keepdims, ord):
    """(Σ size^ord)^(1/ord), scaled so that no relevant power overflows or underflows."""
    scale = _scale(size, axes, ord)
    scaled = divide(size, scale)
    total = _sum(scaled**ord, axes, keepdims=True)
    norms = multiply(total ** (1.0 / ord), scale)
    if keepdims:
        return norms
    return _unwrapped(reshape(norms, [e for i, e in enumerate(size.shape) if i not in axes]))


def _scale(size, axes, ord):
    """Powers of two near the elements that determine each norm; 1 if all their powers are safe."""
    if not size.size:
        return 1.0
    decisive = (_max if ord > 0 else _min)(size, axes, keepdims=True)
    safe = 2.0 ** (900 / max(2, abs(ord)))
    if 1 / safe <= _min(decisive) and _max(decisive) <= safe:
        return 1.0
    return Tensor([_power_of_two(x) for x in reshape(decisive, (-1,)).tolist()], decisive.shape)


def _power_of_two(x):
    """The largest power of two up to x; 1 for 0, inf and NaN."""
    return math.ldexp(1.0, math.frexp(x)[1] - 1) if 0 < x < math.inf else 1.0


def matrix_norm(x, *, keepdims=False, ord="fro"):
    """The norms of matrices.

    Parameters
    ----------
    x : array_like, shape (..., M, N)
    keepdims : bool, optional
        Whether the last two axes stay, with extent 1.
    ord : {'fro', 'nuc', 1, -1, 2, -2, inf, -inf}, optional
        'fro' the root of the sum of squared moduli, 'nuc' the sum of singular values, 2 and -2 the
        largest and the least of them, 1 and -1 of the column sums of moduli, inf and -inf of the row sums.

    Returns
    -------
    float or Tensor

    Raises
    ------
    ValueError
        Below rank 2, or for another ord.

    Examples
    --------
    >>> nm.linalg.matrix_norm([[3.0, 4.0], [0.0, 0.0]])
    5.0
    >>> nm.linalg.matrix_norm([[3.0, 4.0], [0.0, 0.0]], ord=1)
    4.0
    """
    x = matrices(x, "matrix_norm")
    order = ord if isinstance(ord, str) else real(ord, "ord")
    rows, columns = x.ndim - 2, x.ndim - 1
    if order == "fro":
        return vector_norm(x, axis=(rows, columns), keepdims=keepdims)
    if order in (1, -1, math.inf, -math.inf):
        along = rows if order in (1, -1) else columns
        sums = _sum(_abs(x), along, keepdims=True)
        choose = _max if order in (1, math.inf) else _min
        return choose(sums, (rows, columns), keepdims=keepdims)
    if order in ("nuc", 2, -2):
        values = svdvals(x)
        choose = {"nuc": _sum, 2: _max, -2: _min}[order]
        result = choose(values, values.ndim - 1)
        return reshape(result, (*x.shape[:-2], 1, 1)) if keepdims else result
    raise ValueError(
        f"matrix_norm: ord is 'fro', 'nuc', 1, -1, 2, -2, inf or -inf, not {shown(ord)}"
    )


def norm(x, ord=None, axis=None, keepdims=False):
    """A matrix norm over two axes, or a vector norm over one or all, as numpy.linalg.norm.

    Parameters
    ----------
    x : array_like
    ord : real number, 'fro' or 'nuc', optional
        As for vector_norm or matrix_norm; by default the root of the sum of squared moduli.
    axis : int or pair of int, optional
        All axes by default.
    keepdims : bool, optional
        Whether the axes stay, with extent 1.

    Returns
    -------
    float or Tensor

    Raises
    ------
    ValueError
        If ord is given for more than two axes, or isn't one that the norm has.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.linalg.norm([3.0, 4.0])
    5.0
    >>> nm.linalg.norm([[3.0, 4.0], [0.0, 0.0]], 2)
    5.0
    """
    if ord is None:
        return native.euclidean_norm(x, axis, keepdims=keepdims)
    x = asarray(x)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    if len(axes) == 1:
        return vector_norm(x, axis=axes, keepdims=keepdims, ord=ord)
    if len(axes) != 2:
        raise ValueError(f"norm of order {shown(ord)} takes one or two axes, not {len(axes)}")
    result = matrix_norm(moveaxis(x, axes, (-2, -1)), ord=ord)
    if not keepdims:
        return result
    return reshape(asarray(result), [1 if i in axes else e for i, e in enumerate(x.shape)])


def cond(x, p=None):
    """The condition numbers of matrices.

    Parameters
    ----------
    x : array_like, shape (..., M, N)
    p : {None, 2, -2, 'fro', 'nuc', 1, -1, inf, -inf}, optional
        The norm. For None and 2 it is the ratio of the largest and the least singular value, for -2 its
        reciprocal; for the others norm(x) * norm(inv(x)) of square matrices.

    Returns
    -------
    float or Tensor
        inf for a singular matrix.

    Raises
    ------
    ValueError
        Below rank 2, or for another p.
    numerical.error
        If a matrix isn't finite, or a matrix of a stack is singular and p isn't None, 2 or -2.

    Examples
    --------
    >>> nm.linalg.cond([[2.0, 0.0], [0.0, 0.5]])
    4.0
    >>> nm.linalg.cond([[1.0, 1.0], [1.0, 1.0]], 1)
    inf
    """
    x = matrices(x, "cond")
    p = p if p is None or isinstance(p, str) else real(p, "p")
    if p is None or p in (2, -2):
        values = svdvals(x)
        last = values.ndim - 1
        largest, least = _max(values, last, keepdims=True), _min(values, last, keepdims=True)
        ratio = divide(least, largest) if p == -2 else divide(largest, least)
        known = [math.inf if r != r else r for r in reshape(ratio, (-1,)).tolist()]  # 0/0
        return _unwrapped(Tensor(known, x.shape[:-2]))
    try:
        inverse = inv(x)
    except error as failure:
        if str(failure) != "inverse: matrix is singular" or x.ndim != 2:
            raise
        return math.inf
    return _unwrapped(asarray(multiply(matrix_norm(x, ord=p), matrix_norm(inverse, ord=p))))


def _unwrapped(t):
    return t if t.ndim else t.tolist()
