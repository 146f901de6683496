"""The Tensor as people hold it: indexing, operators, conversions, text, copies."""

import copy
import ctypes
import itertools
import operator
import pickle
import sys
import tracemalloc
import warnings

import numpy as np
import pytest
from hypothesis import assume, given
from hypothesis import strategies as st

import numerical as nm
from numerical import _format, _memory
from oracle import arrays, close, equal, examples, integers, normal

pytestmark = pytest.mark.boundary

INDEX_ITEMS = st.one_of(
    st.integers(-6, 6),
    st.slices(6),
    st.builds(slice, st.integers(-7, 7), st.integers(-7, 7), st.sampled_from([-3, -2, -1, 1, 2])),
    st.none(),
    st.just(Ellipsis),
)


@examples(400)
@given(arrays(), st.lists(INDEX_ITEMS, max_size=4).map(tuple) | INDEX_ITEMS)
def test_basic_indexing_is_numpys(a, index):
    items = index if isinstance(index, tuple) else (index,)
    try:
        expected = a[index]
    except IndexError:
        with pytest.raises(IndexError):
            nm.asarray(a)[index]
        return
    result = nm.asarray(a)[index]
    if expected.ndim == 0 and not any(i is Ellipsis or i is None for i in items):
        assert type(result) in (float, complex)
    equal(result, expected)


def taken(a, key):
    """What a key selects, with its shape, or the words of the IndexError."""
    try:
        part = a[key]
    except IndexError as failure:
        return str(failure)
    return (part.shape, part.tolist()) if getattr(part, "ndim", 0) else part


BOUNDS = (None, -9, -3, -1, 0, 1, 2, 9)
KEYS = [slice(*bounds) for bounds in itertools.product(BOUNDS, BOUNDS, (None, 1, 2, -1, -3))]
KEYS += range(-5, 5)


def test_every_slice_and_int_of_a_vector_is_numpys():
    for extent in (0, 1, 3, 4):
        a = np.arange(float(extent))
        t = nm.asarray(a)
        assert [taken(t, key) for key in KEYS] == [taken(a, key) for key in KEYS]


@pytest.mark.parametrize("shape", [(4, 3), (1, 4), (0, 3)])
def test_every_pair_of_slices_and_ints_of_a_matrix_is_numpys(shape):
    a = integers(shape)
    t = nm.asarray(a)
    keys = KEYS[::3] + KEYS[-10:]
    pairs = [*itertools.product(keys, keys)]
    assert [taken(t, pair) for pair in pairs] == [taken(a, pair) for pair in pairs]
    assert [taken(t, key) for key in KEYS] == [taken(a, key) for key in KEYS]


@pytest.mark.parametrize(
    "step", [2**62, -(2**62), 2**63 - 1, -(2**63), 2**100, -(2**100)]
)
def test_a_step_beyond_the_axis_takes_one_element(step):
    a = integers((4, 3))
    t = nm.asarray(a)
    equal(t[::step], a[::step])
    equal(t[::step, 1:], a[::step, 1:])
    equal(t[[0, 2], ::step], a[[0, 2], ::step])
    equal(t.at[::step, ::2].set(7.0)[::step], np.where([True, False, True], 7.0, a[::step]))


@pytest.mark.parametrize(
    "index",
    [
        (None, 0, ..., [1, 2]),
        (None, [0, 1], ..., [1, 2]),
        (None, ..., 0, [1, 2]),
        (None, 0, [1], ...),
    ],
)
def test_an_ellipsis_for_no_axis_stands_between_arrays_as_well(index):
    a = integers((2, 3))
    equal(nm.asarray(a)[index], a[index])
    equal(nm.asarray(a).at[index].set(9.0)[index], np.full_like(a, 9.0)[index])


def test_a_list_of_ints_gathers_in_its_order():
    a = integers((4, 3, 2))
    t = nm.asarray(a)
    equal(t[[2, 0, -1]], a[[2, 0, -1]])
    equal(t[:, [1, 1]], a[:, [1, 1]])
    equal(t[-1, [2, 0]], a[-1, [2, 0]])
    equal(t[[]], a[np.array([], dtype=int)])
    equal(t[[0, 1], [1, 2]], a[[0, 1], [1, 2]])


