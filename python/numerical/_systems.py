"""Systems, inverses and determinants, by LU with partial pivoting; powers of matrices."""

from ._arguments import integer
from ._conversion import asarray
from ._creation import eye
from ._native_module import native
from ._products import matmul
from ._results import SlogdetResult
from ._shaping import broadcast_to

solve = native.solve
inv = native.inv
det = native.det


def slogdet(a):
    """The signs and logarithms of determinants, which neither overflow nor underflow.

    Parameters
    ----------
    a : array_like, shape (..., M, M)

    Returns
    -------
    SlogdetResult
        sign and logabsdet: the determinant is sign * exp(logabsdet). For a singular matrix they are 0 and
        -inf.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If a matrix isn't finite.

    Examples
    --------
    >>> nm.linalg.slogdet([[2.0, 0.0], [0.0, -0.5]])
    SlogdetResult(sign=-1.0, logabsdet=0.0)
    """
    return SlogdetResult(*native.slogdet(a))


def matrix_power(a, n):
    """A square matrix to an integer power, by repeated squaring.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
    n : int
        For a negative one the inverse is multiplied; 0 gives the identity.

    Returns
    -------
    Tensor, shape (..., M, M)

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If n is negative and a matrix is singular.

    Examples
    --------
    >>> nm.linalg.matrix_power([[1.0, 1.0], [0.0, 1.0]], 5)
    Tensor([[1.0, 5.0],
            [0.0, 1.0]])
    """
    a, n = asarray(a), integer(n, "n")
    if a.ndim < 2 or a.shape[-1] != a.shape[-2]:
        raise ValueError(f"matrix_power takes square matrices, not shape {a.shape}")
    if n < 0:
        a, n = inv(a), -n
    if n == 0:
        return broadcast_to(eye(a.shape[-1], dtype=a.dtype), a.shape)
    result = None
    while n:
        if n & 1:
            result = a if result is None else matmul(result, a)
        n >>= 1
        if n:
            a = matmul(a, a)
    return result
