#pragma once

// Docstrings of arithmetic, rounding, parts and bounds.

namespace numerical::package {

constexpr char add_doc[] = R"doc(add(a, b)
--

The sums of elements, as a + b.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor
    complex128 if one of them is, float64 otherwise.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.add([[1.0, 2.0], [3.0, 4.0]], [10.0, 20.0])
Tensor([[11.0, 22.0],
        [13.0, 24.0]])
)doc";

constexpr char subtract_doc[] = R"doc(subtract(a, b)
--

The differences of elements, as a - b.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor
    complex128 if one of them is, float64 otherwise.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.subtract([1.0, 2.0], 0.5)
Tensor([0.5, 1.5])
)doc";

constexpr char multiply_doc[] = R"doc(multiply(a, b)
--

The products of elements, as a * b.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor
    complex128 if one of them is, float64 otherwise.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.multiply([1.0, 2.0], [3.0, 1j])
Tensor([3+0j, 0+2j], dtype='complex128')
)doc";

constexpr char divide_doc[] = R"doc(divide(a, b)
--

The quotients of elements, as a / b. Division by zero gives infinities and NaN, no warning.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor
    complex128 if one of them is, float64 otherwise.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.divide([1.0, -1.0, 0.0], [2.0, 0.0, 0.0])
Tensor([ 0.5, -inf,  nan])
)doc";

constexpr char power_doc[] = R"doc(power(a, b)
--

a to the power of b, element by element, as a ** b.

Also under the name pow. A negative float64 to a power that is no integer is NaN.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor
    complex128 if one of them is, float64 otherwise.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.power([2.0, 9.0], [10.0, 0.5])
Tensor([1024.0,    3.0])
)doc";

constexpr char negative_doc[] = R"doc(negative(a)
--

The elements with the other sign, as -a.

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
>>> nm.negative([1.0, -2.0])
Tensor([-1.0,  2.0])
)doc";

constexpr char square_doc[] = R"doc(square(a)
--

Every element times itself.

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
>>> nm.square([3.0, -0.5])
Tensor([ 9.0, 0.25])
)doc";

constexpr char abs_doc[] = R"doc(abs(a)
--

The moduli of the elements.

Also under the name absolute.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    float64, of a's shape.

Examples
--------
>>> nm.abs([-2.0, 3.0])
Tensor([2.0, 3.0])
>>> nm.abs([3 + 4j])
Tensor([5.0])
)doc";

constexpr char conj_doc[] = R"doc(conj(a)
--

The complex conjugates of the elements; a float64 tensor is returned as it is.

Also under the name conjugate.

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
>>> nm.conj([1 + 2j])
Tensor([1-2j], dtype='complex128')
)doc";

constexpr char real_doc[] = R"doc(real(a)
--

The real parts of the elements.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    float64, of a's shape.

Examples
--------
>>> nm.real([1 + 2j, 3.0])
Tensor([1.0, 3.0])
)doc";

constexpr char imag_doc[] = R"doc(imag(a)
--

The imaginary parts of the elements; zeros for float64.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor
    float64, of a's shape.

Examples
--------
>>> nm.imag([1 + 2j, 3.0])
Tensor([2.0, 0.0])
)doc";

constexpr char sign_doc[] = R"doc(sign(a)
--

1, 0 or -1 by the sign of each element; a / abs(a) for complex128; NaN of NaN.

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
>>> nm.sign([-2.5, 0.0, 7.0])
Tensor([-1.0,  0.0,  1.0])
>>> nm.sign([3 + 4j])
Tensor([0.6+0.8j], dtype='complex128')
)doc";

constexpr char floor_doc[] = R"doc(floor(a)
--

The largest integers that aren't above the elements, as float64.

Parameters
----------
a : array_like
    float64, any shape.

Returns
-------
Tensor
    Of a's shape.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.floor([-1.5, 2.7])
Tensor([-2.0,  2.0])
)doc";

constexpr char ceil_doc[] = R"doc(ceil(a)
--

The smallest integers that aren't below the elements, as float64.

Parameters
----------
a : array_like
    float64, any shape.