WANTED = (
    "a tensor is indexed by ints, slices, Ellipsis, None, lists or arrays of ints, and masks, not "
)


@pytest.mark.parametrize(
    ("index", "message"),
    [
        (4, "index 4 is out of bounds for axis 0 with size 4"),
        ((4, 0), "index 4 is out of bounds for axis 0 with size 4"),
        ((0, 2**70), f"index {2**70} is out of bounds for axis 1 with size 3"),
        ((0, -4), "index -4 is out of bounds for axis 1 with size 3"),
        ((0, 0, 0), "too many indices: the tensor has 2 axes, 3 were indexed"),
        ((Ellipsis, Ellipsis), "an index can have one ellipsis only"),
        ("x", WANTED + "str"),
        (1.5, WANTED + "float"),
        (True, WANTED + "bool"),
        (np.True_, WANTED + type(np.True_).__name__),
        ({}, WANTED + "dict"),
        ([0.5], WANTED + "a list of float"),
        ([[0], "x"], "the lists of an index are ragged"),
        ([[0], [1, 2]], "the lists of an index are ragged"),
        ([0, [1]], "the lists of an index are ragged"),
        ([True, 1], "a list in an index holds either ints or bools, not both"),
        ([0, 9], "index 9 is out of bounds for axis 0 with size 4"),
        (np.array([0.0, 1.0]), WANTED + "an array of other numbers"),
        (
            ([0, 1], [0, 1, 2]),
            "the arrays of an index don't broadcast together: shapes (2,) and (3,)",
        ),
        (np.array([True]), "a mask of shape (1,) doesn't fit the axes from 0 on of shape (4, 3)"),
        ([True, False], "a mask of shape (2,) doesn't fit the axes from 0 on of shape (4, 3)"),
    ],
)
def test_a_bad_index_says_what_is_wrong(index, message):
    with pytest.raises(IndexError) as failure:
        nm.zeros((4, 3))[index]
    assert str(failure.value) == message
    assert failure.value.__context__ is None


@pytest.mark.parametrize("position", [3, -4, 2**70, -(2**70)])
def test_a_position_beyond_a_vector_is_named(position):
    with pytest.raises(IndexError) as failure:
        nm.zeros(3)[position]
    assert str(failure.value) == f"index {position} is out of bounds for axis 0 with size 3"
    assert failure.value.__context__ is None


OPERATORS = [operator.add, operator.sub, operator.mul]


@examples(150)
@given(arrays(max_rank=2), st.sampled_from(OPERATORS), st.sampled_from([2, -1.5, 1 + 2j, True]))
def test_numbers_stand_on_either_side(a, apply, number):
    t = nm.asarray(a)
    equal(apply(t, number), apply(a, number))
    equal(apply(number, t), apply(number, a))


@pytest.mark.parametrize("left", ["float64", "complex128"])
@pytest.mark.parametrize("right", ["float64", "complex128"])
@pytest.mark.parametrize("apply", OPERATORS)
def test_dtypes_that_meet_are_widened(apply, left, right):
    a, b = integers((2, 3), left, 1), integers((3,), right, 2)
    equal(apply(nm.asarray(a), nm.asarray(b)), apply(a, b))


def test_quotients_powers_signs_and_moduli():
    a, b = normal((2, 3), seed=1), normal((2, 3), seed=2)
    t, u = nm.asarray(a), nm.asarray(b)
    close(t / u, a / b, 0)
    close(2 / t, 2 / a, 0)
    close(t**2, a * a, 0)
    close(abs(t) ** u, np.abs(a) ** b)
    close(2**t, 2**a)
    equal(-t, -a)
    assert (+t) is t
    equal(abs(nm.array([3 + 4j])), [5.0])


