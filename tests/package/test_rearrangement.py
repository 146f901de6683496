"""Elements repeated, moved round, picked run by run, and the diagonals, against NumPy."""

import numpy as np
import pytest

import numerical as nm
from oracle import close, equal, integers, normal

pytestmark = pytest.mark.boundary

SHAPES = [(), (5,), (3, 4), (2, 3, 4), (0,), (2, 0, 3)]


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_tiles_are_numpys(shape, dtype):
    a = integers(shape).astype(dtype) * (1 + 1j if dtype == "complex128" else 1)
    for counts in (1, 3, (2, 3), (2, 1, 3), (1, 2, 1, 2), (0, 2), ()):
        equal(nm.tile(nm.asarray(a), counts), np.tile(a, counts))


@pytest.mark.parametrize("shape", SHAPES)
def test_repetitions_are_numpys(shape):
    a = integers(shape)
    for count in (0, 1, 5):
        equal(nm.repeat(nm.asarray(a), count), np.repeat(a, count))
        for axis in range(-len(shape), len(shape)):
            equal(nm.repeat(nm.asarray(a), count, axis), np.repeat(a, count, axis))


@pytest.mark.parametrize("shape", SHAPES)
def test_rolled_elements_are_numpys(shape):
    a = integers(shape)
    for shift in (0, 1, -2, 7, 100):
        equal(nm.roll(nm.asarray(a), shift), np.roll(a, shift))
        for axis in range(-len(shape), len(shape)):
            equal(nm.roll(nm.asarray(a), shift, axis), np.roll(a, shift, axis))


@pytest.mark.parametrize("axis", [0, 1, 2, -1])
def test_runs_are_picked_each_at_its_own_places(axis):
    a = normal((3, 4, 5))
    order = np.argsort(a, axis=axis, kind="stable")
    few = np.take(order, [0, -1, 0], axis=axis)
    for places in (order, few, -1 - order):
        for array in (a, a + 1j):
            found = nm.take_along_axis(nm.asarray(array), places, axis)
            equal(found, np.take_along_axis(array, places, axis))


def test_places_of_one_run_serve_all():
    a = normal((3, 4))
    equal(
        nm.take_along_axis(nm.asarray(a), [[2, 0]], 1), np.take_along_axis(a, np.array([[2, 0]]), 1)
    )


def test_a_place_beyond_the_axis_is_named():
    t = nm.asarray(normal((2, 3)))
    for places in ([[0, 3], [0, 0]], [[0, 0], [-4, 3]]):
        word = "3" if places[0][1] == 3 else "-4"
        with pytest.raises(IndexError) as failure:
            nm.take_along_axis(t, places, 1)
        assert str(failure.value) == f"index {word} is out of bounds for axis 1 with size 3"


@pytest.mark.parametrize("k", [0, 1, -1, 3, -4, 10**30, -(10**30)])
def test_diagonals_and_traces_are_numpys(k):
    near = max(-9, min(k, 9))
    for shape in ((3, 4), (4, 3), (1, 1), (0, 3), (3, 0)):
        a = normal(shape)
        equal(nm.diag(nm.asarray(a), k), np.diag(a, near))
        close(nm.trace(nm.asarray(a), k), np.trace(a, near), 1e-14)
    stacked = normal((2, 3, 4)) + 1j
    close(nm.trace(nm.asarray(stacked), k), np.trace(stacked, near, 1, 2), 1e-14)
    if abs(k) < 9:
        equal(nm.diag(nm.array([1.0, 2.0j]), k), np.diag([1.0, 2.0j], k))


def test_ranks_without_a_diagonal_are_refused():
    for call, said in (
        (
            lambda: nm.diag(nm.zeros((2, 2, 2))),
            "diag takes a vector or a matrix, not a tensor of rank 3",
        ),
        (lambda: nm.diag(1.0), "diag takes a vector or a matrix, not a tensor of rank 0"),
        (
            lambda: nm.trace([1.0]),
            "trace takes a matrix or a stack of them, not a tensor of rank 1",
        ),
    ):
        with pytest.raises(ValueError) as failure:
            call()
        assert str(failure.value) == said


def test_fills_are_exact_and_zero_keeps_its_sign():
    for value in (0.0, -0.0, 2.5, float("inf"), float("nan")):
        for shape in (3, (2, 0), [1, 5000], (700_000,)):
            filled = np.asarray(nm.full(shape, value))
            expected = np.full(shape, value)
            assert filled.shape == expected.shape and filled.tobytes() == expected.tobytes()


def test_a_shape_beyond_memory_is_refused_by_its_size():
    said = "a tensor has fewer than 2**60 elements, and no axis is longer"
    for call in (
        lambda: nm.zeros((2**40, 2**40)),
        lambda: nm.ones(2**60),
        lambda: nm.tile([1.0, 2.0], 2**60),
        lambda: nm.tile([[1.0, 2.0]], (2**40, 2**62)),
        lambda: nm.repeat([1.0, 2.0], 2**62),
    ):
        with pytest.raises(ValueError) as failure:
            call()
        assert str(failure.value) == said


@pytest.mark.parametrize("axis", [None, 0, 1, 2, (0, 2), (1, 2)])
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_booleans_along_axes_are_numpys(axis, dtype):
    generator = np.random.default_rng(3)
    for share in (0.0, 0.02, 0.5, 0.98, 1.0):
        a = (generator.random((6, 40, 7)) < share).astype(dtype)
        t = nm.asarray(a)
        for ours, theirs in (
            (nm.any, np.any),
            (nm.all, np.all),
            (nm.count_nonzero, np.count_nonzero),
        ):
            for keepdims in (False, True):
                found, expected = ours(t, axis, keepdims=keepdims), theirs(
                    a, axis, keepdims=keepdims
                )
                equal(np.asarray(found, float), np.asarray(expected, float))
