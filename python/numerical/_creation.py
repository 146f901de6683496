"""Tensors from a few numbers: fills, sequences, diagonals and triangles."""

import math

from . import _numerical
from ._arguments import integer, integers, real, require_cpu, shown
from ._conversion import asarray, complex128, dtype_name, float64, is_complex
from ._memory import row_major_strides
from ._native_module import native
from ._numerical import Tensor


MOST_ELEMENTS = 2**60


def shape_of(shape):
    """A shape as a tuple of non-negative ints, from an int or a sequence."""
    extents = integers(shape, "shape")
    for extent in extents:
        if extent < 0:
            raise ValueError("negative dimensions are not allowed")
    if math.prod(extents) >= MOST_ELEMENTS or max(extents, default=0) >= MOST_ELEMENTS:
        raise ValueError("a tensor has fewer than 2**60 elements, and no axis is longer")
    return extents


def zeros(shape, dtype=float64, *, device=None):
    """A Tensor of zeros."""
    return full(shape, 0.0, dtype, device=device)


def ones(shape, dtype=float64, *, device=None):
    """A Tensor of ones."""
    return full(shape, 1.0, dtype, device=device)


def empty(shape, dtype=float64, *, device=None):
    """A Tensor of zeros: tensors are immutable, so that there is nothing to fill in later."""
    return full(shape, 0.0, dtype, device=device)


def full(shape, fill_value, dtype=None, *, device=None):
    """A Tensor of one value; complex128 if the value is complex and no dtype is given."""
    require_cpu(device)
    value = complex(fill_value) if is_complex(fill_value) else real(fill_value, "fill_value")
    wanted = dtype_name(dtype) or (complex128 if isinstance(value, complex) else float64)
    if wanted != complex128:
        value = real(value, "fill_value")
    return _numerical._full(shape_of(shape), value, wanted == complex128)


def zeros_like(a, dtype=None, *, device=None):
    """Zeros of a's shape, and of its dtype unless one is given."""
    return full_like(a, 0.0, dtype, device=device)


def ones_like(a, dtype=None, *, device=None):
    """Ones of a's shape, and of its dtype unless one is given."""
    return full_like(a, 1.0, dtype, device=device)


def empty_like(a, dtype=None, *, device=None):
    """As zeros_like."""
    return full_like(a, 0.0, dtype, device=device)


def full_like(a, fill_value, dtype=None, *, device=None):
    """One value in a's shape, and of its dtype unless one is given."""
    a = asarray(a)
    return full(a.shape, fill_value, a.dtype if dtype is None else dtype, device=device)


def eye(n, m=None, k=0, dtype=float64, *, device=None):
    """n × m (m = n by default) with ones on diagonal k, zeros elsewhere."""
    require_cpu(device)
    (n, columns), k = _matrix_shape(n, m), integer(k, "k")
    if columns == n and k == 0:
        return _numerical._eye(n, dtype_name(dtype) == complex128)
    return native.eye(n, columns, k, dtype_name(dtype) == complex128)


def _matrix_shape(n, m):
    n = integer(n, "n")
    return shape_of((n, n if m is None else integer(m, "m")))


def identity(n, dtype=float64):
    """The n × n identity."""
    return eye(n, dtype=dtype)


def arange(start, stop=None, step=1.0, dtype=None, *, device=None):
    """start, start + step, ... below stop, as float64 unless a dtype is given."""
    require_cpu(device)
    if stop is None:
        start, stop = 0.0, start
    first, last, step = real(start, "start"), real(stop, "stop"), real(step, "step")
    if step and (last - first) / step >= MOST_ELEMENTS:
        raise ValueError("arange: a tensor has fewer than 2**60 elements")
    return asarray(_numerical._arange(first, last, step), dtype)


def linspace(start, stop, num=50, endpoint=True, dtype=None, *, device=None):
    """`num` equally spaced numbers from start to stop, which is the last one if endpoint is true."""
    require_cpu(device)
    start, stop, num = real(start, "start"), real(stop, "stop"), integer(num, "num")
    if num >= MOST_ELEMENTS:
        raise ValueError("linspace: a tensor has fewer than 2**60 elements")
    if endpoint or num < 0:
        return asarray(_numerical._linspace(start, stop, max(num, -1)), dtype)
    with_stop = _numerical._linspace(start, stop, num + 1)
    return asarray(_numerical._take(with_stop, (0,), (1,), (num,), (1,)), dtype)


def diag(v, k=0):
    """The matrix with v on diagonal k, or diagonal k of a matrix."""
    v, k = asarray(v), integer(k, "k")
    if v.ndim == 2:
        return diagonal(v, k)
    if v.ndim != 1:
        raise ValueError(f"diag takes a vector or a matrix, not a tensor of rank {v.ndim}")
    return native.diagonal_matrix(v, k)


def diagonal(a, offset=0, axis1=-2, axis2=-1):
    """The diagonals of matrices that lie in two axes, the last two by default.

    a is (..., M, N), the result (..., K): element i is that of row i and column i + offset. The
    other axes keep their order. ValueError below rank 2.
    """
    return diagonals_of(a, offset, axis1, axis2, "diagonal")


def diagonals_of(a, offset, axis1, axis2, name):
    a, offset = asarray(a), integer(offset, "offset")
    if a.ndim < 2:
        raise ValueError(f"{name} takes a matrix or a stack of them, not a tensor of rank {a.ndim}")
    first, second = axis_of(axis1, a.ndim, "axis1"), axis_of(axis2, a.ndim, "axis2")
    if first == second:
        raise ValueError(f"axis1 and axis2 are both axis {first}")
    row, column = max(-offset, 0), max(offset, 0)
    count = max(min(a.shape[first] - row, a.shape[second] - column), 0)
    others = [i for i in range(a.ndim) if i not in (first, second)]
    shape = (*(a.shape[i] for i in others), count)
    if 0 in shape:
        return Tensor([], shape, a.dtype)
    own = row_major_strides(a.shape, 1)
    strides = (*(own[i] for i in others), own[first] + own[second])
    return native.with_strides(a, shape, strides, row * own[first] + column * own[second])


def axis_of(axis, rank, name="axis"):
    """The axis counted from the front; IndexError if there is none such."""
    place = integer(axis, name)
    if not -rank <= place < rank:
        raise IndexError(f"{name} {shown(place)} is out of bounds for a tensor of rank {rank}")
    return place % rank


def tri(n, m=None, k=0, dtype=float64):
    """n × m with ones on and below diagonal k, zeros above."""
    (n, columns), k = _matrix_shape(n, m), integer(k, "k")
    return native.tri(n, columns, k, dtype_name(dtype) == complex128)


tril = native.tril
triu = native.triu
