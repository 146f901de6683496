"""_reduce: sums, means and extremes."""

import struct

import pytest
from hypothesis import given
from hypothesis import strategies as st
from support import error_of, numerical_error
from surface import (
    array_of,
    as_array,
    assert_same_bits,
    bits,
    complex_quotient,
    numbers,
    shapes,
    tensor,
)

import _numerical as nm
import numpy as np

NO_IDENTITY = numerical_error("a zero-size reduction to a maximum or a minimum has no identity")
CANONICAL = struct.unpack("<d", struct.pack("<Q", 0x7FF8000000000000))[0]
PAYLOAD = struct.unpack("<d", struct.pack("<Q", 0xFFF8000000001234))[0]


@pytest.fixture(params=(0, 1, 2), autouse=True, ids=("portable", "avx2", "avx512"))
def path(request):
    nm._limit_gemm_path(request.param)
    yield
    nm._limit_gemm_path(3)


def pairwise(x):
    """The sum by its definition, in Python's own doubles."""
    n = len(x)
    if n < 8:
        total = type(x[0])(0) if x else 0.0
        for value in x:
            total += value
        return total
    if n > 128:
        half = n // 2 & ~7
        return pairwise(x[:half]) + pairwise(x[half:])
    full = n & ~7
    r = list(x[:8])
    for i in range(8, full):
        r[i % 8] += x[i]
    total = ((r[0] + r[1]) + (r[2] + r[3])) + ((r[4] + r[5]) + (r[6] + r[7]))
    for value in x[full:]:
        total += value
    return total


def by_lanes(x, wins):
    """The extreme of contiguous numbers by its definition."""
    best = x[0]
    full = len(x) & ~7
    lanes = list(x[:8])
    for i in range(full):
        if wins(x[i], lanes[i % 8]):
            lanes[i % 8] = x[i]
    for value in (lanes if full else []) + list(x[full:]):
        if wins(value, best):
            best = value
    return CANONICAL if any(value != value for value in x) else best


def in_order(x, wins):
    best = x[0]
    for value in x:
        if wins(value, best):
            best = value
    return CANONICAL if any(value != value for value in x) else best


WINS = {"min": lambda x, y: x < y, "max": lambda x, y: x > y}


def along(array, axis, function, dtype):
    """function of the list of each column."""
    columns = np.moveaxis(array, axis, -1)
    flat = [function(column.tolist()) for column in columns.reshape(-1, array.shape[axis])]
    return np.array(flat, dtype).reshape(columns.shape[:-1])


def exact_bits(value):
    return struct.pack("<d", value)


# --- sums ------------------------------------------------------------------------------------


@given(shapes(), st.sampled_from(("float64", "complex128")), st.data())
def test_sums_follow_the_definition(shape, dtype, data):
    array = array_of(shape, dtype, 4)
    t = tensor(array)
    assert (
        bits(nm._reduce("sum", t, -1)) == bits(pairwise(array.ravel().tolist())) or not array.size
    )
    if shape and array.size:
        axis = data.draw(st.integers(0, len(shape) - 1))
        assert_same_bits(nm._reduce("sum", t, axis), along(array, axis, pairwise, dtype))


@pytest.mark.parametrize("n", (7, 8, 9, 63, 64, 65, 127, 128, 129, 136, 200, 257, 1000, 4100))
def test_sums_of_the_lengths_where_the_way_changes(n):
    for dtype in ("float64", "complex128"):
        array = array_of((n,), dtype, n)
        assert bits(nm._reduce("sum", tensor(array), -1)) == bits(pairwise(array.tolist()))
        for columns in (2, 3, 70):
            wide = array_of((n, columns), dtype, n)
            assert_same_bits(nm._reduce("sum", tensor(wide), 0), along(wide, 0, pairwise, dtype))


