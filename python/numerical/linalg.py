"""Linear algebra under the names of NumPy 2 and of the array API's linalg extension (2025.12).

Every function takes tensors, nested lists or arrays of other libraries, and stacks of matrices of
shape (..., M, N), which are worked on one after the other. Failures are numerical.error with the
module's words and a note that says what was given and what to try.

Methods: solve, inv, det and slogdet by LU with partial pivoting; eigh by tridiagonal reduction and
divide and conquer (Gu and Eisenstat 1995); svd by bidiagonal reduction and divide and conquer.
"""

import math

from . import _numerical
from ._creation import asarray, complex128, diagonal, eye
from ._functions import abs as _abs
from ._functions import conj, divide, multiply, sqrt, square
from ._functions import max as _max
from ._functions import min as _min
from ._functions import sum as _sum
from ._numerical import Tensor, error
from ._products import (
    broadcast_shape, matmul, matrix_power, multi_dot, outer, tensordot, trace,
)  # fmt: skip
from ._promotion import same_dtype
from ._shaping import (
    broadcast_to, concatenate, moveaxis, normalized_axes, reshape, stack, swapaxes,
)  # fmt: skip

LinAlgError = error

EPS = 2.0**-52


# Named results are plain tuples with properties: the library's own way to make such classes would
# take a large part of the import's time.
class _Result(tuple):
    __slots__ = ()
    _fields = ()

    def __new__(cls, *values):
        return tuple.__new__(cls, values)

    def __getnewargs__(self):
        return tuple(self)

    def __repr__(self):
        given = ", ".join(f"{name}={value!r}" for name, value in zip(self._fields, self))
        return f"{type(self).__name__}({given})"


def _field(index):
    return property(lambda self: self[index])


class EighResult(_Result):
    __slots__ = ()
    _fields = ("eigenvalues", "eigenvectors")
    eigenvalues, eigenvectors = _field(0), _field(1)


class QRResult(_Result):
    __slots__ = ()
    _fields = ("Q", "R")
    Q, R = _field(0), _field(1)


class SlogdetResult(_Result):
    __slots__ = ()
    _fields = ("sign", "logabsdet")
    sign, logabsdet = _field(0), _field(1)


class SVDResult(_Result):
    __slots__ = ()
    _fields = ("U", "S", "Vh")
    U, S, Vh = _field(0), _field(1), _field(2)


# --- what goes wrong, and what to try ------------------------------------------------------------
_ADVICE = {
    "matrix is singular": "the matrix has no inverse: lstsq and pinv give the least-squares answer",
    "infinite or NaN entry": "look for NaN and infinities in the input, for example by sum(a - a)",
    "not positive-definite": "the matrix must be Hermitian with positive eigenvalues;"
    " eigvalsh shows them, and adding a multiple of eye(n) shifts them",
    "square matrix": "lstsq, pinv, qr and svd take rectangular matrices",
    "did not converge": 'another method may: method="tridiagonal_ql" of eigh or "bidiagonal_qr"'
    " of svd",
    "right-hand side": "b has as many rows as a; one right-hand side stands in each column",
}


def _annotate(failure, operands):
    """Adds what was given and the next thing to try, where exceptions can carry notes."""
    if not hasattr(failure, "add_note"):
        return
    tensors = [asarray(operand) for operand in operands if not isinstance(operand, str)]
    given = ", ".join(f"{t.dtype} of shape {t.shape}" for t in tensors)
    hint = next((text for key, text in _ADVICE.items() if key in str(failure)), None)
    failure.add_note(f"given {given}" + (f"; {hint}" if hint else ""))


def _told(function):
    """Annotates the module's errors that the function raises."""

    def telling(*operands, **options):
        try:
            return function(*operands, **options)
        except error as failure:
            _annotate(failure, operands)
            raise

    for name in ("__name__", "__qualname__", "__module__", "__doc__"):
        setattr(telling, name, getattr(function, name))
    telling.__wrapped__ = function  # inspect and help show its signature
    return telling


def _matrices(a, name, square_only=False):
    a = asarray(a)
    if a.ndim < 2:
        raise ValueError(f"{name} takes a matrix or a stack of them, not a tensor of rank {a.ndim}")
    if square_only and a.shape[-1] != a.shape[-2]:
        raise ValueError(f"{name} takes square matrices, not shape {a.shape}")
    return a


