"""The protocols of NumPy's functions and of other libraries' arrays.

An operator of a Tensor calls `defers_to` before it takes a foreign operand; NumPy's ufuncs, and with
them the operators of its arrays, call `__array_ufunc__` (NumPy Enhancement Proposal 13).
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
    """Whether a type other than Tensor and NumPy's plain array defines __array_ufunc__.

    A subclass of NumPy's array that inherits it doesn't count.
    """
    for base in kind.__mro__:
        if "__array_ufunc__" in vars(base):
            plain = base.__module__ == "numpy" and base.__name__ == "ndarray"
            return base is not Tensor and not plain
    return False


def defers_to(other):
    """Whether a Tensor's operator leaves the operation to the other operand.

    It does for a type that defines __array_ufunc__ (also as None, which refuses ufuncs), for a masked
    array, whose mask a Tensor can't hold, and for an object whose __array_priority__ is a float or int
    above Tensor's.
    """
    kind = type(other)
    if kind is Tensor:
        return False
    if overrides_ufuncs(kind) or carries_mask(kind):
        return True
    priority = getattr(other, "__array_priority__", None)
    return isinstance(priority, (float, int)) and priority > PRIORITY


def _array_ufunc(self, ufunc, method, *inputs, out=(), **options):
    """NumPy's ufuncs: those behind Tensor's operators give tensors, the others are NumPy's.

    NumPy computes on read-only views of the tensors' buffers, so that `out`, `where` and the methods of
    ufuncs work as with arrays. A Tensor can't be `out`: it never changes.
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
    """Whether no option changes the result; the result's own dtype may be named."""
    return not options or options.keys() == {"dtype"} and options["dtype"] == result_type(*inputs)


def _operator_behind(ufunc):
    """Our function for one of NumPy's own ufuncs; other libraries' may have the same name."""
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

    A read-only view by default; a copy, which may be changed, for another dtype or copy=True.
    ValueError for another dtype with copy=False.
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
    """self @ x; with rmatvec it makes a matrix a linear operator for SciPy's iterative solvers."""
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
