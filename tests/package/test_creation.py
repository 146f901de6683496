"""Tensors from Python data, buffers, other libraries and a few numbers."""

import array
import ctypes
import decimal
import fractions
import sys

import numpy as np
import pytest
from hypothesis import given

import numerical as nm
from numerical import _dlpack
from oracle import arrays, equal, examples, integers

pytestmark = pytest.mark.boundary


@examples(200)
@given(arrays(max_rank=4))
def test_nested_lists_come_in_as_numpy_reads_them(a):
    if 0 in a.shape[:-1]:
        return  # lists can't tell the extents behind an empty axis
    equal(nm.array(a.tolist(), a.dtype.name), a)


def test_the_dtype_follows_the_numbers():
    assert nm.array([1, 2]).dtype == "float64"
    assert nm.array([1, 2j]).dtype == "complex128"
    assert nm.array([True, fractions.Fraction(1, 2)]).tolist() == [1.0, 0.5]
    assert nm.array([1], complex).dtype == "complex128"
    assert nm.array([1], np.complex128).dtype == "complex128"
    assert nm.array(nm.ones(2), complex).dtype == "complex128"
    assert nm.array(np.float32(1.5)).tolist() == 1.5
    assert nm.array([np.float64(1.0), np.complex128(2j)]).dtype == "complex128"
    assert nm.array([nm.array([1.0, 2.0]), [3, 4]]).tolist() == [[1.0, 2.0], [3.0, 4.0]]
    assert nm.array(range(3)).tolist() == [0.0, 1.0, 2.0]


class Length(float):
    pass


class Phase(complex):
    pass


def test_foreign_numbers_keep_their_value_and_their_kind():
    half = fractions.Fraction(1, 2)
    for number in (Length(0.5), half, decimal.Decimal("0.5"), np.float32(0.5)):
        assert (nm.asarray(number).dtype, nm.asarray(number).tolist()) == ("float64", 0.5)
        assert nm.array([number, 1]).dtype == "float64"
        assert nm.array([number, 1]).tolist() == [0.5, 1.0]
        assert nm.full(2, number).tolist() == [0.5, 0.5]
    for number in (Phase(1 + 2j), np.complex64(1 + 2j), np.array(1 + 2j)):
        assert nm.asarray(number).tolist() == 1 + 2j
        assert nm.array([1, number]).tolist() == [1, 1 + 2j]
    for number in (Phase(1 + 2j), np.complex64(1 + 2j)):
        assert nm.full(2, number).tolist() == [1 + 2j, 1 + 2j]


def test_arrays_in_lists_are_rows():
    equal(nm.array([np.arange(2), [2, 3]]), [[0.0, 1.0], [2.0, 3.0]])
    equal(nm.array([[0, 1], np.array([2, 3j])]), np.array([[0, 1], [2, 3j]]))
    equal(nm.array([np.ones((2, 1)), nm.zeros((2, 1))]), [[[1.0], [1.0]], [[0.0], [0.0]]])
    with pytest.raises(ValueError, match=r"^the nested lists are ragged"):
        nm.array([np.arange(2), np.arange(3)])


def nested(depth):
    lists = 1.0
    for _ in range(depth):
        lists = [lists]
    return lists


def endless():
    itself = []
    itself.append(itself)
    return itself


def test_lists_may_be_nested_deeper_than_those_of_numpy():
    assert nm.array(nested(128)).shape == (1,) * 128


@pytest.mark.parametrize(
    ("data", "kind", "message"),
    [
        ([[1, 2], [3]], ValueError, "the nested lists are ragged: a row at depth 1 has 1 items, the first has 2"),
        ([[1], 2], ValueError, "the nested lists are ragged: some rows have numbers, some lists"),
        ([1, [2]], ValueError, "the nested lists are ragged: a row at depth 1 has 1 items, another is a number"),
        (["x"], TypeError, "str 'x' is not a number of dtype float64"),
        ([1.0, "2.0"], TypeError, "str '2.0' is not a number of dtype float64"),
        ([1j, "2j"], TypeError, "str '2j' is not a number of dtype complex128"),
        ([None], TypeError, "NoneType None is not a number of dtype float64"),
        (nested(129), ValueError, "the lists are nested more than 128 deep"),
        (endless(), ValueError, "the lists are nested more than 128 deep"),
    ],
)  # fmt: skip
def test_bad_lists_say_what_is_wrong(data, kind, message):
    with pytest.raises(kind) as failure:
        nm.array(data)
    assert str(failure.value) == message