Returns
-------
Tensor
    Of a's shape.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.ceil([-1.5, 2.2])
Tensor([-1.0,  3.0])
)doc";

constexpr char trunc_doc[] = R"doc(trunc(a)
--

The integer parts of the elements, as float64: each is rounded toward zero.

Parameters
----------
a : array_like
    float64, any shape.

Returns
-------
Tensor
    Of a's shape.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.trunc([-1.5, 2.7])
Tensor([-1.0,  2.0])
)doc";

constexpr char round_doc[] = R"doc(round(a, decimals=0)
--

The elements rounded to a number of decimals, ties to the even digit.

Parameters
----------
a : array_like
    Any shape; complex numbers are rounded by parts.
decimals : int, optional
    Digits behind the point; a negative number rounds to tens, hundreds, and so on.

Returns
-------
Tensor
    Of a's shape and dtype.

Raises
------
TypeError
    If decimals is no int.

Examples
--------
>>> nm.round([0.5, 1.5, 2.25])
Tensor([0.0, 2.0, 2.0])
>>> nm.round([0.125, 2.675], 2)
Tensor([0.12, 2.68])
)doc";

constexpr char clip_doc[] = R"doc(clip(a, min=None, max=None)
--

The elements brought between two bounds.

Parameters
----------
a : array_like
    float64, any shape.
min, max : array_like or None, optional
    The bounds, which broadcast with a; None for no bound.

Returns
-------
Tensor
    minimum(maximum(a, min), max).

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.clip([-1.0, 0.5, 2.0], 0.0, 1.0)
Tensor([0.0, 0.5, 1.0])
)doc";

constexpr char maximum_doc[] = R"doc(maximum(a, b)
--

The larger of each pair of elements; NaN if one of the two is.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.maximum([1.0, 5.0], 3.0)
Tensor([3.0, 5.0])
)doc";

constexpr char minimum_doc[] = R"doc(minimum(a, b)
--

The smaller of each pair of elements; NaN if one of the two is.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.minimum([1.0, 5.0], 3.0)
Tensor([1.0, 3.0])
)doc";

constexpr char signbit_doc[] = R"doc(signbit(a)
--

The mask of set sign bits, those of -0.0 and of NaN too.

Parameters
----------
a : array_like
    float64, any shape.

Returns
-------
Tensor or bool
    A bool for a number.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.signbit([1.0, -0.0, -2.0])
Tensor([0.0, 1.0, 1.0])
)doc";

constexpr char floor_divide_doc[] = R"doc(floor_divide(a, b)
--

The largest integers not above a / b: a // b.

Parameters
----------
a, b : array_like
    float64, with broadcasting.

Returns
-------
Tensor or float
    As `//` of Python's floats; a quotient by zero is that of a / b. A float for two numbers.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.floor_divide([7.0, -7.0], 2.0)
Tensor([ 3.0, -4.0])
)doc";

constexpr char remainder_doc[] = R"doc(remainder(a, b)
--

What `floor_divide` leaves of a, with the signs of b: a % b.

Parameters
----------
a, b : array_like
    float64, with broadcasting.

Returns
-------
Tensor or float
    As `%` of Python's floats; NaN for a divisor of zero. A float for two numbers.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.remainder([7.5, -7.5], 2.0)
Tensor([1.5, 0.5])
)doc";

constexpr char copysign_doc[] = R"doc(copysign(a, b)
--

The elements of a with the signs of those of b.

Parameters
----------
a, b : array_like
    float64, with broadcasting.

Returns
-------
Tensor or float
    A float for two numbers.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.copysign([1.0, -2.0], [-1.0, 1.0])
Tensor([-1.0,  2.0])
)doc";

constexpr char nextafter_doc[] = R"doc(nextafter(a, b)
--

The numbers next to the elements of a on the way to those of b.

Parameters
----------
a, b : array_like
    float64, with broadcasting.

Returns
-------
Tensor or float
    A float for two numbers.

Raises
------
TypeError
    For complex128.

Examples
--------
>>> nm.nextafter([1.0], [2.0]) == 1.0 + 2.0**-52
Tensor([1.0])
)doc";

} // namespace numerical::package