def test_129_numbers_are_cut_after_64():
    # 2^53 + 1 rounds down: the two halves must not meet before their end.
    x = [0.0] * 129
    x[0], x[63], x[64] = 2.0**53, 1.0, 1.0
    assert nm._reduce("sum", numbers(x), -1) == 2.0**53
    x[128] = 1.0
    assert nm._reduce("sum", numbers(x), -1) == 2.0**53 + 2


def test_sums_of_128_are_not_cut():
    x = [0.0] * 128
    x[0], x[64], x[72] = 2.0**53, 1.0, 1.0  # one accumulator, where each 1 is lost
    assert nm._reduce("sum", numbers(x), -1) == 2.0**53
    y = [0.0] * 136
    y[0], y[64], y[72] = 2.0**53, 1.0, 1.0  # the right half keeps them
    assert nm._reduce("sum", numbers(y), -1) == 2.0**53 + 2


def test_signs_of_zero_sums():
    for n in (1, 7, 8, 9, 128, 129):
        total = nm._reduce("sum", numbers([-0.0] * n), -1)
        assert bits(total) == bits(0.0 if n < 8 else -0.0)


def test_means_are_quotients_by_the_rules_of_c():
    array = array_of((129, 9), "complex128", 6)
    t = tensor(array)
    total = pairwise(array.ravel().tolist())
    assert bits(nm._reduce("mean", t, -1)) == bits(complex_quotient(total, complex(129 * 9)))
    expected = along(array, 0, lambda x: complex_quotient(pairwise(x), complex(129)), complex)
    assert_same_bits(nm._reduce("mean", t, 0), expected)
    real = tensor(array.real)
    assert_same_bits(
        nm._reduce("mean", real, 1), along(array.real, 1, lambda x: pairwise(x) / 9.0, float)
    )


def test_sums_and_means_of_nothing():
    for dtype in ("float64", "complex128"):
        empty = nm.Tensor([], (0,), dtype)
        total = nm._reduce("sum", empty, -1)
        assert (total, type(total)) == (0, complex if dtype == "complex128" else float)
        mean = nm._reduce("mean", empty, -1)
        assert mean != mean
        assert as_array(nm._reduce("sum", empty, 0)) == 0
        flat = nm.Tensor([], (3, 0), dtype)
        assert nm._reduce("sum", flat, 0).shape == (0,)
        assert nm._reduce("sum", flat, 1).tolist() == [0, 0, 0]
        assert np.isnan(as_array(nm._reduce("mean", flat, 1))).all()


# --- extremes --------------------------------------------------------------------------------


@given(shapes(), st.sampled_from(("min", "max")), st.integers(0, 3), st.data())
def test_extremes_follow_the_definition(shape, name, zeros, data):
    array = array_of(shape, "float64", 4)
    generator = np.random.default_rng(zeros)
    if zeros:  # zeros of both signs among numbers that lose
        array = np.where(
            generator.random(shape) < 0.5,
            np.copysign(0.0, array),
            np.abs(array) if name == "min" else -np.abs(array),
        )
    if zeros == 3 and array.size:
        array.ravel()[generator.integers(array.size)] = PAYLOAD
    if not array.size:
        return
    t = tensor(array)
    whole = nm._reduce(name, t, -1)
    assert exact_bits(whole) == exact_bits(by_lanes(array.ravel().tolist(), WINS[name]))
    for axis in range(len(shape)):
        last = int(np.prod(shape[axis + 1 :], dtype=int)) == 1
        rule = by_lanes if last else in_order
        expected = along(array, axis, lambda x, rule=rule: rule(x, WINS[name]), float)
        result = nm._reduce(name, t, axis)
        assert result.shape == expected.shape
        found = np.asarray(result).view(np.uint64)
        assert (found == expected.view(np.uint64)).all()