def _mapped(function, lead, *operands):
    """function of each matrix of the operands, whose leading axes are `lead`; results stacked.

    The function gives a tuple of tensors or numbers; so does this.
    """
    count = math.prod(lead)
    flat = [reshape(t, (count, *t.shape[len(lead) :])) for t in operands]
    results = [function(*(_slice(t, i) for t in flat)) for i in range(count)]
    return tuple(
        reshape(stack(column), (*lead, *asarray(column[0]).shape)) for column in zip(*results)
    )


def _slice(t, i):
    rest = t.ndim - 1
    return _numerical._take(
        t, (i, *[0] * rest), (1,) * t.ndim, (1, *t.shape[1:]), (0, *[1] * rest)
    )  # fmt: skip


def _over_stack(function, a, empty):
    """function(a) of a matrix, or its results over a stack; `empty` gives those of no matrix."""
    if a.ndim == 2:
        return function(a)
    lead = a.shape[:-2]
    if 0 in lead:
        return tuple(
            Tensor([], (*lead, *shape), dtype) for shape, dtype in empty(*a.shape[-2:], a.dtype)
        )
    return _mapped(function, lead, a)


# --- systems -------------------------------------------------------------------------------------
def solve(a, b):
    """x with a @ x = b, by LU. a is (..., M, M); b is (M,), or (..., M, K) with one in each column.

    numerical.error "solve: matrix is singular" for an exactly singular a.
    """
    if type(a) is Tensor and type(b) is Tensor:
        try:  # asking for ranks and dtypes first would cost as much as a small system
            return _numerical.solve(a, b)
        except error as failure:
            if a.ndim == 2 and b.ndim in (1, 2) and a.dtype == b.dtype:
                _annotate(failure, (a, b))
                raise
    return _solve(a, b)


@_told
def _solve(a, b):
    """The same for a stack, operands of two dtypes, or what is no tensor yet."""
    a, b = same_dtype(a, b)
    if a.ndim == 2 and b.ndim in (1, 2):
        return _numerical.solve(a, b)
    a = _matrices(a, "solve", square_only=True)
    if b.ndim == 1:
        solved = _over_stack(
            lambda m: (_numerical.solve(m, b),), a, lambda m, n, dtype: [((m,), dtype)]
        )
        return solved[0]
    lead = broadcast_shape(a.shape[:-2], b.shape[:-2])
    if 0 in lead:
        return Tensor([], (*lead, *b.shape[-2:]), a.dtype)
    a = broadcast_to(a, (*lead, *a.shape[-2:]))
    b = broadcast_to(b, (*lead, *b.shape[-2:]))
    return _mapped(lambda m, right: (_numerical.solve(m, right),), lead, a, b)[0]


@_told
def inv(a):
    """The inverse of square matrices, by LU."""
    a = _matrices(a, "inv", square_only=True)
    if a.ndim == 2:
        return _numerical.inverse(a)
    return _over_stack(lambda m: (_numerical.inverse(m),), a, lambda m, n, d: [((m, n), d)])[0]


@_told
def det(a):
    """The determinant; a number for a matrix, a tensor for a stack. slogdet doesn't overflow."""
    a = _matrices(a, "det", square_only=True)
    if a.ndim == 2:
        return _numerical.determinant(a)
    return _over_stack(lambda m: (_numerical.determinant(m),), a, lambda m, n, d: [((), d)])[0]


@_told
def slogdet(a):
    """SlogdetResult(sign, logabsdet): the determinant is sign·exp(logabsdet)."""
    a = _matrices(a, "slogdet", square_only=True)
    if a.ndim == 2:
        return SlogdetResult(*_numerical.slogdet(a))
    results = _over_stack(_numerical.slogdet, a, lambda m, n, d: [((), d), ((), "float64")])
    return SlogdetResult(*results)


