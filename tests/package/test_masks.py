"""Masks keep booleans as bytes until their numbers are needed, which only memory shows."""

import pathlib
import subprocess
import sys
import threading

import numpy as np
import pytest

import numerical as nm

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "trust"))

import catalogue  # noqa: E402

EMPTY = sys.getsizeof(nm.zeros(0))


def keeps_numbers(mask):
    """Whether the numbers of a mask of some size were made."""
    kept = sys.getsizeof(mask) - EMPTY - mask.size
    assert 0 < kept < 500 or 8 * mask.size < kept < 8 * mask.size + 500
    return kept > 500


def drawn(shape, seed=3):
    return np.random.default_rng(seed).standard_normal(shape)


class AsMasks:
    """Operands of the catalogue, the real ones as masks, kept as booleans or as numbers."""

    def __init__(self, operands, as_numbers):
        for name, value in vars(operands).items():
            if isinstance(value, nm.Tensor) and value.dtype == "float64":
                mask = value > nm.mean(value)
                value = nm.Tensor(mask.ravel().tolist(), mask.shape) if as_numbers else mask
            setattr(self, name, value)


CALLS = {
    **{f"{name} of the package": (nm, call) for name, call in catalogue.FUNCTIONS.items()},
    **{f"linalg.{name}": (nm, call) for name, call in catalogue.LINALG.items()},
    **{f"Tensor.{name}": (nm, call) for name, call in catalogue.TENSOR.items()},
    **{f"_numerical.{name}": (nm._numerical, call) for name, call in catalogue.MODULE.items()},
}


@pytest.mark.parametrize("name", CALLS)
def test_every_function_takes_a_mask_for_its_ones_and_zeros(name):
    place, call = CALLS[name]
    operands = catalogue.Operands(nm, 5)
    with np.errstate(all="ignore"):
        found, expected = (
            catalogue.result_of(lambda o: call(place, o), AsMasks(operands, as_numbers))
            for as_numbers in (False, True)
        )
    assert found == expected


OF_BOOLEANS = {
    "&": lambda m: m & m, "|": lambda m: m | m, "^": lambda m: m ^ m, "~": lambda m: ~m,
    "logical_and": lambda m: nm.logical_and(m, m), "logical_or": lambda m: nm.logical_or(m, m),
    "logical_xor": lambda m: nm.logical_xor(m, m), "logical_not": nm.logical_not,
    "any": lambda m: m.any(), "all": lambda m: m.all(), "any along": lambda m: nm.any(m, axis=0),
    "all along": lambda m: nm.all(m, axis=1), "sum": lambda m: m.sum(), "mean": lambda m: m.mean(),
    "sum along": lambda m: nm.sum(m, axis=0), "mean along": lambda m: nm.mean(m, axis=1, keepdims=True),
    "count_nonzero": nm.count_nonzero, "count_nonzero along": lambda m: nm.count_nonzero(m, axis=1),
    "nonzero": nm.nonzero, "where alone": nm.where, "where": lambda m: nm.where(m, 1.0, 2.0),
    "index": lambda m: nm.ones(m.shape)[m], "an index of the first axes": lambda m: nm.ones((*m.shape, 2))[m],
    "an index after a slice": lambda m: nm.ones((2, *m.shape))[:, m],
    "at.set": lambda m: nm.ones(m.shape).at[m].set(2.0), "at.add": lambda m: nm.ones(m.shape).at[m].add(2.0),
    "shape": lambda m: m.shape, "ndim": lambda m: m.ndim, "size": lambda m: m.size, "dtype": lambda m: m.dtype,
    "nbytes": lambda m: m.nbytes, "itemsize": lambda m: m.itemsize, "len": len,
}  # fmt: skip


@pytest.mark.parametrize("call", OF_BOOLEANS.values(), ids=OF_BOOLEANS)
def test_functions_of_booleans_make_no_numbers(call):
    mask = nm.asarray(drawn((30, 40))) > 0
    call(mask)
    assert not keeps_numbers(mask)


RESULTS = {
    "<": lambda a, b: a < b, "==": lambda a, b: a == b, "equal": nm.equal, "isclose": nm.isclose,
    "logical_and": nm.logical_and, "isnan": lambda a, b: nm.isnan(a), "isinf": lambda a, b: nm.isinf(a),
    "isfinite": lambda a, b: nm.isfinite(a), "signbit": lambda a, b: nm.signbit(a),
    "logical_not": lambda a, b: nm.logical_not(a), "isin": nm.isin, "&": lambda a, b: (a < b) & (a > b),
    "of complex numbers": lambda a, b: nm.isnan(a + 1j),
}  # fmt: skip


@pytest.mark.parametrize("call", RESULTS.values(), ids=RESULTS)
def test_comparisons_and_predicates_give_booleans(call):
    a, b = nm.asarray(drawn((30, 40), 1)), nm.asarray(drawn((30, 40), 2))
    mask = call(a, b)
    assert not keeps_numbers(mask)
    assert mask.dtype == "float64"
    assert mask.nbytes == 30 * 40 * 8


