"""Eigenvalues of Hermitian matrices, alone and in pairs, all of them or a part."""

from ._arguments import integer, integers, items, one_of, real, shown
from ._hints import add_hint
from ._matrices import matrices
from ._native_module import native
from ._results import EighResult

_METHOD_HINTS = {
    "qr": 'method="tridiagonal_ql" iterates as QR does, from the other end',
    "ql": 'write method="tridiagonal_ql"',
    "dc": 'write method="divide_and_conquer", or nothing: it is the default',
}
_METHODS = ("divide_and_conquer", "tridiagonal_ql", "jacobi")
_WITHOUT_PRODUCT = 1  # the default type, known at a glance


def eigh(
    a, UPLO="L", *, b=None, type=1, subset_by_index=None, subset_by_value=None,
    method="divide_and_conquer"
):  # fmt: skip
    """The eigenvalues and eigenvectors of Hermitian matrices, alone or in pairs, all or a part.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
    UPLO : {'L', 'U'}, optional
        The triangle that is read, of a and of b. A matrix in this place is b, as in SciPy's eigh(a, b).
    b : array_like, shape (..., M, M), optional
        Hermitian positive-definite matrices, with which the problem is a @ x = w * (b @ x). Leading
        axes broadcast.
    type : {1, 2, 3}, optional
        What is solved with b: a @ x = w * (b @ x), a @ b @ x = w * x or b @ a @ x = w * x.
    subset_by_index : (int, int), optional
        Only the values from the one place to the other, both included, counted from the smallest.
    subset_by_value : (float, float), optional
        Only the values above the first number and up to the second, of one matrix and not of stacks.
    method : {'divide_and_conquer', 'tridiagonal_ql', 'jacobi'}, optional
        'jacobi' is for float64 alone; pairs and parts take the default.

    Returns
    -------
    EighResult
        eigenvalues, float64 of shape (..., K), ascending; eigenvectors of shape (..., M, K), whose
        column j belongs to value j. K is M, or the number of values in the subset. The vectors are
        orthonormal; those of a pair have x.mH @ b @ x = 1, or x.mH @ inv(b) @ x = 1 for type 3.

    Raises
    ------
    ValueError
        If the matrices aren't square or of one order, for another UPLO, type or method, for places
        that there are not and an interval that is empty, and if both subsets are given.
    numerical.error
        If a matrix isn't finite, b isn't positive-definite ("generalized eigendecomposition: b is
        not positive-definite"), or an iteration doesn't converge.

    Notes
    -----
    Tridiagonal reduction, then divide and conquer (Gu and Eisenstat 1995). A pair is brought to
    standard form by the Cholesky factor of b (Martin and Wilkinson 1968); its values are as accurate
    as b is well conditioned. A part takes the same reduction, and less of all that follows.

    Examples
    --------
    >>> values, vectors = nm.linalg.eigh([[2.0, 1.0], [1.0, 2.0]])
    >>> values
    Tensor([1.0, 3.0])
    >>> nm.allclose(vectors @ nm.diag(values) @ vectors.mH, [[2.0, 1.0], [1.0, 2.0]])
    True
    >>> a, b = nm.array([[2.0, 1.0], [1.0, 2.0]]), nm.diag([1.0, 4.0])
    >>> w, x = nm.linalg.eigh(a, b=b)
    >>> nm.allclose(a @ x, b @ x * w)
    True
    >>> nm.linalg.eigh(a, subset_by_index=(1, 1)).eigenvalues
    Tensor([3.0])
    """
    uplo, b = _triangle_and_pair(UPLO, b)
    one_of(method, "method", _METHODS, _METHOD_HINTS)
    if b is None and subset_by_index is None and subset_by_value is None:
        if type is not _WITHOUT_PRODUCT:
            _problem(type)
        return EighResult(*native.eigh(a if uplo == "L" else _of_triangle(a, uplo, "eigh"), method))
    wanted = _wanted("eigh", a, b, uplo, type, subset_by_index, subset_by_value, method)
    return EighResult(*native.selected_eigh(*wanted))


def eigvalsh(
    a, UPLO="L", *, b=None, type=1, subset_by_index=None, subset_by_value=None,
    method="divide_and_conquer"
):  # fmt: skip
    """The eigenvalues of Hermitian matrices, ascending.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
    UPLO : {'L', 'U'}, optional
        The triangle that is read, of a and of b. A matrix in this place is b, as in SciPy's eigh(a, b).
    b : array_like, shape (..., M, M), optional
        Hermitian positive-definite matrices, with which the problem is that of eigh.
    type : {1, 2, 3}, optional
        What is solved with b: a @ x = w * (b @ x), a @ b @ x = w * x or b @ a @ x = w * x.
    subset_by_index : (int, int), optional
        Only the values from the one place to the other, both included, counted from the smallest.
    subset_by_value : (float, float), optional
        Only the values above the first number and up to the second, of one matrix and not of stacks.
    method : {'divide_and_conquer', 'tridiagonal_ql', 'jacobi'}, optional
        By another method than the default one the values are those of eigh.

    Returns
    -------
    Tensor, shape (..., K)
        float64; K is M, or the number of values in the subset.

    Raises
    ------
    ValueError
        As eigh.
    numerical.error
        If a matrix isn't finite, b isn't positive-definite, or an iteration doesn't converge.

    Examples
    --------
    >>> nm.linalg.eigvalsh([[2.0, 1.0], [1.0, 2.0]])
    Tensor([1.0, 3.0])
    >>> nm.linalg.eigvalsh([[2.0, 1.0], [1.0, 2.0]], subset_by_value=(2, 4))
    Tensor([3.0])
    """
    uplo, b = _triangle_and_pair(UPLO, b)
    one_of(method, "method", _METHODS, _METHOD_HINTS)
    if b is None and subset_by_index is None and subset_by_value is None:
        if type is not _WITHOUT_PRODUCT:
            _problem(type)
        if method != "divide_and_conquer":
            return eigh(a, uplo, method=method).eigenvalues
        return native.eigvalsh(a if uplo == "L" else _of_triangle(a, uplo, "eigvalsh"))
    wanted = _wanted("eigvalsh", a, b, uplo, type, subset_by_index, subset_by_value, method)
    return native.selected_eigvalsh(*wanted)


def _triangle_and_pair(given, b):
    """UPLO as "L" or "U", and b; the second argument may be either."""
    if b is None and (isinstance(given, (list, tuple)) or hasattr(given, "shape")):
        return "L", given
    if not isinstance(given, str):
        failure = TypeError(f"UPLO must be a text, not {type(given).__name__}")
        raise add_hint(failure, "a second matrix is given as b=")
    return given.upper() if given in ("l", "u") else one_of(given, "UPLO", ("L", "U")), b


def _of_triangle(a, uplo, name):
    """The matrices with the named triangle as the lower one."""
    a = matrices(a, name, square_only=True)
    return a.mH if uplo == "U" else a


def _problem(type):
    number = integer(type, "type")
    if not 1 <= number <= 3:
        raise ValueError(f"type is 1, 2 or 3, not {shown(number)}")
    return number


def _wanted(name, a, b, uplo, type, by_index, by_value, method):
    """The arguments of the native functions for pairs and parts of spectra."""
    if method != "divide_and_conquer":
        raise ValueError(
            f"{name} takes b and subsets by method 'divide_and_conquer', not {method!r}"
        )
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
