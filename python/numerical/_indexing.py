"""Basic indexing of Tensor, and lists of ints by gathering.

Ints, slices, Ellipsis and None are turned into a start, a step and a count for each axis, the ranges
of the module's `_take`, which copies what they select.
"""

from operator import index

from ._numerical import Tensor, _reshape, _take
from ._shaping import concatenate


def _out_of_bounds(position, axis, extent):
    return IndexError(f"index {position} is out of bounds for axis {axis} with size {extent}")


def _position(key, axis, extent):
    """An int as the offset on its axis."""
    kind = type(key).__name__
    try:
        position = None if kind in ("bool", "bool_") else index(key)  # NumPy's own has an index too
    except TypeError:
        position = None
    if position is None:
        raise IndexError(
            f"a tensor is indexed by ints, slices, Ellipsis, None and lists of ints, not {kind}"
        )
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
    counts = [*self.shape]
    rank = len(counts)
    if len(keys) > rank:
        return _by_ranges(self, keys)
    starts, steps, keep = [0] * rank, [1] * rank, [1] * rank
    for axis, key in enumerate(keys):
        if type(key) is slice:
            if key.start is None and key.stop is None and key.step is None:
                continue
            start, stop, step = key.indices(counts[axis])
            starts[axis] = start
            steps[axis] = step
            counts[axis] = len(range(start, stop, step))
        elif type(key) is int and -counts[axis] <= key < counts[axis]:
            starts[axis] = key % counts[axis]
            counts[axis] = 1
            keep[axis] = 0
        else:
            return _by_ranges(self, keys)
    return _take(self, starts, steps, counts, keep)


def _getitem(self, key):
    # One element or one row are the most common of all. Whether an element is within the extents is
    # left to the module; what is amiss the general way says.
    kind = type(key)
    if kind is tuple:
        if len(key) == 2 and self.ndim == 2:
            row, column = key
            if type(row) is int and type(column) is int and row >= 0 and column >= 0:
                try:
                    return _take(self, key, (1, 1), (1, 1), (0, 0))
                except (IndexError, OverflowError):
                    pass
        return _by_ints_and_slices(self, key)
    rank = self.ndim
    if rank == 1:
        if kind is int:
            try:
                start = key if key >= 0 else key + self.size
                return _take(self, (start,), (1,), (1,), (0,))
            except (IndexError, OverflowError):
                pass
        elif kind is slice:
            start, stop, step = key.indices(self.size)
            return _take(self, (start,), (step,), (len(range(start, stop, step)),), (1,))
    elif rank == 2 and kind is int:
        rows, columns = self.shape
        if 0 <= key < rows:
            return _take(self, (key, 0), (1, 1), (1, columns), (0, 1))
    return _by_ints_and_slices(self, (key,))


METHODS = {"__getitem__": _getitem}
