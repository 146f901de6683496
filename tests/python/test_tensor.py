"""The class Tensor: constructor, properties, tolist."""

import gc
import math

import _numerical
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import error_of, numerical_error

pytestmark = pytest.mark.boundary

Tensor = _numerical.Tensor

UNREADABLE = numerical_error("Tensor: could not read the data buffer")
INVALID_SHAPE = numerical_error("Tensor: invalid shape")
MISFIT = numerical_error("tensor: data size does not match the shape")


def described(tensor):
    return tensor.shape, tensor.dtype, tensor.ndim, tensor.size, tensor.tolist()


def test_a_sequence_is_one_axis():
    assert described(Tensor([1, 2, 3])) == ((3,), "float64", 1, 3, [1.0, 2.0, 3.0])


def test_a_shape_cuts_the_sequence_into_rows():
    assert described(Tensor([1, 2, 3], (3, 1))) == ((3, 1), "float64", 2, 3, [[1.0], [2.0], [3.0]])
    assert Tensor(range(6), [2, 3]).tolist() == [[0.0, 1.0, 2.0], [3.0, 4.0, 5.0]]


def test_a_shape_of_none_is_no_shape():
    assert Tensor([1, 2], None).shape == (2,)


def test_keywords():
    assert Tensor(data=[1, 2], shape=(1, 2), dtype="complex128").shape == (1, 2)


def test_rank_zero():
    tensor = Tensor([1.0], ())
    assert described(tensor) == ((), "float64", 0, 1, 1.0)
    assert type(tensor.tolist()) is float
    assert type(Tensor([1.0], (), "complex128").tolist()) is complex


def test_empty_tensors():
    assert described(Tensor([], (0, 4))) == ((0, 4), "float64", 2, 0, [])
    assert Tensor([], (2, 0)).tolist() == [[], []]
    assert Tensor([], (0, 3)).tolist() == []
    assert Tensor([], (2, 2, 0)).tolist() == [[[], []], [[], []]]
    assert Tensor([]).shape == (0,)


@pytest.mark.parametrize("error", [MemoryError("none"), KeyboardInterrupt("now")])
def test_an_interrupt_and_missing_memory_are_not_replaced(error):
    class Number:
        def __float__(self):
            raise error

    class HasNone:
        @property
        def __complex__(self):
            raise error

    class Sequence:
        def __len__(self):
            raise error

        def __getitem__(self, place):
            raise error

    class Listed(Sequence):
        def __len__(self):
            return 1

    calls = [
        ([Number()],),
        ([Number()], None, "complex128"),
        ([HasNone()], None, "complex128"),
        (Sequence(),),
        (Sequence(), (1,)),
        ([1.0], Sequence()),
        (Listed(),),
        ([1.0], Listed()),
    ]
    for arguments in calls:
        with pytest.raises(type(error)) as raised:
            Tensor(*arguments)
        assert raised.value is error
    with pytest.raises(type(error)) as raised:
        _numerical._full((2,), HasNone(), True)
    assert raised.value is error


def test_other_errors_of_a_look_up_for_complex_are_replaced_too():
    class HasNone:
        @property
        def __complex__(self):
            raise ValueError("no")

        def __float__(self):
            return 3.0

    assert error_of(Tensor, [HasNone()], dtype="complex128") == UNREADABLE
    assert error_of(_numerical._full, (), HasNone(), True) == (ValueError, "no")


def test_no_memory_of_a_tensor_is_seen_by_the_garbage_collector():
    seen = []

    def look(phase, info):
        seen.extend(view for view in gc.get_objects() if type(view) is memoryview)

    tensor = Tensor(range(2000), (2, 1000))
    threshold = gc.get_threshold()
    gc.callbacks.append(look)
    gc.set_threshold(1)
    try:
        rows = tensor.tolist()
    finally:
        gc.set_threshold(*threshold)
        gc.callbacks.remove(look)
    expected = [list(map(float, range(1000))), list(map(float, range(1000, 2000)))]
    assert rows == expected
    assert seen  # else the collector didn't run where it might see one
    assert all(view.obj is not None for view in seen)


def test_complex_elements():
    tensor = Tensor([1, 2.5, 3j, True], dtype="complex128")
    assert described(tensor) == ((4,), "complex128", 1, 4, [1 + 0j, 2.5 + 0j, 3j, 1 + 0j])
    assert all(
        math.copysign(1, z.imag) == 1 for z in Tensor([1, -0.0], dtype="complex128").tolist()
    )


