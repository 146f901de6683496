"""Named results of decompositions: tuples whose items also have names."""


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