def test_other_objects_and_dtypes_are_refused():
    with pytest.raises(TypeError, match=r"^cannot make a Tensor from object: give numbers"):
        nm.array(object())
    with pytest.raises(
        TypeError, match=r"^dtype must be 'float64' or 'complex128', not 'float32'$"
    ):
        nm.array([1], "float32")
    with pytest.raises(nm.error) as failure:
        nm.asarray(np.array([1j]), "float64")
    assert str(failure.value) == (
        "asarray: refusing to cast a complex array to float64 (discards the imaginary part)"
    )


@pytest.mark.parametrize("code", "bBhHiIlLqQfd")
def test_buffers_of_every_number_come_in(code):
    assert nm.array(array.array(code, [1, 2, 3])).tolist() == [1.0, 2.0, 3.0]
    assert nm.array(memoryview(array.array(code, [1, 2, 3, 4]))[::2]).tolist() == [1.0, 3.0]
    assert nm.array(b"\1\2").tolist() == [1.0, 2.0]


def test_what_turns_into_an_array_comes_in():
    class Table:
        def __array__(self):
            return np.array([[1, 2], [3, 4]], dtype="int32")

    equal(nm.asarray(Table()), [[1.0, 2.0], [3.0, 4.0]])
    assert nm.asarray(Table(), complex).dtype == "complex128"


def test_dlpack_comes_in_and_goes_out():
    a = integers((3, 4), "complex128")
    equal(nm.from_dlpack(a.T), a.T)
    equal(nm.from_dlpack(a[::2]), a[::2])
    equal(nm.from_dlpack(np.arange(3, dtype="int16")), [0.0, 1.0, 2.0])
    t = nm.asarray(a)
    taken = np.from_dlpack(t)
    del t
    equal(taken, a)


class Exporter:
    """A tensor's capsule with fields of its record changed."""

    def __init__(self, tensor, **fields):
        self._tensor, self._fields = tensor, fields

    def __dlpack__(self):
        capsule = self._tensor.__dlpack__()
        record = _dlpack._DLTensor.from_address(_dlpack._pointer_of(capsule, b"dltensor"))
        for name, value in self._fields.items():
            setattr(record, name, value)
        return capsule


def test_dlpack_records_of_others_are_read():
    t = nm.array([[1.0, 2.0], [3.0, 4.0]])
    equal(nm.from_dlpack(Exporter(t, byte_offset=8, ndim=1)), [2.0, 3.0])
    equal(nm.from_dlpack(Exporter(t, ndim=0)), 1.0)
    equal(nm.from_dlpack(np.array([1, 2**63], dtype="uint64")), [1.0, 2.0**63])
    # The bytes of 1.0 and -0.0 as truth values: code 6.
    equal(nm.from_dlpack(Exporter(nm.array([1.0, -0.0]), code=6, bits=8)), [0.0, 0.0])
    for fields in ({"lanes": 2}, {"code": 4, "bits": 16}, {"code": 3}):
        with pytest.raises(
            BufferError, match=r"^from_dlpack reads plain numbers; this is type code"
        ):
            nm.from_dlpack(Exporter(t, **fields))
    for bits in (10, 20, 65, 127):
        with pytest.raises(
            BufferError,
            match=rf"^from_dlpack reads plain numbers; this is type code 2, {bits} bits",
        ):
            nm.from_dlpack(Exporter(t, bits=bits))
    with pytest.raises(nm.error, match=r"^asarray: unsupported typestr"):
        nm.from_dlpack(Exporter(t, bits=16))
    with pytest.raises(BufferError, match=r"^a DLPack record has a rank of -1$"):
        nm.from_dlpack(Exporter(t, ndim=-1))
    for device in (2, 10, 16):
        with pytest.raises(
            BufferError,
            match=rf"^from_dlpack reads the CPU's memory; this is device \({device}, 0\)$",
        ):
            nm.from_dlpack(Exporter(t, device_type=device))
    equal(nm.from_dlpack(Exporter(t, device_type=3)), t)
    with pytest.raises(nm.error, match=r"^asarray: __array_interface__ gives a null data address$"):
        nm.from_dlpack(Exporter(t, data=None, byte_offset=8))


class VersionedExporter:
    """A tensor's capsule of version 1 with fields of its record changed."""

    def __init__(self, tensor, **fields):
        self._tensor, self._fields = tensor, fields

    def __dlpack__(self, *, max_version):
        capsule = self._tensor.__dlpack__(max_version=max_version)
        for name, value in self._fields.items():
            setattr(versioned(capsule), name, value)
        return capsule


