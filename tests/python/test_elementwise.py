"""_binary, _unary and _negate."""

import math
import operator
from fractions import Fraction

import pytest
from hypothesis import assume, given
from hypothesis import strategies as st
from support import error_of, numerical_error
from surface import (
    array_of,
    as_array,
    assert_same_bits,
    bits,
    complex_function,
    complex_product,
    complex_quotient,
    numbers,
    real_function,
    shapes,
    tensor,
)

import _numerical as nm
import numpy as np

INF = math.inf
NAN = math.nan
SPECIAL = (
    0.0,
    -0.0,
    1.0,
    -1.0,
    0.5,
    -2.5,
    3.0,
    1e308,
    -1e308,
    5e-324,
    -5e-324,
    1e-310,
    INF,
    -INF,
    NAN,
)
EXACT = {"+": operator.add, "-": operator.sub, "*": operator.mul, "/": operator.truediv}
NUMPY = {"+": np.add, "-": np.subtract, "*": np.multiply, "/": np.divide}


@pytest.fixture(params=(0, 1, 2), autouse=True, ids=("portable", "avx2", "avx512"))
def path(request):
    nm._limit_gemm_path(request.param)
    yield
    nm._limit_gemm_path(3)


@st.composite
def broadcast_pairs(draw):
    """Two shapes that broadcast: some axes of a common one made 1, some leading ones left out."""
    shape = draw(shapes())

    def part():
        kept = shape[draw(st.integers(0, len(shape))) :]
        return tuple(1 if draw(st.integers(0, 3)) == 0 else extent for extent in kept)

    return part(), part()


# --- bits ------------------------------------------------------------------------------------

normal_floats = st.floats(-1e100, 1e100).filter(lambda x: x == 0 or abs(x) > 1e-100)


@given(st.sampled_from("+-*/"), st.lists(st.tuples(normal_floats, normal_floats), max_size=20))
def test_real_arithmetic_is_the_exact_value_rounded_once(name, pairs):
    pairs = [(x, y) for x, y in pairs if y != 0]
    result = nm._binary(name, numbers(x for x, _ in pairs), numbers(y for _, y in pairs))
    for (x, y), found in zip(pairs, result.tolist()):
        value = EXACT[name](Fraction(x), Fraction(y))
        assert found == float(value)
        if value == 0 and name in "*/":
            assert bits(found) == bits(math.copysign(0.0, x) * math.copysign(1.0, y))


def test_real_arithmetic_of_special_numbers_follows_ieee():
    pairs = [(x, y) for x in SPECIAL for y in SPECIAL]
    left, right = [x for x, _ in pairs], [y for _, y in pairs]
    with np.errstate(all="ignore"):
        for name, function in NUMPY.items():
            expected = [function(np.float64(x), np.float64(y)) for x, y in pairs]
            assert_same_bits(nm._binary(name, numbers(left), numbers(right)), expected)


def complex_specials():
    parts = (0.0, -0.0, 1.0, -2.5, 1e308, 5e-324, INF, -INF, NAN)
    return [complex(x, y) for x in parts for y in parts]


@pytest.mark.parametrize("name, function", (("*", complex_product), ("/", complex_quotient)))
def test_complex_products_and_quotients_follow_the_rules_of_c(name, function):
    every = complex_specials()
    for z in every:
        repeated = nm._full((), z, True)
        assert_same_bits(
            nm._binary(name, repeated, numbers(every)), [function(z, w) for w in every]
        )
        assert_same_bits(
            nm._binary(name, numbers(every), repeated), [function(w, z) for w in every]
        )
    left = [z for z in every for _ in every]
    right = every * len(every)
    expected = [function(z, w) for z, w in zip(left, right)]
    assert_same_bits(nm._binary(name, numbers(left), numbers(right)), expected)


def annex_g_product(z, w):
    """The multiplication of C99's Annex G, G.5.1, written out."""
    a, b, c, d = z.real, z.imag, w.real, w.imag
    x, y = a * c - b * d, a * d + b * c
    if not (math.isnan(x) and math.isnan(y)):
        return complex(x, y)

    def boxed(part):
        return math.copysign(1.0 if math.isinf(part) else 0.0, part)

    def sign_of_nan(part):
        return math.copysign(0.0, part) if math.isnan(part) else part

    again = False
    if math.isinf(a) or math.isinf(b):
        a, b, c, d = boxed(a), boxed(b), sign_of_nan(c), sign_of_nan(d)
        again = True
    if math.isinf(c) or math.isinf(d):
        c, d, a, b = boxed(c), boxed(d), sign_of_nan(a), sign_of_nan(b)
        again = True
    if not again and any(
        map(math.isinf, (z.real * w.real, z.imag * w.imag, z.real * w.imag, z.imag * w.real))
    ):
        a, b, c, d = map(sign_of_nan, (a, b, c, d))
        again = True
    return complex(INF * (a * c - b * d), INF * (a * d + b * c)) if again else complex(x, y)


