"""Eigenvalues of Hermitian matrices, alone and in pairs, all of them or a part."""

from ._arguments import integer, integers, items, one_of, real, shown
from ._functions import conj
from ._hints import add_hint
from ._matrices import EighResult, matrices, matrix_transpose
from ._native_module import native

_METHOD_HINTS = {
    "qr": 'method="tridiagonal_ql" iterates as QR does, from the other end',
    "ql": 'write method="tridiagonal_ql"',
    "dc": 'write method="divide_and_conquer", or nothing: it is the default',
}
_METHODS = ("divide_and_conquer", "tridiagonal_ql", "jacobi")


def eigh(
    a, UPLO="L", *, b=None, type=1, subset_by_index=None, subset_by_value=None,
    method="divide_and_conquer"
):  # fmt: skip
    """EighResult(eigenvalues, eigenvectors) of Hermitian matrices, values ascending.

    One triangle is read: the lower, or the upper for UPLO "U". Column j of the vectors belongs to
    value j. method: "divide_and_conquer", "tridiagonal_ql", or "jacobi" (float64 only).

    Parameters
    ----------
    a : (..., N, N)
    b : (..., N, N), optional
        Hermitian positive-definite. With it the problem is a·x = w·b·x, the vectors having
        xᴴ·b·x = 1. Leading axes broadcast.
    type : 1, 2 or 3
        What is solved with b: a·x = w·b·x, a·b·x = w·x, or b·a·x = w·x. The vectors of type 3 have
        xᴴ·b⁻¹·x = 1.
    subset_by_index : (first, last), optional
        Only the values of these places, both included, counted from 0 at the smallest.
    subset_by_value : (low, high), optional
        Only the values w with low < w <= high, for one matrix, not for stacks.

    A subset spares the work of the other vectors, not the reduction to tridiagonal form.

    Raises
    ------
    numerical.error
        "generalized eigendecomposition: b is not positive-definite"
    ValueError
        For shapes that don't fit, places that there are not, and for both subsets at once.

    Examples
    --------
    >>> import numerical as nm
    >>> a, b = nm.array([[2.0, 1.0], [1.0, 2.0]]), nm.array([[1.0, 0.0], [0.0, 4.0]])
    >>> w, x = nm.linalg.eigh(a, b=b)
    >>> bool(nm.allclose(a @ x, b @ x * w))
    True
    >>> nm.linalg.eigh(a, subset_by_index=(1, 1)).eigenvalues
    Tensor([3.0])
    """
    uplo = _triangle(UPLO)
    one_of(method, "method", _METHODS, _METHOD_HINTS)
    if b is None and subset_by_index is None and subset_by_value is None:
        _problem(type)
        return EighResult(*native.eigh(a if uplo == "L" else _of_triangle(a, uplo, "eigh"), method))
    wanted = _wanted("eigh", a, b, uplo, type, subset_by_index, subset_by_value, method)
    return EighResult(*native.selected_eigh(*wanted))


def eigvalsh(
    a, UPLO="L", *, b=None, type=1, subset_by_index=None, subset_by_value=None,
    method="divide_and_conquer"
):  # fmt: skip
    """The eigenvalues of Hermitian matrices, ascending, without vectors; parameters as of eigh.

    By another method than divide and conquer the values are those of eigh.
    """
    uplo = _triangle(UPLO)
    one_of(method, "method", _METHODS, _METHOD_HINTS)
    if b is None and subset_by_index is None and subset_by_value is None:
        _problem(type)
        if method != "divide_and_conquer":
            return eigh(a, uplo, method=method).eigenvalues
        return native.eigvalsh(a if uplo == "L" else _of_triangle(a, uplo, "eigvalsh"))
    wanted = _wanted("eigvalsh", a, b, uplo, type, subset_by_index, subset_by_value, method)
    return native.selected_eigvalsh(*wanted)


def _triangle(uplo):
    """"L" or "U", in either case."""
    if isinstance(uplo, str):
        return uplo.upper() if uplo in ("l", "u") else one_of(uplo, "UPLO", ("L", "U"))
    failure = TypeError(f"UPLO must be a text, not {type(uplo).__name__}")
    raise add_hint(failure, "a second matrix is given as b=")


def _of_triangle(a, uplo, name):
    """The matrices with the named triangle as the lower one."""
    a = matrices(a, name, square_only=True)
    return matrix_transpose(conj(a)) if uplo == "U" else a


def _problem(type):
    number = integer(type, "type")
    if not 1 <= number <= 3:
        raise ValueError(f"type is 1, 2 or 3, not {shown(number)}")
    return number


def _wanted(name, a, b, uplo, type, by_index, by_value, method):
    """The arguments of the native functions for pairs and parts of spectra."""
    if method != "divide_and_conquer":
        raise ValueError(f"{name} takes b and subsets by method 'divide_and_conquer', not {method!r}")
    if by_index is not None and by_value is not None:
        raise ValueError("subset_by_index and subset_by_value exclude each other")
    form = _problem(type)
    a = _of_triangle(a, uplo, name)
    b = None if b is None else _of_triangle(b, uplo, name)
    places = None if by_index is None else _places(by_index, a.shape[-1])
    interval = None if by_value is None else _interval(by_value)
    if interval and (a.ndim > 2 or b is not None and b.ndim > 2):
        raise ValueError(
            "subset_by_value takes one matrix: those of a stack may have different numbers of values"
        )
    return a, b, form, places, interval


def _places(given, order):
    """The half-open range of places."""
    places = integers(given, "subset_by_index")
    if len(places) != 2:
        raise ValueError(f"subset_by_index is (first, last), not {shown(given)}")
    first, last = places
    if not 0 <= first <= last < order:
        raise ValueError(
            f"subset_by_index is (first, last) with 0 <= first <= last < {order}, not {shown(places)}"
        )
    return first, last + 1


def _interval(given):
    bounds = items(given, "subset_by_value", "two real numbers")
    bounds = tuple(real(bound, "subset_by_value") for bound in bounds)
    if len(bounds) != 2 or not bounds[0] < bounds[1]:
        raise ValueError(f"subset_by_value is (low, high) with low < high, not {shown(bounds)}")
    return bounds
