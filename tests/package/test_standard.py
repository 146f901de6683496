"""The array API's functions: their signatures, and those that are made of other functions."""

import inspect
import math

import numpy as np
import pytest

import numerical as nm
from oracle import close, equal, integers, normal

# The signatures of version 2025.12: "/" ends what is positional only, "*" begins what is named.
MAIN = """
arange(start, /, stop=None, step=1, *, dtype=None, device=None)
asarray(obj, /, *, dtype=None, device=None, copy=None)
empty(shape, *, dtype=None, device=None)
empty_like(x, /, *, dtype=None, device=None)
eye(n_rows, n_cols=None, /, *, k=0, dtype=None, device=None)
from_dlpack(x, /, *, device=None, copy=None)
full(shape, fill_value, *, dtype=None, device=None)
full_like(x, /, fill_value, *, dtype=None, device=None)
linspace(start, stop, /, num, *, dtype=None, device=None, endpoint=True)
meshgrid(*arrays, indexing="xy")
ones(shape, *, dtype=None, device=None)
ones_like(x, /, *, dtype=None, device=None)
tril(x, /, *, k=0)
triu(x, /, *, k=0)
zeros(shape, *, dtype=None, device=None)
zeros_like(x, /, *, dtype=None, device=None)
astype(x, dtype, /, *, copy=True, device=None)
can_cast(from_, to, /)
finfo(type, /)
iinfo(type, /)
isdtype(dtype, kind)
result_type(*arrays_and_dtypes)
abs(x, /)
acos(x, /)
acosh(x, /)
add(x1, x2, /)
asin(x, /)
asinh(x, /)
atan(x, /)
atan2(x1, x2, /)
atanh(x, /)
bitwise_and(x1, x2, /)
bitwise_invert(x, /)
bitwise_left_shift(x1, x2, /)
bitwise_or(x1, x2, /)
bitwise_right_shift(x1, x2, /)
bitwise_xor(x1, x2, /)
ceil(x, /)
clip(x, /, min=None, max=None)
conj(x, /)
copysign(x1, x2, /)
cos(x, /)
cosh(x, /)
divide(x1, x2, /)
equal(x1, x2, /)
exp(x, /)
expm1(x, /)
floor(x, /)
floor_divide(x1, x2, /)
greater(x1, x2, /)
greater_equal(x1, x2, /)
hypot(x1, x2, /)
imag(x, /)
isfinite(x, /)
isinf(x, /)
isnan(x, /)
less(x1, x2, /)
less_equal(x1, x2, /)
log(x, /)
log1p(x, /)
log2(x, /)
log10(x, /)
logaddexp(x1, x2, /)
logical_and(x1, x2, /)
logical_not(x, /)
logical_or(x1, x2, /)
logical_xor(x1, x2, /)
maximum(x1, x2, /)
minimum(x1, x2, /)
multiply(x1, x2, /)
negative(x, /)
nextafter(x1, x2, /)
not_equal(x1, x2, /)
positive(x, /)
pow(x1, x2, /)
real(x, /)
reciprocal(x, /)
remainder(x1, x2, /)
round(x, /)
sign(x, /)
signbit(x, /)
sin(x, /)
sinh(x, /)
sqrt(x, /)
square(x, /)
subtract(x1, x2, /)
tan(x, /)
tanh(x, /)
trunc(x, /)
matmul(x1, x2, /)
matrix_transpose(x, /)
tensordot(x1, x2, /, *, axes=2)
vecdot(x1, x2, /, *, axis=-1)
broadcast_arrays(*arrays)
broadcast_shapes(*shapes)
broadcast_to(x, /, shape)
concat(arrays, /, *, axis=0)
expand_dims(x, /, axis)
flip(x, /, *, axis=None)
moveaxis(x, source, destination, /)
permute_dims(x, /, axes)
repeat(x, repeats, /, *, axis=None)
reshape(x, /, shape, *, copy=None)
roll(x, /, shift, *, axis=None)
squeeze(x, /, axis)
stack(arrays, /, *, axis=0)
tile(x, repetitions, /)
unstack(x, /, *, axis=0)
argmax(x, /, *, axis=None, keepdims=False)
argmin(x, /, *, axis=None, keepdims=False)
count_nonzero(x, /, *, axis=None, keepdims=False)
nonzero(x, /)
searchsorted(x1, x2, /, *, side="left", sorter=None)
where(condition, x1, x2, /)
isin(x1, x2, /, *, invert=False)
unique_all(x, /)
unique_counts(x, /)
unique_inverse(x, /)
unique_values(x, /)
argsort(x, /, *, axis=-1, descending=False, stable=True)
sort(x, /, *, axis=-1, descending=False, stable=True)
take(x, indices, /, *, axis=None)
take_along_axis(x, indices, /, *, axis=-1)
cumulative_prod(x, /, *, axis=None, dtype=None, include_initial=False)
cumulative_sum(x, /, *, axis=None, dtype=None, include_initial=False)
max(x, /, *, axis=None, keepdims=False)
mean(x, /, *, axis=None, keepdims=False)
min(x, /, *, axis=None, keepdims=False)
prod(x, /, *, axis=None, dtype=None, keepdims=False)
std(x, /, *, axis=None, correction=0.0, keepdims=False)
sum(x, /, *, axis=None, dtype=None, keepdims=False)
var(x, /, *, axis=None, correction=0.0, keepdims=False)
all(x, /, *, axis=None, keepdims=False)
any(x, /, *, axis=None, keepdims=False)
diff(x, /, *, axis=-1, n=1, prepend=None, append=None)
"""

