"""Reading a DLPack capsule (https://dmlc.github.io/dlpack, the record of version 1 or before)."""

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


class _Versioned(ctypes.Structure):
    _fields_ = [
        ("major", ctypes.c_uint32),
        ("minor", ctypes.c_uint32),
        ("manager_ctx", ctypes.c_void_p),
        ("deleter", ctypes.c_void_p),
        ("flags", ctypes.c_uint64),
        ("tensor", _DLTensor),
    ]


_KINDS = {0: "i", 1: "u", 2: "f", 5: "c", 6: "b"}

_pointer_of = ctypes.pythonapi.PyCapsule_GetPointer
_pointer_of.restype = ctypes.c_void_p
_pointer_of.argtypes = [ctypes.py_object, ctypes.c_char_p]


_has_name = ctypes.pythonapi.PyCapsule_IsValid
_has_name.restype = ctypes.c_int
_has_name.argtypes = [ctypes.py_object, ctypes.c_char_p]


def require_readable(device):
    """BufferError unless the CPU can read the device's memory."""
    if device[0] not in (1, 3):  # kDLCPU, kDLCUDAHost
        raise BufferError(f"from_dlpack reads the CPU's memory; this is device {tuple(device)}")


def _record_in(capsule):
    if not _has_name(capsule, b"dltensor_versioned"):
        return _DLTensor.from_address(_pointer_of(capsule, b"dltensor"))
    versioned = _Versioned.from_address(_pointer_of(capsule, b"dltensor_versioned"))
    if versioned.major != 1:
        raise BufferError(f"from_dlpack reads records of version 1, not {versioned.major}")
    return versioned.tensor


def described(capsule):
    """The capsule's memory under the array interface.

    The capsule stays the owner: it isn't renamed, so that its own destructor calls the deleter
    once the elements are copied and the description is dropped.
    """
    record = _record_in(capsule)
    require_readable((record.device_type, record.device_id))
    if record.ndim < 0:
        raise BufferError(f"a DLPack record has a rank of {record.ndim}")
    kind = _KINDS.get(record.code)
    if kind is None or record.lanes != 1 or record.bits % 8:
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
    address = record.data + record.byte_offset if record.data else 0
    typestr = f"{'|' if item == 1 else '<'}{kind}{item}"
    return Lent(address, shape, typestr, strides, capsule)
