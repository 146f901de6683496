"""Functions of the array API that are composed of others."""

from . import _functions as functions
from ._arguments import integers
from ._conversion import asarray
from ._creation import axis_of, ones, zeros
from ._products import broadcast_shape
from ._results import Result, field
from ._shaping import broadcast_to, concatenate, ravel, reshape


# --- element by element --------------------------------------------------------------------------
def positive(a):
    """The elements unchanged, as +a: a Tensor is returned as it is.

    Parameters
    ----------
    a : array_like

    Returns
    -------
    Tensor

    Examples
    --------
    >>> nm.positive([1.0, -2.0])
    Tensor([ 1.0, -2.0])
    """
    return asarray(a)


def reciprocal(a):
    """The reciprocals of the elements, 1 / a; infinite for zero.

    Parameters
    ----------
    a : array_like
        float64 or complex128, any shape.

    Returns
    -------
    Tensor
        Of a's shape and dtype.

    Examples
    --------
    >>> nm.reciprocal([2.0, -4.0])
    Tensor([  0.5, -0.25])
    """
    return functions.divide(1.0, a)


def logaddexp(a, b):
    """log(exp(a) + exp(b)) without overflow.

    Parameters
    ----------
    a, b : array_like
        float64, shapes that broadcast.

    Returns
    -------
    Tensor

    Raises
    ------
    TypeError
        For complex128.
    numerical.error
        If the shapes don't broadcast.

    Notes
    -----
    If the result is near 0, its error is a rounding of the larger operand, not of the result.

    Examples
    --------
    >>> nm.logaddexp(1000.0, [1000.0, 0.0])
    Tensor([1000.6931,    1000.0])
    """
    a, b = asarray(a), asarray(b)
    larger = functions.maximum(a, b)  # which refuses complex128
    apart = functions.where(functions.equal(a, b), 0.0, a - b)  # equal infinities are 0 apart
    return larger + functions.log1p(functions.exp(-functions.abs(apart)))


def isin(x1, x2, /, *, invert=False):
    """Where elements of x1 are elements of x2; a NaN is equal to nothing.

    Parameters
    ----------
    x1, x2 : array_like
        float64, any shapes.
    invert : bool, optional
        Whether to mark the elements that x2 doesn't hold.

    Returns
    -------
    Tensor
        A mask of x1's shape.

    Raises
    ------
    TypeError
        For complex128, which has no order.

    Examples
    --------
    >>> nm.isin([1.0, 2.0, 3.0], [3.0, 1.0])
    Tensor([1.0, 0.0, 1.0])
    """
    x1, held = asarray(x1), functions.sort(ravel(x2))
    if held.size == 0:
        found = zeros(x1.shape)
    else:
        first = functions.searchsorted(held, x1)
        last = functions.searchsorted(held, x1, "right")
        found = functions.logical_and(first < last, functions.equal(x1, x1))
    return functions.logical_not(found) if invert else found


# --- running sums that may begin with nothing ----------------------------------------------------
def cumulative_sum(x, /, *, axis=None, dtype=None, include_initial=False):
    """The running sums along an axis.

    Parameters
    ----------
    x : array_like
    axis : int, optional
        May be left out for a vector.
    dtype : dtype, optional
        What the elements are converted to first.
    include_initial : bool, optional
        Whether a zero comes before the sums.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If no axis is given and x isn't a vector.
    IndexError
        If the axis is out of bounds.

    Examples
    --------
    >>> nm.cumulative_sum([1.0, 2.0, 4.0], include_initial=True)
    Tensor([0.0, 1.0, 3.0, 7.0])
    """
    return _running(functions.cumsum, zeros, x, axis, dtype, include_initial)


def cumulative_prod(x, /, *, axis=None, dtype=None, include_initial=False):
    """The running products along an axis.

    Parameters
    ----------
    x : array_like
    axis : int, optional
        May be left out for a vector.
    dtype : dtype, optional
        What the elements are converted to first.
    include_initial : bool, optional
        Whether a one comes before the products.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If no axis is given and x isn't a vector.
    IndexError
        If the axis is out of bounds.

    Examples
    --------
    >>> nm.cumulative_prod([1.0, 2.0, 4.0])
    Tensor([1.0, 2.0, 8.0])
    """
    return _running(functions.cumprod, ones, x, axis, dtype, include_initial)


def _running(function, initial, x, axis, dtype, include_initial):
    x = asarray(x, dtype)
    if axis is None:
        if x.ndim != 1:
            raise ValueError(f"an axis must be named for a tensor of rank {x.ndim}")
        axis = 0
    place = axis_of(axis, x.ndim)
    result = function(x, place)
    if not include_initial:
        return result
    first = initial((*x.shape[:place], 1, *x.shape[place + 1 :]), x.dtype)
    return concatenate([first, result], place)


