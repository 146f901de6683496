"""Sorting, searching, and the positions that they give."""

import copy
import pickle

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import numerical as nm
from oracle import equal, examples

pytestmark = pytest.mark.boundary

NUMBERS = st.sampled_from([0.0, -0.0, 1.0, -1.0, 2.0, 1e300, -1e-300, np.inf, -np.inf, np.nan])


def vectors(max_size=12):
    return st.lists(NUMBERS, max_size=max_size).map(
        lambda numbers: np.array(numbers, dtype="float64")
    )


def same(ours, theirs):
    assert isinstance(ours, nm.Positions)
    np.testing.assert_array_equal(np.asarray(ours), theirs)
    assert np.asarray(ours).dtype == np.int64


# --- sorting -------------------------------------------------------------------------------------
@examples(300)
@given(vectors())
def test_sorting_is_numpys_stable_sort(a):
    order = np.argsort(a, kind="stable")
    same(nm.argsort(a), order)
    found = np.asarray(nm.sort(a))
    np.testing.assert_array_equal(found, a[order])
    np.testing.assert_array_equal(np.signbit(found), np.signbit(a[order]))


@pytest.mark.parametrize("size", [47, 48, 49, 300, 8191, 8192, 20000])
@pytest.mark.parametrize("kind", ["normal", "few", "zeros", "wide", "ascending", "nan"])
def test_runs_of_every_length_are_sorted(size, kind):
    source = np.random.default_rng(size)
    a = {
        "normal": source.standard_normal(size),
        "few": source.integers(-2, 3, size).astype(float),
        "zeros": source.choice([0.0, -0.0], size),
        "wide": source.standard_normal(size) * 10.0 ** source.integers(-300, 300, size),
        "ascending": np.sort(source.standard_normal(size)),
        "nan": source.choice([np.nan, 1.0, -1.0, np.inf], size),
    }[kind]
    order = np.argsort(a, kind="stable")
    same(nm.argsort(a), order)
    found = np.asarray(nm.sort(a))
    np.testing.assert_array_equal(found, a[order])
    np.testing.assert_array_equal(np.signbit(found), np.signbit(a[order]))


@pytest.mark.parametrize("shape", [(3, 5), (5, 3), (2, 3, 4), (0, 3), (3, 0), (60, 3)])
def test_sorting_along_axes_is_numpys(shape):
    a = np.random.default_rng(1).integers(-3, 4, shape).astype(float)
    for axis in (*range(-len(shape), len(shape)), None):
        equal(nm.sort(a, axis), np.sort(a, axis, kind="stable"))
        same(nm.argsort(a, axis), np.argsort(a, axis, kind="stable"))
    equal(nm.sort(a), np.sort(a))
    equal(nm.asarray(a).sort(0), np.sort(a, 0))
    same(nm.asarray(a).argsort(0), np.argsort(a, 0, kind="stable"))


def test_descending_order_keeps_equal_elements_and_ends_with_nan():
    a = nm.array([1.0, float("nan"), 3.0, 1.0, 2.0])
    assert nm.argsort(a, descending=True).tolist() == [2, 4, 0, 3, 1]
    assert nm.sort(a, descending=True).tolist()[:4] == [3.0, 2.0, 1.0, 1.0]


@examples(200)
@given(vectors(40).map(np.sort), vectors(), st.sampled_from(["left", "right"]))
def test_searching_is_numpys(a, v, side):
    same(nm.searchsorted(a, v, side), np.searchsorted(a, v, side))
    same(nm.asarray(a).searchsorted(v, side), np.searchsorted(a, v, side))


def test_searching_a_number_gives_an_int():
    a = np.array([5.0, 1.0, 3.0])
    assert nm.searchsorted([1.0, 3.0, 5.0], 3.0) == 1
    assert nm.searchsorted([1.0, 3.0, 5.0], 3.0, "right") == 2
    assert type(nm.searchsorted([1.0], 0.5)) is int
    assert nm.searchsorted(a, 4.0, sorter=nm.argsort(a)) == 2
    same(nm.searchsorted([1.0, 2.0], [[0.0], [5.0]]), [[0], [2]])