LINALG = """
cholesky(x, /, *, upper=False)
cross(x1, x2, /, *, axis=-1)
det(x, /)
diagonal(x, /, *, offset=0)
eig(x, /)
eigh(x, /)
eigvals(x, /)
eigvalsh(x, /)
inv(x, /)
matmul(x1, x2, /)
matrix_norm(x, /, *, keepdims=False, ord="fro")
matrix_power(x, n, /)
matrix_rank(x, /, *, rtol=None)
matrix_transpose(x, /)
outer(x1, x2, /)
pinv(x, /, *, rtol=None)
qr(x, /, *, mode="reduced")
slogdet(x, /)
solve(x1, x2, /)
svd(x, /, *, full_matrices=True)
svdvals(x, /)
tensordot(x1, x2, /, *, axes=2)
trace(x, /, *, offset=0, dtype=None)
vecdot(x1, x2, /, *, axis=-1)
vector_norm(x, /, *, axis=None, keepdims=False, ord=2)
"""

# docs/compatibility.md says why.
MISSING = {
    "bitwise_and", "bitwise_invert", "bitwise_left_shift", "bitwise_or",
    "bitwise_right_shift", "bitwise_xor",
}  # fmt: skip


def signatures():
    for place, table in ((nm, MAIN), (nm.linalg, LINALG)):
        for line in table.split("\n"):
            if line and line.partition("(")[0] not in MISSING:
                yield pytest.param(place, line, id=f"{place.__name__}.{line}")


def parsed(line):
    name, _, parameters = line.partition("(")
    space = {}
    exec(f"def {name}({parameters}: pass", space)
    return name, list(inspect.signature(space[name]).parameters.values())


def same_default(name, theirs, ours):
    """No dtype is float64 where nothing else says which."""
    return theirs == ours or (name == "dtype" and theirs is None and ours == "float64")


@pytest.mark.parametrize(("place", "line"), signatures())
def test_a_function_takes_what_the_standard_gives_it(place, line):
    name, theirs = parsed(line)
    ours = list(inspect.signature(getattr(place, name)).parameters.values())
    by_name = {p.name: p for p in ours}
    in_order = [p for p in ours if p.kind in (p.POSITIONAL_ONLY, p.POSITIONAL_OR_KEYWORD)]
    given = set()
    for i, wanted in enumerate(theirs):
        if wanted.kind is wanted.VAR_POSITIONAL:
            assert any(p.kind is p.VAR_POSITIONAL for p in ours)
            continue
        if wanted.kind is wanted.POSITIONAL_ONLY:
            found = in_order[i]
        else:
            found = by_name[wanted.name]
            assert found.kind in (found.KEYWORD_ONLY, found.POSITIONAL_OR_KEYWORD)
        if wanted.kind is wanted.POSITIONAL_OR_KEYWORD:
            assert found is in_order[i]
        given.add(found.name)
        if wanted.default is not wanted.empty:
            assert same_default(wanted.name, wanted.default, found.default)
    for parameter in ours:  # and wants nothing more
        if parameter.name not in given and parameter.kind is not parameter.VAR_POSITIONAL:
            assert parameter.default is not parameter.empty


