"""Shapes, joins and repetitions.

Functions marked as shortcuts are called for what isn't given in the common form, tensors and ints
by place; that the native function of their name does by itself, and its result shares elements.
"""

import math

from . import _numerical
from ._arguments import count as whole
from ._arguments import integers, shown
from ._conversion import asarray
from ._creation import axis_of as normalized_axis
from ._creation import shape_of
from ._memory import row_major_strides
from ._native_module import native


def normalized_axes(axes, rank, name="axis"):
    """Distinct axes counted from the front, from an int or a sequence."""
    given = integers(axes, name)
    found = tuple(normalized_axis(axis, rank, name) for axis in given)
    if len(set(found)) != len(found):
        raise ValueError(f"an axis is named twice in {given}")
    return found


@native.shortcut
def reshape(a, shape, order="C", *, copy=None):
    """The elements in row-major order under another shape.

    Parameters
    ----------
    a : array_like
    shape : int or sequence of int
        One extent may be -1: it is worked out from the others.
    order : 'C', optional
        Row-major. For column-major order write reshape(a.T, shape[::-1]).T.
    copy : bool or None, optional
        Of no effect: a tensor never changes, so that nobody can tell a copy from a view.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the shape holds another number of elements, or for another order.

    Examples
    --------
    >>> nm.reshape(nm.arange(6), (2, -1))
    Tensor([[0.0, 1.0, 2.0],
            [3.0, 4.0, 5.0]])
    """
    if not isinstance(order, str) or order != "C":
        raise ValueError(
            f"reshape reads in row-major order, 'C', not {shown(order)}: for column-major order"
            " write reshape(a.T, shape[::-1]).T"
        )
    a = asarray(a)
    extents = integers(shape, "shape")
    if -1 in extents:
        known = math.prod(extent for extent in extents if extent != -1)
        if extents.count(-1) > 1:
            raise ValueError(f"only one extent of {extents} may be -1")
        if known == 0 or a.size % known:
            raise ValueError(f"cannot reshape a tensor of size {a.size} into shape {extents}")
        extents = tuple(a.size // known if extent == -1 else extent for extent in extents)
    extents = shape_of(extents)
    if math.prod(extents) != a.size:
        raise ValueError(f"cannot reshape a tensor of size {a.size} into shape {extents}")
    return _numerical._reshape(a, extents)


@native.shortcut
def ravel(a):
    """The elements in row-major order as a vector.

    Parameters
    ----------
    a : array_like

    Returns
    -------
    Tensor, shape (K,)

    Examples
    --------
    >>> nm.ravel([[1.0, 2.0], [3.0, 4.0]])
    Tensor([1.0, 2.0, 3.0, 4.0])
    """
    a = asarray(a)
    return a if a.ndim == 1 else _numerical._reshape(a, (a.size,))


@native.shortcut
def squeeze(a, axis=None):
    """The tensor without axes of extent 1.

    Parameters
    ----------
    a : array_like
    axis : int or sequence of int, optional
        The axes to drop, which have extent 1; all such axes by default.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If a named axis has another extent.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.squeeze([[[1.0], [2.0]]])
    Tensor([1.0, 2.0])
    """
    a = asarray(a)
    if axis is None:
        dropped = [i for i, extent in enumerate(a.shape) if extent == 1]
    else:
        dropped = normalized_axes(axis, a.ndim)
        if any(a.shape[i] != 1 for i in dropped):
            raise ValueError(f"cannot squeeze axis {axis} of shape {a.shape}: its extent isn't 1")
    return _numerical._reshape(a, [e for i, e in enumerate(a.shape) if i not in dropped])


@native.shortcut
def expand_dims(a, axis):
    """The tensor with new axes of extent 1.

    Parameters
    ----------
    a : array_like
    axis : int or sequence of int
        The places of the new axes in the result.

    Returns
    -------
    Tensor

    Raises
    ------
    IndexError
        If a place is out of bounds.

    Examples
    --------
    >>> nm.expand_dims([1.0, 2.0], 0)
    Tensor([[1.0, 2.0]])
    """
    a = asarray(a)
    given = integers(axis, "axis")
    places = normalized_axes(given, a.ndim + len(given))
    rest = iter(a.shape)
    shape = [1 if i in places else next(rest) for i in range(a.ndim + len(given))]
    return _numerical._reshape(a, shape)


permute_dims = native.permute_dims
transpose = permute_dims


def moveaxis(a, source, destination):
    """The tensor with axes moved to other places; the others keep their order.

    Parameters
    ----------
    a : array_like
    source, destination : int or sequence of int
        The axes, and their places in the result.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If there are not as many places as axes, or one is named twice.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.moveaxis(nm.ones((2, 3, 4)), 0, -1).shape
    (3, 4, 2)
    """
    a = asarray(a)
    sources = normalized_axes(source, a.ndim, "source")
    targets = normalized_axes(destination, a.ndim, "destination")
    if len(sources) != len(targets):
        raise ValueError("moveaxis takes as many destinations as sources")
    rest = iter(i for i in range(a.ndim) if i not in sources)
    placed = dict(zip(targets, sources))
    return permute_dims(a, [placed[i] if i in placed else next(rest) for i in range(a.ndim)])


def swapaxes(a, first, second):
    """The tensor with two axes exchanged.

    Parameters
    ----------
    a : array_like
    first, second : int

    Returns
    -------
    Tensor

    Raises
    ------
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.swapaxes([[1.0, 2.0], [3.0, 4.0]], 0, 1)
    Tensor([[1.0, 3.0],
            [2.0, 4.0]])
    """
    a = asarray(a)
    order = list(range(a.ndim))
    i, j = normalized_axis(first, a.ndim, "first"), normalized_axis(second, a.ndim, "second")
    order[i], order[j] = order[j], order[i]
    return permute_dims(a, order)


def flip(a, axis=None):
    """The elements in reverse order along axes.

    Parameters
    ----------
    a : array_like
    axis : int or sequence of int, optional
        All axes by default.

    Returns
    -------
    Tensor

    Raises
    ------
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.flip([[1.0, 2.0], [3.0, 4.0]], axis=1)
    Tensor([[2.0, 1.0],
            [4.0, 3.0]])
    """
    a = asarray(a)
    flipped = range(a.ndim) if axis is None else normalized_axes(axis, a.ndim)
    if a.ndim == 0:
        return a
    starts = [extent - 1 if i in flipped else 0 for i, extent in enumerate(a.shape)]
    steps = [-1 if i in flipped else 1 for i in range(a.ndim)]
    return _numerical._take(a, starts, steps, a.shape, (1,) * a.ndim)


def broadcast_to(a, shape):
    """The tensor repeated along new axes and along axes of extent 1.

    Parameters
    ----------
    a : array_like
    shape : int or sequence of int

    Returns
    -------
    Tensor
        A copy of that shape.

    Raises
    ------
    ValueError
        If a's shape doesn't broadcast to it.

    Examples
    --------
    >>> nm.broadcast_to([1.0, 2.0], (2, 2))
    Tensor([[1.0, 2.0],
            [1.0, 2.0]])
    """
    a = asarray(a)
    shape = shape_of(shape)
    lead = len(shape) - a.ndim
    fits = lead >= 0 and all(e in (1, s) for e, s in zip(a.shape, shape[lead:]))
    if not fits:
        raise ValueError(f"shape {a.shape} cannot be broadcast to shape {shape}")
    own = row_major_strides(a.shape, 1)
    strides = [0] * lead + [0 if e == 1 else stride for e, stride in zip(a.shape, own)]
    return native.with_strides(a, shape, strides)


concatenate = concat = native.concatenate
stack = native.stack


def tile(a, repetitions):
    """The whole tensor repeated along each axis.

    Parameters
    ----------
    a : array_like
    repetitions : int or sequence of int
        How often, for the last axes; the shorter of shape and repetitions is filled up with ones in front.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If a repetition is negative.

    Examples
    --------
    >>> nm.tile([1.0, 2.0], 2)
    Tensor([1.0, 2.0, 1.0, 2.0])
    >>> nm.tile([1.0, 2.0], (2, 1))
    Tensor([[1.0, 2.0],
            [1.0, 2.0]])
    """
    return native.tiled(a, repetitions)


def repeat(a, count, axis=None):
    """Each element repeated a number of times.

    Parameters
    ----------
    a : array_like
    count : int
    axis : int, optional
        The axis along which places are repeated; by default the elements in row-major order.

    Returns
    -------
    Tensor

    Raises
    ------
    TypeError
        If there is more than one count.
    ValueError
        If the count is negative.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.repeat([1.0, 2.0], 2)
    Tensor([1.0, 1.0, 2.0, 2.0])
    >>> nm.repeat([[1.0, 2.0]], 2, axis=0)
    Tensor([[1.0, 2.0],
            [1.0, 2.0]])
    """
    a = ravel(a) if axis is None else asarray(a)
    place = 0 if axis is None else normalized_axis(axis, a.ndim)
    if hasattr(count, "__len__") and not isinstance(count, str):
        raise TypeError("repeat takes one count for all elements")
    return native.repeated(a, whole(count, "count"), place)
