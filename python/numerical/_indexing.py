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
            counts[axis] = max(-((start - stop) // step), 0)
        elif type(key) is int and -counts[axis] <= key < counts[axis]:
            starts[axis] = key % counts[axis]
            counts[axis] = 1
            keep[axis] = 0
        else:
            return _by_ranges(self, keys)
    return _take(self, starts, steps, counts, keep)


def _of_matrix(self, row, column):
    """The elements of a matrix by an int or a slice for each axis, one of them a slice.

    -((start - end) // step) is the length of range(start, end, step), or negative if that is empty,
    which the module refuses and the general way then sees to.
    """
    rows, columns = self.shape
    if type(column) is int:
        start = column if column >= 0 else column + columns
        if row.stop is None and row.start is None and row.step is None:
            return _take(self, (0, start), (1, 1), (rows, 1), (1, 0))
        top, end, down = row.indices(rows)
        return _take(self, (top, start), (down, 1), (-((top - end) // down), 1), (1, 0))
    left, end, step = column.indices(columns)
    width = -((left - end) // step)
    if type(row) is int:
        start = row if row >= 0 else row + rows
        return _take(self, (start, left), (1, step), (1, width), (0, 1))
    top, end, down = row.indices(rows)
    return _take(self, (top, left), (down, step), (-((top - end) // down), width), (1, 1))


def _getitem(self, key):
    # What is asked for most often is told apart with as little before the call as there can be: an
    # attribute, a tuple or a call of Python's own costs a tenth of the module's. What an axis lacks
    # and keys of other kinds show in an exception, and the general way looks into it.
    kind = type(key)
    try:
        if kind is int:
            rank = self.ndim
            if rank == 1:
                return _take(self, (key if key >= 0 else key + self.size,), (1,), (1,), (0,))
            if rank == 2:
                rows, columns = self.shape
                start = key if key >= 0 else key + rows
                return _take(self, (start, 0), (1, 1), (1, columns), (0, 1))
        elif kind is slice:
            rank = self.ndim
            if rank == 1:
                start, end, step = key.indices(self.size)
                return _take(self, (start,), (step,), (-((start - end) // step),), (1,))
            if rank == 2:
                rows, columns = self.shape
                start, end, step = key.indices(rows)
                count = -((start - end) // step)
                return _take(self, (start, 0), (step, 1), (count, columns), (1, 1))
        elif kind is tuple and len(key) == 2 and self.ndim == 2:
            row, column = key
            if type(row) is not int or type(column) is not int:
                return _of_matrix(self, row, column)
            if row >= 0 and column >= 0:
                return _take(self, key, (1, 1), (1, 1), (0, 0))
            rows, columns = self.shape
            place = row if row >= 0 else row + rows, column if column >= 0 else column + columns
            return _take(self, place, (1, 1), (1, 1), (0, 0))
    except (IndexError, OverflowError, AttributeError):
        pass
    return _by_ints_and_slices(self, key if kind is tuple else (key,))


METHODS = {"__getitem__": _getitem}
