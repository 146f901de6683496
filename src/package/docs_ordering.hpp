#pragma once

// Docstrings of sorting and searching.

namespace numerical::package {

constexpr char sort_doc[] = R"doc(sort(a, axis=-1, kind=None, *, descending=False, stable=True)
--

The elements in ascending order along an axis; NaNs come last.

Parameters
----------
a : array_like
    float64.
axis : int or None, optional
    The axis; None sorts all elements into a vector.
kind : str, optional
    A name that NumPy has; all mean the same stable sort.
descending : bool, optional
    Whether the largest come first.
stable : bool, optional
    Not read: the sort is always stable.

Returns
-------
Tensor
    Of a's shape; a vector for axis None.

Raises
------
TypeError
    For complex128, which has no order.
ValueError
    For a kind that NumPy doesn't have.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.sort([3.0, 1.0, 2.0])
Tensor([1.0, 2.0, 3.0])
>>> nm.sort([3.0, 1.0, 2.0], descending=True)
Tensor([3.0, 2.0, 1.0])
)doc";

constexpr char argsort_doc[] =
    R"doc(argsort(a, axis=-1, kind=None, *, descending=False, stable=True)
--

The places that sort the elements along an axis: a[argsort(a)] is sorted for a vector.

NaNs come last; equal elements keep their order.

Parameters
----------
a : array_like
    float64.
axis : int or None, optional
    The axis; None sorts all elements in row-major order.
kind : str, optional
    A name that NumPy has; all mean the same stable sort.
descending : bool, optional
    Whether the largest come first.
stable : bool, optional
    Not read: the sort is always stable.

Returns
-------
Positions
    Of a's shape; a vector for axis None.

Raises
------
TypeError
    For complex128, which has no order.
ValueError
    For a kind that NumPy doesn't have.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> a = nm.array([3.0, 1.0, 2.0])
>>> nm.argsort(a)
Positions([1, 2, 0])
>>> a[nm.argsort(a)]
Tensor([1.0, 2.0, 3.0])
)doc";

constexpr char argmax_doc[] = R"doc(argmax(a, axis=None, *, keepdims=False)
--

The place of the largest element: the first of equal ones, and of a NaN if there is one.

Parameters
----------
a : array_like
    float64.
axis : int, optional
    By default the place counts in row-major order.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
int or Positions
    An int over all elements, Positions along an axis.

Raises
------
ValueError
    Of no element.
TypeError
    For complex128, which has no order.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.argmax([[1.0, 5.0], [3.0, 4.0]])
1
>>> nm.argmax([[1.0, 5.0], [3.0, 4.0]], axis=0)
Positions([1, 0])
)doc";

constexpr char argmin_doc[] = R"doc(argmin(a, axis=None, *, keepdims=False)
--

The place of the smallest element: the first of equal ones, and of a NaN if there is one.

Parameters
----------
a : array_like
    float64.
axis : int, optional
    By default the place counts in row-major order.
keepdims : bool, optional
    Whether the axes stay, with extent 1.

Returns
-------
int or Positions
    An int over all elements, Positions along an axis.

Raises
------
ValueError
    Of no element.
TypeError
    For complex128, which has no order.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.argmin([[1.0, 5.0], [3.0, 4.0]])
0
>>> nm.argmin([[1.0, 5.0], [3.0, 4.0]], axis=0)
Positions([0, 1])
)doc";

constexpr char searchsorted_doc[] = R"doc(searchsorted(a, v, side='left', sorter=None)
--

The places at which values would keep an ascending vector sorted, found by bisection.

Parameters
----------
a : array_like
    A float64 vector, ascending unless sorter is given.
v : array_like
    The values, float64, any shape.
side : {'left', 'right'}, optional
    Before elements equal to the value, or behind them.
sorter : Positions or sequence of int, optional
    The places that sort a, as argsort gives them.

Returns
-------
int or Positions
    An int for a number, Positions of v's shape otherwise.

Raises
------
ValueError
    If a is no vector, or for another side.

Examples
--------
>>> nm.searchsorted([1.0, 2.0, 3.0], 2.5)
2
>>> nm.searchsorted([1.0, 2.0, 3.0], [0.0, 2.0], side="right")
Positions([0, 2])
)doc";

constexpr char nonzero_doc[] = R"doc(nonzero(a)
--

The places of the elements that are not zero, in row-major order.

Parameters
----------
a : array_like
    At least one axis.

Returns
-------
tuple of Positions
    One for each axis; as an index the tuple selects these elements.

Raises
------
ValueError
    For a tensor of rank 0.

Examples
--------
>>> nm.nonzero([[0.0, 1.0], [2.0, 0.0]])
(Positions([0, 1]), Positions([1, 0]))
)doc";

constexpr char where_doc[] = R"doc(where(mask, a=None, b=None)
--

The elements of a where a mask is not zero, and those of b elsewhere.

Parameters
----------
mask : array_like
    What chooses: any number but zero is true.
a, b : array_like, optional
    The choices; the three broadcast. Without them the result is nonzero(mask).

Returns
-------
Tensor or tuple of Positions

Raises
------
ValueError
    If one of a and b is given without the other.
numerical.error
    If the shapes don't broadcast.

Examples
--------
>>> x = nm.array([-1.0, 2.0, -3.0])
>>> nm.where(x > 0, x, 0.0)
Tensor([0.0, 2.0, 0.0])
>>> nm.where(x > 0)
(Positions([1]),)
)doc";

} // namespace numerical::package