def versioned(capsule):
    return _dlpack._Versioned.from_address(_dlpack._pointer_of(capsule, b"dltensor_versioned"))


def test_dlpack_records_of_version_1_are_read():
    a = integers((2, 3), "complex128")
    t = nm.asarray(a)
    references = sys.getrefcount(t)
    equal(nm.from_dlpack(VersionedExporter(t)), a)
    equal(nm.from_dlpack(VersionedExporter(t, minor=7, flags=0)), a)
    with pytest.raises(BufferError, match=r"^from_dlpack reads records of version 1, not 2$"):
        nm.from_dlpack(VersionedExporter(t, major=2))
    assert sys.getrefcount(t) == references


READ_ONLY, IS_COPIED = 1, 2


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
@pytest.mark.parametrize("version", [(1, 0), (1, 1), (2, 0)])
def test_dlpack_of_version_1_lends_the_buffer_read_only(dtype, version):
    t = nm.asarray(integers((2, 3), dtype))
    references = sys.getrefcount(t)
    for copy in (None, False):
        capsule = t.__dlpack__(max_version=version, copy=copy)
        record = versioned(capsule)
        assert (record.major, record.minor, record.flags) == (1, 0, READ_ONLY)
        lent = record.tensor
        assert lent.data == t.__array_interface__["data"][0]
        assert (lent.device_type, lent.device_id, lent.ndim, lent.lanes) == (1, 0, 2, 1)
        assert (lent.code, lent.bits) == ((2, 64) if dtype == "float64" else (5, 128))
        assert (lent.shape[:2], bool(lent.strides), lent.byte_offset) == ([2, 3], False, 0)
        assert sys.getrefcount(t) == references + 1
        del capsule
        assert sys.getrefcount(t) == references


def test_a_consumer_of_version_1_deletes_what_it_took_over():
    t = nm.ones((2, 3))
    references = sys.getrefcount(t)
    capsule = t.__dlpack__(max_version=(1, 0))
    record = versioned(capsule)
    ctypes.pythonapi.PyCapsule_SetName(ctypes.py_object(capsule), b"used_dltensor_versioned")
    del capsule
    assert sys.getrefcount(t) == references + 1
    ctypes.PYFUNCTYPE(None, ctypes.c_void_p)(record.deleter)(ctypes.addressof(record))
    assert sys.getrefcount(t) == references


def test_what_a_consumer_may_write_to_is_a_copy():
    t = nm.asarray(integers((2, 3)))
    before = t.tolist()
    references = sys.getrefcount(t)
    capsules = [
        t.__dlpack__(),
        t.__dlpack__(copy=True),
        t.__dlpack__(max_version=(0, 8)),
        t.__dlpack__(stream=None),
    ]
    records = [
        _dlpack._DLTensor.from_address(_dlpack._pointer_of(each, b"dltensor")) for each in capsules
    ]
    capsules.append(t.__dlpack__(max_version=(1, 0), copy=True))
    assert versioned(capsules[-1]).flags == IS_COPIED
    records.append(versioned(capsules[-1]).tensor)
    assert sys.getrefcount(t) == references
    for record in records:
        assert record.shape[:2] == [2, 3]
        elements = (ctypes.c_double * 6).from_address(record.data)
        assert list(elements) == sum(before, [])
        elements[0] = 99.0
    assert t.tolist() == before
    for version in (None, (0, 8)):
        with pytest.raises(BufferError) as failure:
            t.__dlpack__(copy=False, max_version=version)
        assert str(failure.value) == (
            "a Tensor is immutable: without a copy it is lent read-only, to consumers that pass"
            " max_version=(1, 0) or later"
        )


def test_dlpack_copies_when_asked_and_refuses_other_devices():
    t = nm.ones(3)
    first = nm.from_dlpack(t)
    equal(first, np.ones(3))
    capsules = [t.__dlpack__(), t.__dlpack__(stream=7), t.__dlpack__(1, 2, 3)]
    capsules += [t.__dlpack__(copy=True), t.__dlpack__(dl_device=(1, 0), max_version=(1, 0))]
    assert len(capsules) == 5
    with pytest.raises(
        BufferError, match=r"^a Tensor lies on the CPU, device \(1, 0\), not on \(2, 0\)$"
    ):
        t.__dlpack__(dl_device=(2, 0))

    class elsewhere:
        def __dlpack_device__(self):
            return (2, 1)

    with pytest.raises(BufferError, match=r"^from_dlpack reads the CPU's memory"):
        nm.from_dlpack(elsewhere())
    with pytest.raises(TypeError, match=r"^object exports no __dlpack__$"):
        nm.from_dlpack(object())


