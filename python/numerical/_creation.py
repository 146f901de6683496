"""Tensors from a few numbers: constants, sequences, diagonals and triangles."""

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


@native.shortcut
def zeros(shape, dtype=float64, *, device=None):
    """A tensor of zeros.

    Parameters
    ----------
    shape : int or sequence of int
    dtype : dtype, optional
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.zeros((2, 3))
    Tensor([[0.0, 0.0, 0.0],
            [0.0, 0.0, 0.0]])
    """
    if dtype is float64 and device is None:
        return _filled(shape, 0.0)
    return full(shape, 0.0, dtype, device=device)


@native.shortcut
def ones(shape, dtype=float64, *, device=None):
    """A tensor of ones.

    Parameters
    ----------
    shape : int or sequence of int
    dtype : dtype, optional
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.ones(3)
    Tensor([1.0, 1.0, 1.0])
    """
    if dtype is float64 and device is None:
        return _filled(shape, 1.0)
    return full(shape, 1.0, dtype, device=device)


def empty(shape, dtype=float64, *, device=None):
    """A tensor of zeros: tensors are immutable, so that there is nothing to fill in later.

    Parameters
    ----------
    shape : int or sequence of int
    dtype : dtype, optional
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.empty(2)
    Tensor([0.0, 0.0])
    """
    return full(shape, 0.0, dtype, device=device)


def full(shape, fill_value, dtype=None, *, device=None):
    """A tensor of one value.

    Parameters
    ----------
    shape : int or sequence of int
    fill_value : number
    dtype : dtype, optional
        By default complex128 for a complex value, float64 otherwise.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    TypeError
        If the value is no number of the dtype.
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.full((2, 2), 7.0)
    Tensor([[7.0, 7.0],
            [7.0, 7.0]])
    >>> nm.full(2, 1j)
    Tensor([0+1j, 0+1j], dtype='complex128')
    """
    if type(fill_value) is float and dtype is None and device is None:
        return _filled(shape, fill_value)
    require_cpu(device)
    value = complex(fill_value) if is_complex(fill_value) else real(fill_value, "fill_value")
    wanted = dtype_name(dtype) or (complex128 if isinstance(value, complex) else float64)
    if wanted != complex128:
        value = real(value, "fill_value")
    return _numerical._full(shape_of(shape), value, wanted == complex128)


def _filled(shape, value):
    try:
        return native.filled(shape, value)
    except TypeError:  # again, by a call whose error says what to write
        return _numerical._full(shape_of(shape), value, False)


def zeros_like(a, dtype=None, *, device=None):
    """A tensor of zeros in the shape of another.

    Parameters
    ----------
    a : array_like
        Gives the shape.
    dtype : dtype, optional
        a's by default.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Examples
    --------
    >>> nm.zeros_like([[1.0, 2.0]])
    Tensor([[0.0, 0.0]])
    """
    return full_like(a, 0.0, dtype, device=device)


def ones_like(a, dtype=None, *, device=None):
    """A tensor of ones in the shape of another.

    Parameters
    ----------
    a : array_like
        Gives the shape.
    dtype : dtype, optional
        a's by default.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Examples
    --------
    >>> nm.ones_like([[1.0, 2.0]])
    Tensor([[1.0, 1.0]])
    """
    return full_like(a, 1.0, dtype, device=device)


def empty_like(a, dtype=None, *, device=None):
    """A tensor of zeros in the shape of another: tensors are immutable and can't be filled later.

    Parameters
    ----------
    a : array_like
        Gives the shape.
    dtype : dtype, optional
        a's by default.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Examples
    --------
    >>> nm.empty_like([[1.0, 2.0]])
    Tensor([[0.0, 0.0]])
    """
    return full_like(a, 0.0, dtype, device=device)


def full_like(a, fill_value, dtype=None, *, device=None):
    """A tensor of one value in the shape of another.

    Parameters
    ----------
    a : array_like
        Gives the shape.
    fill_value : number
    dtype : dtype, optional
        a's by default.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    TypeError
        If the value is no number of the dtype.

    Examples
    --------
    >>> nm.full_like([[1.0, 2.0]], 5.0)
    Tensor([[5.0, 5.0]])
    """
    a = asarray(a)
    return full(a.shape, fill_value, a.dtype if dtype is None else dtype, device=device)


@native.shortcut
def eye(n, m=None, k=0, dtype=float64, *, device=None):
    """A matrix with ones on a diagonal and zeros elsewhere.

    Parameters
    ----------
    n : int
        The rows.
    m : int, optional
        The columns, n by default.
    k : int, optional
        The diagonal: 0 for the main one, positive above it, negative below.
    dtype : dtype, optional
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor, shape (n, m)

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.eye(2, 3, 1)
    Tensor([[0.0, 1.0, 0.0],
            [0.0, 0.0, 1.0]])
    """
    require_cpu(device)
    (n, columns), k = _matrix_shape(n, m), integer(k, "k")
    if columns == n and k == 0:
        return _numerical._eye(n, dtype_name(dtype) == complex128)
    return native.eye(n, columns, k, dtype_name(dtype) == complex128)


