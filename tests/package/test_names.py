"""Element-wise functions, masks and reductions by NumPy's names, with NumPy as the oracle."""

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import numerical as nm
from oracle import arrays, close, equal, integers, normal

SPECIAL = [0.0, -0.0, 1.0, -1.0, 0.5, -0.5, 1.5, 2.5, -2.5, 1e300, -1e-300, np.inf, -np.inf, np.nan]
SHAPES = [(), (0,), (1,), (5,), (37,), (3, 4), (2, 0, 3), (2, 3, 5)]
pytestmark = pytest.mark.filterwarnings("ignore::RuntimeWarning")


def special(shape, seed=0):
    return np.random.default_rng(seed).choice(SPECIAL, shape)


def same_bits(ours, theirs):
    """Equal elements, NaN to NaN, and equal signs of zeros."""
    theirs = np.asarray(theirs, dtype="float64")
    ours = np.asarray(ours, dtype="float64")
    np.testing.assert_array_equal(ours, theirs)
    np.testing.assert_array_equal(np.signbit(ours[ours == 0]), np.signbit(theirs[theirs == 0]))


# --- element by element --------------------------------------------------------------------------
ELEMENTARY = ["exp", "exp2", "expm1", "log", "log2", "log10", "log1p", "sqrt", "sin", "cos", "tan", "sinh",
              "cosh", "tanh", "arcsin", "arccos", "arctan", "arcsinh", "arccosh", "arctanh"]  # fmt: skip


@pytest.mark.parametrize("name", ELEMENTARY)
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_elementary_functions_are_numpys(name, dtype):
    for shape in [(0,), (1,), (3, 7), (300,)]:
        a = normal(shape, dtype, seed=3) * 0.9
        close(getattr(nm, name)(a), getattr(np, name)(a), 1e-13)


@pytest.mark.parametrize("name", ELEMENTARY)
def test_elementary_functions_of_special_numbers_are_numpys(name):
    a = special((64,))
    close(getattr(nm, name)(a), getattr(np, name)(a), 1e-14)


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_small_arguments_lose_no_digits(dtype):
    a = normal((50,), dtype) * 1e-12
    for name in ("expm1", "log1p", "arcsin", "arctan", "sinh", "arcsinh", "arctanh"):
        found = np.asarray(getattr(nm, name)(a))
        np.testing.assert_allclose(found, a, rtol=3e-12, atol=0)


def test_complex_expm1_and_log1p_have_the_bits_of_the_real_functions():
    """As those have the same on all processors, which the C library's last bits haven't."""
    for size in (1, 127, 128, 129, 300):
        x, y = (normal((size,), "float64") * scale for scale in (2.0, 3.0))
        z = nm.asarray(x + 1j * np.asarray(y))
        half = nm.sin(nm.asarray(y) / 2.0)
        expected = nm.expm1(x) * nm.cos(y) - 2.0 * half * half
        assert nm.expm1(z).real.tolist() == expected.tolist()
        assert nm.expm1(z).imag.tolist() == (nm.exp(x) * nm.sin(y)).tolist()
        beyond = nm.asarray(1.0 + x)
        away = nm.asarray(x * (2.0 + x) + y * y)
        near, far = nm.log1p(away) / 2.0, nm.log(nm.hypot(beyond, y))
        assert nm.log1p(z).real.tolist() == nm.where(nm.abs(away) < 0.5, near, far).tolist()
        assert nm.log1p(z).imag.tolist() == nm.arctan2(y, beyond).tolist()


@pytest.mark.parametrize("name", ["arctan2", "hypot", "maximum", "minimum"])
def test_pairs_broadcast_as_numpys(name):
    for left, right in [
        ((5,), (5,)),
        ((3, 1), (4,)),
        ((), (6,)),
        ((2, 3), ()),
        ((0,), (1,)),
        ((300,), (300,)),
    ]:
        a, b = special(left, 1), special(right, 2)
        close(getattr(nm, name)(a, b), getattr(np, name)(a, b), 1e-15)


@pytest.mark.parametrize("name", ["floor", "ceil", "trunc", "round", "sign"])
@pytest.mark.parametrize("shape", SHAPES)
def test_roundings_are_numpys(name, shape):
    a = special(shape) + 0.0 if name == "sign" else special(shape)
    same_bits(getattr(nm, name)(a), getattr(np, name)(a))


def test_round_keeps_decimals():
    a = normal((40,), seed=1) * 1000
    for decimals in (-2, -1, 0, 1, 3, 300):
        close(nm.round(a, decimals), np.round(a, decimals), 1e-15)
    same_bits(nm.round([1e308, np.nan, np.inf], 5), [1e308, np.nan, np.inf])
    z = normal((10,), "complex128")
    equal(nm.round(z), np.round(z))
    close(nm.round(z, 2), np.round(z, 2), 1e-15)
    equal(nm.array([0.5, 1.5, -2.5]).round(), [0.0, 2.0, -2.0])


