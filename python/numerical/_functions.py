"""Element-wise functions, reductions over any axes, and comparisons of whole tensors."""

import math

from . import _numerical
from ._conversion import asarray, complex128
from ._memory import component, from_parts, parts
from ._numerical import Tensor
from ._promotion import same_dtype
from ._shaping import normalized_axes, permute_dims


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
def _reduced(name, a, axis, keepdims):
    """One of the module's reductions over no axis, one or several.

    Several axes are brought together at the end and reduced as one, in their row-major order.
    """
    a = asarray(a)
    if axis is None:
        result = _numerical._reduce(name, a, -1)
        return _numerical._full((1,) * a.ndim, result, a.dtype == complex128) if keepdims else result
    axes = normalized_axes(axis, a.ndim)
    if not axes:
        result = a
    elif len(axes) == 1:
        result = _numerical._reduce(name, a, axes[0])
    else:
        kept = [i for i in range(a.ndim) if i not in axes]
        front = permute_dims(a, kept + sorted(axes))
        shape = [a.shape[i] for i in kept]
        joint = math.prod(a.shape[i] for i in axes)
        result = _numerical._reduce(name, _numerical._reshape(front, (*shape, joint)), len(shape))
    if keepdims:
        shape = [1 if i in axes else extent for i, extent in enumerate(a.shape)]
        return _numerical._reshape(result, shape)
    return result if result.ndim else _item(result)


def _item(tensor):
    return tensor.tolist()


def sum(a, axis=None, *, keepdims=False):
    """The sum of all elements or along axes, by pairwise summation."""
    return _reduced("sum", a, axis, keepdims)


def mean(a, axis=None, *, keepdims=False):
    """The mean of all elements or along axes; NaN over no element."""
    return _reduced("mean", a, axis, keepdims)


def max(a, axis=None, *, keepdims=False):
    """The largest element of a float64 tensor, of all or along axes; NaN if one is NaN."""
    return _reduced("max", a, axis, keepdims)


def min(a, axis=None, *, keepdims=False):
    """The smallest element of a float64 tensor, of all or along axes; NaN if one is NaN."""
    return _reduced("min", a, axis, keepdims)


def var(a, axis=None, *, correction=0.0, keepdims=False):
    """The mean squared modulus of the distance from the mean; divided by count - correction."""
    a = asarray(a)
    axes = tuple(range(a.ndim)) if axis is None else normalized_axes(axis, a.ndim)
    count = math.prod(a.shape[i] for i in axes)
    centre = mean(a, axes, keepdims=True) if axes else a
    distance = abs(_numerical._binary("-", a, centre))
    total = sum(square(distance), axes, keepdims=keepdims)
    degrees = count - correction
    if isinstance(total, Tensor):
        divisor = float(degrees) if degrees > 0 else math.nan
        return _numerical._binary("/", total, _numerical._full((), divisor, False))
    return total / degrees if degrees > 0 else math.nan


def std(a, axis=None, *, correction=0.0, keepdims=False):
    """The square root of var."""
    variance = var(a, axis, correction=correction, keepdims=keepdims)
    return sqrt(variance) if isinstance(variance, Tensor) else math.sqrt(variance)


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
