"""asarray: what it reads, what it refuses, and with which words."""

import ctypes
import math

import _numerical
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp
from support import error_of, examples, numerical_error, output_of

pytestmark = pytest.mark.boundary

asarray = _numerical.asarray
Tensor = _numerical.Tensor

BAD_DTYPE = numerical_error("asarray: dtype must be 'float64' or 'complex128'")
COMPLEX_ARRAY = numerical_error(
    "asarray: refusing to cast a complex array to float64 (discards the imaginary part)"
)
COMPLEX_TENSOR = numerical_error(
    "asarray: refusing to cast complex128 to float64 (discards the imaginary part)"
)
NO_INTERFACE = numerical_error("asarray: object exposes no __array_interface__")
NOT_A_DICT = numerical_error("asarray: __array_interface__ is not a dict")
MALFORMED = numerical_error("asarray: malformed __array_interface__")
UNSUPPORTED = numerical_error(
    "asarray: unsupported typestr (bool, integers, float32/64 and " "complex64/128 are read)"
)
OVERFLOW = numerical_error("asarray: the shape's element count overflows")
NULL_ADDRESS = numerical_error("asarray: __array_interface__ gives a null data address")
PRODUCT = numerical_error("dimension product overflows std::size_t")
LENGTHS = numerical_error("asarray: strides and shape differ in length")
NEGATIVE = numerical_error("shape extents must be non-negative")


class Exposes:
    """An object with this dictionary as its array interface."""

    def __init__(self, interface):
        self.__array_interface__ = interface


def interface_of(array, **changes):
    interface = dict(array.__array_interface__, **changes)
    return Exposes({key: value for key, value in interface.items() if value is not ...})


# --- tensors and numbers -------------------------------------------------------------------------

REAL = Tensor([1.0, -0.0, 3.0], (3, 1))
COMPLEX = Tensor([1j, 2.0], dtype="complex128")


def test_a_tensor_of_the_right_dtype_is_returned_itself():
    for given_dtype in [(), (None,), ("float64",)]:
        assert asarray(REAL, *given_dtype) is REAL
    for given_dtype in [(), (None,), ("complex128",)]:
        assert asarray(COMPLEX, *given_dtype) is COMPLEX
    assert asarray(obj=REAL, dtype=None) is REAL


def test_a_real_tensor_widens():
    wide = asarray(REAL, dtype="complex128")
    assert (wide.shape, wide.dtype) == ((3, 1), "complex128")
    values = [row[0] for row in wide.tolist()]
    assert values == [1, 0, 3]
    assert math.copysign(1, values[1].real) == -1
    assert all(math.copysign(1, z.imag) == 1 for z in values)


def test_a_complex_tensor_is_not_narrowed():
    assert error_of(asarray, COMPLEX, "float64") == COMPLEX_TENSOR


def test_an_uninitialized_tensor():
    expected = numerical_error("uninitialized numerical.Tensor")
    assert error_of(asarray, Tensor.__new__(Tensor)) == expected


@pytest.mark.parametrize(
    "number, value",
    [
        (1, 1.0),
        (True, 1.0),
        (False, 0.0),
        (2.5, 2.5),
        (-0.0, -0.0),
        (2**53 + 1, 2.0**53),
        (math.inf, math.inf),
        (-1, -1.0),
        (-1.0, -1.0),
    ],
)
def test_real_numbers(number, value):
    tensor = asarray(number)
    assert (tensor.shape, tensor.dtype) == ((), "float64")
    assert tensor.tolist().hex() == value.hex()
    assert asarray(number, "float64").tolist() == value
    wide = asarray(number, "complex128")
    assert (wide.shape, wide.dtype, wide.tolist()) == ((), "complex128", complex(value))


def test_complex_numbers():
    tensor = asarray(1j)
    assert (tensor.shape, tensor.dtype, tensor.tolist()) == ((), "complex128", 1j)
    assert asarray(-1 - 1j, "complex128").tolist() == -1 - 1j
    assert error_of(asarray, 1j, "float64") == COMPLEX_ARRAY


