"""Indexing of Tensor, and what Python shows of one: its length, its truth, its text.

Integers, slices, Ellipsis and None are turned into a start, a step and a count for each axis, the
ranges of the module's `_take`, which copies what they select.
"""

from operator import index

from ._numerical import Tensor, _reshape, _take


def _out_of_bounds(position, axis, extent):
    return IndexError(f"index {position} is out of bounds for axis {axis} with size {extent}")


def _position(key, axis, extent):
    """An integer index as the offset on its axis."""
    position = index(key)
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
    starts, steps, counts, keep, shape = [], [], [], [], []
    extents = self.shape
    for key in _expanded(keys, len(extents)):
        if key is None:
            shape.append(1)
            continue
        axis = len(starts)
        if isinstance(key, slice):
            selected = range(*key.indices(extents[axis]))
            start, step, count = selected.start, selected.step, len(selected)
            shape.append(count)
        elif hasattr(key, "__index__") and not isinstance(key, bool):
            start, step, count = _position(key, axis, extents[axis]), 1, 1
        else:
            raise TypeError(
                "a tensor is indexed by integers, slices, Ellipsis and None, "
                f"not {type(key).__name__}"
            )
        starts.append(start)
        steps.append(step)
        counts.append(count)
        keep.append(isinstance(key, slice))
    if None not in keys:
        return _take(self, starts, steps, counts, keep)
    return _reshape(_take(self, starts, steps, counts, [1] * len(keep)), shape)


def _getitem(self, key):
    extents = self.shape
    if type(key) is int and len(extents) == 1:
        extent = extents[0]
        if -extent <= key < extent:
            return _take(self, (key + extent if key < 0 else key,), (1,), (1,), (0,))
        raise _out_of_bounds(key, 0, extent)
    return _by_ranges(self, key if type(key) is tuple else (key,))


def _len(self):
    shape = self.shape
    if not shape:
        raise TypeError("a tensor of rank 0 has no length")
    return shape[0]


def _bool(self):
    if self.size != 1:
        raise ValueError("a tensor is true or false only if it has one element")
    return _reshape(self, ()).tolist() != 0


# Of an axis too long to be shown whole, so many elements at each end.
_EDGE = 3
_SHOWN_WHOLE = 1000


def _rows(self, index_so_far, margin):
    """The text of the part under an index: a number, or the lines of a nested list."""
    axis = len(index_so_far)
    if axis == self.ndim:
        return str(self[index_so_far])
    extent = self.shape[axis]
    cut = self.size > _SHOWN_WHOLE and extent > 2 * _EDGE
    shown = [*range(_EDGE), *range(extent - _EDGE, extent)] if cut else range(extent)
    parts = [_rows(self, (*index_so_far, i), margin + 1) for i in shown]
    if cut:
        parts.insert(_EDGE, "...")
    lines_between = self.ndim - axis - 1
    separator = ",\n" * min(lines_between, 1) + "\n" * (lines_between - 1) + " " * margin
    return "[" + (separator if lines_between else ", ").join(parts) + "]"


def _repr(self):
    text = "Tensor(" + _rows(self, (), len("Tensor("))
    if self.size == 0 and self.shape != (0,):
        text += f", shape={self.shape}"
    if self.dtype != "float64":
        text += f", dtype='{self.dtype}'"
    return text + ")"


METHODS = {
    "__getitem__": _getitem,
    "__len__": _len,
    "__bool__": _bool,
    "__repr__": _repr,
}