def test_arrays_of_numpy_mix_on_either_side_and_give_tensors():
    a = integers((2, 3))
    t = nm.asarray(a)
    for mixed in (a + t, t + a, a * t, t - a, a @ t.T, t @ a.T):
        assert isinstance(mixed, nm.Tensor)
    equal(a - t, a - a)
    equal(a @ t.T, a @ a.T)
    assert isinstance(np.sqrt(nm.square(t)), np.ndarray)


@pytest.mark.parametrize("other", ["x", None, {1, 2}, object()])
def test_a_stranger_is_a_type_error(other):
    with pytest.raises(TypeError):
        nm.ones(2) + other
    with pytest.raises(TypeError):
        other @ nm.ones(2)


def test_a_mismatch_of_shapes_keeps_the_modules_words():
    with pytest.raises(nm.error) as failure:
        nm.ones((2, 3)) + nm.ones(4)
    assert str(failure.value) == (
        "operands could not be broadcast together with shapes (2, 3) (4,)"
    )


@examples(100)
@given(arrays(min_rank=1, max_rank=4, extents=st.sampled_from([1, 2, 3])), st.data())
def test_matmul_is_numpys(a, data):
    b_lead = data.draw(st.sampled_from([(), a.shape[:-2], (1,) * max(a.ndim - 2, 0)]))
    shape = data.draw(st.sampled_from([(a.shape[-1],), (*b_lead, a.shape[-1], 2)]))
    b = integers(shape, "float64", 7)
    equal(nm.asarray(a) @ nm.asarray(b), a @ b)


def test_properties_are_numpys():
    a = integers((2, 3, 4), "complex128")
    t = nm.asarray(a)
    equal(t.T, a.T)
    equal(t.mT, a.swapaxes(-1, -2))
    equal(t.mH, a.swapaxes(-1, -2).conj())
    equal(t.real, a.real)
    equal(t.imag, a.imag)
    equal(t.conj(), a.conj())
    equal(nm.ones(3).imag, np.zeros(3))
    equal(t.reshape(4, -1), a.reshape(4, -1))
    equal(t.reshape((-1,)), a.ravel())
    for order in ((1, 0, 2), ((1, 0, 2),), ([2, 0, 1],), (), (None,)):
        equal(t.transpose(*order), a.transpose(*order))
    with pytest.raises(ValueError, match=r"^mT and mH are for matrices"):
        nm.ones(3).mT


@pytest.mark.parametrize("name", ["sum", "mean", "max", "min"])
def test_numpys_reductions_are_ours(name):
    a = integers((2, 3, 4))
    t = nm.asarray(a)
    apply = getattr(np, name)
    assert apply(t) == apply(a)
    equal(apply(t, axis=1), apply(a, axis=1))
    equal(apply(t, axis=(0, 2), keepdims=True), apply(a, axis=(0, 2), keepdims=True))
    assert isinstance(apply(t, axis=0), nm.Tensor)
    assert getattr(t, name)(0, complex if name == "sum" else float).shape == (3, 4)
    filled = np.zeros((3, 4))
    assert apply(t, axis=0, out=filled) is filled
    equal(filled, apply(a, axis=0))
    with pytest.raises(TypeError, match=r"^tensors are immutable: a reduction gives its result"):
        getattr(t, name)(axis=0, out=filled)


def test_conjugation_keeps_infinities_and_flips_the_sign_of_zero():
    t = nm.array([complex(1, np.inf), complex(0.0, 0.0)]).conj()
    assert t.tolist()[0] == complex(1, -np.inf)
    assert np.signbit(np.asarray(t)[1].imag) and not np.signbit(np.asarray(t)[1].real)


