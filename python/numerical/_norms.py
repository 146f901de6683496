"""Norms of vectors and matrices, and the condition number."""

import math

from . import _numerical
from ._creation import asarray
from ._decompositions import svdvals
from ._functions import abs as _abs
from ._functions import divide, multiply, sqrt, square
from ._functions import max as _max
from ._functions import min as _min
from ._functions import sum as _sum
from ._matrices import matrices
from ._numerical import Tensor, error
from ._shaping import moveaxis, normalized_axes, reshape
from ._systems import inv


def vector_norm(x, *, axis=None, keepdims=False, ord=2):
    """The norm of order `ord` of vectors along axes, of all elements by default.

    ord is a number, inf or -inf; 0 counts the elements that aren't zero.
    """
    x = asarray(x)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    size = _abs(x)
    if ord == math.inf:
        return _max(size, axes, keepdims=keepdims)
    if ord == -math.inf:
        return _min(size, axes, keepdims=keepdims)
    if ord == 0:
        ones = Tensor([float(v != 0) for v in reshape(size, (-1,)).tolist()], size.shape)
        return _sum(ones, axes, keepdims=keepdims)
    if ord == 1:
        return _sum(size, axes, keepdims=keepdims)
    return _power_norm(size, axes, keepdims, ord)


def _power_norm(size, axes, keepdims, ord):
    """(Σ size^ord)^(1/ord), scaled by the largest so that no power overflows or underflows."""
    largest = _numerical._reduce("max", size, -1) if size.size else 0.0
    if largest == 0.0 or not math.isfinite(largest):
        largest = 1.0
    scale = math.ldexp(1.0, math.frexp(largest)[1])
    scaled = divide(size, scale)
    powers = square(scaled) if ord == 2 else scaled**ord
    total = _sum(powers, axes, keepdims=keepdims)
    if isinstance(total, Tensor):
        root = sqrt(total) if ord == 2 else total ** (1.0 / ord)
        return multiply(root, scale)
    return scale * (math.sqrt(total) if ord == 2 else total ** (1.0 / ord))


def matrix_norm(x, *, keepdims=False, ord="fro"):
    """A norm of matrices: "fro", "nuc", 1, -1, 2, -2, inf or -inf, as numpy.linalg.matrix_norm."""
    x = matrices(x, "matrix_norm")
    rows, columns = x.ndim - 2, x.ndim - 1
    if ord == "fro":
        return vector_norm(x, axis=(rows, columns), keepdims=keepdims)
    if ord in (1, -1, math.inf, -math.inf):
        along = rows if ord in (1, -1) else columns
        sums = _sum(_abs(x), along, keepdims=True)
        choose = _max if ord in (1, math.inf) else _min
        return choose(sums, (rows, columns), keepdims=keepdims)
    if ord in ("nuc", 2, -2):
        values = svdvals(x)
        choose = {"nuc": _sum, 2: _max, -2: _min}[ord]
        result = choose(values, values.ndim - 1)
        return reshape(result, (*x.shape[:-2], 1, 1)) if keepdims else result
    raise ValueError(f"matrix_norm: ord is 'fro', 'nuc', 1, -1, 2, -2, inf or -inf, not {ord!r}")


def norm(x, ord=None, axis=None, keepdims=False):
    """As numpy.linalg.norm: a matrix norm over two axes, a vector norm over one or over all."""
    x = asarray(x)
    if ord is None:
        return vector_norm(x, axis=axis, keepdims=keepdims)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    if len(axes) == 1:
        return vector_norm(x, axis=axes, keepdims=keepdims, ord=ord)
    if len(axes) != 2:
        raise ValueError(f"norm of order {ord} takes one or two axes, not {len(axes)}")
    result = matrix_norm(moveaxis(x, axes, (-2, -1)), ord=ord)
    if not keepdims:
        return result
    return reshape(asarray(result), [1 if i in axes else e for i, e in enumerate(x.shape)])


def cond(x, p=None):
    """The condition number in norm p: the ratio of the singular values by default (and for 2, -2).

    inf for a singular matrix.
    """
    x = matrices(x, "cond")
    if p is None or p in (2, -2):
        values = svdvals(x)
        last = values.ndim - 1
        largest, least = _max(values, last, keepdims=True), _min(values, last, keepdims=True)
        ratio = divide(least, largest) if p == -2 else divide(largest, least)
        return _unwrapped(reshape(ratio, x.shape[:-2]))
    try:
        inverse = inv(x)
    except error as failure:
        if str(failure) != "inverse: matrix is singular" or x.ndim != 2:
            raise
        return math.inf
    return _unwrapped(asarray(multiply(matrix_norm(x, ord=p), matrix_norm(inverse, ord=p))))


def _unwrapped(t):
    return t if t.ndim else t.tolist()
