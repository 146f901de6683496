"""The methods of Positions other than indexing and arithmetic, set on the native type."""

from . import _numerical
from ._native_module import native

Positions = native.Positions

SUMMARY_SIZE = 1000  # longer ones show the edges alone, as tensors do
EDGE = 3


def _text(p):
    return _nested_text(p, 0)


def _nested_text(p, indent):
    """Nested brackets with the ints in columns of one width."""
    shown = _edges(p) if p.size > SUMMARY_SIZE else p.tolist()
    width = max((len(str(x)) for x in _leaves(shown)), default=0)
    return _bracketed(shown, width, indent, p.ndim)


def _edges(p):
    if p.ndim == 0:
        return p.tolist()
    places = range(p.shape[0])
    if p.shape[0] > 2 * EDGE:
        places = [*places[:EDGE], None, *places[-EDGE:]]
    return [... if i is None else p[i] if p.ndim == 1 else _edges(p[i]) for i in places]


def _leaves(nested):
    if isinstance(nested, list):
        for item in nested:
            yield from _leaves(item)
    elif nested is not ...:
        yield nested


def _bracketed(nested, width, indent, rank):
    if nested is ...:
        return "..."
    if not isinstance(nested, list):
        return str(nested).rjust(width)
    items = [_bracketed(item, width, indent + 1, rank - 1) for item in nested]
    gap = ", " if rank < 2 else "," + "\n" * (rank - 1) + " " * (indent + 1)
    return f"[{gap.join(items)}]"


def _repr(p):
    text = "Positions(" + _nested_text(p, len("Positions("))
    if p.size > SUMMARY_SIZE or (p.size == 0 and p.shape != (0,)):
        text += f", shape={p.shape}"
    return text + ")"


def _iterate(p):
    if p.ndim == 0:
        raise TypeError("positions of rank 0 have no axis to iterate over; use int()")
    return iter(p.tolist()) if p.ndim == 1 else (p[i] for i in range(p.shape[0]))


def _truth(p):
    if p.size != 1:
        raise ValueError(f"the truth of {p.size} positions is ambiguous: ask for .size")
    return _to_int(p) != 0


def _to_int(p):
    if p.size != 1:
        raise ValueError(f"only positions of one element are a number; these are {p.size}")
    found = p.tolist()
    while isinstance(found, list):
        (found,) = found
    return found


def _reduce_for_pickle(p):
    if 0 in p.shape:
        return _empty, (p.shape,)
    return Positions, (p.tolist(),)


def _empty(shape):
    """Positions of an empty shape."""
    return native.argsort(_numerical._full(shape, 0.0, False))


def _itself(p, memo=None):
    return p


_POSITIONS_DOC = """Places of elements: an immutable array of int64, as argsort, nonzero and searchsorted give.

A float64 tensor as an index is a mask, so that places have a class of their own. Positions index
tensors and each other, compare, and have the arithmetic of ints; a single place is an int.

Parameters
----------
places : nested sequence of int, or array of integers

Attributes
----------
shape : tuple of int
ndim : int
size : int
dtype : str
    "int64".

Raises
------
IndexError
    If something else is given.

Examples
--------
>>> order = nm.argsort([3.0, 1.0, 2.0])
>>> order
Positions([1, 2, 0])
>>> nm.array([3.0, 1.0, 2.0])[order]
Tensor([1.0, 2.0, 3.0])
>>> order[::-1] + 1
Positions([1, 3, 2])
>>> nm.Positions([2, 0])[0]
2
"""

METHODS = {
    "__doc__": _POSITIONS_DOC,
    "__repr__": _repr,
    "__str__": _text,
    "__iter__": _iterate,
    "__bool__": _truth,
    "__int__": _to_int,
    "__copy__": _itself,
    "__deepcopy__": _itself,
    "__reduce__": _reduce_for_pickle,
}
