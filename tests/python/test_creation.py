"""_full, _eye, _arange, _linspace and _reshape."""

import math
import sys
from fractions import Fraction

import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import error_of, numerical_error, runs_out_of_memory
from surface import assert_same_bits, bits, numbers, shapes, tensor

import _numerical as nm
import numpy as np

pytestmark = pytest.mark.boundary

finite = st.floats(-1e9, 1e9)
BEYOND_MEMORY = "cannot create std::vector larger than max_size()"
OVERFLOW = "dimension product overflows std::size_t"


def exact(value):
    """The double nearest to an exact value."""
    return float(value)


# --- _arange ---------------------------------------------------------------------------------


@given(finite, st.floats(1e-3, 1e3), st.integers(0, 300))
def test_arange_rounds_each_element_once(start, step, count):
    stop = start + step * count
    result = nm._arange(start, stop, step).tolist()
    assert len(result) == max(0, math.ceil((stop - start) / step))
    delta = Fraction((step + start) - start)
    for i, element in enumerate(result):
        assert element == exact(delta * i + Fraction(start))


def test_arange_takes_the_step_of_its_first_two_elements():
    # 1e16 + 1.5 is rounded to 1e16 + 2
    assert nm._arange(1e16, 1e16 + 8, 1.5).tolist() == [1e16 + 2 * i for i in range(6)]


def test_arange_is_fused():
    start, step = -33.1, 0.1  # the elements near zero cancel most of the product
    delta = (step + start) - start
    result = nm._arange(start, 33.0, step).tolist()
    assert result != [delta * i + start for i in range(len(result))]
    assert result == [exact(Fraction(delta) * i + Fraction(start)) for i in range(len(result))]


@pytest.mark.parametrize("path", (0, 1, 2, 3))
def test_arange_has_the_same_bits_on_every_path(path):
    everywhere = nm._arange(0.1, 900.0, 0.3).tolist()
    nm._limit_gemm_path(path)
    try:
        assert nm._arange(0.1, 900.0, 0.3).tolist() == everywhere
    finally:
        nm._limit_gemm_path(3)


def test_arange_of_nothing():
    assert len(nm._arange(0, 1, 0.1).tolist()) == 10
    for bounds in ((1, 0, 1), (0, 10, -1), (3, 3, 1)):
        result = nm._arange(*bounds)
        assert (result.tolist(), result.shape, result.dtype) == ([], (0,), "float64")


@pytest.mark.parametrize(
    "bounds",
    (
        (0, 1, 0),
        (0, 1, -0.0),
        (0, math.inf, 1),
        (-math.inf, 0, 1),
        (0, 1, math.inf),
        (math.nan, 1, 1),
        (0, math.nan, 1),
        (0, 1, math.nan),
    ),
)
def test_arange_refuses_what_is_not_finite(bounds):
    text = "arange needs finite bounds and a finite, non-zero step"
    assert error_of(nm._arange, *bounds) == numerical_error(text)


@pytest.mark.parametrize("stop", (1.2e18, 1e19, 1e30, 1.7e308))
def test_arange_refuses_absurd_counts(stop):
    assert error_of(nm._arange, 0, stop, 0.5) == numerical_error(BEYOND_MEMORY)


def test_arange_beyond_memory_is_a_memory_error():
    assert runs_out_of_memory(nm._arange, 0, 1e17, 1)


# --- _linspace -------------------------------------------------------------------------------


@given(finite, finite, st.integers(2, 200))
def test_linspace_rounds_product_and_sum_apart(start, stop, count):
    result = nm._linspace(start, stop, count).tolist()
    step = (stop - start) / (count - 1)
    for i, element in enumerate(result[:-1]):
        product = exact(Fraction(step) * i)
        assert element == exact(Fraction(product) + Fraction(start))
    assert bits(result[-1]) == bits(stop)


def test_linspace_agrees_with_numpy():
    for start, stop, count in ((0, 1, 50), (-3.7, 1e5, 1001), (2, 2, 3), (5, -5, 2)):
        assert_same_bits(nm._linspace(start, stop, count), np.linspace(start, stop, count))


def test_linspace_of_none_and_of_one():
    assert nm._linspace(0, 1, 0).tolist() == []
    assert nm._linspace(2, 9, 1).tolist() == [2.0]
    assert nm._linspace(0, 1, 3).tolist() == [0.0, 0.5, 1.0]
    assert bits(nm._linspace(-0.0, 1, 1).tolist()[0]) == bits(0.0)  # +0 + -0


def test_linspace_lets_nan_pass():
    first, second, last = nm._linspace(math.nan, 1, 3).tolist()
    assert math.isnan(first) and math.isnan(second) and last == 1.0


def test_linspace_refuses_negative_and_absurd_counts():
    text = "linspace: the number of samples must be non-negative"
    assert error_of(nm._linspace, 0, 1, -1) == (ValueError, text)
    assert error_of(nm._linspace, 0, 1, 2**60) == numerical_error(BEYOND_MEMORY)
    assert runs_out_of_memory(nm._linspace, 0, 1, 10**17)


# --- _full and _eye --------------------------------------------------------------------------


@given(shapes(), st.sampled_from((1.5, -0.0, math.inf)))
def test_full_repeats_one_value(shape, value):
    assert_same_bits(nm._full(shape, value, False), np.full(shape, value))
    assert_same_bits(nm._full(shape, value, True), np.full(shape, complex(value, 0.0)))


def test_full_of_rank_0_and_of_integers():
    seven = nm._full((), 7, False)
    assert (seven.tolist(), seven.shape) == (7.0, ())
    assert nm._full([2], 1 - 2j, True).tolist() == [1 - 2j, 1 - 2j]