def test_one_element_is_a_number():
    assert float(nm.array([[2.5]])) == 2.5
    assert int(nm.array(7.9)) == 7
    assert complex(nm.array([1j])) == 1j
    assert bool(nm.array([0.0])) is False
    assert bool(nm.array(3.0)) is True
    assert nm.array([[1.0, 2.0]]).item(0, 1) == 2.0
    assert nm.array([[1.0, 2.0]]).item((0, 1)) == 2.0
    assert nm.array([[1.0, 2.0]]).item(1) == 2.0
    for place in ((0, 0), (slice(2),)):
        with pytest.raises(
            IndexError, match=r"^item takes one index, or 3 for shape \(2, 3, 4\), not \("
        ):
            nm.ones((2, 3, 4)).item(*place)
    assert f"{nm.array(2.5):.3f}" == "2.500"
    for convert in (float, int, complex):
        with pytest.raises(
            ValueError, match=r"^only a tensor of one element is a number; this one has 2$"
        ):
            convert(nm.ones(2))
    with pytest.raises(TypeError, match=r"^a complex128 tensor is no float"):
        float(nm.array(1j))


def test_truth_of_many_elements_is_ambiguous():
    with pytest.raises(ValueError, match=r"^the truth of a tensor of 2 elements is ambiguous"):
        bool(nm.ones(2))


COMPARISONS = [operator.lt, operator.le, operator.eq, operator.ne, operator.gt, operator.ge]


@examples(200)
@given(arrays(max_rank=2, dtypes=["float64"]), arrays(max_rank=2, dtypes=["float64"]),
       st.sampled_from(COMPARISONS))  # fmt: skip
def test_comparisons_give_masks_of_ones_and_zeros(a, b, compare):
    try:
        np.broadcast_shapes(a.shape, b.shape)
    except ValueError:
        return
    equal(compare(nm.asarray(a), nm.asarray(b)), np.asarray(compare(a, b), dtype=float))


@pytest.mark.parametrize("compare", COMPARISONS)
def test_comparisons_with_nan_are_those_of_numbers(compare):
    numbers = [0.0, -0.0, 1.0, float("nan"), float("inf")]
    t = nm.array(numbers)
    for x in numbers:
        assert compare(t, x).tolist() == [float(compare(y, x)) for y in numbers]
        assert compare(x, t).tolist() == [float(compare(x, y)) for y in numbers]


def test_comparisons_of_shapes_that_do_not_broadcast_are_errors():
    for compare in COMPARISONS:
        with pytest.raises(nm.error) as failure:
            compare(nm.ones(2), nm.ones(3))
        assert (
            str(failure.value) == "operands could not be broadcast together with shapes (2,) (3,)"
        )


def test_complex_numbers_are_equal_or_not_but_have_no_order():
    t = nm.array([1j, 2.0])
    assert (t == 1j).tolist() == [1.0, 0.0]
    assert (t != nm.array([1j, 3.0])).tolist() == [0.0, 1.0]
    for compare in (operator.lt, operator.le, operator.gt, operator.ge):
        with pytest.raises(
            TypeError, match=r"^complex128 has no order: compare real parts or moduli$"
        ):
            compare(t, t)


def test_a_tensor_of_rank_0_compares_as_its_number():
    norm = nm.sqrt(nm.array([3.0, 4.0]) @ nm.array([3.0, 4.0]))
    assert (norm > 4.0) is True
    assert (norm <= 4) is False
    assert (norm == 5.0) is True
    assert max(norm, nm.sqrt(4.0)) is norm
    assert float(norm) == 5.0


@pytest.mark.parametrize("other", [None, "text", object(), {}])
def test_what_is_no_operand_equals_no_tensor(other):
    t = nm.ones(2)
    assert (t == other) is False
    assert (t != other) is True
    with pytest.raises(TypeError):
        t < other
    assert t not in ["text", None]
    assert t in [None, t]


def test_tensors_are_keys_by_identity():
    t, u = nm.ones(2), nm.ones(2)
    assert len({t, u, t}) == 2
    assert {t: 1}[t] == 1


ARRAY_ITEMS = st.one_of(
    INDEX_ITEMS,
    st.lists(st.integers(-3, 2), max_size=3),
    st.lists(st.lists(st.integers(-2, 1), min_size=2, max_size=2), min_size=1, max_size=2),
    st.lists(st.booleans(), max_size=3),
    st.lists(st.integers(-2, 1), max_size=3).map(lambda places: np.array(places, dtype=int)),
    st.lists(st.booleans(), min_size=1, max_size=3).map(np.array),
)


