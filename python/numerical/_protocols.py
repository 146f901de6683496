"""How a Tensor meets NumPy's functions and the arrays of others.

An operator of a Tensor asks `defers_to` before it takes a foreign operand; NumPy's ufuncs, and with
them the operators of its arrays, ask `__array_ufunc__` (NumPy Enhancement Proposal 13).
"""

from ._array_api import result_type
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
    if method == "__call__" and not out and _is_plain(options, inputs):
        operator = _operator_behind(ufunc)
        if operator is not None and not any(map(defers_to, inputs)):
            return operator(*inputs)
    if out:
        options["out"] = out
    views = {name: _viewed(option) for name, option in options.items()}
    return getattr(ufunc, method)(*map(_viewed, inputs), **views)


def _is_plain(options, inputs):
    """Whether no option changes the result: a dtype may be named that it has anyway."""
    return not options or options.keys() == {"dtype"} and options["dtype"] == result_type(*inputs)


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


def _array_function(self, func, types, args, kwargs):
    """NumPy's functions of tensors (NumPy Enhancement Proposal 18)."""
    from ._array_functions import array_function  # its tables would take part of the import's time

    return array_function(func, types, args, kwargs)


def _array(self, dtype=None, copy=None):
    """NumPy's array of the elements, with the parameters that NumPy 2 gives to the protocol.

    A read-only view where no other dtype is asked for; a copy, which may be changed, where one is
    needed or copy is true. ValueError where one is needed and copy is false.
    """
    import numpy

    view = numpy.asarray(self)
    if copy:
        return numpy.array(view, dtype)
    if dtype is None or numpy.dtype(dtype) == view.dtype:
        return view
    if copy is False:
        raise ValueError(
            f"a {self.dtype} tensor is no array of {numpy.dtype(dtype)} without a copy: pass copy=None"
        )
    return view.astype(dtype)


def _matvec(self, x):
    """self @ x: with rmatvec what makes a matrix an operator to SciPy's iterative solvers."""
    return matmul(self, x)


def _rmatvec(self, x):
    """The conjugate transpose of self times x."""
    return matmul(self.mH, x)


METHODS = {
    "matvec": _matvec,
    "rmatvec": _rmatvec,
    "__array__": _array,
    "__array_function__": _array_function,
    "__array_ufunc__": _array_ufunc,
    "__array_priority__": PRIORITY,
}