# --- factorizations ------------------------------------------------------------------------------
@_told
def cholesky(a, *, upper=False):
    """L with a = L·Lᴴ for Hermitian positive-definite matrices; Lᴴ if upper."""
    a = _matrices(a, "cholesky", square_only=True)
    lower = _over_stack(lambda m: (_numerical.cholesky(m),), a, lambda m, n, d: [((m, n), d)])[0] \
        if a.ndim > 2 else _numerical.cholesky(a)  # fmt: skip
    return matrix_transpose(conj(lower)) if upper else lower


@_told
def qr(a, mode="reduced"):
    """QRResult(Q, R) with a = Q·R, orthonormal columns of Q and R's diagonal not negative.

    Q is (..., M, K), K = min(M, N); (..., M, M) for mode "complete". Mode "r" gives R alone.
    """
    if mode not in ("reduced", "complete", "r"):
        raise ValueError(f"mode is 'reduced', 'complete' or 'r', not {mode!r}")
    a = _matrices(a, "qr")
    factor = _complete_qr if mode == "complete" else _numerical.qr

    def empty(m, n, dtype):
        k = m if mode == "complete" else min(m, n)
        return [((m, k), dtype), ((k, n), dtype)]

    result = QRResult(*_over_stack(factor, a, empty))
    return result.R if mode == "r" else result


def _complete_qr(a):
    """The factors of [a I]: its first columns are a's, and the rest completes the basis."""
    rows, columns = a.shape
    if rows <= columns:
        return _numerical.qr(a)
    q, r = _numerical.qr(concatenate([a, eye(rows, dtype=a.dtype)], axis=1))
    return q, _numerical._take(r, (0, 0), (1, 1), (rows, columns), (1, 1))


# --- eigenvalues and singular values -------------------------------------------------------------
@_told
def eigh(a, UPLO="L", *, method="divide_and_conquer"):
    """EighResult(eigenvalues, eigenvectors) of Hermitian matrices, values ascending.

    One triangle is read: the lower, or the upper for UPLO "U". Column j of the vectors belongs to
    value j. method: "divide_and_conquer", "tridiagonal_ql", or "jacobi" (float64 only).
    """
    a = _hermitian(a, UPLO, "eigh")
    return EighResult(
        *_over_stack(
            lambda m: _numerical.eigh(m, method), a,
            lambda m, n, dtype: [((m,), "float64"), ((m, n), dtype)],
        )  # fmt: skip
    )


def _hermitian(a, uplo, name):
    a = _matrices(a, name, square_only=True)
    if uplo not in ("L", "U"):
        raise ValueError(f"UPLO is 'L' or 'U', not {uplo!r}")
    return matrix_transpose(conj(a)) if uplo == "U" else a


def eigvalsh(a, UPLO="L", *, method="divide_and_conquer"):
    """The eigenvalues of Hermitian matrices, ascending."""
    return eigh(a, UPLO, method=method).eigenvalues


@_told
def svd(a, full_matrices=True, *, method="divide_and_conquer"):
    """SVDResult(U, S, Vh) with a = U·diag(S)·Vh, S descending.

    U is (..., M, M) and Vh (..., N, N); (..., M, K) and (..., K, N) with K = min(M, N) unless
    full_matrices. method: "divide_and_conquer", "bidiagonal_qr" or "jacobi".
    """
    a = _matrices(a, "svd")

    def decompose(matrix):
        u, s, vh = _numerical.svd(matrix, method)
        if not full_matrices:
            return u, s, vh
        return _completed(u), s, matrix_transpose(conj(_completed(matrix_transpose(conj(vh)))))

    def empty(m, n, dtype):
        k = min(m, n)
        u, v = (m, n) if full_matrices else (k, k)
        return [((m, u), dtype), ((k,), "float64"), ((v, n), dtype)]

    return SVDResult(*_over_stack(decompose, a, empty))


def _completed(u):
    """Orthonormal columns completed to a basis: they are their own Q, as R's diagonal is 1."""
    return u if u.shape[0] == u.shape[1] else _complete_qr(u)[0]


def svdvals(a):
    """The singular values, descending."""
    return svd(a, full_matrices=False).S