def test_complex_products_are_those_of_annex_g():
    every = complex_specials()
    left = [z for z in every for _ in every]
    right = every * len(every)
    expected = [annex_g_product(z, w) for z, w in zip(left, right)]
    assert_same_bits(nm._binary("*", numbers(left), numbers(right)), expected)


def test_complex_sums_and_differences_work_part_by_part():
    every = complex_specials()
    for z in every:
        right = nm._full((1,), z, True)
        assert_same_bits(
            nm._binary("+", numbers(every), right),
            [complex(w.real + z.real, w.imag + z.imag) for w in every],
        )
        assert_same_bits(
            nm._binary("-", right, numbers(every)),
            [complex(z.real - w.real, z.imag - w.imag) for w in every],
        )


# --- broadcasting ----------------------------------------------------------------------------


@given(broadcast_pairs(), st.sampled_from("+-*/"), st.sampled_from(("float64", "complex128")))
def test_broadcast_arithmetic_is_numpys(pair, name, dtype):
    a, b = array_of(pair[0], dtype, 1), array_of(pair[1], dtype, 2)
    with np.errstate(all="ignore"):
        expected = NUMPY[name](a, b)
    result = as_array(nm._binary(name, tensor(a), tensor(b)))
    assert result.shape == expected.shape
    if dtype == "float64" or name in "+-":
        np.testing.assert_array_equal(result, expected)
    else:
        np.testing.assert_allclose(result, expected, rtol=1e-14)


@given(broadcast_pairs())
def test_broadcast_power_is_the_librarys(pair):
    power = real_function("pow", 2)
    a = np.abs(array_of(pair[0], "float64", 1))
    b = array_of(pair[1], "float64", 2)
    assume(b.size != 1 and a.size <= 2000 and b.size <= 2000)
    left, right = np.broadcast_arrays(a, b)
    assume(left.size <= 2000)
    expected = [power(x, y) for x, y in zip(left.ravel().tolist(), right.ravel().tolist())]
    result = nm._binary("^", tensor(a), tensor(b))
    assert_same_bits(result, np.array(expected, float).reshape(left.shape))


def test_shapes_that_do_not_broadcast_are_named():
    def add(left, right):
        return nm._binary("+", nm._full(left, 1, False), nm._full(right, 1, False))

    text = "operands could not be broadcast together with shapes "
    assert error_of(add, (2, 3), (4,)) == numerical_error(text + "(2, 3) (4,)")
    assert error_of(add, (4,), (2, 3)) == numerical_error(text + "(4,) (2, 3)")
    assert error_of(add, (0, 3), (2, 3)) == numerical_error(text + "(0, 3) (2, 3)")
    assert add((0, 3), (1, 3)).shape == (0, 3)
    assert add((2, 1), (1, 3)).tolist() == [[2.0] * 3] * 2
    assert add((), ()).tolist() == 2.0
    assert add((), (2, 1)).tolist() == [[2.0], [2.0]]


# --- powers ----------------------------------------------------------------------------------


def real_powers(values, exponent, shape=()):
    return nm._binary("^", numbers(values), nm._full(shape, exponent, False))


def test_fast_powers_of_real_numbers():
    root = real_function("sqrt")
    assert_same_bits(real_powers(SPECIAL, 2.0), [x * x for x in SPECIAL])
    assert_same_bits(real_powers(SPECIAL, 0.5), [root(x) for x in SPECIAL])
    inverses = [1.0 / x if x else math.copysign(INF, x) for x in SPECIAL]
    assert_same_bits(real_powers(SPECIAL, -1.0), inverses)
    assert_same_bits(real_powers([-0.0, -INF], 0.5), [-0.0, NAN])


def test_other_powers_are_the_librarys():
    power = real_function("pow", 2)
    for exponent in (3.0, 1.0, 0.0, -0.5, -2.0, 0.1, NAN, INF):
        assert_same_bits(real_powers(SPECIAL, exponent), [power(x, exponent) for x in SPECIAL])
    # An exponent of more axes than the base is an ordinary operand.
    result = real_powers(SPECIAL, 0.5, (1, 1))
    assert_same_bits(result, [[power(x, 0.5) for x in SPECIAL]])


def test_a_fast_power_keeps_the_shape_of_the_base():
    base = nm._full((), -3.0, False)
    assert nm._binary("^", base, nm._full((), 2.0, False)).tolist() == 9.0
    matrix = nm._full((2, 3), 4.0, False)
    assert_same_bits(nm._binary("^", matrix, nm._full((1, 1), 0.5, False)), np.full((2, 3), 2.0))
    assert nm._binary("^", base, nm._full((1,), 2.0, False)).shape == (1,)
    assert nm._binary("^", nm._full((0,), 1, False), nm._full((), 2.0, False)).shape == (0,)


