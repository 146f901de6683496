#pragma once

// Docstrings of reductions and running sums.

namespace numerical::package {

constexpr char sum_doc[] = R"doc(sum(a, axis=None, *, dtype=None, keepdims=False)
--

The sum of all elements, or the sums along axes.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
dtype : dtype, optional
    What the elements are converted to first.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
number or Tensor
    A number over all elements unless keepdims.

Raises
------
IndexError
    If an axis is out of bounds.

Notes
-----
Summation is pairwise in fixed blocks, so that its error grows with the logarithm of the
length and its bits don't depend on the number of threads (Higham 1993).

Examples
--------
>>> nm.sum([[1.0, 2.0], [3.0, 4.0]])
10.0
>>> nm.sum([[1.0, 2.0], [3.0, 4.0]], axis=0)
Tensor([4.0, 6.0])
)doc";

constexpr char mean_doc[] = R"doc(mean(a, axis=None, *, dtype=None, keepdims=False)
--

The mean of all elements, or the means along axes; NaN over no element.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
dtype : dtype, optional
    What the elements are converted to first.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
number or Tensor
    A number over all elements unless keepdims.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.mean([[1.0, 2.0], [3.0, 4.0]], axis=1)
Tensor([1.5, 3.5])
)doc";

constexpr char prod_doc[] = R"doc(prod(a, axis=None, *, dtype=None, keepdims=False)
--

The product of all elements, or the products along axes; 1 over no element.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
dtype : dtype, optional
    What the elements are converted to first.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
number or Tensor
    A number over all elements unless keepdims.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.prod([1.0, 2.0, 4.0])
8.0
)doc";

constexpr char max_doc[] = R"doc(max(a, axis=None, *, keepdims=False)
--

The largest element, or the largest ones along axes; NaN if one is NaN.

Parameters
----------
a : array_like
    float64.
axis : int or sequence of int, optional
    All axes by default.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
number or Tensor
    A number over all elements unless keepdims.

Raises
------
numerical.error
    Over no element.
TypeError
    For complex128, which has no order.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.max([[1.0, 5.0], [3.0, 4.0]])
5.0
>>> nm.max([[1.0, 5.0], [3.0, 4.0]], axis=0)
Tensor([3.0, 5.0])
)doc";

constexpr char min_doc[] = R"doc(min(a, axis=None, *, keepdims=False)
--

The smallest element, or the smallest ones along axes; NaN if one is NaN.

Parameters
----------
a : array_like
    float64.
axis : int or sequence of int, optional
    All axes by default.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
number or Tensor
    A number over all elements unless keepdims.

Raises
------
numerical.error
    Over no element.
TypeError
    For complex128, which has no order.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.min([[1.0, 5.0], [3.0, 4.0]])
1.0
>>> nm.min([[1.0, 5.0], [3.0, 4.0]], axis=0)
Tensor([1.0, 4.0])
)doc";

constexpr char var_doc[] =
    R"doc(var(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)
--

The variance of all elements, or the variances along axes.

It is the sum of the squared moduli of the distances from the mean, divided by count - correction.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
correction : float, optional
    What is subtracted from the count; 1 for the variance of a sample.
ddof : float, optional
    NumPy's name of correction.
dtype : dtype, optional
    What the elements are converted to first.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
float or Tensor
    float64; a float over all elements unless keepdims.

Raises
------
ValueError
    If both correction and ddof are given.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.var([1.0, 2.0, 3.0, 4.0])
1.25
>>> nm.var([1.0, 2.0, 3.0], correction=1)
1.0
)doc";

constexpr char std_doc[] =
    R"doc(std(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)
--

The standard deviation: the square root of var.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
correction : float, optional
    What is subtracted from the count; 1 for the deviation of a sample.
ddof : float, optional
    NumPy's name of correction.
dtype : dtype, optional
    What the elements are converted to first.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
float or Tensor
    float64; a float over all elements unless keepdims.

Raises
------
ValueError
    If both correction and ddof are given.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.std([1.0, 3.0])
1.0
)doc";

constexpr char cumsum_doc[] = R"doc(cumsum(a, axis=None, dtype=None)
--

The running sums along an axis, or of all elements in row-major order.

Parameters
----------
a : array_like
axis : int, optional
    By default the elements are taken in row-major order.
dtype : dtype, optional
    What the elements are converted to first.

Returns
-------
Tensor
    Of a's shape; a vector without an axis.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.cumsum([1.0, 2.0, 4.0])
Tensor([1.0, 3.0, 7.0])
>>> nm.cumsum([[1.0, 2.0], [3.0, 4.0]], axis=0)
Tensor([[1.0, 2.0],
        [4.0, 6.0]])
)doc";

constexpr char cumprod_doc[] = R"doc(cumprod(a, axis=None, dtype=None)
--

The running products along an axis, or of all elements in row-major order.

Parameters
----------
a : array_like
axis : int, optional
    By default the elements are taken in row-major order.
dtype : dtype, optional
    What the elements are converted to first.

Returns
-------
Tensor
    Of a's shape; a vector without an axis.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.cumprod([1.0, 2.0, 4.0])
Tensor([1.0, 2.0, 8.0])
)doc";

constexpr char count_nonzero_doc[] = R"doc(count_nonzero(a, axis=None, *, keepdims=False)
--

How many elements are not zero, of all elements or along axes.

Parameters
----------
a : array_like
axis : int or sequence of int, optional
    All axes by default.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
int or Positions
    An int over all elements, Positions along axes.

Raises
------
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.count_nonzero([[0.0, 1.0], [2.0, 3.0]])
3
>>> nm.count_nonzero([[0.0, 1.0], [2.0, 3.0]], axis=0)
Positions([1, 2])
)doc";

} // namespace numerical::package
