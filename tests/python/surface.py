"""What the tests of creation, indexing, arithmetic and reductions share: data and oracles."""

import ctypes
import struct

import numpy as np
from hypothesis import strategies as st

import _numerical

EXTENTS = (0, 1, 7, 8, 9, 127, 128, 129)
MOST_ELEMENTS = 20_000


@st.composite
def shapes(draw, most_axes=5):
    """Up to five axes with extents at and beside the limits of the loops, of a bearable size."""
    shape = []
    size = 1
    for _ in range(draw(st.integers(0, most_axes))):
        fitting = [extent for extent in EXTENTS if size * max(extent, 1) <= MOST_ELEMENTS]
        shape.append(draw(st.sampled_from(fitting)))
        size *= max(shape[-1], 1)
    return tuple(shape)


def array_of(shape, dtype, seed):
    """Numbers of all magnitudes in which any other order of summation shows."""
    generator = np.random.default_rng(seed)
    values = generator.standard_normal(shape) * 2.0 ** generator.integers(-30, 30, shape)
    if dtype == "complex128":
        values = values + 1j * generator.standard_normal(shape)
    return np.asarray(values, dtype)


def tensor(array):
    array = np.asarray(array)
    dtype = "complex128" if array.dtype == complex else "float64"
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def numbers(values):
    """A tensor of rank 1 from Python numbers."""
    values = list(values)
    kind = "complex128" if any(isinstance(value, complex) for value in values) else "float64"
    return _numerical.Tensor(values, (len(values),), kind)


def as_array(result):
    """A tensor or a bare number, by its own list: no other code of the module has a part in it."""
    if not isinstance(result, _numerical.Tensor):
        return np.asarray(result)
    return np.array(result.tolist(), result.dtype).reshape(result.shape)


def bits(value):
    """The bit patterns of a number's parts, every NaN being one."""
    parts = (value.real, value.imag) if isinstance(value, complex) else (value,)
    return tuple("nan" if part != part else struct.pack("<d", part) for part in parts)


def assert_same_bits(result, expected):
    found, wanted = as_array(result), np.asarray(expected)
    assert found.shape == wanted.shape
    assert found.dtype == wanted.dtype
    for x, y in zip(found.ravel().tolist(), wanted.ravel().tolist()):
        assert bits(x) == bits(y), (x, y)


class _Complex(ctypes.Structure):
    """Passed and returned in the registers of a C double _Complex."""

    _fields_ = [("real", ctypes.c_double), ("imag", ctypes.c_double)]


_gcc = ctypes.CDLL("libgcc_s.so.1")
_libm = ctypes.CDLL("libm.so.6")


def _four_doubles(name):
    function = getattr(_gcc, name)
    function.argtypes = [ctypes.c_double] * 4
    function.restype = _Complex

    def call(x, y):
        result = function(x.real, x.imag, y.real, y.imag)
        return complex(result.real, result.imag)

    return call


complex_product = _four_doubles("__muldc3")
complex_quotient = _four_doubles("__divdc3")


def real_function(name, arguments=1):
    """A function of the C library."""
    function = getattr(_libm, name)
    function.argtypes = [ctypes.c_double] * arguments
    function.restype = ctypes.c_double
    return function


def complex_function(name, arguments=1):
    function = getattr(_libm, name)
    function.argtypes = [_Complex] * arguments
    function.restype = _Complex

    def call(*values):
        result = function(*(_Complex(z.real, z.imag) for z in values))
        return complex(result.real, result.imag)

    return call
