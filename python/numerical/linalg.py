"""Linear algebra under the names of NumPy 2 and of the array API's linalg extension (2025.12).

Every function takes tensors, nested lists or arrays of other libraries, and stacks of matrices of
shape (..., M, N). Failures are numerical.error, with a hint that says what was given and what to try.

Methods: solve, inv, det and slogdet by LU with partial pivoting; eigh by tridiagonal reduction and
divide and conquer (Gu and Eisenstat 1995); svd by bidiagonal reduction and divide and conquer.
"""

from ._assumptions import LinAlgWarning
from ._conversion import asarray
from ._creation import diagonal
from ._decompositions import cholesky, qr, svd, svdvals

from ._factors import (
    LU, CholeskyFactor, LDLFactor, LUFactor, cho_factor, cho_solve, cholesky_factor, ldl, lu,
    lu_factor, lu_solve, solve_triangular,
)  # fmt: skip
from ._general_eigen import eig, eigvals, hessenberg, schur
from ._functions import conj, multiply
from ._functions import sum as _sum
from ._hermitian import eigh, eigvalsh
from ._least_squares import LstsqResult, lstsq, matrix_rank, pinv
from ._low_rank import randomized_svd
from ._matrices import item_of_first_axis, matrix_transpose

from ._matrix_equations import (
    solve_continuous_lyapunov, solve_discrete_lyapunov, solve_sylvester,
)  # fmt: skip
from ._matrix_functions import expm, logm, sqrtm
from ._norms import cond, matrix_norm, norm, vector_norm
from ._numerical import error
from ._orthogonal_factors import QRFactor, qr_factor, qr_multiply
from ._products import matmul, multi_dot, outer, tensordot, trace
from ._promotion import same_dtype
from ._results import EighResult, EigResult, PolarResult, QRResult, SlogdetResult, SVDResult
from ._shaping import moveaxis, normalized_axis, stack
from ._subspaces import null_space, orth, polar
from ._systems import det, inv, matrix_power, slogdet, solve
from ._tensor_equations import tensorinv, tensorsolve

LinAlgError = error
error.__doc__ = """A failure of the mathematics: a singular matrix, input that isn't finite, operands that don't fit.

numerical.error and numerical.linalg.LinAlgError are one class. NumPy's functions of tensors raise a
subclass that numpy.linalg.LinAlgError catches as well.

Attributes
----------
hint : str
    What was given and what to try, where there is something to say. From Python 3.11 on it is a note of
    the exception too.

Examples
--------
>>> try:
...     nm.linalg.inv([[1.0, 2.0], [2.0, 4.0]])
... except nm.linalg.LinAlgError as failure:
...     print(failure)
inverse: matrix is singular
"""


def vecdot(a, b, *, axis=-1):
    """The sums of conj(a)*b along an axis.

    Parameters
    ----------
    a, b : array_like
        The axis has one extent in both; the other axes broadcast.
    axis : int, optional

    Returns
    -------
    Tensor or number
        A number for two vectors.

    Raises
    ------
    ValueError
        If the extents differ.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.vecdot([1.0, 2.0], [3.0, 4.0])
    11.0
    """
    a, b = (moveaxis(t, normalized_axis(axis, t.ndim), -1) for t in same_dtype(a, b))
    if a.shape[-1] != b.shape[-1]:
        raise ValueError(f"vecdot takes vectors of one length, not {a.shape[-1]} and {b.shape[-1]}")
    return _sum(multiply(conj(a), b), -1)


def cross(a, b, *, axis=-1):
    """The cross products of vectors of three elements.

    Parameters
    ----------
    a, b : array_like
        The axis has extent 3; the other axes broadcast.
    axis : int, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the axis has another extent.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.linalg.cross([1.0, 0.0, 0.0], [0.0, 1.0, 0.0])
    Tensor([0.0, 0.0, 1.0])
    """
    a, b = (moveaxis(t, normalized_axis(axis, t.ndim), 0) for t in same_dtype(a, b))
    if a.shape[0] != 3 or b.shape[0] != 3:
        raise ValueError(f"cross takes vectors of 3 elements, not {a.shape[0]} and {b.shape[0]}")
    (ax, ay, az), (bx, by, bz) = ([item_of_first_axis(t, i) for i in range(3)] for t in (a, b))
    rows = [ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx]
    return moveaxis(stack([asarray(row) for row in rows]), 0, axis)


__all__ = [
    "CholeskyFactor", "EigResult", "EighResult", "LDLFactor", "LU", "LUFactor", "LinAlgError",
    "LinAlgWarning", "LstsqResult", "PolarResult", "QRFactor", "QRResult", "SVDResult",
    "SlogdetResult", "cho_factor", "cho_solve", "cholesky", "cholesky_factor", "cond", "cross",
    "det", "diagonal", "eig", "eigh", "eigvals", "eigvalsh", "expm", "hessenberg", "inv", "ldl",
    "logm", "lstsq", "lu", "lu_factor", "lu_solve", "matmul", "matrix_norm", "matrix_power",
    "matrix_rank", "matrix_transpose", "multi_dot", "norm", "null_space", "orth", "outer",
    "pinv", "polar", "qr", "qr_factor", "qr_multiply", "randomized_svd", "schur", "slogdet",
    "solve", "solve_continuous_lyapunov", "solve_discrete_lyapunov", "solve_sylvester",
    "solve_triangular", "sqrtm", "svd", "svdvals", "tensordot", "tensorinv", "tensorsolve",
    "trace", "vecdot", "vector_norm",
]  # fmt: skip
