"""Functions of the array API that are made of others."""

from collections import namedtuple

from . import _functions as functions
from ._arguments import integers
from ._conversion import asarray
from ._creation import axis_of, ones, zeros
from ._products import broadcast_shape
from ._shaping import broadcast_to, concatenate, ravel, reshape


# --- element by element --------------------------------------------------------------------------
def positive(a):
    """The elements as they are: the tensor itself."""
    return asarray(a)


def reciprocal(a):
    """1 / a."""
    return functions.divide(1.0, a)


def logaddexp(a, b):
    """log(exp(a) + exp(b)), without overflow.

    Near a logarithm of zero the error is a rounding of the larger operand, not of the result.
    """
    a, b = asarray(a), asarray(b)
    larger = functions.maximum(a, b)  # which refuses complex128
    apart = functions.where(functions.equal(a, b), 0.0, a - b)  # equal infinities are 0 apart
    return larger + functions.log1p(functions.exp(-functions.abs(apart)))


def isin(x1, x2, /, *, invert=False):
    """A mask of the elements of x1 that x2 holds, or doesn't if invert. NaN equals nothing."""
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
    """The running sums along an axis, which only a vector needn't name.

    With include_initial a zero stands before them.
    """
    return _running(functions.cumsum, zeros, x, axis, dtype, include_initial)


def cumulative_prod(x, /, *, axis=None, dtype=None, include_initial=False):
    """The running products along an axis, as cumulative_sum; a one before them."""
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
    """The shape that the shapes broadcast to; ValueError if they don't."""
    common = ()
    for shape in shapes:
        common = broadcast_shape(common, integers(shape, "shape"))
    return common


def broadcast_arrays(*arrays):
    """A tuple of copies, all of the shape that the shapes broadcast to."""
    tensors = [asarray(array) for array in arrays]
    shape = broadcast_shapes(*(tensor.shape for tensor in tensors))
    return tuple(broadcast_to(tensor, shape) for tensor in tensors)


# --- sets of numbers -----------------------------------------------------------------------------
UniqueAllResult = namedtuple("UniqueAllResult", "values indices inverse_indices counts")
UniqueCountsResult = namedtuple("UniqueCountsResult", "values counts")
UniqueInverseResult = namedtuple("UniqueInverseResult", "values inverse_indices")


def unique_all(x, /):
    """The distinct numbers, ascending, with the place of each one's first occurrence in row-major
    order, the place among them of each element of x, and how often they occur.

    Both zeros are one number, each NaN is one of its own. Places and counts are Positions.
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
    """The distinct numbers, and how often they occur."""
    found = unique_all(x)
    return UniqueCountsResult(found.values, found.counts)


def unique_inverse(x, /):
    """The distinct numbers, and the place among them of each element."""
    found = unique_all(x)
    return UniqueInverseResult(found.values, found.inverse_indices)


def unique_values(x, /):
    """The distinct numbers, ascending."""
    ascending = functions.sort(ravel(x))
    begins = concatenate([ones(min(ascending.size, 1)), ascending[1:] != ascending[:-1]])
    return ascending[begins != 0]