def test_what_converts_itself_is_a_number():
    class Both:
        def __float__(self):
            return 1.5

        def __complex__(self):
            return 2.5j

    class Foreign:
        def __complex__(self):
            return 1 + 2j

    assert Tensor([Both()]).tolist() == [1.5]
    assert Tensor([Foreign()], dtype="complex128").tolist() == [1 + 2j]
    assert Tensor([np.complex64(1 + 2j)], dtype="complex128").tolist() == [1 + 2j]
    assert Tensor([Both()], dtype="complex128").tolist() == [2.5j]


def test_values_that_are_not_finite_and_signed_zeros_arrive():
    values = Tensor([math.inf, -math.inf, math.nan, -0.0]).tolist()
    assert values[:2] == [math.inf, -math.inf]
    assert math.isnan(values[2])
    assert math.copysign(1, values[3]) == -1


@given(st.lists(st.floats(allow_nan=False), max_size=30))
def test_floats_keep_their_bits(values):
    assert [x.hex() for x in Tensor(values).tolist()] == [x.hex() for x in values]


@given(st.lists(st.integers(0, 4), max_size=5), st.booleans())
def test_nesting_is_that_of_numpy(shape, is_complex):
    array = np.arange(math.prod(shape)).reshape(shape) * (1j if is_complex else 1.0)
    tensor = Tensor(array.ravel().tolist(), shape, "complex128" if is_complex else "float64")
    assert tensor.shape == tuple(shape)
    assert tensor.tolist() == array.tolist()


@pytest.mark.parametrize("count", [1, 2, 31, 63, 64, 65, 1000])
@pytest.mark.parametrize("outer", [(), (1,), (3,), (2, 0), (2, 3)])
def test_rows_of_any_length_become_lists_of_their_own(outer, count):
    array = np.random.default_rng(count).standard_normal(outer + (count,))
    tensor = Tensor(array.ravel().tolist(), array.shape)
    nested = tensor.tolist()
    assert nested == array.tolist()
    rows = [nested]
    for _ in outer:
        rows = [child for parent in rows for child in parent]
    for place, row in enumerate(rows):
        row.append(place)  # no other row grows with it
    assert all(len(row) == count + 1 for row in rows)
    assert tensor.tolist() == array.tolist()


def test_the_rank_has_no_limit_on_the_stack():
    depth = 200_000
    tensor = Tensor([7.0], (1,) * depth)
    assert (tensor.ndim, tensor.shape) == (depth, (1,) * depth)
    nested = tensor.tolist()
    for _ in range(depth):
        (nested,) = nested
    assert nested == 7.0


def test_data_without_a_length():
    expected = numerical_error("Tensor: data has no length to infer a shape from")
    assert error_of(Tensor, 5.0) == expected
    assert error_of(Tensor, iter([1])) == expected
    # With a shape the length is asked for at the elements.
    assert error_of(Tensor, 5.0, ()) == UNREADABLE


@pytest.mark.parametrize(
    "data, dtype",
    [
        ([1j], "float64"),
        (["1"], "float64"),
        ([[1, 2]], "float64"),
        ([None], "float64"),
        ([10**400], "float64"),
        (["1j"], "complex128"),
        ([[1]], "complex128"),
        ("12", "float64"),
    ],
)
def test_elements_that_are_no_numbers(data, dtype):
    assert error_of(Tensor, data, None, dtype) == UNREADABLE


def test_a_sequence_that_fails_has_its_error_replaced():
    class Failing:
        def __len__(self):
            return 3

        def __getitem__(self, index):
            raise ZeroDivisionError("on reading")

    assert error_of(Tensor, Failing()) == UNREADABLE


def test_a_sequence_that_shrinks_under_the_hand():
    class Shrinking(list):
        def __getitem__(self, index):
            self.clear()
            return super().__getitem__(index)

    assert error_of(Tensor, Shrinking([1, 2, 3])) == UNREADABLE


def test_a_sequence_that_claims_to_be_huge_is_refused_without_allocating():
    class Huge:
        def __len__(self):
            return 2**62

        def __getitem__(self, index):
            return 0.0

    expected = numerical_error("cannot create std::vector larger than max_size()")
    assert error_of(Tensor, Huge()) == expected


@pytest.mark.parametrize("shape", [(-1,), (3, -1), 3, 3.0, ("a",), (1.5,), (2**63,), (None,)])
def test_invalid_shapes(shape):
    assert error_of(Tensor, [1, 2, 3], shape) == INVALID_SHAPE


@pytest.mark.parametrize("shape", [(), (2,), (4,), (3, 0), (2, 2), (2**62,)])
def test_data_that_does_not_fill_the_shape(shape):
    assert error_of(Tensor, [1, 2, 3], shape) == MISFIT


def test_a_shape_whose_product_overflows():
    expected = numerical_error("dimension product overflows std::size_t")
    assert error_of(Tensor, [1, 2, 3], (2**33, 2**33)) == expected