def test_an_int_subclass_is_a_number_and_a_float_subclass_is_not():
    class Whole(int):
        pass

    class Decimal(float):
        pass

    assert asarray(Whole(3)).tolist() == 3.0
    assert error_of(asarray, Decimal(3.0)) == NO_INTERFACE


def test_an_int_beyond_all_doubles_keeps_python_s_error():
    assert error_of(asarray, 10**400) == (OverflowError, "int too large to convert to float")


@pytest.mark.parametrize("dtype", ["float32", "", "Float64", "float64 ", "complex", "<f8"])
def test_dtypes_but_two_are_refused_before_the_object_is_looked_at(dtype):
    assert error_of(asarray, object(), dtype) == BAD_DTYPE
    assert error_of(asarray, REAL, dtype=dtype) == BAD_DTYPE


def test_arguments_that_do_not_parse():
    assert error_of(asarray)[0] is TypeError
    assert error_of(asarray, 1, 2)[0] is TypeError
    assert error_of(asarray, 1, dtyp="float64")[0] is TypeError
    assert error_of(asarray, 1, "float64", 3)[0] is TypeError
    assert error_of(asarray, 1, "float64\0") == (ValueError, "embedded null character")


@pytest.mark.parametrize("thing", [[1, 2], (1.0,), "text", None, b"bytes", range(3), object()])
def test_what_offers_no_protocol(thing):
    assert error_of(asarray, thing) == NO_INTERFACE


def test_an_attribute_that_fails_otherwise_keeps_its_error():
    class Struct:
        @property
        def __array_struct__(self):
            raise RuntimeError("lies on another device")

    class Interface:
        @property
        def __array_interface__(self):
            raise RuntimeError("lies on another device")

    expected = RuntimeError, "lies on another device"
    assert error_of(asarray, Struct()) == expected
    assert error_of(asarray, Interface()) == expected


# --- arrays of NumPy -----------------------------------------------------------------------------

READABLE = [
    "?",
    "i1",
    "u1",
    *(
        order + kind
        for order in "<>"
        for kind in ["i2", "i4", "i8", "u2", "u4", "u8", "f4", "f8", "c8", "c16"]
    ),
]


def assert_same(tensor, array, dtype):
    assert tensor.shape == array.shape
    assert tensor.dtype == dtype
    np.testing.assert_array_equal(np.asarray(tensor), array.astype(dtype))


def assert_arrives(array):
    dtype = "complex128" if array.dtype.kind == "c" else "float64"
    for source in [array, interface_of(array)]:
        assert_same(asarray(source), array, dtype)
        assert_same(asarray(source, "complex128"), array, "complex128")
        if dtype == "complex128":
            assert error_of(asarray, source, "float64") == COMPLEX_ARRAY
        else:
            assert_same(asarray(source, "float64"), array, dtype)


@st.composite
def strided_arrays(draw):
    """Arrays of any readable type, sliced, reversed, transposed and broadcast."""
    dtype = np.dtype(draw(st.sampled_from(READABLE)))
    shape = draw(hnp.array_shapes(min_dims=0, max_dims=5, min_side=0, max_side=9))
    seed = draw(st.integers(0, 2**32 - 1))
    size = math.prod(shape) * dtype.itemsize
    raw = np.random.default_rng(seed).integers(0, 256, size, dtype="u1")
    if dtype.kind == "b":
        raw %= 2
    array = raw.view(dtype).reshape(shape)
    if dtype.kind in "fc" and array.size:
        array = np.nan_to_num(array).astype(dtype)
    steps = [slice(None, None, draw(st.sampled_from([1, 2, 3, -1, -2]))) for _ in shape]
    array = array[tuple(steps)].transpose(draw(st.permutations(range(len(shape)))))
    if draw(st.booleans()):
        array = np.broadcast_to(array, (draw(st.integers(0, 3)), *array.shape))
    return array


@examples(400)
@given(strided_arrays())
def test_arrays_of_every_type_and_layout_arrive_as_numpy_converts_them(array):
    assert_arrives(array)


