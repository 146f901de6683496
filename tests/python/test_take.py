"""_take, the strided copy behind indexing."""

import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import error_of, numerical_error, runs_out_of_memory
from surface import array_of, assert_same_bits, numbers, shapes, tensor

import _numerical as nm
import numpy as np

pytestmark = pytest.mark.boundary

LEAVES = (IndexError, "_take: a range leaves its axis")
LARGEST = 2**63 - 1


@st.composite
def ranges(draw, extent):
    """start, step, count and keep of a range on an axis of that extent."""
    if extent == 0 or draw(st.integers(0, 9)) == 0:
        return draw(st.integers(-9, 9)), draw(st.integers(-9, 9)), 0, 1
    start = draw(st.integers(0, extent - 1))
    step = draw(st.integers(-3, 3))
    if draw(st.booleans()):
        return start, step, 1, draw(st.integers(0, 1))
    room = (extent - 1 - start) // step if step > 0 else start // -step if step < 0 else 3
    return start, step, draw(st.integers(1, room + 1)), 1


@given(st.data(), shapes(4), st.sampled_from(("float64", "complex128")))
def test_take_selects_what_numpy_selects(data, shape, dtype):
    array = array_of(shape, dtype, 3)
    chosen = [data.draw(ranges(extent)) for extent in shape]
    if not any(keep for *_, keep in chosen) and any(count == 0 for _, _, count, _ in chosen):
        return
    lists = [list(column) for column in zip(*chosen)] or [[], [], [], []]
    expected = array
    for axis, (start, step, count, _) in enumerate(chosen):
        places = [start + i * step for i in range(count)]
        expected = np.take(expected, places, axis) if count else expected.take([], axis)
    dropped = tuple(axis for axis, (*_, keep) in enumerate(chosen) if not keep)
    expected = np.squeeze(expected, dropped)
    result = nm._take(tensor(array), *lists)
    assert isinstance(result, nm.Tensor) == bool(expected.ndim)
    assert_same_bits(result, expected)


def test_take_of_a_vector():
    t = numbers([10.0, 20.0, 30.0])
    assert nm._take(t, [1], [1], [2], [1]).tolist() == [20.0, 30.0]
    assert nm._take(t, [2], [-1], [3], [1]).tolist() == [30.0, 20.0, 10.0]
    assert nm._take(t, [1], [0], [4], [1]).tolist() == [20.0] * 4
    assert nm._take(t, [5], [1], [0], [1]).shape == (0,)
    number = nm._take(t, [1], [1], [1], [0])
    assert (type(number), number) == (float, 20.0)
    assert type(nm._take(numbers([1j]), [0], [1], [1], [0])) is complex


def test_take_of_rank_0_is_the_bare_number():
    assert nm._take(nm._full((), 2.5, False), [], [], [], []) == 2.5
    one_range = numerical_error("_take: one range per axis")
    assert error_of(nm._take, numbers([1.0]), [], [], [], []) == one_range


@pytest.mark.parametrize(
    "start, step, count",
    (
        (2, 1, 2),
        (1, -1, 3),
        (-1, 1, 1),
        (3, 1, 1),
        (0, 1, -1),
        (0, 1, 4),
        (0, 2**62, 5),
        (1, LARGEST, 3),
        (0, -LARGEST - 1, 3),
        (LARGEST, LARGEST, LARGEST),
    ),
)
def test_take_refuses_ranges_that_leave_their_axis(start, step, count):
    t = numbers([1.0, 2.0, 3.0])
    assert error_of(nm._take, t, [start], [step], [count], [1]) == LEAVES


def test_take_reads_integers_of_every_kind_in_order():
    class One:
        def __index__(self):
            return 1

    t = numbers([1.0, 2.0, 3.0])
    assert nm._take(t, (One(),), np.array([1]), [True], (0,)) == 2.0
    assert error_of(nm._take, t, [1.0], "x", [1], [1])[0] is TypeError
    too_large = (OverflowError, "cannot fit 'int' into an index-sized integer")
    assert error_of(nm._take, t, [2**63], [1.0], [1], [1]) == too_large
    assert error_of(nm._take, t, [0], [-(2**63) - 1], [1], [1]) == too_large
    assert error_of(nm._take, t, 5, [1], [1], [1])[0] is TypeError
    assert error_of(nm._take, 5, 5, 5, 5, 5) == numerical_error("expected a numerical.Tensor")
    # All four are read before their lengths are compared.
    assert error_of(nm._take, t, [], [1, 1], [1], ["x"])[0] is TypeError
    one_range = numerical_error("_take: one range per axis")
    for lengths in ((0, 1, 1, 1), (1, 2, 1, 1), (1, 1, 0, 1), (1, 1, 1, 2), (2, 2, 2, 2)):
        assert error_of(nm._take, t, *([0] * n for n in lengths)) == one_range


def test_take_passes_on_an_error_of_the_sequence():
    class Broken:
        def __len__(self):
            return 1

        def __getitem__(self, place):
            raise KeyError(place)

    t = numbers([1.0])
    for place in range(4):
        arguments = [[0], [1], [1], [1]]
        arguments[place] = Broken()
        assert error_of(nm._take, t, *arguments) == (KeyError, "0")


def test_take_refuses_absurd_totals_without_allocating():
    t = tensor(np.ones((2, 2)))
    counts = [2**30, 2**30]
    beyond = numerical_error("vector::reserve")
    assert error_of(nm._take, t, [0, 0], [0, 0], counts, [1, 1]) == beyond
    assert error_of(nm._take, numbers([1j]), [0], [0], [2**59], [1]) == beyond
    assert runs_out_of_memory(nm._take, numbers([1.0]), [0], [0], [2**59], [1])


def test_take_of_a_dropped_axis_with_several_elements():
    t = tensor(np.arange(6.0).reshape(2, 3))
    mismatch = numerical_error("tensor: data size does not match the shape")
    assert error_of(nm._take, t, [0, 0], [1, 1], [2, 3], [0, 1]) == mismatch
    assert nm._take(t, [1, 0], [1, 1], [1, 3], [0, 0]) == 3.0
