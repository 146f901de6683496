"""Elements moved without arithmetic: buffers lent to the module, and tensors made from bytes.

The module copies whatever exposes the array interface. So a strided, reinterpreted or joined copy
is a description of memory handed to its asarray; nothing here touches an element.
"""

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


def address_of(tensor):
    """Where the tensor's elements lie."""
    return tensor.__array_interface__["data"][0]


def row_major_strides(shape, item):
    """Strides in bytes of a contiguous array."""
    strides = []
    for extent in reversed(shape):
        strides.append(item)
        item *= extent
    return tuple(reversed(strides))


def from_bytes(raw, shape, typestr):
    """A tensor from contiguous bytes, converted as asarray converts."""
    import ctypes

    address = ctypes.cast(ctypes.c_char_p(raw), ctypes.c_void_p).value
    return _import(Lent(address, tuple(shape), typestr, owner=raw))


STRING_LIMIT = 2**31  # ctypes.string_at takes the length as a C int and wraps larger ones


def to_bytes(tensor):
    """The elements in row-major order."""
    import ctypes

    count = tensor.size * ITEM_BYTES[tensor.dtype]
    if count < STRING_LIMIT:
        return ctypes.string_at(address_of(tensor), count)
    return bytes((ctypes.c_char * count).from_address(address_of(tensor)))


def rebuilt(raw, shape, dtype):
    """What a pickle calls: the tensor that to_bytes described."""
    if not raw:
        return Tensor([], shape, dtype)
    return from_bytes(raw, shape, TYPESTR[dtype])
