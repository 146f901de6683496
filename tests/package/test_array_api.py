"""The array API 2025.12: dtypes, devices and the namespace of a library with two dtypes."""

import copy
import pickle

import numpy as np
import pytest

import numerical as nm

BOTH = [("float64", nm.float64), ("complex128", nm.complex128)]


@pytest.mark.parametrize(("name", "dtype"), BOTH)
def test_a_dtype_is_a_text_that_equals_numpys(name, dtype):
    assert isinstance(dtype, str) and dtype == name and name == dtype and repr(dtype) == repr(name)
    assert nm.ones(2, dtype).dtype is dtype
    numpys, scalar = np.dtype(name), getattr(np, name)
    for other in (numpys, scalar, np.ones(1, name).dtype, float if name == "float64" else complex):
        assert dtype == other and other == dtype
        assert not dtype != other and not other != dtype
    for other in (
        np.float32,
        np.dtype("float32"),
        np.int64,
        np.dtype(">f8"),
        "float32",
        int,
        str,
        None,
        8,
    ):
        assert dtype != other and other != dtype
    assert np.dtype(dtype) is numpys
    assert hash(dtype) == hash(name) and {dtype: 1}[name] == 1
    assert (dtype.kind, dtype.itemsize, dtype.name) == (numpys.kind, numpys.itemsize, name)
    assert type(dtype.name) is str


@pytest.mark.parametrize(("name", "dtype"), BOTH)
def test_a_dtype_stays_itself_in_copies_and_pickles(name, dtype):
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        assert pickle.loads(pickle.dumps(dtype, protocol)) is dtype
    assert copy.copy(dtype) is dtype and copy.deepcopy([dtype])[0] is dtype


def test_the_two_dtypes_differ():
    assert nm.float64 != nm.complex128 and not nm.float64 == nm.complex128


def test_a_tensor_leads_to_its_namespace():
    t = nm.ones(2)
    assert t.__array_namespace__() is nm
    for version in ("2022.12", "2024.12", nm.__array_api_version__):
        assert t.__array_namespace__(api_version=version) is nm
    assert nm.__array_api_version__ == "2025.12"
    with pytest.raises(
        ValueError, match=r"^api_version is one of 2021\.12, .*2025\.12, not '2020\.01'$"
    ):
        t.__array_namespace__(api_version="2020.01")


def test_the_namespace_tells_the_truth():
    info = nm.__array_namespace_info__()
    assert info.dtypes() == {"float64": nm.float64, "complex128": nm.complex128}
    assert info.dtypes(kind="real floating") == {"float64": nm.float64}
    assert info.dtypes(kind=("bool", "complex floating")) == {"complex128": nm.complex128}
    for kind in ("bool", "integral", "signed integer", "unsigned integer"):
        assert info.dtypes(kind=kind) == {}
    assert info.default_dtypes(device="cpu") == {
        "real floating": nm.zeros(1).dtype, "complex floating": nm.array([1j]).dtype,
    }  # fmt: skip
    assert info.default_device() == "cpu" and info.devices() == ["cpu"]
    can = info.capabilities()
    assert can == {"boolean indexing": True, "data-dependent shapes": True, "max dimensions": 64}
    t = nm.array([1.0, 2.0, 3.0])
    assert t[t > 1.5].shape == (2,)
    np.asarray(nm.ones((1,) * 32))  # what this NumPy can
    with pytest.raises(ValueError, match=r"^kind is a dtype or one of 'bool', .*, not 'text'$"):
        info.dtypes(kind="text")


def test_every_tensor_lies_on_the_cpu():
    t = nm.ones(2)
    assert t.device == "cpu"
    assert t.to_device("cpu") is t
    words = r"^device must be 'cpu', where every tensor lies, not 'gpu'$"
    for call in (
        lambda: t.to_device("gpu"),
        lambda: nm.astype(t, nm.float64, device="gpu"),
        lambda: nm.asarray(1.0, device="gpu"),
        lambda: nm.zeros(2, device="gpu"),
        lambda: nm.__array_namespace_info__().dtypes(device="gpu"),
    ):
        with pytest.raises(ValueError, match=words):
            call()
    with pytest.raises(ValueError, match=r"^the CPU has no streams: stream must be None, not 1$"):
        t.to_device("cpu", stream=1)


def test_creation_takes_the_device():
    for made in (
        nm.zeros(2, device="cpu"), nm.ones(2, device="cpu"), nm.empty(2, device="cpu"),
        nm.full(2, 1.0, device="cpu"), nm.eye(2, device="cpu"), nm.arange(2, device="cpu"),
        nm.linspace(0, 1, 2, device="cpu"), nm.zeros_like([1, 2], device="cpu"),
        nm.ones_like([1, 2], device="cpu"), nm.empty_like([1, 2], device="cpu"),
        nm.full_like([1, 2], 3, device="cpu"), nm.asarray([1, 2], device="cpu"),
        nm.from_dlpack(nm.ones(2), device="cpu"),
    ):  # fmt: skip
        assert made.shape[0] == 2