def test_sign_of_complex_numbers_is_their_direction():
    z = np.array(
        [3 + 4j, 0, -2, 1j, 1e308 + 1e308j, 5e-324, complex(np.inf, 1), complex(0, np.nan)]
    )
    found = np.asarray(nm.sign(z))
    half = 0.5**0.5
    np.testing.assert_allclose(
        found[:7], [0.6 + 0.8j, 0, -1, 1j, complex(half, half), 1, 1], rtol=1e-15
    )
    assert np.isnan(found[7])


@pytest.mark.parametrize("path", ["portable", "avx2", "avx512"])
def test_every_path_gives_the_same_bits(path):
    a, b = special((203,), 3), special((203,), 4)
    with nm.limit_gemm_path(path):
        for name in (
            "floor",
            "ceil",
            "trunc",
            "round",
            "sign",
            "isnan",
            "isinf",
            "isfinite",
            "logical_not",
        ):
            same_bits(getattr(nm, name)(a), getattr(np, name)(a))
        for name in ("less", "less_equal", "greater", "greater_equal", "equal", "not_equal", "logical_and",
                     "logical_or", "logical_xor"):  # fmt: skip
            equal(getattr(nm, name)(a, b), getattr(np, name)(a, b).astype(float))
            equal(getattr(nm, name)(a, 0.5), getattr(np, name)(a, 0.5).astype(float))
            equal(getattr(nm, name)(0.5, b), getattr(np, name)(0.5, b).astype(float))
        same_bits(nm.where(a > b, a, b), np.where(a > b, a, b))
        same_bits(nm.clip(a, -1, 2), np.clip(a, -1, 2))
        assert nm.count_nonzero(nm.asarray(a)) == np.count_nonzero(a)


@settings(max_examples=100)
@given(arrays(dtypes=("float64",)), st.booleans(), st.booleans())
def test_clip_is_numpys(a, low, high):
    bounds = (-3.0 if low else None, np.full(a.shape[-1:], 2.0) if high else None)
    expected = np.clip(a, *bounds) if low or high else a
    equal(nm.clip(a, *bounds), expected)
    equal(nm.asarray(a).clip(*bounds), expected)


def test_clip_keeps_nan_and_takes_nan_from_bounds():
    same_bits(nm.clip([np.nan, 5.0], 0, 1), [np.nan, 1.0])
    same_bits(nm.clip([0.5, 5.0], np.nan, 1), [np.nan, np.nan])


@settings(max_examples=100)
@given(arrays(min_rank=1), st.data())
def test_differences_are_numpys(a, data):
    axis = data.draw(st.integers(-a.ndim, a.ndim - 1))
    n = data.draw(st.integers(0, 3))
    equal(nm.diff(a, n, axis), np.diff(a, n, axis))


# --- masks ---------------------------------------------------------------------------------------
@settings(max_examples=150)
@given(arrays(), arrays(), st.data())
def test_where_is_numpys(a, b, data):
    rank = data.draw(st.integers(0, a.ndim))
    b = b.reshape(-1)[:1].reshape(()) if b.size else np.float64(2.0)
    mask = integers(a.shape[a.ndim - rank :], seed=data.draw(st.integers(0, 99))) > 0
    equal(nm.where(mask, a, b), np.where(mask, a, b))
    equal(nm.where(mask, b, a), np.where(mask, b, a))
    equal(nm.where(nm.asarray(mask), a, a + 1), np.where(mask, a, a + 1))


def test_where_broadcasts_all_three():
    mask, a, b = (
        integers((4, 1, 3)) > 0,
        integers((5, 1), "complex128"),
        integers((4, 5, 3), seed=2),
    )
    equal(nm.where(mask, a, b), np.where(mask, a, b))
    equal(nm.where(True, a, b), np.where(True, a, b))
    equal(
        nm.where(integers((3,), "complex128"), 1.0, 0.0),
        np.where(integers((3,), "complex128"), 1.0, 0.0),
    )
    equal(nm.where([np.nan, 0.0], 1.0, 2.0), [1.0, 2.0])


@pytest.mark.parametrize("name", ["isnan", "isinf", "isfinite", "logical_not"])
def test_questions_are_numpys(name):
    for a in (special((50,)), special((5, 10)) + 1j * special((5, 10), 1), special((0, 3))):
        equal(getattr(nm, name)(a), getattr(np, name)(a).astype(float))
    assert getattr(nm, name)(1.0) is bool(getattr(np, name)(1.0))