def test_full_takes_foreign_numbers_by_their_own_conversion():
    class Foreign:
        def __complex__(self):
            return 1 + 2j

    class Broken:
        def __complex__(self):
            raise ZeroDivisionError("in the conversion")

    for number in (Foreign(), np.complex64(1 + 2j), np.complex128(1 + 2j)):
        assert nm._full((2,), number, True).tolist() == [1 + 2j, 1 + 2j]
    for number in (3, True, 3.0, np.float32(3), np.int8(3)):
        assert nm._full((), number, True).tolist() == complex(number)
        assert nm._full((), number, False).tolist() == float(number)
    assert error_of(nm._full, (2,), Broken(), True) == (ZeroDivisionError, "in the conversion")
    assert error_of(nm._full, (2,), Foreign(), False) == (
        TypeError,
        "must be real number, not Foreign",
    )


def test_full_refuses_shapes_and_values():
    negative = "shape extents must be non-negative"
    assert error_of(nm._full, (-1,), 0, False) == numerical_error(negative)
    assert error_of(nm._full, (-1,), "x", False) == numerical_error(negative)
    assert error_of(nm._full, 3, 0, False)[0] is TypeError
    assert error_of(nm._full, (2.5,), 0, False)[0] is TypeError
    assert error_of(nm._full, (2,), "x", False) == (TypeError, "must be real number, not str")
    assert error_of(nm._full, (2,), 1j, False)[0] is TypeError
    assert error_of(nm._full, (2,), "x", True)[0] is TypeError
    assert error_of(nm._full, (2,), 10**400, False)[0] is OverflowError


def test_full_refuses_absurd_extents_without_allocating():
    assert error_of(nm._full, (2**32, 2**32), 0, False) == numerical_error(OVERFLOW)
    assert error_of(nm._full, (2**32, 2**32, 0), 0, False) == numerical_error(OVERFLOW)
    assert error_of(nm._full, (0, 2**32, 2**32), 0, False) == numerical_error(OVERFLOW)
    assert nm._full((0, 2**32, 2**31), 0, False).size == 0
    assert error_of(nm._full, (2**60,), 0, False) == numerical_error(BEYOND_MEMORY)
    assert error_of(nm._full, (2**59,), 0, True) == numerical_error(BEYOND_MEMORY)
    assert runs_out_of_memory(nm._full, (2**59,), 0, False)
    assert error_of(nm._full, (2**58, 2), 0, True) == numerical_error(BEYOND_MEMORY)


@pytest.mark.parametrize("complex_flag", (False, True))
def test_eye_has_ones_on_its_diagonal(complex_flag):
    for n in (0, 1, 2, 3, 8, 65):
        expected = np.eye(n, dtype=complex if complex_flag else float)
        assert_same_bits(nm._eye(n, complex_flag), expected)


def test_eye_refuses_negative_and_absurd_orders():
    assert nm._eye(0, False).shape == (0, 0)
    negative = "negative dimensions are not allowed"
    assert error_of(nm._eye, -1, False) == (ValueError, negative)
    assert error_of(nm._eye, -(2**62), True) == (ValueError, negative)
    assert error_of(nm._eye, 2**32, False) == numerical_error(OVERFLOW)
    assert error_of(nm._eye, 2**30, False) == numerical_error(BEYOND_MEMORY)
    assert runs_out_of_memory(nm._eye, 2**29, False)
    assert error_of(nm._eye, sys.maxsize + 1, False)[0] is OverflowError
    assert error_of(nm._eye, 2.0, False)[0] is TypeError


# --- _reshape --------------------------------------------------------------------------------


@given(shapes(), st.randoms())
def test_reshape_keeps_the_order(shape, random):
    values = np.arange(float(np.prod(shape, dtype=int))).reshape(shape)
    other = list(shape)
    random.shuffle(other)
    assert_same_bits(nm._reshape(tensor(values), other), values.reshape(other))
    assert_same_bits(nm._reshape(tensor(values), (values.size,)), values.ravel())


def test_reshape_copies():
    t = numbers([1.0, 2.0])
    pointers = {t.__array_interface__["data"][0]}
    pointers.add(nm._reshape(t, (2,)).__array_interface__["data"][0])
    assert len(pointers) == 2


def test_reshape_names_the_size_and_the_shape():
    five = numbers([1.0] * 5)
    text = "cannot reshape a tensor of size 5 into shape "
    assert error_of(nm._reshape, five, (2, 3)) == numerical_error(text + "(2, 3)")
    assert error_of(nm._reshape, five, (7,)) == numerical_error(text + "(7,)")
    assert error_of(nm._reshape, five, ()) == numerical_error(text + "()")
    assert error_of(nm._reshape, five, (2**32, 2**32)) == numerical_error(OVERFLOW)
    assert error_of(nm._reshape, five, (2**32, 2**32, 0)) == numerical_error(OVERFLOW)
    negative = "shape extents must be non-negative"
    assert error_of(nm._reshape, five, (-1,)) == numerical_error(negative)
    assert error_of(nm._reshape, 5, (-1,)) == numerical_error("expected a numerical.Tensor")
    assert error_of(nm._reshape, five, 5)[0] is TypeError
    assert error_of(nm._reshape, nm.Tensor.__new__(nm.Tensor), ()) == numerical_error(
        "uninitialized numerical.Tensor"
    )


@pytest.mark.parametrize("name", ("_full", "_eye", "_arange", "_linspace", "_reshape"))
def test_a_wrong_number_of_arguments_is_a_type_error(name):
    assert error_of(getattr(nm, name))[0] is TypeError
    assert error_of(getattr(nm, name), *[1] * 9)[0] is TypeError