@pytest.mark.parametrize("dtype", READABLE)
@pytest.mark.parametrize("shape", [(4095,), (4096,), (64, 64), (300, 17), (7, 8, 300)])
def test_layouts_large_enough_for_tiles_and_the_released_lock(shape, dtype):
    numbers = np.random.default_rng(1).integers(-100, 100, shape)
    array = (numbers * (1 + 2j) if dtype[-2:] in ("c8", "16") else numbers).astype(dtype)
    for view in [array, array.T, array[::-1], array.T[::2, ...], np.asfortranarray(array)]:
        assert_arrives(view)


@pytest.mark.parametrize("dtype", ["u1", "<f4", "<f8", ">f8", "<c8", "<c16", ">c16"])
@pytest.mark.parametrize("offset", [0, 1, 8, 16, 40])
def test_transposed_arrays_of_every_remainder_of_the_tiles(dtype, offset):
    numbers = np.random.default_rng(1).integers(-100, 100, 21 * 41)
    numbers = (numbers * (1 + 2j) if "c" in dtype else numbers).astype(dtype)
    raw = np.empty(numbers.nbytes + offset, dtype="u1")
    raw[offset:] = numbers.view("u1")
    whole = np.ndarray((41, 21), dtype, raw, offset)
    for rows in range(1, 22):
        for cols in (*range(1, 10), 16, 17, 31, 32, 33, 41):
            view = whole[:cols, :rows].T
            expected = view.astype(complex if "c" in dtype else float)
            assert (np.asarray(asarray(view)) == expected).all()
            if "c" not in dtype:
                assert (np.asarray(asarray(view, "complex128")) == expected).all()


def test_64_bit_integers_round_to_nearest():
    values = [2**53 + 1, 2**53 + 3, 2**63 - 1, 2**63 - 513, 2**62 + 1]
    signed = np.array(values + [-v for v in values] + [-(2**63)])
    unsigned = np.array(values + [2**64 - 1, 2**64 - 1025, 2**63 + 1], dtype="u8")
    for array in [signed, unsigned, signed.astype(">i8"), unsigned.astype(">u8")]:
        assert asarray(array).tolist() == [float(int(x)) for x in array]


def test_any_byte_but_zero_is_true():
    array = np.array([0, 1, 2, 128, 255], dtype="u1").view("?")
    assert asarray(array).tolist() == [0.0, 1.0, 1.0, 1.0, 1.0]


def test_bits_of_doubles_arrive_unchanged():
    special = np.array([0x7FF8000000000123, 0xFFF0000000000000, 0x8000000000000000, 1], dtype="u8")
    for array in [special.view("f8"), special.byteswap().view(">f8"), special.view("c16")]:
        out = np.asarray(asarray(array))
        assert out.view("u8").tolist() == special.tolist()


def test_negative_strides_of_a_float32_array():
    array = np.arange(6, dtype="f4").reshape(2, 3)[:, ::-1]
    tensor = asarray(array)
    assert tensor.dtype == "float64"
    assert tensor.tolist() == [[2.0, 1.0, 0.0], [5.0, 4.0, 3.0]]


def test_unaligned_items():
    record = np.zeros(5, dtype=[("pad", "u1"), ("x", "<f8"), ("z", "<c16"), ("n", ">i4")])
    record["x"] = [1, 2, 3, 4, 5]
    record["z"] = [1j, 2, 3, 4, 5j]
    record["n"] = [1, -2, 3, -4, 5]
    for field in "xzn":
        assert_arrives(record[field])


def test_rank_zero_arrays_and_scalars_of_numpy():
    assert asarray(np.array(3.5)).shape == ()
    for scalar in [np.float32(1.5), np.float64(1.5), np.int8(-3), np.bool_(True)]:
        assert asarray(scalar).tolist() == float(scalar)
    assert asarray(np.complex64(1 + 2j)).tolist() == 1 + 2j


@pytest.mark.parametrize(
    "dtype",
    ["U3", "S4", "O", "M8[s]", "m8[s]", "f2", "longdouble", "clongdouble", "V3", [("a", "f8")]],
)
def test_arrays_of_other_types(dtype):
    array = np.zeros(3, dtype=dtype)
    assert error_of(asarray, array) == UNSUPPORTED
    assert error_of(asarray, interface_of(array)) == UNSUPPORTED