def test_asarray_copies_when_told():
    t = nm.ones(2)
    assert nm.asarray(t) is t and nm.asarray(t, copy=False) is t
    copied = nm.asarray(t, copy=True)
    assert copied is not t and nm.array_equal(copied, t)
    assert nm.asarray(t, dtype="complex128", copy=True).dtype == "complex128"
    for source in ([1.0], np.ones(2), 1.0):
        with pytest.raises(
            ValueError, match=r"^a Tensor owns its elements: .* can't be one without a copy"
        ):
            nm.asarray(source, copy=False)
    with pytest.raises(ValueError, match=r"^a Tensor owns its elements"):
        nm.asarray(t, "complex128", copy=False)


def test_astype_copies_unless_told_not_to():
    t = nm.ones(2)
    assert nm.astype(t, nm.float64, copy=False) is t
    copied = nm.astype(t, "float64")
    assert copied is not t and copied.tolist() == [1.0, 1.0]
    assert nm.astype(t, np.complex128).dtype == nm.complex128
    with pytest.raises(nm.error, match="discards the imaginary part"):
        nm.astype(nm.array([1j]), nm.float64)
    with pytest.raises(TypeError, match=r"^dtype must be 'float64' or 'complex128', not 'int64'$"):
        nm.astype(t, "int64")


def test_the_method_astype_gives_numpys_arrays_for_numpys_dtypes():
    t = nm.array([0.0, 2.0])
    for dtype in (np.bool_, np.dtype("bool"), np.int64, np.float32):
        made = t.astype(dtype)
        assert type(made) is np.ndarray and made.dtype == dtype and made.flags.writeable
        np.testing.assert_array_equal(made, np.array([0.0, 2.0]).astype(dtype))
    for dtype in ("float64", np.float64, np.dtype("float64"), float):
        assert t.astype(dtype) is t
    assert t.astype(np.complex128).dtype == "complex128"
    assert t.astype(nm.float64, copy=True) is not t


def test_can_cast():
    real, complex_ = nm.ones(1), nm.array([1j])
    for source, target, expected in (
        (nm.float64, nm.float64, True), (nm.float64, nm.complex128, True),
        (nm.complex128, nm.complex128, True), (nm.complex128, nm.float64, False),
        (real, "complex128", True), (complex_, np.float64, False), (np.float64, complex, True),
    ):  # fmt: skip
        assert nm.can_cast(source, target) is expected
    with pytest.raises(TypeError, match=r"^dtype must be 'float64' or 'complex128', not 'int8'$"):
        nm.can_cast("int8", nm.float64)


def test_result_type():
    real, complex_ = nm.ones(1), nm.array([1j])
    for operands in (
        (real,),
        (real, real),
        (real, 1),
        (nm.float64, True),
        (1.0,),
        (np.ones(2, int),),
    ):
        assert nm.result_type(*operands) is nm.float64
    for operands in (
        (complex_, real),
        (real, 1j),
        (real, "complex128"),
        (np.ones(2, "c8"), real),
        (complex,),
    ):
        assert nm.result_type(*operands) is nm.complex128
    with pytest.raises(
        ValueError, match=r"^result_type takes at least one tensor, dtype or number$"
    ):
        nm.result_type()
    with pytest.raises(
        TypeError, match=r"^dtype must be 'float64' or 'complex128', not numpy\.int64$"
    ):
        nm.result_type(real, np.int64)


def test_isdtype():
    for kind in (
        "real floating",
        "numeric",
        nm.float64,
        ("bool", "real floating"),
        (nm.complex128, "float64"),
    ):
        assert nm.isdtype(nm.float64, kind)
    for kind in (
        "bool",
        "integral",
        "signed integer",
        "unsigned integer",
        "complex floating",
        nm.complex128,
        (),
    ):
        assert not nm.isdtype(nm.float64, kind)
    assert nm.isdtype(nm.complex128, "complex floating") and nm.isdtype(np.complex128, "numeric")
    with pytest.raises(
        ValueError, match=r"^kind is a dtype or one of 'bool', .*, not 'float'$|not 'floats'$"
    ):
        nm.isdtype(nm.float64, "floats")


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_finfo_is_numpys(dtype):
    for given in (dtype, nm.zeros(1, dtype)):
        ours, theirs = nm.finfo(given), np.finfo(dtype)
        assert (ours.bits, ours.eps) == (theirs.bits, theirs.eps)
        assert (ours.max, ours.min) == (theirs.max, theirs.min)
        assert ours.smallest_normal == theirs.tiny and ours.dtype == "float64"
    assert type(nm.finfo(dtype).eps) is float


def test_iinfo_is_refused():
    words = (
        r"^there are no integer dtypes, so that iinfo has nothing to tell of 'int64'; finfo tells of"
        r" float64 and complex128$"
    )
    with pytest.raises(TypeError, match=words):
        nm.iinfo("int64")
