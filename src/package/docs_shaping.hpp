#pragma once

// Docstrings of what moves elements.

namespace numerical::package {

constexpr char permute_dims_doc[] = R"doc(permute_dims(a, axes=None)
--

The tensor with its axes in another order.

Also under the name transpose. The result is a copy; swapaxes and moveaxis move single axes.

Parameters
----------
a : array_like
    Any shape.
axes : sequence of int, optional
    For each axis of the result the axis of a; the reverse order by default.

Returns
-------
Tensor

Raises
------
ValueError
    If an axis is missing or named twice.

Examples
--------
>>> nm.permute_dims([[1.0, 2.0], [3.0, 4.0]])
Tensor([[1.0, 3.0],
        [2.0, 4.0]])
>>> nm.permute_dims(nm.ones((2, 3, 4)), (1, 0, 2)).shape
(3, 2, 4)
)doc";

constexpr char concatenate_doc[] = R"doc(concatenate(tensors, axis=0)
--

Tensors joined along an axis that they have.

Also under the name concat.

Parameters
----------
tensors : sequence of array_like
    At least one; all extents but that of the axis are equal.
axis : int or None, optional
    The axis; None joins all elements in row-major order.

Returns
-------
Tensor
    complex128 if one of the tensors is.

Raises
------
ValueError
    If there is no tensor, or ranks or extents differ.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.concatenate([[1.0, 2.0], [3.0]])
Tensor([1.0, 2.0, 3.0])
>>> nm.concatenate([nm.ones((2, 1)), nm.zeros((2, 2))], axis=1)
Tensor([[1.0, 0.0, 0.0],
        [1.0, 0.0, 0.0]])
)doc";

constexpr char stack_doc[] = R"doc(stack(tensors, axis=0)
--

Tensors of one shape joined along a new axis.

Parameters
----------
tensors : sequence of array_like
    At least one, all of one shape.
axis : int, optional
    The place of the new axis in the result.

Returns
-------
Tensor
    complex128 if one of the tensors is.

Raises
------
ValueError
    If there is no tensor, or shapes differ.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.stack([[1.0, 2.0], [3.0, 4.0]])
Tensor([[1.0, 2.0],
        [3.0, 4.0]])
>>> nm.stack([[1.0, 2.0], [3.0, 4.0]], axis=1)
Tensor([[1.0, 3.0],
        [2.0, 4.0]])
)doc";

constexpr char tril_doc[] = R"doc(tril(a, k=0)
--

The lower triangles of matrices: zeros above diagonal k.

Parameters
----------
a : array_like, shape (..., M, N)
k : int, optional
    0 for the main diagonal, positive above it, negative below.

Returns
-------
Tensor, shape (..., M, N)

Raises
------
ValueError
    Below rank 2.

Examples
--------
>>> nm.tril([[1.0, 2.0], [3.0, 4.0]])
Tensor([[1.0, 0.0],
        [3.0, 4.0]])
)doc";

constexpr char triu_doc[] = R"doc(triu(a, k=0)
--

The upper triangles of matrices: zeros below diagonal k.

Parameters
----------
a : array_like, shape (..., M, N)
k : int, optional
    0 for the main diagonal, positive above it, negative below.

Returns
-------
Tensor, shape (..., M, N)

Raises
------
ValueError
    Below rank 2.

Examples
--------
>>> nm.triu([[1.0, 2.0], [3.0, 4.0]])
Tensor([[1.0, 2.0],
        [0.0, 4.0]])
)doc";

constexpr char diff_doc[] = R"doc(diff(a, n=1, axis=-1)
--

The differences of neighbours along an axis, taken n times over.

Parameters
----------
a : array_like
    At least one axis.
n : int, optional
    How many times; each time shortens the axis by one.
axis : int, optional

Returns
-------
Tensor

Raises
------
ValueError
    If n is negative, or for a tensor of rank 0.
IndexError
    If an axis is out of bounds.

Examples
--------
>>> nm.diff([1.0, 4.0, 9.0])
Tensor([3.0, 5.0])
>>> nm.diff([1.0, 4.0, 9.0], 2)
Tensor([2.0])
)doc";

} // namespace numerical::package