# --- shapes that broadcast -----------------------------------------------------------------------
def broadcast_shapes(*shapes):
    """The shape to which shapes broadcast.

    Parameters
    ----------
    *shapes : int or sequence of int

    Returns
    -------
    tuple of int

    Raises
    ------
    ValueError
        If they don't broadcast.

    Examples
    --------
    >>> nm.broadcast_shapes((2, 1), (3,))
    (2, 3)
    """
    common = ()
    for shape in shapes:
        common = broadcast_shape(common, integers(shape, "shape"))
    return common


def broadcast_arrays(*arrays):
    """Tensors repeated to the shape to which their shapes broadcast.

    Parameters
    ----------
    *arrays : array_like

    Returns
    -------
    tuple of Tensor

    Raises
    ------
    ValueError
        If the shapes don't broadcast.

    Examples
    --------
    >>> nm.broadcast_arrays([1.0, 2.0], 5.0)
    (Tensor([1.0, 2.0]), Tensor([5.0, 5.0]))
    """
    tensors = [asarray(array) for array in arrays]
    shape = broadcast_shapes(*(tensor.shape for tensor in tensors))
    return tuple(broadcast_to(tensor, shape) for tensor in tensors)


# --- sets of numbers -----------------------------------------------------------------------------
class UniqueAllResult(Result):
    __slots__ = ()
    _fields = ("values", "indices", "inverse_indices", "counts")
    values, indices, inverse_indices, counts = map(field, range(4))


class UniqueCountsResult(Result):
    __slots__ = ()
    _fields = ("values", "counts")
    values, counts = field(0), field(1)


class UniqueInverseResult(Result):
    __slots__ = ()
    _fields = ("values", "inverse_indices")
    values, inverse_indices = field(0), field(1)


def unique_all(x, /):
    """The distinct elements with their places and counts.

    The two zeros are one element; each NaN is an element of its own.

    Parameters
    ----------
    x : array_like
        float64, any shape.

    Returns
    -------
    tuple
        values, a Tensor in ascending order; indices, the Positions of their first occurrences in
        row-major order; inverse_indices, for each element of x its place in values; and counts, both
        Positions.

    Raises
    ------
    TypeError
        For complex128, which has no order.

    Examples
    --------
    >>> found = nm.unique_all([3.0, 1.0, 3.0])
    >>> found.values, found.indices
    (Tensor([1.0, 3.0]), Positions([1, 0]))
    >>> found.inverse_indices, found.counts
    (Positions([1, 0, 1]), Positions([1, 2]))
    """
    x = asarray(x)
    flat = ravel(x)
    order = functions.argsort(flat)
    ascending = flat[order]
    begins = concatenate([ones(min(flat.size, 1)), ascending[1:] != ascending[:-1]])
    edges = functions.nonzero(concatenate([begins, [1.0]]))[0]  # the last is the end
    starts = edges[:-1]
    place_in_order = reshape(asarray(functions.argsort(asarray(order))), x.shape)
    inverse = functions.searchsorted(asarray(starts), place_in_order, "right") - 1
    return UniqueAllResult(ascending[starts], order[starts], inverse, edges[1:] - starts)


def unique_counts(x, /):
    """The distinct elements and how often each occurs.

    Parameters
    ----------
    x : array_like
        float64, any shape.

    Returns
    -------
    tuple
        values, a Tensor in ascending order, and counts, Positions.

    Raises
    ------
    TypeError
        For complex128, which has no order.

    Examples
    --------
    >>> values, counts = nm.unique_counts([3.0, 1.0, 3.0])
    >>> values, counts
    (Tensor([1.0, 3.0]), Positions([1, 2]))
    """
    found = unique_all(x)
    return UniqueCountsResult(found.values, found.counts)


def unique_inverse(x, /):
    """The distinct elements, and for each element of x its place among them.

    Parameters
    ----------
    x : array_like
        float64, any shape.

    Returns
    -------
    tuple
        values, a Tensor in ascending order, and inverse_indices, Positions of x's shape.

    Raises
    ------
    TypeError
        For complex128, which has no order.

    Examples
    --------
    >>> values, places = nm.unique_inverse([3.0, 1.0, 3.0])
    >>> values[places]
    Tensor([3.0, 1.0, 3.0])
    """
    found = unique_all(x)
    return UniqueInverseResult(found.values, found.inverse_indices)


def unique_values(x, /):
    """The distinct elements in ascending order.

    Parameters
    ----------
    x : array_like
        float64, any shape.

    Returns
    -------
    Tensor, shape (K,)

    Raises
    ------
    TypeError
        For complex128, which has no order.

    Examples
    --------
    >>> nm.unique_values([3.0, 1.0, 3.0])
    Tensor([1.0, 3.0])
    """
    ascending = functions.sort(ravel(x))
    begins = concatenate([ones(min(ascending.size, 1)), ascending[1:] != ascending[:-1]])
    return ascending[begins != 0]
