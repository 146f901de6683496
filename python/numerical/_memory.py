"""Elements moved without arithmetic: buffers lent to the module, and tensors made from bytes.

The module copies whatever exposes the array interface. So a strided, reinterpreted or joined copy
is a description of memory handed to its asarray; nothing here touches an element.
"""

from math import prod
from operator import index

from ._native_module import native
from ._numerical import Tensor
from ._numerical import asarray as _import

ITEM_BYTES = {"float64": 8, "complex128": 16}
TYPESTR = {"float64": "<f8", "complex128": "<c16"}


class Lent:
    """Memory described by the array interface, kept alive by `owner`. Strides are in bytes."""

    __slots__ = ("__array_interface__", "owner")

    def __init__(self, address, shape, typestr, strides=None, owner=None):
        self.owner = owner
        self.__array_interface__ = {
            "version": 3,
            "data": (address, True),
            "shape": shape,
            "typestr": typestr,
            "strides": strides,
        }


def of_module(name):
    """The original attribute of the module's class where the package has replaced it.

    It is kept with the class, as this may be asked again when the package's is there already: after
    importlib.reload, or by a second copy of the package.
    """
    kept = f"_module{name}"
    if kept not in vars(Tensor):
        setattr(Tensor, kept, vars(Tensor)[name])
    return vars(Tensor)[kept]


_interface_of = of_module("__array_interface__").__get__


def address_of(tensor):
    """The address of the tensor's elements."""
    return _interface_of(tensor)["data"][0]


RANK_LIMIT = 64  # of NumPy 2; earlier ones refuse less themselves


def array_interface(t):
    """The buffer for NumPy and others, which read 64 axes at most: NumPy writes beyond its stack
    where it is given more than some."""
    if t.ndim > RANK_LIMIT:
        raise ValueError(
            f"arrays of other libraries have at most {RANK_LIMIT} axes, this tensor has {t.ndim}:"
            " reshape it first"
        )
    return _interface_of(t)


def row_major_strides(shape, item):
    """Strides in bytes of a contiguous array."""
    strides = []
    for extent in reversed(shape):
        strides.append(item)
        item *= extent
    return tuple(reversed(strides))


def from_bytes(raw, shape, typestr):
    """A tensor from bytes, or a contiguous buffer of them, converted as asarray converts."""
    if not isinstance(raw, bytes):
        raw = memoryview(raw).cast("B")
    if len(raw) != prod(shape) * int(typestr[2:]):
        raise ValueError(
            f"{len(raw)} bytes are no array of shape {tuple(shape)} and type {typestr}"
        )
    address, owner = _located(raw)
    return _import(Lent(address, tuple(shape), typestr, owner=owner))


def _located(raw):
    """The address of bytes or a buffer, and the object that keeps them alive.

    ctypes shows the address of a buffer that may be written to; of another the bytes are copied.
    """
    import ctypes

    if not isinstance(raw, bytes) and not raw.readonly and len(raw):
        block = (ctypes.c_char * len(raw)).from_buffer(raw)
        return ctypes.addressof(block), block
    raw = bytes(raw)
    return ctypes.cast(ctypes.c_char_p(raw), ctypes.c_void_p).value, raw


STRING_LIMIT = 2**31  # ctypes.string_at takes the length as a C int and wraps larger ones


def bytes_held(tensor):
    """The object and its elements, which a mask keeps as booleans until its numbers are needed."""
    return object.__sizeof__(tensor) + native.bytes_held(tensor)


def to_bytes(tensor):
    """The elements in row-major order."""
    import ctypes

    count = tensor.size * ITEM_BYTES[tensor.dtype]
    if count < STRING_LIMIT:
        return ctypes.string_at(address_of(tensor), count)
    return bytes((ctypes.c_char * count).from_address(address_of(tensor)))


def lent_bytes(tensor):
    """A read-only memoryview of the elements in row-major order, which keeps the tensor alive."""
    import ctypes

    count = tensor.size * ITEM_BYTES[tensor.dtype]
    if not count:
        return memoryview(b"")
    block = (ctypes.c_char * count).from_address(address_of(tensor))
    block.owner = tensor
    return memoryview(block).cast("B").toreadonly()


def rebuilt(raw, shape, dtype):
    """Called by a pickle: the tensor of these bytes, or of an out-of-band buffer."""
    return from_bytes(raw, tuple(map(index, shape)), TYPESTR[dtype])