def test_questions_of_numbers_are_bools():
    assert nm.less(1, 2) is True
    assert nm.equal(1, 2j) is False
    assert nm.isnan(float("nan")) is True
    assert nm.isclose(1.0, 1.0 + 1e-9) is True
    assert nm.logical_and(1, 0) is False


def test_closeness_is_numpys():
    a, b = special((200,), 5), special((200,), 6)
    for equal_nan in (False, True):
        equal(
            nm.isclose(a, b, equal_nan=equal_nan),
            np.isclose(a, b, equal_nan=equal_nan).astype(float),
        )
    z = normal((20,), "complex128")
    equal(nm.isclose(z, z * (1 + 1e-7)), np.isclose(z, z * (1 + 1e-7)).astype(float))
    equal(nm.isclose([1.0, 2.0], [1.1, 2.1], rtol=0, atol=0.2), [1.0, 1.0])


def test_masks_join_by_operators():
    a = nm.array([0.0, 1.0, 2.0, 3.0])
    equal((a > 0) & (a < 3), [0.0, 1.0, 1.0, 0.0])
    equal((a < 1) | (a > 2), [1.0, 0.0, 0.0, 1.0])
    equal((a > 0) ^ (a > 1), [0.0, 1.0, 0.0, 0.0])
    equal(~(a > 1), [1.0, 1.0, 0.0, 0.0])
    equal(a[(a > 0) & ~(a == 2)], [1.0, 3.0])
    equal(True & (a > 1), [0.0, 0.0, 1.0, 1.0])
    for call in (lambda: a & a, lambda: ~a, lambda: (a > 1) | (1j * a)):
        with pytest.raises(TypeError) as failure:
            call()
        assert str(failure.value) == (
            "&, |, ^ and ~ are for masks, tensors of zeros and ones as comparisons give; logical_and"
            " and its like take all numbers"
        )


@pytest.mark.parametrize("call", [
    lambda z: nm.less(z, z), lambda z: nm.maximum(z, 1), lambda z: nm.clip(z, 0, 1), lambda z: nm.greater_equal(1, z),
])  # fmt: skip
def test_complex_numbers_have_no_order(call):
    with pytest.raises(TypeError) as failure:
        call(nm.array([1j]))
    assert str(failure.value) == "complex128 has no order: compare real parts or moduli"