def is_read_alike(index):
    """NumPy reads an empty list as floats, and a truth value as a mask of rank 0."""
    return all(not (isinstance(key, list) and key in ([], [[]])) for key in index)


def selected_by_numpy(a, index):
    """Older NumPys let a position out of bounds pass where nothing is selected in the end."""
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        try:
            selected = a[index]
        except DeprecationWarning as warning:
            raise IndexError(*warning.args)
    lists = [key for key in index if isinstance(key, (list, np.ndarray))]
    assume(selected.size or not any(np.asarray(key).dtype.kind == "i" for key in lists))
    return selected


@examples(600)
@given(arrays(max_rank=3, extents=st.sampled_from([0, 1, 2, 3])),
       st.lists(ARRAY_ITEMS, min_size=1, max_size=4).map(tuple).filter(is_read_alike))  # fmt: skip
def test_indexing_by_arrays_and_masks_is_numpys(a, index):
    try:
        expected = selected_by_numpy(a, index)
    except IndexError:
        with pytest.raises(IndexError):
            nm.asarray(a)[index]
        return
    equal(nm.asarray(a)[index], expected)


INT_ARRAYS = [
    np.array([2, -1, 0, 2]), np.array([[1, -4], [3, 0]]), np.arange(8)[::2] - 4, np.array([], int),
    np.array([3, 1], ">i8"), np.array([0, 3], np.int32), np.array([1, 2], np.uint64),
    np.array([[1], [2]])[:, 0], np.asfortranarray([[0, 1], [2, 3]]),
]  # fmt: skip


@pytest.mark.parametrize("places", INT_ARRAYS, ids=range(len(INT_ARRAYS)))
def test_arrays_of_ints_of_every_kind_are_read_as_numpy_does(places):
    a = integers((4, 4, 4)) + 1j * integers((4, 4, 4))[::-1]
    for array in (a, a.real.copy(), a[0], a[:, 0, 0].copy()):
        t = nm.asarray(array)
        rank = array.ndim
        equal(t[places], array[places])
        equal(t[(places,) * rank], array[(places,) * rank])
        equal(t[(places,) * (rank - 1) + ([1],)], array[(places,) * (rank - 1) + ([1],)])
        if rank == 3:
            equal(t[places, places, nm.Positions(places.ravel())] if places.ndim == 1 else t[places],
                  array[places, places, places] if places.ndim == 1 else array[places])  # fmt: skip
    equal(nm.Positions([5, 6, 7, 8])[places], np.array([5, 6, 7, 8])[places])


class ArrayOfInts:
    """Looks like an array of ints; its record is made by a function of the test."""

    def __init__(self, record):
        self.record = record

    def __index__(self):
        raise TypeError("only arrays of one int are an index")

    def __getitem__(self, place):
        raise IndexError(place)

    def __len__(self):
        return 1

    @property
    def __array_struct__(self):
        return self.record()


@pytest.mark.parametrize("failure", [KeyboardInterrupt, MemoryError, RuntimeError])
def test_what_an_array_in_an_index_raises_is_raised(failure):
    def record():
        raise failure("from the property")

    for index in (ArrayOfInts(record), (0, ArrayOfInts(record))):
        with pytest.raises(failure) as raised:
            nm.ones((4, 4))[index]
        assert str(raised.value) == "from the property"


@pytest.mark.parametrize("extents", [(-1,), (-1, -1), (0, -1), (2**62, 4)])
def test_an_array_in_an_index_with_impossible_extents_is_refused(extents):
    pointer = ctypes.pythonapi.PyCapsule_GetPointer
    pointer.restype, pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
    shape_offset = 24  # behind four ints, a character and the padding: the pointer to the extents

    def record():
        capsule = np.zeros((1,) * len(extents), np.int64).__array_struct__
        address = ctypes.c_void_p.from_address(pointer(capsule, None) + shape_offset).value
        (ctypes.c_ssize_t * len(extents)).from_address(address)[:] = extents
        return capsule

    with pytest.raises(IndexError) as raised:
        nm.ones((4, 4))[ArrayOfInts(record)]
    assert str(raised.value) == (
        "a tensor is indexed by ints, slices, Ellipsis, None, lists or arrays of ints, and masks,"
        " not ArrayOfInts"
    )


