"""Systems, inverses and determinants, by LU with partial pivoting; powers of matrices."""

from ._arguments import integer
from ._conversion import asarray
from ._creation import eye
from ._matrices import SlogdetResult
from ._native_module import native
from ._products import matmul
from ._shaping import broadcast_to

solve = native.solve
inv = native.inv
det = native.det


def slogdet(a):
    """SlogdetResult(sign, logabsdet): the determinant is sign·exp(logabsdet)."""
    return SlogdetResult(*native.slogdet(a))


def matrix_power(a, n):
    """A square matrix multiplied n times by itself; the inverse's power for a negative n."""
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
