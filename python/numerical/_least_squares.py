"""Least squares, pseudo-inverse and rank."""

from . import _numerical
from ._arguments import real
from ._conversion import complex128
from ._decompositions import svdvals
from ._functions import abs as _abs
from ._functions import conj, divide, square
from ._matrices import matrices, matrix_transpose, over_stack, told
from ._numerical import Tensor
from ._products import matmul
from ._promotion import same_dtype
from ._shaping import reshape

EPS = 2.0**-52


class LstsqResult:
    """What lstsq found: unpacks into x, residuals, rank and singular_values, as NumPy's tuple does.

    Only x is computed at once; the others cost a singular value decomposition when first asked for.
    """

    def __init__(self, a, b, rcond):
        self._a, self._b = a, b
        self._rcond = EPS * max(a.shape) if rcond is None else rcond if rcond >= 0 else EPS
        self._svd = None
        if rcond is None:
            self.x = _numerical.lstsq(a, b)
        else:
            self.x = matmul(_truncated_inverse(*self._decomposition(), self.rank), b)

    def _decomposition(self):
        if self._svd is None:
            self._svd = _numerical.svd(self._a, "divide_and_conquer")
        return self._svd

    @property
    def singular_values(self):
        return self._decomposition()[1]

    @property
    def rank(self):
        return _rank(self.singular_values.tolist(), self._rcond)

    @property
    def residuals(self):
        rows, columns = self._a.shape
        if not self.rank == columns < rows:
            return Tensor([], (0,))
        missed = square(_abs(matmul(self._a, self.x) - self._b))
        return reshape(_numerical._reduce("sum", missed, 0), (-1,))

    def __repr__(self):
        return f"LstsqResult(x={self.x!r}; residuals, rank, singular_values)"

    def __len__(self):
        return 4

    def __iter__(self):
        return (self[i] for i in range(4))

    def __getitem__(self, index):
        names = ("x", "residuals", "rank", "singular_values")[index]
        if isinstance(names, tuple):
            return tuple(getattr(self, name) for name in names)
        return getattr(self, names)


@told
def lstsq(a, b, rcond=None):
    """LstsqResult(x, residuals, rank, singular_values): x of least norm that minimises norm(a @ x - b).

    Singular values up to rcond times the largest count as zero; by default rcond is max(M, N)·2^-52,
    and 2^-52 stands for a negative one.
    residuals holds the squared norms of the columns of b - a @ x if M > N = rank, otherwise nothing.
    """
    rcond = None if rcond is None else real(rcond, "rcond")
    a, b = same_dtype(a, b)
    a = matrices(a, "lstsq")
    if a.ndim != 2:
        raise ValueError(f"lstsq takes one matrix, not a stack of shape {a.shape}")
    return LstsqResult(a, b, rcond)


def _truncated_inverse(u, s, vh, rank):
    """V·diag(1/s)·Uᴴ over the first `rank` singular values."""
    take = _numerical._take
    left = take(u, (0, 0), (1, 1), (u.shape[0], rank), (1, 1))
    right = take(vh, (0, 0), (1, 1), (rank, vh.shape[1]), (1, 1))
    if rank == 0:
        return _numerical._full((vh.shape[1], u.shape[0]), 0.0, u.dtype == complex128)
    scaled = divide(matrix_transpose(conj(right)), take(s, (0,), (1,), (rank,), (1,)))
    return matmul(scaled, matrix_transpose(conj(left)))


@told
def pinv(a, rtol=None):
    """The Moore-Penrose inverse of matrices.

    Singular values up to rtol times the largest count as zero; by default rtol is max(M, N)·2^-52.
    """
    rtol = None if rtol is None else real(rtol, "rtol")
    a = matrices(a, "pinv")

    def invert(matrix):
        if rtol is None:
            return (_numerical.pinv(matrix),)
        u, s, vh = _numerical.svd(matrix, "divide_and_conquer")
        return (_truncated_inverse(u, s, vh, _rank(s.tolist(), rtol)),)

    return invert(a)[0] if a.ndim == 2 else over_stack(
        invert, a, lambda m, n, dtype: [((n, m), dtype)]
    )[0]  # fmt: skip


def _rank(values, rtol):
    """How many of the descending singular values lie above rtol times the first."""
    return sum(value > rtol * values[0] for value in values)


@told
def matrix_rank(a, tol=None, *, rtol=None):
    """The number of singular values above a threshold: tol, or rtol times the largest.

    By default rtol is max(M, N)·2^-52. An int for a matrix, a tensor for a stack.
    """
    if tol is not None and rtol is not None:
        raise ValueError("matrix_rank takes tol or rtol, not both")
    tol = None if tol is None else real(tol, "tol")
    rtol = None if rtol is None else real(rtol, "rtol")
    a = matrices(a, "matrix_rank")

    def rank(matrix):
        if tol is None and rtol is None:
            return (_numerical.matrix_rank(matrix),)
        values = svdvals(matrix).tolist()
        return (sum(v > tol for v in values) if rtol is None else _rank(values, rtol),)

    return rank(a)[0] if a.ndim == 2 else over_stack(rank, a, lambda m, n, d: [((), "float64")])[0]