def test_an_array_of_ints_out_of_bounds_names_the_first_place():
    t = nm.zeros((4, 3))
    for index, message in [
        (np.array([0, 4, -9]), "index 4 is out of bounds for axis 0 with size 4"),
        (
            (np.array([0, 1]), np.array([-3, -4])),
            "index -4 is out of bounds for axis 1 with size 3",
        ),
        ((np.array([-5, 1]), np.array([7, 1])), "index -5 is out of bounds for axis 0 with size 4"),
    ]:
        with pytest.raises(IndexError) as failure:
            t[index]
        assert str(failure.value) == message


def test_a_comparison_selects_the_elements_where_it_holds():
    a = integers((4, 3))
    t = nm.asarray(a)
    equal(t[t > 0], a[a > 0])
    equal(t[t[:, 0] > 0], a[a[:, 0] > 0])
    equal(t[:, t[0] > 0], a[:, a[0] > 0])
    equal(t[t[:, 0] > 0, 1], a[a[:, 0] > 0, 1])


@pytest.mark.parametrize("index", [[0.0, 2.0], [0.5, 1.0], 1.0, [1j, 0.0]])
def test_a_tensor_that_is_no_mask_is_no_index(index):
    with pytest.raises(IndexError) as failure:
        nm.ones(2)[nm.array(index)]
    assert str(failure.value) == (
        "a tensor in an index is a mask of zeros and ones, as a comparison gives; name positions by"
        " a list or an array of ints"
    )


def test_a_list_within_itself_is_no_index():
    endless = [0]
    endless[0] = endless
    with pytest.raises(ValueError, match=r"^the lists of an index are nested more than 64 deep$"):
        nm.ones(2)[endless]


UPDATES = {
    "set": lambda a, index, v: a.__setitem__(index, v),
    "add": np.add.at,
    "multiply": np.multiply.at,
    "min": np.minimum.at,
    "max": np.maximum.at,
}


@examples(400)
@given(arrays(max_rank=3, extents=st.sampled_from([0, 1, 2, 3]), dtypes=["float64"]),
       st.lists(ARRAY_ITEMS, min_size=1, max_size=4).map(tuple).filter(is_read_alike),
       st.sampled_from(sorted(UPDATES)))  # fmt: skip
def test_at_gives_the_copy_that_numpy_would_assign_to(a, index, update):
    t = nm.asarray(a)
    try:
        selected = selected_by_numpy(a, index)
    except IndexError:
        with pytest.raises(IndexError):
            getattr(t.at[index], update)(1.0)
        return
    for values in (2.5, integers(selected.shape, seed=1), integers(selected.shape[-1:], seed=2)):
        expected = a.copy()
        UPDATES[update](expected, index, values)
        equal(getattr(t.at[index], update)(values), expected)
    equal(t, a)


def test_at_takes_complex_values_and_repeated_places():
    t = nm.zeros(3)
    assert t.at[1].set(1j).tolist() == [0, 1j, 0]
    assert t.at[[0, 0, 2]].add([1.0, 2.0, 3.0]).tolist() == [3.0, 0.0, 3.0]
    assert t.at[[0, 0]].set([1.0, 2.0]).tolist() == [2.0, 0.0, 0.0]
    assert t.at[...].set(nm.ones(3)).tolist() == [1.0, 1.0, 1.0]
    assert nm.array(1.0).at[()].add(1.0).tolist() == 2.0
    nan = float("nan")
    assert str(t.at[0].min(nan).tolist()) == "[nan, 0.0, 0.0]"
    assert str(nm.array([nan]).at[0].max(1.0).tolist()) == "[nan]"
    assert t.at[0].get() == 0.0