def test_fills_have_the_shape_and_the_dtype_asked_for():
    equal(nm.zeros((2, 3)), np.zeros((2, 3)))
    equal(nm.zeros((0, 3)), np.zeros((0, 3)))
    equal(nm.ones(2, "complex128"), np.ones(2, complex))
    equal(nm.full((2,), 1j), np.full(2, 1j))
    equal(nm.empty(()), np.zeros(()))
    like = nm.ones((2, 2), complex)
    assert nm.zeros_like(like).dtype == "complex128"
    equal(nm.full_like(like, 2, "float64"), np.full((2, 2), 2.0))
    equal(nm.ones_like([1, 2]), np.ones(2))
    equal(nm.empty_like([1, 2]), np.zeros(2))
    for refused in ((2, -1), -1):
        with pytest.raises(ValueError, match=r"^negative dimensions are not allowed$"):
            nm.zeros(refused)
    with pytest.raises(
        TypeError, match=r"^shape must be an int or a sequence of ints, not of float$"
    ):
        nm.zeros((2.0,))


@pytest.mark.parametrize("k", [-3, -1, 0, 1, 4])
@pytest.mark.parametrize("shape", [(3, 3), (2, 4), (4, 2)])
def test_diagonals_and_triangles_are_numpys(shape, k):
    a = integers(shape)
    equal(nm.eye(*shape, k=k), np.eye(*shape, k=k))
    equal(nm.tri(*shape, k), np.tri(*shape, k))
    equal(nm.tril(a, k), np.tril(a, k))
    equal(nm.triu(a, k), np.triu(a, k))
    equal(nm.diag(a, k), np.diag(a, k))
    equal(nm.diag([1.0, 2.0], k), np.diag([1.0, 2.0], k))
    for name in ("tril", "triu", "diag", "diagonal"):
        equal(getattr(nm, name)(a), getattr(np, name)(a))
    equal(nm.tri(*shape), np.tri(*shape))
    equal(nm.diagonal(a, offset=k), np.diagonal(a, offset=k))


@pytest.mark.parametrize("make", [nm.eye, nm.tri])
def test_rows_and_columns_are_checked_and_no_dtype_is_float64(make):
    assert make(2, 3, dtype=None).dtype == "float64"
    for shape in ((-1, 3), (3, -1)):
        with pytest.raises(ValueError, match=r"^negative dimensions are not allowed$"):
            make(*shape)


@pytest.mark.parametrize(
    "shape", [(2, 3, 4), (2, 1, 3, 2), (0, 2, 2), (2, 0, 3), (2, 3, 0), (2, 0, 0)]
)
def test_triangles_of_stacks_are_numpys(shape):
    a = integers(shape, "complex128")
    for k in (-1, 0, 2):
        equal(nm.tril(a, k), np.tril(a, k))
        equal(nm.triu(a, k), np.triu(a, k))
    with pytest.raises(ValueError, match=r"^matrices are wanted, not a tensor of rank 1$"):
        nm.tril([1.0, 2.0])


def test_triangles_clear_nan():
    assert nm.tril([[1.0, float("nan")], [2.0, 3.0]]).tolist() == [[1.0, 0.0], [2.0, 3.0]]


def test_sequences_are_numpys():
    equal(nm.arange(5), np.arange(5.0))
    equal(nm.arange(1, 2, 0.25), np.arange(1, 2, 0.25))
    equal(nm.linspace(0, 1, 5), np.linspace(0, 1, 5))
    for start, stop, count in (
        (0, 1, 4),
        (0.1, 0.7, 3),
        (-3.7, 1, 29),
        (2, 2, 3),
        (5, -5, 1),
        (1, 2, 0),
    ):
        for endpoint in (True, False):
            equal(
                nm.linspace(start, stop, count, endpoint), np.linspace(start, stop, count, endpoint)
            )
    with pytest.raises(ValueError, match=r"^linspace: the number of samples must be non-negative$"):
        nm.linspace(0, 1, -1)
    with pytest.raises(ValueError, match=r"^linspace: the number of samples must be non-negative$"):
        nm.linspace(0, 1, -1, endpoint=False)
