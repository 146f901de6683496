"""Tensors read by others: the array interface and DLPack."""

import ctypes
import gc
import sys

import _numerical
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import error_of, not_under_address_sanitizer, numerical_error, output_of

pytestmark = pytest.mark.boundary

Tensor = _numerical.Tensor

SAMPLES = {
    "vector": Tensor([1, 2, 3]),
    "matrix": Tensor(range(6), (2, 3)),
    "complex": Tensor([1j, 2, 3 + 4j, 0], (2, 2), "complex128"),
    "rank 0": Tensor([7.0], ()),
    "rank 4": Tensor(range(24), (1, 2, 3, 4)),
    "empty": Tensor([], (0, 3)),
    "empty complex": Tensor([], (2, 0), "complex128"),
}
samples = pytest.mark.parametrize("tensor", SAMPLES.values(), ids=SAMPLES.keys())


class DLTensor(ctypes.Structure):
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


class DLManagedTensor(ctypes.Structure):
    pass


# The deleter needs the interpreter lock, so it is a PYFUNCTYPE.
DELETER = ctypes.PYFUNCTYPE(None, ctypes.POINTER(DLManagedTensor))
DLManagedTensor._fields_ = [
    ("tensor", DLTensor),
    ("manager_ctx", ctypes.c_void_p),
    ("deleter", DELETER),
]

api = ctypes.pythonapi
api.PyCapsule_GetPointer.restype = ctypes.POINTER(DLManagedTensor)
api.PyCapsule_GetPointer.argtypes = [ctypes.py_object, ctypes.c_char_p]
api.PyCapsule_SetName.argtypes = [ctypes.py_object, ctypes.c_char_p]
api.PyCapsule_IsValid.argtypes = [ctypes.py_object, ctypes.c_char_p]


def record_of(capsule):
    return api.PyCapsule_GetPointer(capsule, b"dltensor").contents


@samples
def test_the_array_interface_has_four_keys(tensor):
    interface = tensor.__array_interface__
    address, read_only = interface["data"]
    assert list(interface) == ["shape", "typestr", "data", "version"]
    assert interface["shape"] == tensor.shape
    assert interface["typestr"] == {"float64": "<f8", "complex128": "<c16"}[tensor.dtype]
    assert type(address) is int and address != 0
    assert read_only is True
    assert interface["version"] == 3


@samples
def test_numpy_reads_the_buffer_in_place(tensor):
    array = np.asarray(tensor)
    assert array.shape == tensor.shape
    assert array.dtype == tensor.dtype
    assert array.tolist() == tensor.tolist()
    assert not array.flags.writeable
    if tensor.size:
        assert array.__array_interface__["data"][0] == tensor.__array_interface__["data"][0]


def test_an_array_keeps_its_tensor_alive():
    tensor = Tensor(range(1000))
    references = sys.getrefcount(tensor)
    array = np.asarray(tensor)
    assert sys.getrefcount(tensor) > references
    del tensor
    gc.collect()
    assert array.tolist() == list(range(1000))


def test_each_reading_makes_a_new_dict():
    tensor = Tensor([1.0])
    first = tensor.__array_interface__
    first.clear()
    assert len(tensor.__array_interface__) == 4


def test_empty_tensors_share_one_address():
    empties = [
        Tensor([], shape, dtype)
        for shape in [(0,), (0, 3), (2, 0, 5)]
        for dtype in ["float64", "complex128"]
    ]
    addresses = {tensor.__array_interface__["data"][0] for tensor in empties}
    records = {record_of(capsule).tensor.data for capsule in [t.__dlpack__() for t in empties]}
    assert len(addresses) == 1 and addresses == records
    assert np.asarray(empties[2]).shape == (0, 3)


@samples
def test_the_dlpack_record(tensor):
    capsule = tensor.__dlpack__()
    record = record_of(capsule).tensor
    assert record.data == tensor.__array_interface__["data"][0]
    assert (record.device_type, record.device_id) == (1, 0)
    assert record.ndim == tensor.ndim
    kind = {"float64": (2, 64, 1), "complex128": (5, 128, 1)}[tensor.dtype]
    assert (record.code, record.bits, record.lanes) == kind
    assert tuple(record.shape[axis] for axis in range(record.ndim)) == tensor.shape
    assert not record.strides
    assert record.byte_offset == 0
    assert record_of(capsule).manager_ctx


@samples
def test_the_device_is_the_cpu(tensor):
    assert tensor.__dlpack_device__() == (1, 0)
    assert error_of(tensor.__dlpack_device__, 1) == (TypeError, "expected 0 argument(s), got 1")


@samples
def test_numpy_takes_dlpack(tensor):
    array = np.from_dlpack(tensor)
    assert (array.shape, array.dtype) == (tensor.shape, tensor.dtype)
    assert array.tolist() == tensor.tolist()