def test_at_refuses_values_that_do_not_fit():
    with pytest.raises(nm.error) as failure:
        nm.zeros((3, 2)).at[0].set([1.0, 2.0, 3.0])
    assert (
        str(failure.value) == "values of shape (3,) cannot be broadcast to the selected shape (2,)"
    )
    for update in ("min", "max"):
        with pytest.raises(
            ValueError, match=r"^min and max are for float64: complex128 has no order$"
        ):
            getattr(nm.zeros(2).at[0], update)(1j)


def test_assignment_says_why_not_and_what_to_do():
    t = nm.ones(2)
    with pytest.raises(TypeError, match=r"^tensors are immutable.*: t\.at\[index\]\.set\(values\)"):
        t[0] = 1.0
    with pytest.raises(TypeError, match=r"^tensors are immutable"):
        del t[0]


def test_length_and_iteration_run_over_the_first_axis():
    a = integers((3, 2))
    t = nm.asarray(a)
    assert len(t) == 3
    for row, expected in zip(t, a):
        equal(row, expected)
    assert list(nm.array([1.0, 2.0])) == [1.0, 2.0]
    with pytest.raises(TypeError, match=r"^a tensor of rank 0 has no length$"):
        len(nm.array(1.0))
    with pytest.raises(
        TypeError, match=r"^a tensor of rank 0 has no axis to iterate over; use item\(\)$"
    ):
        iter(nm.array(1.0))


def test_pickles_and_copies_keep_every_bit():
    for a in (normal((2, 3), "complex128"), np.zeros((0, 4)), np.array(-0.0)):
        t = nm.asarray(a)
        back = pickle.loads(pickle.dumps(t))
        assert (back.shape, back.dtype) == (t.shape, t.dtype)
        assert np.asarray(back).tobytes() == a.tobytes()
        assert copy.copy(t) is t
        assert copy.deepcopy(t) is t


@pytest.mark.parametrize("shape", [(5,), (2, 3), (2**31, 2**31), ()])
def test_a_pickle_with_another_number_of_bytes_is_refused(shape):
    with pytest.raises(
        ValueError, match=r"^32 bytes are no array of shape .* and type <f8$"
    ) as failure:
        _memory.rebuilt(bytes(32), shape, "float64")
    assert str(shape) in str(failure.value)


def test_a_pickle_of_a_shape_that_is_none_is_refused():
    with pytest.raises(nm.error, match=r"^shape extents must be non-negative$"):
        _memory.rebuilt(bytes(32), (-2, -2), "float64")
    with pytest.raises(TypeError):
        _memory.rebuilt(bytes(32), (4.0,), "float64")
    with pytest.raises(ValueError, match=r"^0 bytes are no array of shape \(2,\) and type <f8$"):
        _memory.rebuilt(b"", (2,), "float64")


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_the_size_of_the_object_counts_its_elements(dtype):
    t = nm.zeros((1000, 10), dtype)
    item = 16 if dtype == "complex128" else 8
    assert sys.getsizeof(t) == type(t).__basicsize__ + 10_000 * item
    assert sys.getsizeof(nm.zeros(0)) == type(t).__basicsize__


def test_more_axes_than_numpy_has_are_not_shown_to_it():
    numbers = integers((2, 3), "complex128")
    for rank in (64, 65, 100):
        shape = (1,) * (rank - 2) + (2, 3)
        t = nm.reshape(numbers, shape)
        if rank == 64:
            assert t.__array_interface__["shape"] == shape
        else:
            message = (f"arrays of other libraries have at most 64 axes, this tensor has {rank}:"
                       " reshape it first")  # fmt: skip
            for export in (np.asarray, np.array, lambda x: x.__array_interface__):
                with pytest.raises(ValueError) as failure:
                    export(t)
                assert str(failure.value) == message
        # What the package does itself goes on.
        back = pickle.loads(pickle.dumps(t))
        assert back.shape == shape
        equal(nm.reshape(back, (2, 3)), numbers)
        assert nm.asarray(t) is t
        assert nm.asarray(t, "complex128") is t
        equal(nm.reshape(nm.permute_dims(t), (3, 2)), numbers.T)
        equal(nm.reshape(nm.conj(t) + t * 2.0 - t, (2, 3)), numbers.conj() + numbers)
        equal(nm.reshape(nm.stack([t, t]), (2, 2, 3)), np.stack([numbers, numbers]))
        equal(nm.reshape(nm.array([t, t]), (2, 2, 3)), np.stack([numbers, numbers]))
        equal(nm.reshape(nm.from_dlpack(t), (2, 3)), numbers)
        assert "Tensor" in repr(t) or "tensor" in repr(t)


