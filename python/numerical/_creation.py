"""Tensors from a few numbers: fills, sequences, diagonals and triangles."""

from operator import index

from . import _numerical
from ._conversion import asarray, complex128, dtype_name, float64, is_complex
from ._memory import with_strides
from ._numerical import Tensor


def shape_of(shape):
    """A shape as a tuple of non-negative ints, from an int or a sequence."""
    extents = (shape,) if hasattr(shape, "__index__") else tuple(shape)
    extents = tuple(index(extent) for extent in extents)
    if any(extent < 0 for extent in extents):
        raise ValueError("negative dimensions are not allowed")
    return extents


def zeros(shape, dtype=float64):
    """A Tensor of zeros."""
    return full(shape, 0.0, dtype)


def ones(shape, dtype=float64):
    """A Tensor of ones."""
    return full(shape, 1.0, dtype)


def empty(shape, dtype=float64):
    """A Tensor of zeros: tensors are immutable, so that there is nothing to fill in later."""
    return full(shape, 0.0, dtype)


def full(shape, fill_value, dtype=None):
    """A Tensor of one value; complex128 if the value is complex and no dtype is given."""
    value = complex(fill_value) if is_complex(fill_value) else fill_value
    wanted = dtype_name(dtype) or (complex128 if isinstance(value, complex) else float64)
    return _numerical._full(shape_of(shape), value, wanted == complex128)


def zeros_like(a, dtype=None):
    """Zeros of a's shape, and of its dtype unless one is given."""
    return full_like(a, 0.0, dtype)


def ones_like(a, dtype=None):
    """Ones of a's shape, and of its dtype unless one is given."""
    return full_like(a, 1.0, dtype)


def empty_like(a, dtype=None):
    """As zeros_like."""
    return full_like(a, 0.0, dtype)


def full_like(a, fill_value, dtype=None):
    """One value in a's shape, and of its dtype unless one is given."""
    a = asarray(a)
    return full(a.shape, fill_value, dtype or a.dtype)


def eye(n, m=None, k=0, dtype=float64):
    """n × m (m = n by default) with ones on diagonal k, zeros elsewhere."""
    if (m is None or m == n) and k == 0:
        return _numerical._eye(n, dtype_name(dtype) == complex128)
    n, columns = shape_of((n, n if m is None else m))
    rows = [[1.0 if j - i == k else 0.0 for j in range(columns)] for i in range(n)]
    return Tensor([x for row in rows for x in row], (n, columns), dtype_name(dtype) or float64)


def identity(n, dtype=float64):
    """The n × n identity."""
    return eye(n, dtype=dtype)


def arange(start, stop=None, step=1.0, dtype=None):
    """start, start + step, ... below stop, as float64 unless a dtype is given."""
    if stop is None:
        start, stop = 0.0, start
    return asarray(_numerical._arange(start, stop, step), dtype)


def linspace(start, stop, num=50, endpoint=True, dtype=None):
    """`num` equally spaced numbers from start to stop, which is the last one if endpoint is true."""
    if endpoint or num < 0:
        return asarray(_numerical._linspace(start, stop, num), dtype)
    with_stop = _numerical._linspace(start, stop, num + 1)
    return asarray(_numerical._take(with_stop, (0,), (1,), (num,), (1,)), dtype)


def diag(v, k=0):
    """The matrix with v on diagonal k, or diagonal k of a matrix."""
    v = asarray(v)
    if v.ndim == 2:
        return diagonal(v, k)
    if v.ndim != 1:
        raise ValueError(f"diag takes a vector or a matrix, not a tensor of rank {v.ndim}")
    n = v.size + abs(k)
    flat = [0.0] * (n * n)
    first = k if k >= 0 else -k * n
    flat[first : first + v.size * (n + 1) : n + 1] = v.tolist()
    return Tensor(flat, (n, n), v.dtype)


def diagonal(a, offset=0):
    """The diagonal of a matrix, or the one `offset` places to its right, as a vector."""
    a = asarray(a)
    if a.ndim != 2:
        raise ValueError(f"diagonal takes a matrix, not a tensor of rank {a.ndim}")
    rows, columns = a.shape
    first_row, first_column = max(-offset, 0), max(offset, 0)
    count = max(min(rows - first_row, columns - first_column), 0)
    if count == 0:
        return Tensor([], (0,), a.dtype)
    return with_strides(a, (count,), (columns + 1,), first_row * columns + first_column)


def tri(n, m=None, k=0, dtype=float64):
    """n × m with ones on and below diagonal k, zeros above."""
    n, columns = shape_of((n, n if m is None else m))
    rows = ([1.0] * min(max(i + k + 1, 0), columns) for i in range(n))
    flat = [x for row in rows for x in (*row, *[0.0] * (columns - len(row)))]
    return Tensor(flat, (n, columns), dtype_name(dtype) or float64)


def _masked(a, keep):
    """The elements of matrices from place first to last of keep(row), zeros elsewhere."""
    a = asarray(a)
    if a.ndim < 2:
        raise ValueError(f"matrices are wanted, not a tensor of rank {a.ndim}")
    rows, columns = a.shape[-2:]
    flat = []
    every = _numerical._reshape(a, (a.size // columns if columns else 0, columns))
    for i, row in enumerate(every.tolist()):
        first, last = keep(i % rows)
        first, last = min(max(first, 0), columns), min(max(last, 0), columns)
        flat += [*[0.0] * first, *row[first:last], *[0.0] * (columns - max(last, first))]
    return Tensor(flat, a.shape, a.dtype)


def tril(a, k=0):
    """The matrix, or each of a stack, with zeros above diagonal k."""
    return _masked(a, lambda i: (0, i + k + 1))


def triu(a, k=0):
    """The matrix, or each of a stack, with zeros below diagonal k."""
    columns = asarray(a).shape[-1] if asarray(a).ndim else 0
    return _masked(a, lambda i: (i + k, columns))
