#pragma once

// Docstrings of comparisons, masks, any and all.

namespace numerical::package {

constexpr char equal_doc[] = R"doc(equal(a, b)
--

Where elements are equal, as a == b.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.equal([1.0, 2.0], [1.0, 3.0])
Tensor([1.0, 0.0])
)doc";

constexpr char not_equal_doc[] = R"doc(not_equal(a, b)
--

Where elements differ, as a != b.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.not_equal([1.0, 2.0], [1.0, 3.0])
Tensor([0.0, 1.0])
)doc";

constexpr char less_doc[] = R"doc(less(a, b)
--

Where elements of a are below those of b, as a < b.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.less([1.0, 2.0], 2.0)
Tensor([1.0, 0.0])
)doc";

constexpr char less_equal_doc[] = R"doc(less_equal(a, b)
--

Where elements of a are not above those of b, as a <= b.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.less_equal([1.0, 2.0, 3.0], 2.0)
Tensor([1.0, 1.0, 0.0])
)doc";

constexpr char greater_doc[] = R"doc(greater(a, b)
--

Where elements of a are above those of b, as a > b.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.greater([1.0, 2.0, 3.0], 2.0)
Tensor([0.0, 0.0, 1.0])
)doc";

constexpr char greater_equal_doc[] = R"doc(greater_equal(a, b)
--

Where elements of a are not below those of b, as a >= b.

Parameters
----------
a, b : array_like
    float64, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
TypeError
    For complex128, which has no order.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.greater_equal([1.0, 2.0, 3.0], 2.0)
Tensor([0.0, 1.0, 1.0])
)doc";

constexpr char logical_and_doc[] = R"doc(logical_and(a, b)
--

Where both elements are true. Zero is false, all else is true, NaN included.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.logical_and([1.0, 0.0, 2.0], [1.0, 1.0, 0.0])
Tensor([1.0, 0.0, 0.0])
)doc";

constexpr char logical_or_doc[] = R"doc(logical_or(a, b)
--

Where at least one of two elements is true. Zero is false, all else is true, NaN included.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.logical_or([1.0, 0.0, 0.0], [0.0, 2.0, 0.0])
Tensor([1.0, 1.0, 0.0])
)doc";

constexpr char logical_xor_doc[] = R"doc(logical_xor(a, b)
--

Where exactly one of two elements is true. Zero is false, all else is true, NaN included.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.logical_xor([1.0, 0.0, 2.0], [1.0, 1.0, 0.0])
Tensor([0.0, 1.0, 1.0])
)doc";

constexpr char logical_not_doc[] = R"doc(logical_not(a)
--

Where elements are zero.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for a number.

Examples
--------
>>> nm.logical_not([0.0, 2.0])
Tensor([1.0, 0.0])
)doc";

constexpr char isnan_doc[] = R"doc(isnan(a)
--

Where elements are NaN; a complex number is if one of its parts is.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for a number.

Examples
--------
>>> nm.isnan([1.0, nm.nan])
Tensor([0.0, 1.0])
)doc";

constexpr char isinf_doc[] = R"doc(isinf(a)
--

Where elements are infinite, of either sign; a complex number is if one of its parts is.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for a number.

Examples
--------
>>> nm.isinf([1.0, -nm.inf])
Tensor([0.0, 1.0])
)doc";

constexpr char isfinite_doc[] = R"doc(isfinite(a)
--

Where elements are neither infinite nor NaN.

Parameters
----------
a : array_like
    float64 or complex128, any shape.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for a number.

Examples
--------
>>> nm.isfinite([1.0, nm.inf, nm.nan])
Tensor([1.0, 0.0, 0.0])
)doc";

constexpr char isclose_doc[] = R"doc(isclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)
--

Where abs(a - b) <= atol + rtol*abs(b).

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.
rtol, atol : float, optional
    The relative and the absolute tolerance.
equal_nan : bool, optional
    Whether NaN is close to NaN.

Returns
-------
Tensor or bool
    A mask of ones and zeros; a bool for two numbers.

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.isclose([1.0, 2.0], [1.0 + 1e-9, 2.1])
Tensor([1.0, 0.0])
)doc";

constexpr char allclose_doc[] = R"doc(allclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)
--

Whether abs(a - b) <= atol + rtol*abs(b) for all elements.

Parameters
----------
a, b : array_like
    Any dtypes, shapes that broadcast.
rtol, atol : float, optional
    The relative and the absolute tolerance.
equal_nan : bool, optional
    Whether NaN is close to NaN.

Returns
-------
bool

Raises
------
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> nm.allclose([1.0, 2.0], [1.0 + 1e-9, 2.0])
True
)doc";

constexpr char array_equal_doc[] = R"doc(array_equal(a, b)
--

Whether two tensors have one shape and equal elements; a NaN equals nothing.

Parameters
----------
a, b : array_like
    Any shapes and dtypes.

Returns
-------
bool

Examples
--------
>>> nm.array_equal([1.0, 2.0], [1.0, 2.0]), nm.array_equal([1.0], [1.0, 1.0])
(True, False)
)doc";

constexpr char any_doc[] = R"doc(any(a, axis=None, *, keepdims=False)
--

Whether an element is not zero, of all elements or along axes.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
bool or Tensor
    A bool over all elements, a mask along axes.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.any([0.0, 1.0])
True
>>> nm.any([[0.0, 1.0], [0.0, 0.0]], axis=1)
Tensor([1.0, 0.0])
)doc";

constexpr char all_doc[] = R"doc(all(a, axis=None, *, keepdims=False)
--

Whether no element is zero, of all elements or along axes.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
bool or Tensor
    A bool over all elements, a mask along axes.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.all([1.0, 2.0])
True
>>> nm.all([[0.0, 1.0], [1.0, 1.0]], axis=0)
Tensor([0.0, 1.0])
)doc";

} // namespace numerical::package