def test_powers_of_complex_numbers():
    every = complex_specials()
    base = numbers(every)

    def to(exponent):
        return nm._binary("^", base, nm._full((), exponent, True))

    squares = [
        complex(z.real * z.real - z.imag * z.imag, z.imag * z.real + z.imag * z.real) for z in every
    ]
    assert_same_bits(to(2.0), squares)
    root, power = complex_function("csqrt"), complex_function("cpow", 2)
    assert_same_bits(to(0.5), [root(z) for z in every])
    assert_same_bits(to(-1.0), [complex_quotient(1 + 0j, z) for z in every])
    for exponent in (3 + 0j, 2 + 1j, 0.5 - 2j, 0j):
        assert_same_bits(to(exponent), [power(z, exponent) for z in every])
    assert_same_bits(to(complex(2.0, -0.0)), squares)


# --- functions of one element ----------------------------------------------------------------

NAMES = ("exp", "log", "sqrt", "sin", "cos", "tan", "tanh")


@given(st.lists(st.floats(width=64) | st.floats(-50, 50), max_size=30))
def test_functions_of_real_numbers_are_the_librarys(values):
    values += SPECIAL
    for name in NAMES:
        function = real_function(name)
        assert_same_bits(nm._unary(name, numbers(values)), [function(x) for x in values])
    assert_same_bits(nm._unary("abs", numbers(values)), [abs(x) for x in values])


@pytest.mark.parametrize("name", NAMES)
def test_functions_of_complex_numbers_are_the_librarys(name):
    values = complex_specials() + [
        complex(x / 7, y / 3) for x in range(-9, 9) for y in range(-9, 9)
    ]
    function = complex_function("c" + name)
    assert_same_bits(nm._unary(name, numbers(values)), [function(z) for z in values])


def test_the_modulus_of_complex_numbers_is_real():
    values = complex_specials()
    hypotenuse = real_function("hypot", 2)
    result = nm._unary("abs", numbers(values))
    assert result.dtype == "float64"
    assert_same_bits(result, [hypotenuse(z.real, z.imag) for z in values])


def test_no_domain_error_is_raised():
    assert nm._unary("log", numbers([0.0])).tolist() == [-INF]
    assert math.isnan(nm._unary("sqrt", numbers([-1.0])).tolist()[0])


@given(shapes(), st.sampled_from(("float64", "complex128")))
def test_shapes_are_kept(shape, dtype):
    array = array_of(shape, dtype, 8)
    assert_same_bits(nm._negate(tensor(array)), -array)
    assert nm._unary("sqrt", tensor(array)).shape == shape
    assert nm._unary("abs", tensor(array)).shape == shape


def test_negation_flips_sign_bits():
    assert_same_bits(nm._negate(numbers([0.0, -0.0, INF, 2.5])), [-0.0, 0.0, -INF, -2.5])
    assert_same_bits(nm._negate(numbers([complex(0.0, -0.0)])), [complex(-0.0, 0.0)])


# --- faults ----------------------------------------------------------------------------------

BAD_OPERATOR = (ValueError, "_binary: op is one of + - * / ^ (power)")
BAD_NAME = (ValueError, "_unary: name is exp, log, sqrt, sin, cos, tan, tanh or abs")
NO_TENSOR = numerical_error("expected a numerical.Tensor")
UNINITIALIZED = numerical_error("uninitialized numerical.Tensor")


def test_faults_of_binary_in_their_order():
    one, z = numbers([1.0]), numbers([1j])
    for name in ("**", "", "%", "add", "^ ", "é"):
        assert error_of(nm._binary, name, 1, 2) == BAD_OPERATOR
    assert error_of(nm._binary, "+", 1, nm.Tensor.__new__(nm.Tensor)) == NO_TENSOR
    assert error_of(nm._binary, "+", nm.Tensor.__new__(nm.Tensor), 1) == UNINITIALIZED
    assert error_of(nm._binary, "+", one, 1.0) == NO_TENSOR
    one_dtype = numerical_error("element-wise operands must share one dtype")
    for name in "+-*/^":
        assert error_of(nm._binary, name, one, z) == one_dtype
        assert error_of(nm._binary, name, z, nm._full((3,), 1, False)) == one_dtype
    assert error_of(nm._binary, 5, one, one)[0] is TypeError
    assert error_of(nm._binary, "+\0", one, one) == (ValueError, "embedded null character")


def test_faults_of_unary_and_negate():
    one = numbers([1.0])
    assert error_of(nm._unary, "sinh", 1) == NO_TENSOR
    for name in ("sinh", "", "ex", "EXP", "absolute", "tanhh"):
        assert error_of(nm._unary, name, one) == BAD_NAME
    assert error_of(nm._unary, "exp", nm.Tensor.__new__(nm.Tensor)) == UNINITIALIZED
    assert error_of(nm._negate, 1.0) == NO_TENSOR
    assert error_of(nm._negate, one, one)[0] is TypeError