def test_what_is_missing_is_known():
    names = {line.partition("(")[0] for line in MAIN.split("\n") if line}
    assert {name for name in names if not hasattr(nm, name)} == MISSING
    assert all(hasattr(nm.linalg, line.partition("(")[0]) for line in LINALG.split("\n") if line)
    assert (nm.e, nm.pi, nm.inf, nm.newaxis) == (math.e, math.pi, math.inf, None)
    assert math.isnan(nm.nan)


# --- functions made of others --------------------------------------------------------------------
def test_signs_are_those_of_the_bits():
    numbers = np.array([0.0, -0.0, 1.5, -2.0, np.inf, -np.inf, np.nan, -np.nan, 5e-324])
    t = nm.asarray(numbers)
    equal(nm.signbit(t), np.signbit(numbers).astype(float))
    found = np.asarray(nm.copysign(t, nm.asarray(numbers[::-1].copy())))
    assert found.tobytes() == np.copysign(numbers, numbers[::-1]).tobytes()
    assert nm.signbit(-0.0) is True
    close(nm.copysign(normal((2, 3)), -1.0), -np.abs(normal((2, 3))), 0)
    with pytest.raises(TypeError, match="^copysign takes float64 tensors, not complex128$"):
        nm.copysign(1j, 1.0)
    with pytest.raises(TypeError, match="^signbit takes a float64 tensor, not complex128$"):
        nm.signbit([1j])


