"""Reading a DLPack capsule (https://dmlc.github.io/dlpack, the legacy record)."""

import ctypes

from ._memory import Lent, row_major_strides


class _DLTensor(ctypes.Structure):
    _fields_ = [
        ("data", ctypes.c_void_p),
        ("device_type", ctypes.c_int32),
        ("device_id", ctypes.c_int32),
        ("ndim", ctypes.c_int32),
        ("code", ctypes.c_uint8),
        ("bits", ctypes.c_uint8),
        ("lanes", ctypes.c_uint16),
        ("shape", ctypes.POINTER(ctypes.c_int64)),
        ("strides", ctypes.POINTER(ctypes.c_int64)),
        ("byte_offset", ctypes.c_uint64),
    ]


_KINDS = {0: "i", 1: "u", 2: "f", 5: "c", 6: "b"}

_pointer_of = ctypes.pythonapi.PyCapsule_GetPointer
_pointer_of.restype = ctypes.c_void_p
_pointer_of.argtypes = [ctypes.py_object, ctypes.c_char_p]


def described(capsule):
    """The capsule's memory under the array interface.

    The capsule stays the owner: it isn't renamed, so that its own destructor calls the deleter
    once the elements are copied and the description is dropped.
    """
    record = _DLTensor.from_address(_pointer_of(capsule, b"dltensor"))
    kind = _KINDS.get(record.code)
    if kind is None or record.lanes != 1:
        raise BufferError(
            f"from_dlpack reads plain numbers; this is type code {record.code},"
            f" {record.bits} bits, {record.lanes} lanes"
        )
    item = record.bits // 8
    shape = tuple(record.shape[: record.ndim])
    if record.strides:
        strides = tuple(stride * item for stride in record.strides[: record.ndim])
    else:
        strides = row_major_strides(shape, item)
    address = (record.data or 0) + record.byte_offset
    typestr = f"{'|' if item == 1 else '<'}{kind}{item}"
    return Lent(address, shape, typestr, strides, capsule)