def test_the_copy_is_independent():
    array = np.zeros(5000)
    tensor = asarray(array)
    array[:] = 1
    assert not np.asarray(tensor).any()


# --- the array interface by hand -----------------------------------------------------------------

NUMBERS = np.arange(6.0)
BYTES = np.zeros(256, dtype="u1")


@pytest.mark.parametrize(
    "typestr",
    ["|u1", "|i1", "|b1", "<b1", "=b1", ">b1", ">u1", "=i1", "=f8", "<f08", "=c16", ">c8", "<i2"],
)
def test_type_strings_that_are_read(typestr):
    assert asarray(interface_of(BYTES, typestr=typestr, shape=(3,))).tolist() == [0, 0, 0]


@pytest.mark.parametrize(
    "typestr",
    [
        "|f8",
        "|i4",
        "|u2",
        "|c16",
        ">b2",
        "<b2",
        "|b2",
        "<f2",
        "<f16",
        "<f1",
        "<i3",
        "<u16",
        "<c4",
        "<c32",
        "<c1",
        "<U1",
        "|S1",
        "|O8",
        "<M8",
        "f8",
        "<f",
        "",
        "<",
        "<f8 ",
        "<fx",
        "<f+8",
        "<f-8",
        "!f8",
        "<<f8",
        "<f008",
        "<f\u0668",
        "<F8",
        "\0f8",
        "<f8\0",
        "<i0",
        "<i00",
    ],
)
def test_type_strings_that_are_refused(typestr):
    assert error_of(asarray, interface_of(BYTES, typestr=typestr, shape=(3,))) == UNSUPPORTED


@examples(500)
@given(st.text(alphabet="<=>|biufcSUV0123468 \0x", max_size=5))
def test_any_type_string_is_read_as_numpy_reads_it_or_refused(typestr):
    source = interface_of(BYTES, typestr=typestr, shape=(0,))
    order, kind, size = typestr[:1], typestr[1:2], typestr[2:]
    sizes = {"b": [1], "i": [1, 2, 4, 8], "u": [1, 2, 4, 8], "f": [4, 8], "c": [8, 16]}
    digits = size.isdigit() and len(size) <= 2
    if (
        digits
        and int(size) in sizes.get(kind, [])
        and (order in ("<", "=", ">") or (order == "|" and int(size) == 1))
    ):
        assert asarray(source).shape == (0,)
    else:
        assert error_of(asarray, source) == UNSUPPORTED


def test_a_complex_type_string_widens_without_a_dtype():
    array = np.array([1j, 2], dtype="<c8")
    assert asarray(interface_of(array)).dtype == "complex128"


def test_a_missing_key_is_malformed():
    for key in ["typestr", "shape", "data"]:
        assert error_of(asarray, interface_of(NUMBERS, **{key: ...})) == MALFORMED
    assert error_of(asarray, Exposes({})) == MALFORMED


@pytest.mark.parametrize("data", [(), [1, True], 1, None, "data"])
def test_data_that_is_no_tuple_of_an_address_is_malformed(data):
    assert error_of(asarray, interface_of(NUMBERS, data=data)) == MALFORMED


@pytest.mark.parametrize("interface", [3, None, [], "dict", [("typestr", "<f8")]])
def test_an_interface_that_is_no_dict(interface):
    assert error_of(asarray, Exposes(interface)) == NOT_A_DICT


def test_a_dict_subclass_will_do():
    class Settings(dict):
        pass

    assert asarray(Exposes(Settings(NUMBERS.__array_interface__))).tolist() == NUMBERS.tolist()


def test_other_keys_and_the_flags_are_not_looked_at():
    address = NUMBERS.__array_interface__["data"][0]
    plain = Exposes({"typestr": "<f8", "shape": [2, 3], "data": (address,)})
    assert asarray(plain).tolist() == [[0, 1, 2], [3, 4, 5]]
    odd = interface_of(NUMBERS, version="no number", descr=7, mask=object())
    assert asarray(odd).tolist() == NUMBERS.tolist()