@pytest.mark.parametrize(
    ("call", "kind", "message"),
    [
        (lambda: nm.floor([1j]), TypeError, "floor takes a float64 tensor, not complex128"),
        (lambda: nm.hypot([1j], 1.0), TypeError, "hypot takes float64 tensors"),
        (lambda: nm.where([1.0], 2.0), ValueError, "where takes a mask alone, or both a and b"),
        (lambda: nm.where([1.0, 0.0], [1.0] * 3, 0.0), nm.error, "operands could not be broadcast together with shapes (2,) (3,)"),
        (lambda: nm.diff([1.0], -1), ValueError, "n must not be negative, not -1"),
        (lambda: nm.diff(1.0), ValueError, "diff takes a tensor with an axis, not one of rank 0"),
        (lambda: nm.round([1.0], 1.5), TypeError, "decimals must be an int, not float"),
        (lambda: nm.std([1.0], ddof=1, correction=1), ValueError, "correction and ddof are one: give either"),
        (lambda: nm.sort([1j]), TypeError, "sort takes a float64 tensor: complex128 has no order"),
        (lambda: nm.argmax([]), ValueError, "argmax of an axis without elements has no result"),
        (lambda: nm.sort([1.0], kind="bubble"), ValueError, "kind is 'quicksort', 'heapsort', 'mergesort' or 'stable', all the same stable sort"),
        (lambda: nm.searchsorted([1.0], 1.0, "middle"), ValueError, "side is 'left' or 'right'"),
        (lambda: nm.searchsorted([[1.0]], 1.0), ValueError, "searchsorted takes a vector, not a tensor of rank 2"),
        (lambda: nm.nonzero(1.0), ValueError, "nonzero of a mask alone takes a tensor with an axis, not one of rank 0"),
        (lambda: nm.reshape([1.0], 1, "F"), ValueError, "reshape reads in row-major order, 'C', not 'F': for column-major order write reshape(a.T, shape[::-1]).T"),
        (lambda: nm.zeros(2, device="gpu"), ValueError, "device must be 'cpu', where every tensor lies, not 'gpu'"),
        (lambda: nm.asarray([1.0], copy=False), ValueError, "a Tensor owns its elements: this list can't be one without a copy"),
        (lambda: nm.ones(3).sum(out=[0.0]), TypeError, "tensors are immutable: a reduction gives its result and fills no out"),
        (lambda: nm.linalg.pinv(nm.eye(2), 0.1, rtol=0.1), ValueError, "pinv: rcond and rtol are one: give either"),
    ],
)  # fmt: skip
def test_a_refusal_says_why(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert str(failure.value) == message


# --- reductions ----------------------------------------------------------------------------------
@settings(max_examples=200)
@given(arrays(min_rank=1), st.data())
def test_booleans_along_axes_are_numpys(a, data):
    axes = data.draw(
        st.none() | st.lists(st.integers(0, a.ndim - 1), unique=True, max_size=3).map(tuple)
    )
    keep = data.draw(st.booleans())
    for name in ("any", "all"):
        expected = getattr(np, name)(a, axis=axes, keepdims=keep)
        found = getattr(nm, name)(a, axes, keepdims=keep)
        assert isinstance(found, bool) == (np.ndim(expected) == 0)
        np.testing.assert_array_equal(np.asarray(found, float), np.asarray(expected, float))
    found = nm.count_nonzero(a, axes, keepdims=keep)
    np.testing.assert_array_equal(np.asarray(found), np.count_nonzero(a, axes, keepdims=keep))


@pytest.mark.parametrize("size", [0, 1, 2047, 2048, 5000])
def test_booleans_of_whole_tensors_are_bools(size):
    zeros = nm.zeros(size)
    assert nm.any(zeros) is False
    assert nm.all(zeros) is (size == 0)
    assert nm.all(zeros == 0) is True
    if size:
        last = zeros.at[size - 1].set(float("nan"))
        assert nm.any(last) is last.any() is True
        assert nm.all((zeros == 0).at[size - 1].set(0)) is False
        assert nm.count_nonzero(last) == 1
        assert nm.any(nm.array([0.0, 1.0]), axis=0) is True


@settings(max_examples=150)
@given(arrays(min_rank=1, extents=st.sampled_from([0, 1, 2, 3, 9])), st.data())
def test_products_and_running_sums_are_numpys(a, data):
    axis = data.draw(st.none() | st.integers(-a.ndim, a.ndim - 1))
    keep = data.draw(st.booleans())
    equal(nm.cumsum(a, axis), np.cumsum(a, axis))
    close(nm.prod(a, axis, keepdims=keep), np.prod(a, axis, keepdims=keep), 1e-9)
    equal(nm.cumprod(np.sign(a), axis), np.cumprod(np.sign(a), axis))
    equal(nm.asarray(a).cumsum(axis), a.cumsum(axis))


def test_a_product_along_several_axes_is_numpys():
    a = integers((3, 4, 5), seed=1) / 4
    close(nm.prod(a, (0, 2)), np.prod(a, (0, 2)), 1e-12)
    assert nm.prod([]) == 1.0
    assert nm.prod([3.0] * 20) == 3.0**20


def test_dtypes_and_degrees_of_freedom_are_taken():
    a = normal((4, 5))
    for name in ("sum", "mean", "prod"):
        found = getattr(nm, name)(a, 0, dtype=complex)
        assert found.dtype == "complex128"
        close(found, getattr(np, name)(a, 0, dtype=complex))
    for name in ("std", "var"):
        close(getattr(nm, name)(a, 0, ddof=1), getattr(np, name)(a, 0, ddof=1))
        close(getattr(nm, name)(a, 0, correction=2), getattr(np, name)(a, 0, ddof=2))
        close(getattr(nm.asarray(a), name)(1, ddof=1), getattr(a, name)(1, ddof=1))
        close(getattr(nm.asarray(a), name)(correction=1), getattr(a, name)(ddof=1))
    close(nm.cumsum(a, 1, complex), np.cumsum(a, 1, complex))


def test_numpys_functions_find_the_methods():
    t = nm.asarray(normal((4, 5)))
    for name in (
        "sum",
        "mean",
        "std",
        "var",
        "prod",
        "max",
        "min",
        "any",
        "all",
        "cumsum",
        "cumprod",
        "argmax",
    ):
        function = getattr(np, name)
        np.testing.assert_allclose(
            np.asarray(function(t, axis=0)), function(np.asarray(t), axis=0), rtol=1e-14
        )
    np.testing.assert_array_equal(np.clip(t, 0, 1), np.clip(np.asarray(t), 0, 1))
    np.testing.assert_array_equal(np.round(t, 1), np.round(np.asarray(t), 1))


def test_arrays_of_the_array_api_have_its_names():
    for ours, theirs in [("acos", "arccos"), ("asin", "arcsin"), ("atan", "arctan"), ("atan2", "arctan2"),
                         ("acosh", "arccosh"), ("asinh", "arcsinh"), ("atanh", "arctanh"),
                         ("concat", "concatenate"), ("pow", "power"), ("absolute", "abs")]:  # fmt: skip
        assert getattr(nm, ours) is getattr(nm, theirs)
    assert (nm.newaxis, nm.pi, nm.e, nm.inf) == (None, np.pi, np.e, np.inf)
    assert nm.nan != nm.nan
