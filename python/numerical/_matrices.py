"""Common to the functions of matrices: checks, named results, hints of failures."""

from . import _numerical
from ._conversion import asarray
from ._hints import add_hint
from ._shaping import swapaxes


# --- results -------------------------------------------------------------------------------------
# Named results are plain tuples with properties: collections.namedtuple would take a large part of
# the import's time.
class Result(tuple):
    __slots__ = ()
    _fields: tuple[str, ...] = ()

    def __new__(cls, *values):
        return tuple.__new__(cls, values)

    def __getnewargs__(self):
        return tuple(self)

    def __repr__(self):
        given = ", ".join(f"{name}={value!r}" for name, value in zip(self._fields, self))
        return f"{type(self).__name__}({given})"


def field(index):
    """The property of a named result for the item at a place."""
    return property(lambda self: self[index])


class EigResult(Result):
    """What eig returns: a tuple of two tensors, with names.

    Attributes
    ----------
    eigenvalues : Tensor, shape (..., M)
    eigenvectors : Tensor, shape (..., M, M)
        Column j belongs to value j.

    Examples
    --------
    >>> values, vectors = nm.linalg.eig([[2.0, 1.0], [0.0, 3.0]])
    >>> nm.linalg.eig([[2.0, 1.0], [0.0, 3.0]]).eigenvalues
    Tensor([2.0, 3.0])
    """

    __slots__ = ()
    _fields = ("eigenvalues", "eigenvectors")
    eigenvalues, eigenvectors = field(0), field(1)


class EighResult(Result):
    """What eigh returns: a tuple of two tensors, with names.

    Attributes
    ----------
    eigenvalues : Tensor, shape (..., M)
        float64, ascending.
    eigenvectors : Tensor, shape (..., M, M)
        Column j belongs to value j.

    Examples
    --------
    >>> nm.linalg.eigh([[2.0, 0.0], [0.0, 1.0]]).eigenvalues
    Tensor([1.0, 2.0])
    """

    __slots__ = ()
    _fields = ("eigenvalues", "eigenvectors")
    eigenvalues, eigenvectors = field(0), field(1)


class PolarResult(Result):
    """What polar returns: a tuple of two tensors, with names.

    Attributes
    ----------
    u : Tensor, shape (..., M, N)
        With orthonormal columns, or rows if M < N.
    p : Tensor, shape (..., N, N) or (..., M, M)
        Hermitian and positive semidefinite.

    Examples
    --------
    >>> nm.linalg.polar([[-2.0]])
    PolarResult(u=Tensor([[-1.0]]), p=Tensor([[2.0]]))
    """

    __slots__ = ()
    _fields = ("u", "p")
    u, p = field(0), field(1)


class QRResult(Result):
    """What qr returns: a tuple of two tensors, with names.

    Attributes
    ----------
    Q : Tensor, shape (..., M, K)
    R : Tensor, shape (..., K, N)

    Examples
    --------
    >>> nm.linalg.qr([[3.0, 1.0], [4.0, 2.0]]).R
    Tensor([[5.0, 2.2],
            [0.0, 0.4]])
    """

    __slots__ = ()
    _fields = ("Q", "R")
    Q, R = field(0), field(1)


class SlogdetResult(Result):
    """What slogdet returns: a tuple of two numbers, of two tensors for a stack, with names.

    Attributes
    ----------
    sign : number or Tensor, shape (...)
        1, -1 or 0; a complex number of modulus 1 or 0 for complex128.
    logabsdet : float or Tensor, shape (...)

    Examples
    --------
    >>> nm.linalg.slogdet([[2.0, 0.0], [0.0, -0.5]]).sign
    -1.0
    """

    __slots__ = ()
    _fields = ("sign", "logabsdet")
    sign, logabsdet = field(0), field(1)


class SVDResult(Result):
    """What svd returns: a tuple of three tensors, with names.

    Attributes
    ----------
    U : Tensor, shape (..., M, M) or (..., M, K)
    S : Tensor, shape (..., K)
        float64, descending.
    Vh : Tensor, shape (..., N, N) or (..., K, N)

    Examples
    --------
    >>> nm.linalg.svd([[3.0, 0.0], [0.0, -4.0]]).S
    Tensor([4.0, 3.0])
    """

    __slots__ = ()
    _fields = ("U", "S", "Vh")
    U, S, Vh = field(0), field(1), field(2)


# --- hints of failures ---------------------------------------------------------------------------
_ADVICE = {
    "matrix is singular": "the matrix has no inverse: lstsq and pinv give the least-squares answer",
    "infinite or NaN entry": "look for NaN and infinities in the input, for example by sum(a - a)",
    "not positive-definite": "the matrix must be Hermitian with positive eigenvalues;"
    " eigvalsh shows them, and adding a multiple of eye(n) shifts them",
    "square matrix": "lstsq, pinv, qr and svd take rectangular matrices",
    "did not converge": 'another method may: method="tridiagonal_ql" of eigh or "bidiagonal_qr"'
    " of svd",
    "right-hand side": "b has as many rows as a; each column is one right-hand side",
}


def annotate(failure, operands):
    """Adds the operands and what to try next to a failure."""
    given = ", ".join(map(_described, operands))
    advice = next((text for key, text in _ADVICE.items() if key in str(failure)), None)
    add_hint(failure, f"given {given}" + (f"; {advice}" if advice else ""))


def _described(operand):
    try:
        t = asarray(operand)
    except Exception:  # the operand may be what failed, and a note must never replace the error
        return f"a {type(operand).__name__}"
    return f"{t.dtype} of shape {t.shape}"


def matrices(a, name, square_only=False):
    a = asarray(a)
    if a.ndim < 2:
        raise ValueError(f"{name} takes a matrix or a stack of them, not a tensor of rank {a.ndim}")
    if square_only and a.shape[-1] != a.shape[-2]:
        raise ValueError(f"{name} takes square matrices, not shape {a.shape}")
    return a


def slice_of(t, i):
    rest = t.ndim - 1
    return _numerical._take(
        t, (i, *[0] * rest), (1,) * t.ndim, (1, *t.shape[1:]), (0, *[1] * rest)
    )  # fmt: skip


def matrix_transpose(x):
    """The matrices with their last two axes exchanged, without conjugation.

    Parameters
    ----------
    x : array_like, shape (..., M, N)

    Returns
    -------
    Tensor, shape (..., N, M)

    Raises
    ------
    ValueError
        Below rank 2.

    Examples
    --------
    >>> nm.matrix_transpose([[1.0, 2.0], [3.0, 4.0]])
    Tensor([[1.0, 3.0],
            [2.0, 4.0]])
    """
    return swapaxes(matrices(x, "matrix_transpose"), -2, -1)