def test_floors_and_remainders_are_those_of_floats():
    numbers = [0.0, -0.0, 1.0, -1.0, 0.3, -0.3, 7.5, -7.5, 1e300, 5e-324, np.inf, -np.inf, np.nan]
    a, b = (x.ravel() for x in np.meshgrid(numbers, numbers))
    t, u = nm.asarray(a), nm.asarray(b)
    for found, name in ((t // u, "__floordiv__"), (t % u, "__mod__")):
        for x, y, z in zip(a.tolist(), b.tolist(), found.tolist()):
            if y != 0:
                expected = getattr(x, name)(y)
                assert z == expected or (z != z and expected != expected), (x, y, z, name)
                assert z != z or math.copysign(1, z) == math.copysign(1, expected), (x, y, z, name)
    with np.errstate(all="ignore"):
        equal(nm.floor_divide(t, 0.0)[a == a], (a / 0.0)[a == a])
        assert np.isnan(np.asarray(nm.remainder(t, 0.0))).all()
    random = normal(5000, seed=3) * 10.0 ** normal(5000, seed=4)
    t, u = nm.asarray(random), nm.asarray(random[::-1].copy())
    assert (t // u).tolist() == [x // y for x, y in zip(t.tolist(), u.tolist())]
    assert (t % u).tolist() == [x % y for x, y in zip(t.tolist(), u.tolist())]
    equal(7 // nm.array([[2.0], [-2.0]]), [[3.0], [-4.0]])
    equal(nm.argsort([3.0, 1.0, 2.0]) % nm.array(2.0), [1.0, 0.0, 0.0])
    for call in (lambda: t // 1j, lambda: nm.array(1j) % 2):
        with pytest.raises(TypeError, match="^// and % take float64 tensors, not complex128$"):
            call()


def test_sorted_places_are_places():
    order = nm.argsort(integers((4, 6)), axis=1)
    for options in ({}, {"axis": 0}, {"axis": None}, {"descending": True}):
        found = nm.sort(order, **options)
        assert isinstance(found, nm.Positions)
        expected = np.sort(np.asarray(order), options.get("axis", -1))
        equal(np.asarray(found), expected[:, ::-1] if "descending" in options else expected)


def test_neighbours_of_numbers_are_the_c_librarys():
    numbers = [0.0, 1.0, -1.0, 5e-324, 1.7976931348623157e308, np.inf, np.nan]
    for to in (np.inf, -np.inf, 0.0, 1.0, np.nan):
        equal(nm.nextafter(numbers, to), np.nextafter(numbers, to))


def test_logarithms_of_sums_do_not_overflow():
    a = np.array([1e300, -1e300, 0.0, -np.inf, np.inf, -np.inf, np.inf, np.nan, 700.0, 1e-20])
    b = np.array([1e300, -1e300, 1.0, -np.inf, np.inf, np.inf, -3.0, 1.0, 709.0, -50.0])
    np.testing.assert_allclose(np.asarray(nm.logaddexp(a, b)), np.logaddexp(a, b), rtol=4e-16)
    with pytest.raises(TypeError):
        nm.logaddexp(1j, 1.0)


@pytest.mark.parametrize("shape", [(0,), (1,), (7,), (3, 4), (2, 3, 4), ()])
def test_sets_of_numbers(shape):
    a = integers(shape)
    found = nm.unique_all(a)
    values, indices, inverse, counts = np.unique(a, True, True, True)
    equal(found.values, values)
    equal(np.asarray(found.indices), indices)
    equal(np.asarray(found.inverse_indices), np.searchsorted(values, a))
    equal(np.asarray(found.counts), counts)
    equal(nm.unique_values(a), values)
    assert nm.unique_counts(a)._fields == ("values", "counts")
    assert nm.unique_inverse(a)._fields == ("values", "inverse_indices")
    if a.size and a.ndim:
        equal(found.values[found.inverse_indices], a)


def test_nans_are_many_and_zeros_one():
    found = nm.unique_all([np.nan, 0.0, -0.0, np.nan])
    equal(found.values, [0.0, np.nan, np.nan])
    assert found.counts.tolist() == [2, 1, 1] and found.indices.tolist() == [1, 0, 3]
    assert nm.unique_values([np.nan, np.nan]).shape == (2,)


def test_membership():
    a, held = integers((4, 5)), [3.0, -2.0, np.nan, 3.0]
    equal(nm.isin(a, held), np.isin(a, held).astype(float))
    equal(nm.isin(a, held, invert=True), np.isin(a, held, invert=True).astype(float))
    equal(nm.isin([np.nan, 3.0], held), [0.0, 1.0])
    equal(nm.isin(a, []), np.zeros((4, 5)))
    t = nm.asarray(a)
    assert (a[1, 2] in t) is True and (99.0 in t) is False and (None in t) is False
    assert (a[1] in t) is True and ("word" in t) is False


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_running_sums_may_begin_with_nothing(dtype):
    a = normal((3, 4), dtype)
    for axis in (0, 1, -1):
        equal(nm.cumulative_sum(a, axis=axis), np.cumsum(a, axis))
        first = np.zeros_like(np.take(a, [0], axis))
        expected = np.concatenate([first, np.cumsum(a, axis)], axis)
        equal(nm.cumulative_sum(a, axis=axis, include_initial=True), expected)
        found = nm.cumulative_prod(a, axis=axis, include_initial=True)
        close(found, np.concatenate([first + 1, np.cumprod(a, axis)], axis), 1e-14)
    equal(nm.cumulative_sum(a[0]), np.cumsum(a[0]))
    assert nm.cumulative_sum([1.0], dtype="complex128").dtype == "complex128"
    with pytest.raises(ValueError, match="^an axis must be named for a tensor of rank 2$"):
        nm.cumulative_sum(a)


def test_differences_of_more_than_the_tensor():
    a = normal((3, 4))
    for more in ({"prepend": 0.0}, {"append": a[:, :2]}, {"prepend": a[:, :1], "append": 1.0}):
        equal(nm.diff(a, **more), np.diff(a, **more))
        equal(nm.diff(a, n=2, axis=1, **more), np.diff(a, n=2, axis=1, **more))
    equal(nm.diff(a, axis=0, prepend=a), np.diff(a, axis=0, prepend=a))


def test_shapes_that_broadcast():
    assert nm.broadcast_shapes((3, 1), (2,), ()) == (3, 2)
    assert nm.broadcast_shapes() == ()
    with pytest.raises(
        ValueError, match=r"^operands could not be broadcast together with shapes \(3,\) \(2,\)$"
    ):
        nm.broadcast_shapes((3,), (2,))
    for ours, theirs in zip(
        nm.broadcast_arrays([1, 2], [[3], [4]], 5), np.broadcast_arrays([1, 2], [[3], [4]], 5)
    ):
        equal(ours, theirs)


def test_what_stays_and_what_is_divided():
    t = nm.asarray(normal((2, 3)))
    assert nm.positive(t) is t
    equal(nm.reciprocal(t), 1 / normal((2, 3)))


@pytest.mark.parametrize("copy", [None, True, False])
def test_copies_and_views_of_a_reshaped_tensor_are_the_same(copy):
    assert nm.reshape([1.0, 2.0], (2, 1), copy=copy).tolist() == [[1.0], [2.0]]