# --- least squares, pseudo-inverse, rank ---------------------------------------------------------
class LstsqResult:
    """What lstsq found: unpacks into x, residuals, rank and singular_values, as NumPy's tuple does.

    Only x is computed at once; the others cost a singular value decomposition when first asked for.
    """

    def __init__(self, a, b, rcond):
        self._a, self._b = a, b
        self._rcond = EPS * max(a.shape) if rcond is None else rcond
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

    def __len__(self):
        return 4

    def __iter__(self):
        return (self[i] for i in range(4))

    def __getitem__(self, index):
        names = ("x", "residuals", "rank", "singular_values")[index]
        if isinstance(names, tuple):
            return tuple(getattr(self, name) for name in names)
        return getattr(self, names)


@_told
def lstsq(a, b, rcond=None):
    """LstsqResult(x, residuals, rank, singular_values): x of least norm that minimises norm(a @ x - b).

    Singular values up to rcond times the largest count as zero; by default rcond is max(M, N)·2^-52.
    residuals holds the squared norms of the columns of b - a @ x if M > N = rank, otherwise nothing.
    """
    a, b = same_dtype(a, b)
    a = _matrices(a, "lstsq")
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


@_told
def pinv(a, rtol=None):
    """The Moore-Penrose inverse of matrices.

    Singular values up to rtol times the largest count as zero; by default rtol is max(M, N)·2^-52.
    """
    a = _matrices(a, "pinv")

    def invert(matrix):
        if rtol is None:
            return (_numerical.pinv(matrix),)
        u, s, vh = _numerical.svd(matrix, "divide_and_conquer")
        return (_truncated_inverse(u, s, vh, _rank(s.tolist(), rtol)),)

    return invert(a)[0] if a.ndim == 2 else _over_stack(
        invert, a, lambda m, n, dtype: [((n, m), dtype)]
    )[0]  # fmt: skip


def _rank(values, rtol):
    """How many of the descending singular values lie above rtol times the first."""
    return sum(value > rtol * values[0] for value in values)


@_told
def matrix_rank(a, tol=None, *, rtol=None):
    """The number of singular values above a threshold: tol, or rtol times the largest.

    By default rtol is max(M, N)·2^-52. An int for a matrix, a tensor for a stack.
    """
    if tol is not None and rtol is not None:
        raise ValueError("matrix_rank takes tol or rtol, not both")
    a = _matrices(a, "matrix_rank")

    def rank(matrix):
        if tol is None and rtol is None:
            return (_numerical.matrix_rank(matrix),)
        values = svdvals(matrix).tolist()
        return (sum(v > tol for v in values) if rtol is None else _rank(values, rtol),)

    return rank(a)[0] if a.ndim == 2 else _over_stack(rank, a, lambda m, n, d: [((), "float64")])[0]


# --- norms ---------------------------------------------------------------------------------------
def vector_norm(x, *, axis=None, keepdims=False, ord=2):
    """The norm of order `ord` of vectors along axes, of all elements by default.

    ord is a number, inf or -inf; 0 counts the elements that aren't zero.
    """
    x = asarray(x)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    size = _abs(x)
    if ord == math.inf:
        return _max(size, axes, keepdims=keepdims)
    if ord == -math.inf:
        return _min(size, axes, keepdims=keepdims)
    if ord == 0:
        ones = Tensor([float(v != 0) for v in reshape(size, (-1,)).tolist()], size.shape)
        return _sum(ones, axes, keepdims=keepdims)
    if ord == 1:
        return _sum(size, axes, keepdims=keepdims)
    return _power_norm(size, axes, keepdims, ord)


def _power_norm(size, axes, keepdims, ord):
    """(Σ size^ord)^(1/ord), scaled by the largest so that no power overflows or underflows."""
    largest = _numerical._reduce("max", size, -1) if size.size else 0.0
    if largest == 0.0 or not math.isfinite(largest):
        largest = 1.0
    scale = math.ldexp(1.0, math.frexp(largest)[1])
    scaled = divide(size, scale)
    powers = square(scaled) if ord == 2 else scaled**ord
    total = _sum(powers, axes, keepdims=keepdims)
    if isinstance(total, Tensor):
        root = sqrt(total) if ord == 2 else total ** (1.0 / ord)
        return multiply(root, scale)
    return scale * (math.sqrt(total) if ord == 2 else total ** (1.0 / ord))


