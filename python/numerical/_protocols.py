"""How a Tensor meets NumPy's functions and the arrays of others.

An operator of a Tensor asks `defers_to` before it takes a foreign operand; NumPy's ufuncs, and with
them the operators of its arrays, ask `__array_ufunc__` (NumPy Enhancement Proposal 13).
"""

from ._conversion import carries_mask
from ._functions import add, divide, multiply, power, subtract
from ._numerical import Tensor
from ._products import matmul

PRIORITY = 1000  # Tensor.__array_priority__

# The ufuncs behind the operators that a Tensor has, by the names that NumPy gives them.
_OPERATORS = {
    "add": add, "subtract": subtract, "multiply": multiply, "divide": divide, "power": power,
    "matmul": matmul,
}  # fmt: skip


def overrides_ufuncs(kind):
    """Whether a type has a say of its own in ufuncs, beside Tensor and NumPy's plain array.

    A subclass of NumPy's array that leaves __array_ufunc__ alone has not.
    """
    for base in kind.__mro__:
        if "__array_ufunc__" in vars(base):
            plain = base.__module__ == "numpy" and base.__name__ == "ndarray"
            return base is not Tensor and not plain
    return False


def defers_to(other):
    """Whether a Tensor's operator leaves the operation to the other operand.

    So it does for a type with an __array_ufunc__ of its own (None, which refuses ufuncs, is one),
    for a masked array, whose mask a Tensor can't hold, and for an object whose __array_priority__ is
    a float or int above Tensor's.
    """
    kind = type(other)
    if kind is Tensor:
        return False
    if overrides_ufuncs(kind) or carries_mask(kind):
        return True
    priority = getattr(other, "__array_priority__", None)
    return isinstance(priority, (float, int)) and priority > PRIORITY


def _array_ufunc(self, ufunc, method, *inputs, out=(), **options):
    """NumPy's ufuncs: the operators that tensors have give tensors, all else is NumPy's.

    What NumPy computes it computes on read-only views of the tensors' buffers, so that `out`,
    `where` and the methods of ufuncs work as with arrays. A Tensor is no `out`: it can't change.
    """
    operands = (*inputs, *out)
    if any(overrides_ufuncs(type(operand)) for operand in operands):
        return NotImplemented
    changed = inputs[:1] if method == "at" else out
    if any(isinstance(target, Tensor) for target in changed):
        raise TypeError(
            f"tensors are immutable: numpy.{ufunc.__name__} can't write its result into one;"
            " give an array as out"
        )
    if method == "__call__" and not out and not options:
        operator = _operator_behind(ufunc)
        if operator is not None and not any(map(defers_to, inputs)):
            return operator(*inputs)
    if out:
        options["out"] = out
    views = {name: _viewed(option) for name, option in options.items()}
    return getattr(ufunc, method)(*map(_viewed, inputs), **views)


def _operator_behind(ufunc):
    """Our function for one of NumPy's own ufuncs; others may bear the same name."""
    import numpy  # it is loaded: only its ufuncs lead here

    name = ufunc.__name__
    return _OPERATORS.get(name) if getattr(numpy, name, None) is ufunc else None


def _viewed(operand):
    """A Tensor as NumPy's view of its buffer, anything else as it is."""
    if not isinstance(operand, Tensor):
        return operand
    import numpy

    return numpy.asarray(operand)


METHODS = {"__array_ufunc__": _array_ufunc, "__array_priority__": PRIORITY}
