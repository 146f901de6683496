#pragma once

// Docstrings of products, systems and values of matrices.

namespace numerical::package {

constexpr char matmul_doc[] = R"doc(matmul(a, b)
--

The matrix product, as a @ b.

Parameters
----------
a : array_like, shape (..., M, K) or (K,)
b : array_like, shape (..., K, N) or (K,)
    Leading axes are stacks, which broadcast; a vector is a row at the left, a column at the right.

Returns
-------
Tensor, shape (..., M, N), or number
    Without the axis of an operand that is a vector; a number for two vectors.

Raises
------
ValueError
    If the inner extents differ or an operand has rank 0.

Notes
-----
Packed panels and register tiles (Goto and van de Geijn 2008). Each element is one sum in
ascending order of the inner index, fused where the processor's path is; with a vector it is several
partial sums. No element depends on the number of threads.

Examples
--------
>>> nm.matmul([[1.0, 2.0], [3.0, 4.0]], [1.0, 1.0])
Tensor([3.0, 7.0])
>>> nm.matmul(nm.ones((5, 2, 3)), nm.ones((3, 4))).shape
(5, 2, 4)
)doc";

constexpr char solve_doc[] = R"doc(solve(a, b, *, assume_a=None, check_condition=None)
--

The solution x of a @ x = b for square matrices.

Parameters
----------
a : array_like, shape (..., M, M)
b : array_like, shape (M,) or (..., M, K)
    One right-hand side, or one in each column.
assume_a : str, optional
    What a is known to be; the rest of a isn't read. 'general', 'symmetric', 'hermitian',
    'positive definite' (its lower triangle), 'upper triangular', 'lower triangular', 'diagonal',
    'tridiagonal', or 'banded' (the band that isn't zero). SciPy's 'gen', 'sym', 'her' and 'pos'
    are the first four.
check_condition : bool, optional
    Whether a LinAlgWarning tells of an estimated reciprocal condition below 2^-52. By default
    where assume_a is given.

Returns
-------
Tensor, of b's shape
    A stack where a or b is one; stacks broadcast.

Raises
------
numerical.error
    If a matrix is exactly singular ("solve: matrix is singular"), not square, not finite, or b
    has another number of rows.
ValueError
    If a stack holds matrices that aren't square, or an operand has too low a rank.

Notes
-----
LU decomposition with partial pivoting, by recursive panels (Toledo 1997).

Examples
--------
>>> nm.linalg.solve([[2.0, 1.0], [1.0, 3.0]], [3.0, 4.0])
Tensor([1.0, 1.0])
)doc";

constexpr char inv_doc[] = R"doc(inv(a)
--

The inverses of square matrices.

Parameters
----------
a : array_like, shape (..., M, M)

Returns
-------
Tensor, shape (..., M, M)

Raises
------
numerical.error
    If a matrix is exactly singular ("inverse: matrix is singular") or not finite.
ValueError
    If the matrices aren't square.

Notes
-----
LU decomposition with partial pivoting. To solve a system, `solve` is faster and more accurate.

Examples
--------
>>> nm.linalg.inv([[2.0, 0.0], [0.0, 4.0]])
Tensor([[ 0.5,  0.0],
        [ 0.0, 0.25]])
)doc";

constexpr char det_doc[] = R"doc(det(a)
--

The determinants of square matrices.

The number may overflow or underflow; slogdet gives its sign and logarithm.

Parameters
----------
a : array_like, shape (..., M, M)

Returns
-------
number or Tensor
    A number for a matrix, a tensor of shape (...) for a stack.

Raises
------
ValueError
    If the matrices aren't square.
numerical.error
    If a matrix isn't finite.

Notes
-----
The product of the pivots of the LU decomposition.

Examples
--------
>>> nm.linalg.det([[1.0, 2.0], [3.0, 4.0]])
-2.0
)doc";

constexpr char svdvals_doc[] = R"doc(svdvals(a)
--

The singular values of matrices, in descending order.

Parameters
----------
a : array_like, shape (..., M, N)

Returns
-------
Tensor, shape (..., min(M, N))
    float64.

Raises
------
ValueError
    Below rank 2.
numerical.error
    If a matrix isn't finite.

Notes
-----
Bidiagonal reduction and the dqds iteration; no vectors are formed.

Examples
--------
>>> nm.linalg.svdvals([[3.0, 0.0], [0.0, -4.0]])
Tensor([4.0, 3.0])
)doc";

constexpr char eigvals_doc[] = R"doc(eigvals(a)
--

The eigenvalues of general square matrices.

Parameters
----------
a : array_like, shape (..., M, M)

Returns
-------
Tensor, shape (..., M)
    float64 where no value of a real matrix has an imaginary part, complex128 otherwise.

Raises
------
ValueError
    If the matrices aren't square.
numerical.error
    If a matrix isn't finite or the iteration doesn't converge.

Notes
-----
Balancing, Hessenberg reduction and the multishift QR iteration with aggressive early
deflation (Braman, Byers and Mathias 2002).

Examples
--------
>>> nm.linalg.eigvals([[0.0, 1.0], [-1.0, 0.0]])
Tensor([0+1j, 0-1j], dtype='complex128')
)doc";

} // namespace numerical::package
