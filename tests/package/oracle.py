"""Arrays for NumPy as the oracle, drawn by hypothesis or made from a seed."""

import os

import numpy as np
from hypothesis import settings
from hypothesis import strategies as st

EXTENTS = st.sampled_from([0, 1, 2, 3, 5])


def examples(count):
    """Of a property that needs more examples than others; under a sanitizer it gets a fifth."""
    sanitized = os.environ.get("HYPOTHESIS_PROFILE") == "sanitized"
    return settings(max_examples=count // 5 if sanitized else count)


@st.composite
def arrays(draw, min_rank=0, max_rank=3, dtypes=("float64", "complex128"), extents=EXTENTS):
    """An array of small integers, so that sums and products are exact."""
    shape = tuple(draw(st.lists(extents, min_size=min_rank, max_size=max_rank)))
    return integers(shape, draw(st.sampled_from(dtypes)), draw(st.integers(0, 2**32 - 1)))


def integers(shape, dtype="float64", seed=0):
    source = np.random.default_rng(seed)
    values = source.integers(-8, 9, shape).astype(dtype)
    return values + 1j * source.integers(-8, 9, shape) if dtype == "complex128" else values


def normal(shape, dtype="float64", seed=0):
    source = np.random.default_rng(seed)
    values = source.standard_normal(shape)
    return values + 1j * source.standard_normal(shape) if dtype == "complex128" else values


def equal(ours, theirs):
    """Same shape, same dtype kind and equal elements; numbers where NumPy gives scalars."""
    theirs = np.asarray(theirs)
    got = np.asarray(ours)
    assert got.shape == theirs.shape
    assert (got.dtype.kind == "c") == (theirs.dtype.kind == "c")
    np.testing.assert_array_equal(got, theirs)


def close(ours, theirs, tolerance=1e-12):
    theirs = np.asarray(theirs)
    got = np.asarray(ours)
    assert got.shape == theirs.shape
    np.testing.assert_allclose(got, theirs, rtol=tolerance, atol=tolerance)