def test_numbers_are_kept_beside_the_booleans_once_they_were_needed():
    x = drawn(5000)
    mask = nm.asarray(x) > 0
    assert sys.getsizeof(mask) < EMPTY + 5000 + 500
    assert np.array_equal(np.asarray(mask), (x > 0).astype(float))
    assert sys.getsizeof(mask) > EMPTY + 9 * 5000
    assert mask.sum() == (x > 0).sum()
    assert nm.array_equal(~mask, nm.asarray(x) <= 0)
    address = mask.__array_interface__["data"][0]
    assert mask.__array_interface__["data"][0] == address


SHAPES = [(0,), (1,), (10,), (255,), (3, 0), (7, 9), (40, 33), (3, 4, 5), (2, 3, 4, 5)]
AXES = [None, 0, -1, (0, 1), (0, 2), (1, 3), ()]


@pytest.mark.parametrize("shape", SHAPES)
@pytest.mark.parametrize("name", ["any", "all", "sum", "count_nonzero", "mean"])
def test_reductions_are_numpys_of_bools(name, shape):
    bools = drawn(shape) > 0
    mask = nm.asarray(drawn(shape)) > 0
    for axis in AXES:
        axes = axis if isinstance(axis, tuple) else () if axis is None else (axis,)
        if any(a >= len(shape) for a in axes) or (axis == () and name == "count_nonzero"):
            continue
        with np.errstate(all="ignore"):
            if name == "mean" and 0 in shape:
                continue
            expected = getattr(np, name)(bools, axis=axis)
        assert np.array_equal(getattr(nm, name)(mask, axis=axis), np.asarray(expected, float)), axis


@pytest.mark.parametrize("shape", SHAPES)
def test_indices_are_numpys_with_bools(shape):
    x, bools = drawn(shape, 1), drawn(shape) > 0
    t, mask = nm.asarray(x), nm.asarray(drawn(shape)) > 0
    y, u = np.stack([x, -x], -1), nm.stack([t, -t], -1)
    equal = np.testing.assert_array_equal
    equal(t[mask], x[bools])
    equal(u[mask], y[bools])
    equal(u[mask, 1], y[bools, 1])
    equal(nm.moveaxis(u, -1, 0)[1, mask], np.moveaxis(y, -1, 0)[1, bools])
    equal(nm.moveaxis(u, -1, 0)[:, mask], np.moveaxis(y, -1, 0)[:, bools])
    equal(u[mask, None], y[bools, None])
    equal(u[mask, ..., ::-1], y[bools, ..., ::-1])
    equal(mask[mask], bools[bools])
    changed = x.copy()
    changed[bools] += 3
    equal(t.at[mask].add(3.0), changed)
    changed[bools] = np.arange(bools.sum())
    equal(t.at[mask].set(nm.arange(float(bools.sum()))), changed)
    equal(nm.where(mask, t, 0.5), np.where(bools, x, 0.5))
    for found, expected in zip(nm.nonzero(mask), np.nonzero(bools)):
        equal(found, expected)


def test_masks_of_other_shapes_are_refused():
    mask = nm.ones((2, 3)) > 0
    with pytest.raises(IndexError) as failure:
        nm.ones((3, 2))[mask]
    assert (
        str(failure.value)
        == "a mask of shape (2, 3) doesn't fit the axes from 0 on of shape (3, 2)"
    )
    with pytest.raises(nm.error) as failure:
        mask & (nm.ones(2) > 0)
    assert str(failure.value) == "operands could not be broadcast together with shapes (2, 3) (2,)"


def test_a_mask_is_no_new_object_to_initialize():
    with pytest.raises(TypeError) as failure:
        nm.Tensor.__init__(nm.ones(2) > 0, [1.0])
    assert str(failure.value) == "numerical.Tensor cannot be re-initialized"


def test_threads_may_read_a_mask_while_another_asks_for_its_numbers():
    x = drawn(2**15)
    for _ in range(20):
        mask = nm.asarray(x) > 0
        other = nm.asarray(x) < 1
        start = threading.Barrier(3)
        results = [None] * 3

        def run(place, call):
            start.wait()
            results[place] = [call() for _ in range(5)]

        calls = (lambda: (mask & other).sum(), lambda: (mask * 2.0).sum(), lambda: mask.sum())
        threads = [threading.Thread(target=run, args=pair) for pair in enumerate(calls)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        both, count = int(((x > 0) & (x < 1)).sum()), int((x > 0).sum())
        assert results == [[both] * 5, [2.0 * count] * 5, [count] * 5]


WITHOUT_MEMORY = """
import resource, sys
import numerical as nm
nm.set_num_threads(1)
n = 2**24
mask = nm.zeros(n) == 0
with open("/proc/self/statm") as sizes:
    used = int(sizes.read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (used + n, -1))
for ask in (lambda: mask * 2.0, lambda: mask.__array_interface__, lambda: mask[0], lambda: nm._numerical._negate(mask)):
    try:
        ask()
    except MemoryError:
        continue
    sys.exit("no MemoryError")
assert mask.sum() == n and mask.shape == (n,)
resource.setrlimit(resource.RLIMIT_AS, (-1, -1))
assert mask[n - 1] == 1.0 and nm.max(mask) == 1.0
"""


def test_a_mask_without_memory_for_its_numbers_stays_whole():
    path = str(pathlib.Path(nm.__file__).parents[1])
    done = subprocess.run(
        [sys.executable, "-c", WITHOUT_MEMORY],
        env={"PYTHONPATH": path},
        capture_output=True,
        text=True,
    )
    assert (done.returncode, done.stderr) == (0, "")
