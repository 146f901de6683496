#pragma once

// Docstrings of the elementary functions.

namespace numerical::package {

constexpr char exp_doc[] = R"doc(exp(a)
--

e to the power of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Notes
-----
The error is below 0.6 units in the last place; bits don't depend on the processor.

Examples
--------
>>> nm.exp([0.0, 1.0])
Tensor([      1.0, 2.7182818])
)doc";

constexpr char exp2_doc[] = R"doc(exp2(a)
--

2 to the power of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.exp2([0.0, 3.0, -1.0])
Tensor([1.0, 8.0, 0.5])
)doc";

constexpr char expm1_doc[] = R"doc(expm1(a)
--

exp(a) - 1 without cancellation near 0.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.expm1([0.0, 1e-15])
Tensor([  0.0, 1e-15])
)doc";

constexpr char log_doc[] = R"doc(log(a)
--

The natural logarithm of every element.

-inf for 0; NaN for a negative float64, where log of complex128 has a value.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.log([1.0, nm.e, 0.0])
Tensor([ 0.0,  1.0, -inf])
>>> nm.log([-1 + 0j])
Tensor([0+3.1415927j], dtype='complex128')
)doc";

constexpr char log2_doc[] = R"doc(log2(a)
--

The logarithm to base 2 of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.log2([1.0, 8.0, 0.5])
Tensor([ 0.0,  3.0, -1.0])
)doc";

constexpr char log10_doc[] = R"doc(log10(a)
--

The logarithm to base 10 of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.log10([1.0, 1000.0, 0.01])
Tensor([ 0.0,  3.0, -2.0])
)doc";

constexpr char log1p_doc[] = R"doc(log1p(a)
--

log(1 + a) without loss of digits near 0.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.log1p([0.0, 1e-15])
Tensor([  0.0, 1e-15])
)doc";

constexpr char sqrt_doc[] = R"doc(sqrt(a)
--

The square root of every element; NaN for a negative float64.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.sqrt([4.0, 2.25])
Tensor([2.0, 1.5])
>>> nm.sqrt([-1 + 0j])
Tensor([0+1j], dtype='complex128')
)doc";

constexpr char sin_doc[] = R"doc(sin(a)
--

The sine of every element, an angle in radians.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Notes
-----
Arguments of any size are reduced accurately (Payne and Hanek 1983).

Examples
--------
>>> nm.sin([0.0, nm.pi / 2])
Tensor([0.0, 1.0])
)doc";

constexpr char cos_doc[] = R"doc(cos(a)
--

The cosine of every element, an angle in radians.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Notes
-----
Arguments of any size are reduced accurately (Payne and Hanek 1983).

Examples
--------
>>> nm.cos([0.0, nm.pi])
Tensor([ 1.0, -1.0])
)doc";

constexpr char tan_doc[] = R"doc(tan(a)
--

The tangent of every element, an angle in radians.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.tan([0.0, 1.0])
Tensor([      0.0, 1.5574077])
)doc";

constexpr char sinh_doc[] = R"doc(sinh(a)
--

The hyperbolic sine of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.sinh([0.0, 1.0])
Tensor([      0.0, 1.1752012])
)doc";

constexpr char cosh_doc[] = R"doc(cosh(a)
--

The hyperbolic cosine of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.cosh([0.0, 1.0])
Tensor([      1.0, 1.5430806])
)doc";

constexpr char tanh_doc[] = R"doc(tanh(a)
--

The hyperbolic tangent of every element.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.tanh([0.0, 0.5, 100.0])
Tensor([       0.0, 0.46211716,        1.0])
)doc";

constexpr char arcsin_doc[] = R"doc(arcsin(a)
--

The inverse sine of every element, in [-pi/2, pi/2]; NaN outside [-1, 1] for float64.

Also under the name asin.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arcsin([0.0, 0.5, 1.0])
Tensor([       0.0, 0.52359878,  1.5707963])
)doc";

constexpr char arccos_doc[] = R"doc(arccos(a)
--

The inverse cosine of every element, in [0, pi]; NaN outside [-1, 1] for float64.

Also under the name acos.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arccos([1.0, 0.5, -1.0])
Tensor([      0.0, 1.0471976, 3.1415927])
)doc";

constexpr char arctan_doc[] = R"doc(arctan(a)
--

The inverse tangent of every element, in [-pi/2, pi/2].

Also under the name atan.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arctan([0.0, 1.0, nm.inf])
Tensor([       0.0, 0.78539816,  1.5707963])
)doc";

constexpr char arcsinh_doc[] = R"doc(arcsinh(a)
--

The inverse hyperbolic sine of every element.

Also under the name asinh.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arcsinh([0.0, 1.0, nm.inf])
Tensor([       0.0, 0.88137359,        inf])
)doc";

constexpr char arccosh_doc[] = R"doc(arccosh(a)
--

The inverse hyperbolic cosine of every element, not negative; NaN below 1 for float64.

Also under the name acosh.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arccosh([1.0, 2.0, nm.inf])
Tensor([      0.0, 1.3169579,       inf])
)doc";

constexpr char arctanh_doc[] = R"doc(arctanh(a)
--

The inverse hyperbolic tangent of every element; NaN outside [-1, 1] for float64.

Also under the name atanh.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    Of a's shape and dtype.

Examples
--------
>>> nm.arctanh([0.0, 0.5, 1.0])
Tensor([       0.0, 0.54930614,        inf])
)doc";

constexpr char arctan2_doc[] = R"doc(arctan2(y, x)
--

The angles of the points (x, y) seen from the origin, in [-pi, pi].

Also under the name atan2.

Parameters
----------
y, x : array_like
    Ordinates and abscissas, float64; their shapes broadcast.

Returns
-------
Tensor
    Angles in radians, float64.

Raises
------
TypeError
    For complex128.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.arctan2([0.0, 1.0], [1.0, -1.0])
Tensor([      0.0, 2.3561945])
)doc";

constexpr char hypot_doc[] = R"doc(hypot(a, b)
--

sqrt(a*a + b*b) without overflow or underflow on the way.

Parameters
----------
a, b : array_like
    The legs of right triangles, float64; their shapes broadcast.

Returns
-------
Tensor
    The hypotenuses, float64.

Raises
------
TypeError
    For complex128.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.hypot(3.0, [4.0, 0.0])
Tensor([5.0, 3.0])
)doc";

} // namespace numerical::package