def test_dtypes_but_two_are_refused_after_the_shape():
    expected = numerical_error("dtype must be 'float64' or 'complex128'")
    for dtype in ["float32", "", "FLOAT64", "float64 ", "complex"]:
        assert error_of(Tensor, [1], dtype=dtype) == expected
    assert error_of(Tensor, ["no number"], dtype="float32") == expected
    assert error_of(Tensor, [1], (-1,), dtype="float32") == INVALID_SHAPE


def test_a_dtype_that_is_no_text_is_refused_first():
    assert error_of(Tensor, [1], dtype=3) == (TypeError, "expected str, got int")
    assert error_of(Tensor, 5.0, -1, None) == (TypeError, "expected str, got NoneType")


def test_a_dtype_without_utf8_keeps_python_s_error():
    kind, _ = error_of(Tensor, [1], dtype="\ud800")
    assert kind is UnicodeEncodeError


def test_arguments_are_parsed_by_name():
    assert error_of(Tensor) == (
        TypeError,
        "numerical.Tensor() missing required argument 'data' (pos 1)",
    )
    assert error_of(Tensor, [1], (1,), "float64", 4) == (
        TypeError,
        "numerical.Tensor() takes at most 3 arguments (4 given)",
    )
    kind, text = error_of(Tensor, [1], extent=3)
    assert kind is TypeError and "'extent'" in text


def test_a_tensor_is_built_once():
    tensor = Tensor([1.0])
    expected = TypeError, "numerical.Tensor cannot be re-initialized"
    assert error_of(tensor.__init__, [2.0]) == expected
    assert error_of(tensor.__init__) == expected
    assert tensor.tolist() == [1.0]


def test_a_tensor_that_builds_itself_while_it_is_built_keeps_the_first_value():
    tensor = Tensor.__new__(Tensor)

    class Reentrant(list):
        def __getitem__(self, index):
            tensor.__init__([5.0])
            return 6.0

    assert error_of(tensor.__init__, Reentrant([0])) == (
        TypeError,
        "numerical.Tensor cannot be re-initialized",
    )
    assert tensor.tolist() == [5.0]


def test_a_failed_constructor_leaves_the_object_uninitialized():
    tensor = Tensor.__new__(Tensor)
    assert error_of(tensor.__init__, [1j]) == UNREADABLE
    assert error_of(lambda: tensor.shape) == (TypeError, "uninitialized numerical.Tensor")
    tensor.__init__([1.0])
    assert tensor.tolist() == [1.0]


@pytest.mark.parametrize("name", ["shape", "ndim", "size", "dtype", "__array_interface__"])
def test_properties_of_an_uninitialized_tensor(name):
    expected = TypeError, "uninitialized numerical.Tensor"
    assert error_of(getattr, Tensor.__new__(Tensor), name) == expected


def test_methods_of_an_uninitialized_tensor():
    tensor = Tensor.__new__(Tensor)
    uninitialized = "uninitialized numerical.Tensor"
    assert error_of(tensor.tolist) == numerical_error(uninitialized)
    assert error_of(tensor.__dlpack__) == numerical_error(uninitialized)
    assert error_of(tensor.__dlpack_device__) == (TypeError, uninitialized)


@pytest.mark.parametrize("name", ["shape", "ndim", "size", "dtype", "__array_interface__"])
def test_properties_are_read_only(name):
    kind, _ = error_of(setattr, Tensor([1.0]), name, 1)
    assert kind is AttributeError


def test_the_class_is_final_and_plain():
    kind, text = error_of(type, "Derived", (Tensor,), {})
    assert kind is TypeError and "not an acceptable base type" in text
    assert (Tensor.__module__, Tensor.__name__) == ("numerical", "Tensor")
    assert Tensor.__repr__ is object.__repr__
    assert Tensor.__eq__ is object.__eq__
    assert Tensor.__hash__ is object.__hash__


def test_methods_and_properties_say_what_they_do():
    assert {name: getattr(Tensor, name).__doc__ for name in vars(Tensor) if name in DOCS} == DOCS


DOCS = {
    "__dlpack_device__": "__dlpack_device__() -> (device_type, device_id)\n"
    "The DLPack device (always CPU).",
    "__dlpack__": "__dlpack__(stream=None) -> PyCapsule\n"
    "Export a DLPack capsule sharing this tensor's buffer.",
    "tolist": "tolist() -> list\nThe elements as nested Python lists (a bare scalar when rank-0).",
    "shape": "The size of each axis, as a tuple.",
    "ndim": "The number of axes.",
    "size": "The total number of elements.",
    "dtype": "'float64' or 'complex128'.",
    "__array_interface__": "NumPy array-interface (v3) describing the shared, read-only buffer.",
}