def test_faults_are_reported_in_the_order_of_their_checks():
    bad = {"typestr": 8, "shape": (-1,), "strides": (1, 2), "data": ("address",)}
    steps = [
        ((TypeError, "bad argument type for built-in operation"), {"typestr": "<f7"}),
        (UNSUPPORTED, {"typestr": "<f8"}),
        (NEGATIVE, {"shape": (2**62,)}),
        (OVERFLOW, {"shape": (3,)}),
        (LENGTHS, {"strides": ("x",)}),
        ((TypeError, "an integer is required"), {"strides": (8,)}),
        ((TypeError, "an integer is required"), {"data": (0, True)}),
        (NULL_ADDRESS, {"data": NUMBERS.__array_interface__["data"]}),
    ]
    for expected, cure in steps:
        assert error_of(asarray, Exposes(bad)) == expected
        bad.update(cure)
    assert asarray(Exposes(bad)).tolist() == [0, 1, 2]


def test_a_complex_array_is_refused_before_its_shape_is_read():
    source = interface_of(NUMBERS, typestr="<c16", shape=(-1,))
    assert error_of(asarray, source, "float64") == COMPLEX_ARRAY


@pytest.mark.parametrize(
    "shape, expected",
    [
        ((-1,), NEGATIVE),
        ((3, -2), NEGATIVE),
        ((2**62,), OVERFLOW),
        ((2**60,), OVERFLOW),
        ((2**30, 2**30), OVERFLOW),
        ((2**63 - 1, 0), OVERFLOW),
        ((2, 2**59), OVERFLOW),
    ],
)
def test_shapes_that_are_refused(shape, expected):
    assert (
        error_of(asarray, interface_of(NUMBERS, shape=shape, strides=(0,) * len(shape))) == expected
    )


def test_a_zero_extent_stops_the_overflow_behind_it():
    empty = {"typestr": "<f8", "shape": (0, 2**62), "data": (0, True)}
    assert (asarray(Exposes(empty)).shape, asarray(Exposes(empty)).size) == ((0, 2**62), 0)
    # The strides of a tensor are made from the last axis, and there is no zero yet.
    assert error_of(asarray, Exposes({**empty, "shape": (0, 2**62, 2**62)})) == PRODUCT


def test_the_largest_count_is_refused_without_allocating():
    source = interface_of(NUMBERS, shape=(2**60 - 1,), strides=(0,))
    expected = numerical_error("cannot create std::vector larger than max_size()")
    assert error_of(asarray, source, "complex128") == expected


def test_shapes_that_are_no_sequences_of_ints():
    assert error_of(asarray, interface_of(NUMBERS, shape=3)) == (
        TypeError,
        "object of type 'int' has no len()",
    )
    assert error_of(asarray, interface_of(NUMBERS, shape=("3",))) == (
        TypeError,
        "'str' object cannot be interpreted as an integer",
    )
    kind, _ = error_of(asarray, interface_of(NUMBERS, shape=(2**64,)))
    assert kind is OverflowError


def test_strides_that_are_no_sequences_of_ints():
    assert error_of(asarray, interface_of(NUMBERS, strides=3)) == (
        TypeError,
        "object of type 'int' has no len()",
    )
    assert error_of(asarray, interface_of(NUMBERS, strides=(8, 8))) == LENGTHS
    assert error_of(asarray, interface_of(NUMBERS, strides=())) == LENGTHS
    kind, _ = error_of(asarray, interface_of(NUMBERS, strides=(2**64,)))
    assert kind is OverflowError


def test_a_null_address_is_for_empty_arrays_only():
    assert asarray(interface_of(NUMBERS, shape=(0, 2), data=(0, True))).shape == (0, 2)
    assert error_of(asarray, interface_of(NUMBERS, data=(0, True))) == NULL_ADDRESS
    assert error_of(asarray, interface_of(NUMBERS, shape=(), data=(0, True))) == NULL_ADDRESS


extents = st.integers(-2, 2**64) | st.integers(0, 4)
wide_integers = st.integers(-(2**66), 2**66) | st.integers(-64, 64)


