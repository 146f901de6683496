"""Basic indexing of Tensor, and lists of ints by gathering.

Ints, slices, Ellipsis and None are turned into a start, a step and a count for each axis, the ranges
of the module's `_take`, which copies what they select.
"""

from ._numerical import Tensor, _reshape, _take, error
from ._shaping import concatenate

# As many as common ranks need; other ranks take the general way.
_ZEROS = (0,) * 32
_ONES = (1,) * 32


def _out_of_bounds(position, axis, extent):
    return IndexError(f"index {position} is out of bounds for axis {axis} with size {extent}")


def _position(key, axis, extent):
    """An int as the offset on its axis."""
    if not hasattr(key, "__index__") or isinstance(key, bool):
        raise IndexError(
            "a tensor is indexed by ints, slices, Ellipsis, None and lists of ints, "
            f"not {type(key).__name__}"
        )
    position = key.__index__()
    if not -extent <= position < extent:
        raise _out_of_bounds(position, axis, extent)
    return position + extent if position < 0 else position


def _expanded(keys, rank):
    """The keys with Ellipsis and what is missing at the end written out as whole axes."""
    axes = sum(key is not None and key is not Ellipsis for key in keys)
    if axes > rank:
        raise IndexError(f"too many indices: the tensor has {rank} axes, {axes} were indexed")
    whole = (slice(None),) * (rank - axes)
    places = [place for place, key in enumerate(keys) if key is Ellipsis]
    if len(places) > 1:
        raise IndexError("an index can have one ellipsis only")
    if not places:
        return keys + whole
    return keys[: places[0]] + whole + keys[places[0] + 1 :]


def _by_ranges(self, keys):
    """The elements that a tuple of keys selects."""
    starts, steps, counts, keep = [], [], [], []
    new_axes, gathers = [], []
    extents = self.shape
    for key in _expanded(keys, len(extents)):
        if key is None:
            new_axes.append(sum(keep) + len(new_axes))
            continue
        axis = len(starts)
        kept = True
        if isinstance(key, slice):
            selected = range(*key.indices(extents[axis]))
            start, step, count = selected.start, selected.step, len(selected)
        elif isinstance(key, (list, tuple)):
            places = [_position(item, axis, extents[axis]) for item in key]
            gathers.append((sum(keep), places))
            start, step, count = 0, 1, extents[axis]
        else:
            start, step, count = _position(key, axis, extents[axis]), 1, 1
            kept = False
        starts.append(start)
        steps.append(step)
        counts.append(count)
        keep.append(kept)
    return _reshaped(_gathered(_take(self, starts, steps, counts, keep), gathers), new_axes)


def _gathered(selected, gathers):
    """The named places of one axis, in their order."""
    if not gathers:
        return selected
    if len(gathers) > 1:
        raise IndexError("an index can have one list only; index twice for two axes")
    ((axis, places),) = gathers
    ones = [1] * selected.ndim
    pieces = []
    for place in places:
        starts, counts = [0] * selected.ndim, list(selected.shape)
        starts[axis], counts[axis] = place, 1
        pieces.append(_take(selected, starts, ones, counts, ones))
    if pieces:
        return concatenate(pieces, axis)
    shape = list(selected.shape)
    shape[axis] = 0
    return Tensor([], shape, selected.dtype)


def _reshaped(selected, new_axes):
    """With axes of extent 1 at the places of None; a bare number becomes a tensor by it."""
    if not new_axes:
        return selected
    if not isinstance(selected, Tensor):
        dtype = "complex128" if isinstance(selected, complex) else "float64"
        return Tensor([selected], (1,) * len(new_axes), dtype)
    shape = list(selected.shape)
    for place in new_axes:
        shape.insert(place, 1)
    return _reshape(selected, shape)


def _by_ints_and_slices(self, keys):
    """The most common keys in one pass; all others go the general way."""
    extents = self.shape
    rank = len(extents)
    if len(keys) > rank:
        return _by_ranges(self, keys)
    starts, steps, counts, keep = [], [], [], []
    for key, extent in zip(keys, extents):
        if type(key) is slice:
            start, stop, step = key.indices(extent)
            steps.append(step)
            counts.append(len(range(start, stop, step)))
            keep.append(1)
        elif type(key) is int and -extent <= key < extent:
            start = key + extent if key < 0 else key
            steps.append(1)
            counts.append(1)
            keep.append(0)
        else:
            return _by_ranges(self, keys)
        starts.append(start)
    given = len(keys)
    if given < rank:
        ones = (1,) * (rank - given)
        starts += (0,) * (rank - given)
        steps += ones
        counts += extents[given:]
        keep += ones
    return _take(self, starts, steps, counts, keep)


def _getitem(self, key):
    kind = type(key)
    if kind is tuple:
        for part in key:
            if type(part) is not int or part < 0:
                return _by_ints_and_slices(self, key)
    elif kind is int and key >= 0 and self.ndim == 1:
        key = (key,)
    elif kind is slice and self.ndim == 1:
        start, stop, step = key.indices(self.size)
        return _take(self, (start,), (step,), (len(range(start, stop, step)),), (1,))
    else:
        return _by_ints_and_slices(self, (key,))
    # One element, if there are as many ints as axes. The module finds what is amiss, and the
    # general way says it.
    rank = len(key)
    try:
        return _take(self, key, _ONES[:rank], _ONES[:rank], _ZEROS[:rank])
    except (IndexError, OverflowError, error):
        return _by_ints_and_slices(self, key)


METHODS = {"__getitem__": _getitem}