def test_bytes_of_large_tensors_are_those_of_small_ones(monkeypatch):
    t = nm.asarray(normal((3, 5), "complex128"))
    small = _memory.to_bytes(t)
    assert small == np.asarray(t).tobytes()

    class Large:  # three gibibytes of the array's elements, of which no copy is made here
        size, dtype = 3 * 2**27, "float64"

    address = _memory.address_of(t)
    monkeypatch.setattr(_memory, "address_of", lambda tensor: address)
    taken = []
    monkeypatch.setattr(_memory, "bytes", lambda memory: taken.append(len(memory)), raising=False)
    _memory.to_bytes(Large)
    assert taken == [3 * 2**30]
    monkeypatch.undo()
    monkeypatch.setattr(_memory, "STRING_LIMIT", 0)
    assert _memory.to_bytes(t) == small
    assert _memory.to_bytes(nm.zeros((0, 2))) == b""
    equal(nm.concatenate([t, t]), np.concatenate([np.asarray(t)] * 2))


def test_repr_shows_small_tensors_whole():
    assert repr(nm.array(5)) == "Tensor(5.0)"
    assert repr(nm.array([[1, 2j]])) == "Tensor([[1+0j, 0+2j]], dtype='complex128')"
    assert repr(nm.zeros((3, 0))) == "Tensor([], shape=(3, 0))"
    assert repr(nm.array([[1, 20], [3.5, float("nan")]])) == (
        "Tensor([[ 1.0, 20.0],\n        [ 3.5,  nan]])"
    )
    assert str(nm.array([1.0, float("-inf")])) == "[ 1.0, -inf]"


def test_repr_of_long_rows_wraps_them_under_their_first_number():
    row = "[" + "1.0, " * 15 + "1.0,\n" + " " * 10 + "1.0]"
    assert repr(nm.ones((2, 1, 17))) == f"Tensor([[{row}],\n\n        [{row}]])"


def test_repr_of_a_large_tensor_shows_its_edges_and_reads_no_more(monkeypatch):
    shown = []
    number = _format._number
    monkeypatch.setattr(_format, "_number", lambda x: shown.append(x) or number(x))
    t = nm.zeros((2000, 2000))
    tracemalloc.start()
    text = repr(t)
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert len(shown) == 36
    assert peak < 1_000_000  # the numbers of the whole tensor would take 100 MB
    assert text.startswith("Tensor([[0.0, 0.0, 0.0, ..., 0.0, 0.0, 0.0],\n")
    assert text.endswith("shape=(2000, 2000))")
    assert len(text.splitlines()) == 7
    narrow = repr(nm.zeros((300, 6))).splitlines()
    assert narrow[0] == "Tensor([[0.0, 0.0, 0.0, 0.0, 0.0, 0.0]," and len(narrow) == 7


def test_html_is_a_table():
    assert nm.array([[1.0, 2.0]])._repr_html_() == (
        "<table><tr><td>1.0</td><td>2.0</td></tr></table><p>Tensor, 1 × 2, float64</p>"
    )
    assert nm.zeros((50, 50))._repr_html_().count("<td>…</td>") == 6
    assert nm.zeros((300, 6))._repr_html_().count("<td>…</td>") == 0
    assert nm.zeros((6, 300))._repr_html_().count("<td>…</td>") == 6
    assert nm.array(1.0)._repr_html_().startswith("<pre>Tensor(1.0")