@examples(500)
@given(
    st.lists(extents, max_size=6),
    st.lists(wide_integers, max_size=6) | st.none(),
    st.sampled_from(READABLE),
    st.integers(0, 2**64 - 1),
    st.integers(0, 6),
)
def test_an_empty_array_may_claim_anything(shape, strides, typestr, address, place):
    shape.insert(min(place, len(shape)), 0)
    source = Exposes(
        {
            "typestr": np.dtype(typestr).str,
            "shape": shape,
            "strides": strides,
            "data": (address, True),
        }
    )
    try:
        assert asarray(source).shape == tuple(shape)
    except (_numerical.error, OverflowError) as error:
        known = {OVERFLOW[1], NEGATIVE[1], LENGTHS[1], PRODUCT[1]}
        assert str(error) in known or type(error) is OverflowError


@examples(300)
@given(
    st.lists(st.tuples(st.integers(1, 3), st.integers(-9, 9)), max_size=5),
    st.sampled_from(READABLE),
)
def test_strides_of_any_sign_and_overlap_read_what_numpy_reads(axes, typestr):
    # All addresses stay inside the block: 5 axes step at most 2 * 9 bytes each to either side.
    block = np.random.default_rng(2).integers(0, 2, 256, dtype="u1")
    shape = tuple(extent for extent, _ in axes)
    strides = tuple(stride for _, stride in axes)
    view = np.lib.stride_tricks.as_strided(block[112:].view()[:16].view(typestr), shape, strides)
    expected = np.nan_to_num(view.astype("complex128"))
    np.testing.assert_array_equal(np.nan_to_num(np.asarray(asarray(view, "complex128"))), expected)


def test_huge_strides_along_axes_of_one_item_are_never_stepped():
    far = 2**63 - 1
    source = interface_of(NUMBERS, shape=(1, 6, 1), strides=(far, 8, -far))
    assert asarray(source).tolist() == [[[x] for x in range(6)]]


class Collides:
    """A key of a dict that is compared with `name` at each look-up, and then raises."""

    def __init__(self, name):
        self.name, self.error = name, None

    def __hash__(self):
        return hash(self.name)

    def __eq__(self, other):
        if self.error is not None:
            raise self.error
        return self is other


@pytest.mark.parametrize("error", [MemoryError("none"), KeyboardInterrupt("now"), ValueError("so")])
@pytest.mark.parametrize("name", ["typestr", "shape", "data", "strides"])
def test_a_look_up_that_fails_is_no_absent_key(name, error):
    key = Collides(name)
    interface = {key: None, **NUMBERS[::2].__array_interface__}
    key.error = error
    with pytest.raises(type(error)) as raised:
        asarray(Exposes(interface))
    assert raised.value is error


def test_strides_are_not_lost_for_want_of_memory():
    script = """
import _testcapi
import _numerical as m
kept = m.Tensor(range(6))
class Exposes:
    __array_interface__ = {**kept.__array_interface__, "shape": (3,), "strides": (16,)}
given = Exposes()
m.asarray(given)
results = []
for allocation in range(1, 40):
    _testcapi.set_nomemory(allocation, allocation + 1)
    try:
        result = m.asarray(given)
    except MemoryError:
        result = None
    _testcapi.remove_mem_hooks()
    results.append(result)
assert any(result is not None for result in results)
print({tuple(result.tolist()) for result in results if result is not None})
"""
    pytest.importorskip("_testcapi")
    assert output_of(script) == "{(0.0, 2.0, 4.0)}\n"


def test_a_dict_that_changes_while_it_is_read():
    class Clearing:
        def __len__(self):
            interface.clear()
            return 1

        def __getitem__(self, index):
            return 6

    interface = dict(NUMBERS.__array_interface__, shape=Clearing(), strides=None)
    assert asarray(Exposes(interface)).tolist() == NUMBERS.tolist()


# --- the array struct by hand --------------------------------------------------------------------


class Record(ctypes.Structure):
    _fields_ = [
        ("two", ctypes.c_int),
        ("nd", ctypes.c_int),
        ("typekind", ctypes.c_char),
        ("itemsize", ctypes.c_int),
        ("flags", ctypes.c_int),
        ("shape", ctypes.POINTER(ctypes.c_ssize_t)),
        ("strides", ctypes.POINTER(ctypes.c_ssize_t)),
        ("data", ctypes.c_void_p),
        ("descr", ctypes.py_object),
    ]


