"""Systems, inverses and determinants, by LU with partial pivoting; powers of matrices."""

from operator import index

from . import _numerical
from ._conversion import asarray
from ._creation import eye
from ._matrices import SlogdetResult, annotate, mapped, matrices, over_stack, told
from ._numerical import Tensor, error
from ._products import broadcast_shape, matmul
from ._promotion import same_dtype
from ._shaping import broadcast_to


def solve(a, b):
    """x with a @ x = b, by LU. a is (..., M, M); b is (M,), or (..., M, K) with one in each column.

    numerical.error "solve: matrix is singular" for an exactly singular a.
    """
    if type(a) is Tensor and type(b) is Tensor:
        try:  # asking for ranks and dtypes first would cost as much as a small system
            return _numerical.solve(a, b)
        except error as failure:
            if a.ndim == 2 and b.ndim in (1, 2) and a.dtype == b.dtype:
                annotate(failure, (a, b))
                raise
    return _solve(a, b)


@told
def _solve(a, b):
    """The same for a stack, operands of two dtypes, or what is no tensor yet."""
    a, b = same_dtype(a, b)
    if a.ndim == 2 and b.ndim <= 2:
        return _numerical.solve(a, b)
    if b.ndim == 0:
        raise ValueError("solve takes right-hand sides of rank 1 and more, not a number")
    a = matrices(a, "solve", square_only=True)
    if b.ndim == 1:
        solved = over_stack(
            lambda m: (_numerical.solve(m, b),), a, lambda m, n, dtype: [((m,), dtype)]
        )
        return solved[0]
    lead = broadcast_shape(a.shape[:-2], b.shape[:-2])
    if 0 in lead:
        return Tensor([], (*lead, *b.shape[-2:]), a.dtype)
    a = broadcast_to(a, (*lead, *a.shape[-2:]))
    b = broadcast_to(b, (*lead, *b.shape[-2:]))
    return mapped(lambda m, right: (_numerical.solve(m, right),), lead, a, b)[0]


@told
def inv(a):
    """The inverse of square matrices, by LU."""
    a = matrices(a, "inv", square_only=True)
    if a.ndim == 2:
        return _numerical.inverse(a)
    return over_stack(lambda m: (_numerical.inverse(m),), a, lambda m, n, d: [((m, n), d)])[0]


@told
def det(a):
    """The determinant; a number for a matrix, a tensor for a stack. slogdet doesn't overflow."""
    a = matrices(a, "det", square_only=True)
    if a.ndim == 2:
        return _numerical.determinant(a)
    return over_stack(lambda m: (_numerical.determinant(m),), a, lambda m, n, d: [((), d)])[0]


@told
def slogdet(a):
    """SlogdetResult(sign, logabsdet): the determinant is sign·exp(logabsdet)."""
    a = matrices(a, "slogdet", square_only=True)
    if a.ndim == 2:
        return SlogdetResult(*_numerical.slogdet(a))
    results = over_stack(_numerical.slogdet, a, lambda m, n, d: [((), d), ((), "float64")])
    return SlogdetResult(*results)


def matrix_power(a, n):
    """A square matrix multiplied n times by itself; the inverse's power for a negative n."""
    a, n = asarray(a), index(n)
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