def matrix_norm(x, *, keepdims=False, ord="fro"):
    """A norm of matrices: "fro", "nuc", 1, -1, 2, -2, inf or -inf, as numpy.linalg.matrix_norm."""
    x = _matrices(x, "matrix_norm")
    rows, columns = x.ndim - 2, x.ndim - 1
    if ord == "fro":
        return vector_norm(x, axis=(rows, columns), keepdims=keepdims)
    if ord in (1, -1, math.inf, -math.inf):
        along = rows if ord in (1, -1) else columns
        sums = _sum(_abs(x), along, keepdims=True)
        choose = _max if ord in (1, math.inf) else _min
        return choose(sums, (rows, columns), keepdims=keepdims)
    if ord in ("nuc", 2, -2):
        values = svdvals(x)
        choose = {"nuc": _sum, 2: _max, -2: _min}[ord]
        result = choose(values, values.ndim - 1)
        return reshape(result, (*x.shape[:-2], 1, 1)) if keepdims else result
    raise ValueError(f"matrix_norm: ord is 'fro', 'nuc', 1, -1, 2, -2, inf or -inf, not {ord!r}")


def norm(x, ord=None, axis=None, keepdims=False):
    """As numpy.linalg.norm: a matrix norm over two axes, a vector norm over one or over all."""
    x = asarray(x)
    if ord is None:
        return vector_norm(x, axis=axis, keepdims=keepdims)
    axes = tuple(range(x.ndim)) if axis is None else normalized_axes(axis, x.ndim)
    if len(axes) == 1:
        return vector_norm(x, axis=axes, keepdims=keepdims, ord=ord)
    if len(axes) != 2:
        raise ValueError(f"norm of order {ord} takes one or two axes, not {len(axes)}")
    result = matrix_norm(moveaxis(x, axes, (-2, -1)), ord=ord)
    if not keepdims:
        return result
    return reshape(asarray(result), [1 if i in axes else e for i, e in enumerate(x.shape)])


def cond(x, p=None):
    """The condition number in norm p: the ratio of the singular values by default (and for 2, -2).

    inf for a singular matrix.
    """
    x = _matrices(x, "cond")
    if p is None or p in (2, -2):
        values = svdvals(x)
        last = values.ndim - 1
        largest, least = _max(values, last, keepdims=True), _min(values, last, keepdims=True)
        ratio = divide(least, largest) if p == -2 else divide(largest, least)
        return _unwrapped(reshape(ratio, x.shape[:-2]))
    try:
        inverse = inv(x)
    except error as failure:
        if str(failure) != "inverse: matrix is singular" or x.ndim != 2:
            raise
        return math.inf
    return _unwrapped(asarray(multiply(matrix_norm(x, ord=p), matrix_norm(inverse, ord=p))))


def _unwrapped(t):
    return t if t.ndim else t.tolist()


# --- products and shapes that the extension names ------------------------------------------------
def matrix_transpose(x):
    """The last two axes exchanged, without conjugation."""
    return swapaxes(_matrices(x, "matrix_transpose"), -2, -1)


def vecdot(a, b, *, axis=-1):
    """Sums of conj(a)·b along an axis."""
    return _sum(multiply(conj(a), b), axis)


def cross(a, b, *, axis=-1):
    """The cross product of vectors of three elements along an axis."""
    a, b = (moveaxis(t, axis, 0) for t in same_dtype(a, b))
    if a.shape[0] != 3 or b.shape[0] != 3:
        raise ValueError(f"cross takes vectors of 3 elements, not {a.shape[0]} and {b.shape[0]}")
    (ax, ay, az), (bx, by, bz) = ([_slice(t, i) for i in range(3)] for t in (a, b))
    rows = [ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx]
    return moveaxis(stack([asarray(row) for row in rows]), 0, axis)


__all__ = [
    "LinAlgError", "cholesky", "cond", "cross", "det", "diagonal", "eigh", "eigvalsh", "inv",
    "lstsq", "matmul", "matrix_norm", "matrix_power", "matrix_rank", "matrix_transpose",
    "multi_dot", "norm", "outer", "pinv", "qr", "slogdet", "solve", "svd", "svdvals", "tensordot",
    "trace", "vecdot", "vector_norm",
]  # fmt: skip