# --- extremes ------------------------------------------------------------------------------------
@examples(200)
@given(st.data())
def test_places_of_extremes_are_numpys(data):
    shape = tuple(data.draw(st.lists(st.integers(1, 5), min_size=1, max_size=3)))
    a = np.array(
        data.draw(st.lists(NUMBERS, min_size=int(np.prod(shape)), max_size=int(np.prod(shape))))
    )
    a = a.reshape(shape)
    axis = data.draw(st.none() | st.integers(-len(shape), len(shape) - 1))
    keep = data.draw(st.booleans())
    for name in ("argmax", "argmin"):
        expected = getattr(np, name)(a, axis, keepdims=keep)
        found = getattr(nm, name)(a, axis, keepdims=keep)
        assert isinstance(found, int) == (np.ndim(expected) == 0)
        np.testing.assert_array_equal(np.asarray(found), expected)
        assert np.array_equal(
            np.asarray(getattr(nm.asarray(a), name)(axis)), getattr(a, name)(axis)
        )


@pytest.mark.parametrize("path", ["portable", "avx2"])
@pytest.mark.parametrize("size", [1, 7, 4095, 4096, 4097, 50000])
def test_the_first_of_equal_extremes_is_found(size, path):
    source = np.random.default_rng(size)
    a = source.integers(-5, 6, size).astype(float)
    with_nan = a.copy()
    with_nan[size // 2 :: 3] = np.nan
    columns = a[: size // 4 * 4].reshape(-1, 4)
    with nm.limit_gemm_path(path):
        for name in ("argmax", "argmin"):
            assert getattr(nm, name)(a) == getattr(np, name)(a)
            assert getattr(nm, name)(with_nan) == getattr(np, name)(with_nan)
            if columns.size:
                same(getattr(nm, name)(columns, 0), getattr(np, name)(columns, 0))


# --- positions -----------------------------------------------------------------------------------
@pytest.mark.parametrize("shape", [(7,), (3, 4), (2, 3, 4), (0,), (2, 0), (1, 1)])
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_places_of_what_is_not_zero_are_numpys(shape, dtype):
    a = np.random.default_rng(2).integers(0, 2, shape).astype(dtype)
    for found in (nm.nonzero(a), nm.where(a), nm.asarray(a).nonzero()):
        assert len(found) == len(shape)
        for ours, theirs in zip(found, np.nonzero(a)):
            same(ours, theirs)
    t = nm.asarray(a)
    equal(t[nm.nonzero(t)], a[np.nonzero(a)])


def test_positions_index_tensors_and_arrays():
    source = np.random.default_rng(3)
    a = source.standard_normal((6, 4))
    t, p = nm.asarray(a), nm.argsort(source.standard_normal(6))
    q = np.asarray(p)
    equal(t[p], a[q])
    equal(t[p[::-1][:3]], a[q[::-1][:3]])
    equal(t.T[:, p], a.T[:, q])
    equal(t[p, 1], a[q, 1])
    equal(t[p[:, None], nm.Positions([0, 2])], a[q[:, None], [0, 2]])
    equal(t[nm.Positions([[0, 1], [-1, 2]])], a[[[0, 1], [-1, 2]]])
    equal(t[:, nm.Positions([])], a[:, []])
    equal(t.at[p[:2]].set(0.0), np.where(np.isin(np.arange(6), q[:2])[:, None], 0.0, a))
    equal((t * 1j)[p], (a * 1j)[q])
    np.testing.assert_array_equal(a[p], a[q])
    with pytest.raises(IndexError, match=r"^index 6 is out of bounds for axis 0 with size 6$"):
        t[nm.Positions([1, 6])]
    with pytest.raises(IndexError, match=r"^index -5 is out of bounds for axis 1 with size 4$"):
        t[:, nm.Positions([-5])]
    with pytest.raises(
        IndexError, match=r"^too many indices: the tensor has 0 axes, 1 were indexed$"
    ):
        nm.array(1.0)[p]


def test_positions_are_indexed_as_arrays_are():
    a = np.array([[3, 1, 2], [5, 4, 0]])
    p = nm.Positions(a)
    assert (p.shape, p.ndim, p.size, p.dtype, len(p)) == ((2, 3), 2, 6, "int64", 2)
    assert p[1, 0] == 5 and type(p[1, 0]) is int
    same(p[0], a[0])
    same(p[:, ::-1], a[:, ::-1])
    same(p[[1, 0]], a[[1, 0]])
    same(p[p > 2], a[a > 2])
    same(p[0][nm.argsort(p[0])], np.sort(a[0]))
    assert [row.tolist() for row in p] == a.tolist()
    assert list(p[0]) == [3, 1, 2]
    with pytest.raises(TypeError, match="does not support item assignment"):
        p[0] = 1


def test_positions_count_and_compare():
    a = np.array([3, 1, 2, -7])
    p = nm.Positions(a)
    for ours, theirs in [(p + 1, a + 1), (1 - p, 1 - a), (p * p, a * a), (p // 2, a // 2), (p % 3, a % 3),
                         (-p, -a), (p // -2, a // -2), (p % -3, a % -3)]:  # fmt: skip
        same(ours, theirs)
    equal(p == 2, [0.0, 0.0, 1.0, 0.0])
    equal(p < nm.Positions([4]), [1.0] * 4)
    equal(p / 2, a / 2)
    equal(p * 0.5, a * 0.5)
    equal(nm.ones(4) + p, 1.0 + a)
    equal(p**2, a**2.0)
    equal(nm.asarray(p), a.astype(float))
    assert nm.mean(p) == np.mean(a)
    with pytest.raises(ZeroDivisionError, match="^division of positions by zero$"):
        p // 0
    with pytest.raises(OverflowError, match="^the result leaves the range of int64$"):
        p * 2**62


def test_positions_are_written_as_numpys():
    assert repr(nm.Positions([3, 10, 2])) == "Positions([ 3, 10,  2])"
    assert str(nm.Positions([[1, 2], [3, 4]])) == "[[1, 2],\n [3, 4]]"
    assert repr(nm.Positions([])) == "Positions([])"
    assert repr(nm.argsort(nm.zeros((0, 2)))) == "Positions([], shape=(0, 2))"
    long = nm.argsort(nm.arange(2000.0))
    assert repr(long) == "Positions([   0,    1,    2, ..., 1997, 1998, 1999], shape=(2000,))"


def test_positions_survive_copies_and_pickles():
    for p in (nm.Positions([[1, 2], [3, 4]]), nm.Positions([]), nm.argsort(nm.zeros((2, 0)))):
        assert copy.copy(p) is copy.deepcopy(p) is p
        again = pickle.loads(pickle.dumps(p))
        assert (again.shape, again.tolist()) == (p.shape, p.tolist())
    assert hash(nm.Positions([1])) is not None


def test_one_position_is_a_number():
    assert int(nm.Positions([[7]])) == 7
    assert bool(nm.Positions([0])) is False
    with pytest.raises(
        ValueError, match=r"^only positions of one element are a number; these are 2$"
    ):
        int(nm.Positions([1, 2]))
    with pytest.raises(ValueError, match=r"^the truth of 2 positions is ambiguous: ask for .size$"):
        bool(nm.Positions([1, 2]))


@pytest.mark.parametrize(
    ("call", "kind", "message"),
    [
        (
            lambda: nm.Positions(),
            TypeError,
            "Positions() takes one argument, a list or an array of ints",
        ),
        (
            lambda: nm.Positions([True]),
            IndexError,
            "positions are ints: nonzero gives those of a mask",
        ),
        (lambda: nm.Positions([1]).__init__([2]), TypeError, "positions are immutable"),
        (lambda: len(nm.Positions(np.array(3))), TypeError, "positions of rank 0 have no length"),
    ],
)
def test_what_makes_no_positions_is_refused(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert str(failure.value) == message


# --- taking --------------------------------------------------------------------------------------
def test_taking_is_numpys():
    a = np.random.default_rng(4).standard_normal((4, 5))
    t = nm.asarray(a)
    equal(nm.take(t, [3, 0, -1]), np.take(a, [3, 0, -1]))
    equal(nm.take(t, [[1], [0]], 1), np.take(a, [[1], [0]], 1))
    equal(t.take(2, 0), a.take(2, 0))
    for axis in (0, 1, -1):
        order = nm.argsort(t, axis)
        equal(nm.take_along_axis(t, order, axis), np.sort(a, axis))
    equal(nm.take_along_axis(t[0], nm.argsort(t[0])), np.sort(a[0]))


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_masks_of_the_tensors_shape_pick_in_order(dtype):
    source = np.random.default_rng(5)
    for shape in [(7,), (3, 4), (0,), (2, 3, 2)]:
        a = source.standard_normal(shape).astype(dtype)
        mask = source.integers(0, 2, shape).astype(bool)
        equal(nm.asarray(a)[nm.asarray(mask)], a[mask])
        equal(nm.asarray(a)[nm.zeros(shape)], a[np.zeros(shape, bool)])
