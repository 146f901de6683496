"""The operators of Tensor, written as calls of the module.

Each is a plain function with as little before the call as there can be: a sum of two small tensors
costs less than looking its operands over would. What is not the common case is found out after the
fact, in `_mixed`.
"""

from ._numerical import Tensor, _binary, _full, _negate, _unary, asarray, einsum, error
from ._products import matmul


def _operand(like, value):
    """A number or a foreign array as a tensor, a number of the other operand's dtype if it can be."""
    if isinstance(value, (float, int)):
        return _full((), value, getattr(like, "dtype", None) == "complex128")
    if isinstance(value, complex):
        return _full((), value, True)
    return asarray(value) if hasattr(value, "__array_interface__") else None


def _mixed(operator, left, right):
    """left operator right for operands that are not two tensors of one dtype."""
    if not isinstance(left, Tensor):
        left = _operand(right, left)
    elif not isinstance(right, Tensor):
        right = _operand(left, right)
    if left is None or right is None:
        return NotImplemented
    if left.dtype != right.dtype:
        left = asarray(left, "complex128")
        right = asarray(right, "complex128")
    return _binary(operator, left, right)


def _forms(operator, name):
    """The function behind `a operator b` and the reflected one."""

    def forward(self, other):
        if type(other) is Tensor:
            try:
                return _binary(operator, self, other)
            except error:
                if self.dtype == other.dtype:
                    raise
        elif type(other) is float or type(other) is int:
            if self.dtype == "float64":
                return _binary(operator, self, asarray(other))
            return _binary(operator, self, _full((), other, True))
        return _mixed(operator, self, other)

    def reflected(self, other):
        if type(other) is float or type(other) is int:
            if self.dtype == "float64":
                return _binary(operator, asarray(other), self)
            return _binary(operator, _full((), other, True), self)
        return _mixed(operator, other, self)

    forward.__name__, reflected.__name__ = f"__{name}__", f"__r{name}__"
    forward.__qualname__, reflected.__qualname__ = f"Tensor.__{name}__", f"Tensor.__r{name}__"
    return {forward.__name__: forward, reflected.__name__: reflected}


def _matmul(self, other):
    if type(other) is Tensor:
        try:
            return einsum("ij,jk->ik", self, other)
        except error:
            pass  # other ranks, dtypes that differ, or extents that don't match: matmul tells
    elif not hasattr(other, "__array_interface__"):
        return NotImplemented
    return matmul(self, other)


def _reflected_matmul(self, other):
    if not hasattr(other, "__array_interface__"):
        return NotImplemented
    return matmul(other, self)


def _negative(self):
    return _negate(self)


def _positive(self):
    return self


def _absolute(self):
    return _unary("abs", self)


METHODS = {
    **_forms("+", "add"),
    **_forms("-", "sub"),
    **_forms("*", "mul"),
    **_forms("/", "truediv"),
    **_forms("^", "pow"),
    "__matmul__": _matmul,
    "__rmatmul__": _reflected_matmul,
    "__neg__": _negative,
    "__pos__": _positive,
    "__abs__": _absolute,
}