@pytest.mark.parametrize("n", (1, 7, 8, 9, 40, 129, 300))
def test_one_nan_decides_wherever_it_stands(n):
    for at in range(n):
        x = np.ones(n)
        x[at] = PAYLOAD
        for name in ("min", "max"):
            assert exact_bits(nm._reduce(name, tensor(x), -1)) == exact_bits(CANONICAL)
            columns = np.asarray(nm._reduce(name, tensor(np.stack((x, x), 1)), 0))
            assert columns.tobytes() == exact_bits(CANONICAL) * 2


def test_extremes_of_nothing_have_no_identity():
    for name in ("min", "max"):
        assert error_of(nm._reduce, name, nm._full((0,), 0, False), -1) == NO_IDENTITY
        flat = nm._full((3, 0), 0, False)
        assert error_of(nm._reduce, name, flat, 1) == NO_IDENTITY
        assert error_of(nm._reduce, name, nm._full((0, 0), 0, False), 0) == NO_IDENTITY
        assert nm._reduce(name, flat, 0).shape == (0,)


# --- arguments -------------------------------------------------------------------------------


@given(shapes(), st.sampled_from(("sum", "mean", "min", "max")), st.integers(-9, -1))
def test_any_negative_axis_is_the_whole_tensor(shape, name, axis):
    array = array_of(shape, "float64", 2)
    if array.size:
        t = tensor(array)
        result = nm._reduce(name, t, axis)
        assert type(result) is float
        assert result == nm._reduce(name, t, -1)
        np.testing.assert_allclose(result, getattr(np, name)(array), rtol=1e-9, atol=1e-3)


def test_a_vector_along_its_axis_is_a_tensor_of_rank_0():
    for name in ("sum", "mean", "min", "max"):
        result = nm._reduce(name, numbers([4.0]), 0)
        assert (type(result), result.shape, result.tolist()) == (nm.Tensor, (), 4.0)


def test_an_axis_beyond_the_rank_is_named():
    cube = nm._full((2, 2, 2), 1, False)
    for name in ("sum", "mean", "min", "max"):
        text = "axis 3 is out of bounds for a tensor of rank 3"
        assert error_of(nm._reduce, name, cube, 3) == numerical_error(text)
        text = "axis 0 is out of bounds for a tensor of rank 0"
        assert error_of(nm._reduce, name, nm._full((), 1, False), 0) == numerical_error(text)


def test_faults_in_their_order():
    no_tensor = numerical_error("expected a numerical.Tensor")
    bad_name = (ValueError, "_reduce: op is sum, mean, max or min")
    no_order = (TypeError, "max and min take a float64 tensor: complex128 has no order")
    z = numbers([1j])
    assert error_of(nm._reduce, "prod", 1, 0) == no_tensor
    assert error_of(nm._reduce, "prod", z, 7) == bad_name
    assert error_of(nm._reduce, "", z, 0) == bad_name
    assert error_of(nm._reduce, "max", z, 7) == no_order
    assert error_of(nm._reduce, "min", nm.Tensor([], (0,), "complex128"), -1) == no_order
    assert error_of(nm._reduce, "sum", z)[0] is TypeError
    assert error_of(nm._reduce, "sum", z, 1.0)[0] is TypeError
    assert error_of(nm._reduce, "sum", z, 2**63)[0] is OverflowError
    uninitialized = numerical_error("uninitialized numerical.Tensor")
    assert error_of(nm._reduce, "sum", nm.Tensor.__new__(nm.Tensor), 0) == uninitialized


def test_results_too_large_are_refused_without_allocating():
    split = nm.Tensor([], (2**33, 0, 2**31))
    overflow = numerical_error("dimension product overflows std::size_t")
    assert error_of(nm._reduce, "sum", split, 1) == overflow
    beyond = numerical_error("cannot create std::vector larger than max_size()")
    wide = nm._full((0, 2**30, 2**30), 1, False)
    assert error_of(nm._reduce, "sum", wide, 0) == beyond
    assert error_of(nm._reduce, "max", wide, 0) == NO_IDENTITY