NATIVE = 0x200

new_capsule = ctypes.pythonapi.PyCapsule_New
new_capsule.restype = ctypes.py_object
new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]


class ExposesStruct:
    def __init__(
        self,
        shape=(3,),
        strides=(8,),
        kind=b"f",
        itemsize=8,
        flags=NATIVE,
        two=2,
        nd=None,
        data=NUMBERS,
        name=None,
    ):
        self.name = name
        self.data = data
        self.shape = (ctypes.c_ssize_t * len(shape))(*shape)
        self.strides = None if strides is None else (ctypes.c_ssize_t * len(strides))(*strides)
        self.record = Record(
            two,
            len(shape) if nd is None else nd,
            kind,
            itemsize,
            flags,
            self.shape,
            self.strides,
            None if data is None else data.ctypes.data,
        )

    @property
    def __array_struct__(self):
        return new_capsule(ctypes.addressof(self.record), self.name, None)


def test_a_record_is_read():
    assert asarray(ExposesStruct()).tolist() == [0.0, 1.0, 2.0]
    assert asarray(ExposesStruct((2, 3), (24, 8)), "complex128").tolist() == [[0, 1, 2], [3, 4, 5]]
    assert asarray(ExposesStruct((3,), (-8,), data=NUMBERS[2:])).tolist() == [2.0, 1.0, 0.0]


def test_a_record_without_the_native_flag_is_swapped():
    swapped = ExposesStruct(flags=0, data=NUMBERS.astype(">f8"))
    assert asarray(swapped).tolist() == [0.0, 1.0, 2.0]
    bytes_have_no_order = ExposesStruct(kind=b"u", itemsize=1, flags=0, strides=(1,), data=BYTES)
    assert asarray(bytes_have_no_order).tolist() == [0, 0, 0]


def test_a_record_without_axes_is_a_number():
    for nd in [0, -1]:
        tensor = asarray(ExposesStruct(nd=nd, data=NUMBERS[4:]))
        assert (tensor.shape, tensor.tolist()) == ((), 4.0)


@pytest.mark.parametrize(
    "kind, itemsize",
    [
        (b"f", 2),
        (b"f", 16),
        (b"U", 4),
        (b"O", 8),
        (b"i", 3),
        (b"f", -8),
        (b"f", 100),
        (b"\0", 8),
        (b"V", 1),
    ],
)
def test_a_record_of_another_type(kind, itemsize):
    assert error_of(asarray, ExposesStruct(kind=kind, itemsize=itemsize)) == UNSUPPORTED


def test_records_that_are_refused():
    assert error_of(asarray, ExposesStruct((2**40, 2**40), (0, 0))) == OVERFLOW
    assert error_of(asarray, ExposesStruct((-1,), (0,))) == OVERFLOW
    for shape in [(0, -1), (4, 0, -(2**62), 3)]:  # which no product shows
        assert error_of(asarray, ExposesStruct(shape, (8,) * len(shape))) == NEGATIVE
    assert error_of(asarray, ExposesStruct(kind=b"c", itemsize=16), "float64") == COMPLEX_ARRAY
    assert error_of(asarray, ExposesStruct(data=None)) == NULL_ADDRESS


def test_a_record_without_strides_is_row_major():
    assert asarray(ExposesStruct((2, 3), None)).tolist() == [[0, 1, 2], [3, 4, 5]]


@pytest.mark.parametrize(
    "broken",
    [
        ExposesStruct(two=3),
        ExposesStruct(name=b"named"),
        type("NoCapsule", (), {"__array_struct__": 7})(),
    ],
    ids=["two is three", "named capsule", "no capsule"],
)
def test_what_is_no_record_is_passed_over_for_the_interface(broken):
    assert error_of(asarray, broken) == NO_INTERFACE
    type(broken).__array_interface__ = NUMBERS.__array_interface__
    try:
        assert asarray(broken).tolist() == NUMBERS.tolist()
    finally:
        del type(broken).__array_interface__