def _matrix_shape(n, m):
    n = integer(n, "n")
    return shape_of((n, n if m is None else integer(m, "m")))


def identity(n, dtype=float64):
    """The identity matrix.

    Parameters
    ----------
    n : int
        The order.
    dtype : dtype, optional

    Returns
    -------
    Tensor, shape (n, n)

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.identity(2)
    Tensor([[1.0, 0.0],
            [0.0, 1.0]])
    """
    return eye(n, dtype=dtype)


@native.shortcut
def arange(start, stop=None, step=1.0, dtype=None, *, device=None):
    """The numbers start, start + step, start + 2 step, ... below stop.

    Parameters
    ----------
    start : real number
        Given alone, it is the stop and the numbers begin at 0.
    stop : real number, optional
        Not reached; with a negative step the numbers stay above it.
    step : real number, optional
    dtype : dtype, optional
        float64 by default, for ints too.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor, shape (K,)

    Raises
    ------
    numerical.error
        If the step is zero.

    Examples
    --------
    >>> nm.arange(3)
    Tensor([0.0, 1.0, 2.0])
    >>> nm.arange(1, 2, 0.25)
    Tensor([ 1.0, 1.25,  1.5, 1.75])
    """
    require_cpu(device)
    if stop is None:
        start, stop = 0.0, start
    first, last, step = real(start, "start"), real(stop, "stop"), real(step, "step")
    if step and (last - first) / step >= MOST_ELEMENTS:
        raise ValueError("arange: a tensor has fewer than 2**60 elements")
    made = _numerical._arange(first, last, step)
    return made if dtype is None else asarray(made, dtype)


def linspace(start, stop, num=50, endpoint=True, dtype=None, *, device=None):
    """Equally spaced numbers between two ends.

    Parameters
    ----------
    start, stop : real number
    num : int, optional
        How many numbers.
    endpoint : bool, optional
        Whether stop is the last of them.
    dtype : dtype, optional
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor, shape (num,)

    Raises
    ------
    ValueError
        If num is negative.

    Examples
    --------
    >>> nm.linspace(0, 1, 5)
    Tensor([ 0.0, 0.25,  0.5, 0.75,  1.0])
    >>> nm.linspace(0, 1, 4, endpoint=False)
    Tensor([ 0.0, 0.25,  0.5, 0.75])
    """
    require_cpu(device)
    start, stop, num = real(start, "start"), real(stop, "stop"), integer(num, "num")
    if num >= MOST_ELEMENTS:
        raise ValueError("linspace: a tensor has fewer than 2**60 elements")
    if endpoint or num < 0:
        return asarray(_numerical._linspace(start, stop, max(num, -1)), dtype)
    with_stop = _numerical._linspace(start, stop, num + 1)
    return asarray(_numerical._take(with_stop, (0,), (1,), (num,), (1,)), dtype)


@native.shortcut
def diag(v, k=0):
    """The matrix with a vector on diagonal k, or diagonal k of a matrix.

    Parameters
    ----------
    v : array_like
        A vector or a matrix.
    k : int, optional
        0 for the main diagonal, positive above it, negative below.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        For other ranks.

    Examples
    --------
    >>> nm.diag([1.0, 2.0])
    Tensor([[1.0, 0.0],
            [0.0, 2.0]])
    >>> nm.diag([[1.0, 2.0], [3.0, 4.0]])
    Tensor([1.0, 4.0])
    """
    return native.diag(v, integer(k, "k"))


@native.shortcut
def diagonal(a, offset=0, axis1=-2, axis2=-1):
    """The diagonals of matrices.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    offset : int, optional
        0 for the main diagonal, positive above it, negative below.
    axis1, axis2 : int, optional
        The axes of rows and columns: the last two by default, where numpy.diagonal takes the first.

    Returns
    -------
    Tensor, shape (..., K)
        Element i is that of row i and column i + offset; the other axes keep their order.

    Raises
    ------
    ValueError
        Below rank 2, or if the two axes are one.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.diagonal([[1.0, 2.0], [3.0, 4.0]])
    Tensor([1.0, 4.0])
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
    """The axis counted from the front; IndexError if it is out of bounds."""
    place = integer(axis, name)
    if not -rank <= place < rank:
        raise IndexError(f"{name} {shown(place)} is out of bounds for a tensor of rank {rank}")
    return place % rank


def tri(n, m=None, k=0, dtype=float64):
    """A matrix with ones on and below a diagonal and zeros above.

    Parameters
    ----------
    n : int
        The rows.
    m : int, optional
        The columns, n by default.
    k : int, optional
        The diagonal: 0 for the main one, positive above it, negative below.
    dtype : dtype, optional

    Returns
    -------
    Tensor, shape (n, m)

    Raises
    ------
    ValueError
        If an extent is negative or the tensor would be too large.

    Examples
    --------
    >>> nm.tri(3)
    Tensor([[1.0, 0.0, 0.0],
            [1.0, 1.0, 0.0],
            [1.0, 1.0, 1.0]])
    """
    (n, columns), k = _matrix_shape(n, m), integer(k, "k")
    return native.tri(n, columns, k, dtype_name(dtype) == complex128)


tril = native.tril
triu = native.triu
