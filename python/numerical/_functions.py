"""Element-wise functions, reductions over any axes, and comparisons of whole tensors."""

import math

from . import _numerical
from ._arguments import real as _real
from ._conversion import asarray, complex128
from ._memory import component, from_parts, parts
from ._native_module import native
from ._numerical import Tensor
from ._promotion import same_dtype


# --- element by element --------------------------------------------------------------------------
def exp(a):
    """e to the power of every element."""
    return _numerical._unary("exp", asarray(a))


def log(a):
    """The natural logarithm of every element; -inf for 0, NaN for a negative float64."""
    return _numerical._unary("log", asarray(a))


def sqrt(a):
    """The square root of every element; NaN for a negative float64."""
    return _numerical._unary("sqrt", asarray(a))


def sin(a):
    """The sine of every element."""
    return _numerical._unary("sin", asarray(a))


def cos(a):
    """The cosine of every element."""
    return _numerical._unary("cos", asarray(a))


def tan(a):
    """The tangent of every element."""
    return _numerical._unary("tan", asarray(a))


def tanh(a):
    """The hyperbolic tangent of every element."""
    return _numerical._unary("tanh", asarray(a))


def abs(a):
    """The modulus of every element, as float64."""
    return _numerical._unary("abs", asarray(a))


def square(a):
    """Every element times itself."""
    a = asarray(a)
    return _numerical._binary("*", a, a)


def real(a):
    """The real parts, as float64."""
    a = asarray(a)
    return component(a, 0) if a.dtype == complex128 else a


def imag(a):
    """The imaginary parts, as float64; zeros for a float64 tensor."""
    a = asarray(a)
    if a.dtype == complex128:
        return component(a, 1)
    return _numerical._full(a.shape, 0.0, False)


_CONJUGATION = Tensor([1.0, -1.0])


def conj(a):
    """The complex conjugates; a float64 tensor as it is."""
    a = asarray(a)
    if a.dtype != complex128:
        return a
    return from_parts(_numerical._binary("*", parts(a), _CONJUGATION))


def add(a, b):
    """a + b, element by element with broadcasting."""
    return _numerical._binary("+", *same_dtype(a, b))


def subtract(a, b):
    """a - b, element by element with broadcasting."""
    return _numerical._binary("-", *same_dtype(a, b))


def multiply(a, b):
    """a * b, element by element with broadcasting."""
    return _numerical._binary("*", *same_dtype(a, b))


def divide(a, b):
    """a / b, element by element with broadcasting."""
    return _numerical._binary("/", *same_dtype(a, b))


def power(a, b):
    """a to the power of b, element by element with broadcasting."""
    return _numerical._binary("^", *same_dtype(a, b))


def negative(a):
    """The element-wise negative."""
    return _numerical._negate(asarray(a))


# --- reductions ----------------------------------------------------------------------------------
sum = native.sum
mean = native.mean
max = native.max
min = native.min
var = native.var
std = native.std


# --- comparisons of whole tensors ----------------------------------------------------------------
def array_equal(a, b):
    """Whether shapes and all elements are equal; a NaN equals nothing."""
    a, b = same_dtype(a, b)
    return a.shape == b.shape and _flat(a) == _flat(b)


def _flat(a):
    # A NaN in a list equals itself by identity; fresh objects from tolist don't share one.
    return _numerical._reshape(a, (a.size,)).tolist()


def allclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False):
    """Whether abs(a - b) <= atol + rtol·abs(b) everywhere, with broadcasting."""
    from ._shaping import broadcast_to

    rtol, atol = _real(rtol, "rtol"), _real(atol, "atol")
    a, b = same_dtype(a, b)
    shape = _numerical._binary("+", a, b).shape
    pairs = zip(_flat(broadcast_to(a, shape)), _flat(broadcast_to(b, shape)))
    return all(_close(x, y, rtol, atol, equal_nan) for x, y in pairs)


def _close(x, y, rtol, atol, equal_nan):
    if x == y:
        return True
    apart = x - y  # by hypot: Python's modulus of a complex number may raise an OverflowError
    distance = math.hypot(apart.real, apart.imag)
    if distance != math.inf and distance <= atol + rtol * math.hypot(y.real, y.imag):
        return True
    return equal_nan and x != x and y != y