def test_numpy_gives_the_reference_back():
    tensor = Tensor([1.0, 2.0])
    references = sys.getrefcount(tensor)
    array = np.from_dlpack(tensor)
    view = array[1:]
    del array
    assert sys.getrefcount(tensor) == references + 1
    assert view.tolist() == [2.0]
    del view
    assert sys.getrefcount(tensor) == references


def test_arguments_are_accepted_in_any_form():
    tensor = Tensor([1.0])
    for capsule in [
        tensor.__dlpack__(stream=7),
        tensor.__dlpack__(1, 2, 3),
        tensor.__dlpack__(None, max_version=(1, 0), anything="goes"),
    ]:
        assert api.PyCapsule_IsValid(capsule, b"dltensor") == 1


def test_a_dropped_capsule_gives_its_reference_back():
    tensor = Tensor([1.0, 2.0])
    references = sys.getrefcount(tensor)
    capsules = [tensor.__dlpack__() for _ in range(100)]
    assert sys.getrefcount(tensor) == references + 100
    del capsules
    assert sys.getrefcount(tensor) == references


def test_a_capsule_keeps_its_tensor_alive():
    capsule = Tensor([5.0, 6.0]).__dlpack__()
    gc.collect()
    data = ctypes.cast(record_of(capsule).tensor.data, ctypes.POINTER(ctypes.c_double))
    assert (data[0], data[1]) == (5.0, 6.0)


def test_a_consumed_capsule_leaves_the_record_to_its_consumer():
    tensor = Tensor([1.0, 2.0])
    references = sys.getrefcount(tensor)
    capsule = tensor.__dlpack__()
    record = api.PyCapsule_GetPointer(capsule, b"dltensor")
    used = ctypes.create_string_buffer(b"used_dltensor")
    assert api.PyCapsule_SetName(capsule, used) == 0
    del capsule
    assert sys.getrefcount(tensor) == references + 1
    record.contents.deleter(record)
    assert sys.getrefcount(tensor) == references


def test_a_capsule_without_a_deleter_calls_none():
    tensor = Tensor([1.0])
    capsule = tensor.__dlpack__()
    record = api.PyCapsule_GetPointer(capsule, b"dltensor")
    deleter = DELETER.from_buffer_copy(record.contents.deleter)
    record.contents.deleter = DELETER()
    references = sys.getrefcount(tensor)
    kept = ctypes.cast(record, ctypes.c_void_p).value
    del capsule
    assert sys.getrefcount(tensor) == references
    deleter(ctypes.cast(kept, ctypes.POINTER(DLManagedTensor)))
    assert sys.getrefcount(tensor) == references - 1


@not_under_address_sanitizer("its shadow needs the whole address space")
def test_no_memory_for_the_extents_is_a_memory_error_and_keeps_no_reference():
    script = """
import ctypes, resource, sys
import _numerical as m
ctypes.CDLL(None).mallopt(-3, 1 << 20)  # blocks of 1 MiB and more come from the system each
rank = 4_000_000
tensor = m.Tensor([7.0], (1,) * rank)
references = sys.getrefcount(tensor)
with open("/proc/self/statm") as pages:
    used = int(pages.read().split()[0]) * resource.getpagesize()
everything = resource.getrlimit(resource.RLIMIT_AS)
for _ in range(100):
    resource.setrlimit(resource.RLIMIT_AS, (used + 8 * rank // 2, everything[1]))
    try:
        tensor.__dlpack__()
    except MemoryError:
        resource.setrlimit(resource.RLIMIT_AS, everything)
        assert sys.getrefcount(tensor) == references
        continue
    raise AssertionError("there was memory")
capsule = tensor.__dlpack__()
assert sys.getrefcount(tensor) == references + 1
del capsule
print(sys.getrefcount(tensor) - references, tensor.ndim)
"""
    assert output_of(script) == "0 4000000\n"


def test_both_exports_of_an_uninitialized_tensor():
    tensor = Tensor.__new__(Tensor)
    assert error_of(tensor.__dlpack__) == numerical_error("uninitialized numerical.Tensor")
    assert error_of(lambda: tensor.__array_interface__) == (
        TypeError,
        "uninitialized numerical.Tensor",
    )


@given(st.lists(st.integers(0, 4), max_size=6), st.booleans())
def test_there_and_back_keeps_shape_and_bits(shape, is_complex):
    array = np.random.default_rng(0).standard_normal(shape) * (1j if is_complex else 1.0)
    tensor = _numerical.asarray(array)
    for back in [np.asarray(tensor), np.from_dlpack(tensor)]:
        assert back.shape == tuple(shape)
        assert back.tobytes() == np.asarray(array).tobytes()
