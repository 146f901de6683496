"""Eigenvalues of general square matrices, Schur and Hessenberg forms."""

from ._arguments import one_of
from ._native_module import native
from ._numerical import Tensor
from ._results import EigResult

eigvals = native.eigvals


def eig(a, *, left=False):
    """The eigenvalues and right eigenvectors of general square matrices.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
    left : bool, optional
        For one matrix: whether to return (eigenvalues, left vectors, right vectors), the left ones u with
        u.mH @ a = diag(w) @ u.mH.

    Returns
    -------
    EigResult or tuple of Tensor
        eigenvalues of shape (..., M) and eigenvectors of shape (..., M, M): column j has Euclidean norm 1
        and a @ v[:, j] = w[j] * v[:, j]. Both are float64 where no value of a real matrix has an imaginary
        part, complex128 otherwise.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If a matrix isn't finite or the iteration doesn't converge.

    Notes
    -----
    Balancing, Hessenberg reduction and the multishift QR iteration with aggressive early deflation
    (Braman, Byers and Mathias 2002).

    Examples
    --------
    >>> values, vectors = nm.linalg.eig([[2.0, 1.0], [0.0, 3.0]])
    >>> values
    Tensor([2.0, 3.0])
    """
    return native.eig_both(a) if left else EigResult(*native.eig(a))


_REGIONS = {
    "lhp": lambda z: z.real < 0.0,
    "rhp": lambda z: z.real >= 0.0,
    "iuc": lambda z: abs(z) <= 1.0,
    "ouc": lambda z: abs(z) > 1.0,
}


def _chooser(sort):
    """choose(eigenvalue, real) -> whether it goes to the top of the real or the complex form."""
    if isinstance(sort, str):
        region = _REGIONS[one_of(sort, "sort", tuple(_REGIONS))]
        return lambda z, real: region(z)
    if not callable(sort):
        raise TypeError(f"sort must be a text or a function, not {type(sort).__name__}")
    return lambda z, real: sort(z.real, z.imag) if real else sort(z)


def schur(a, output="real", sort=None):
    """The Schur form of a square matrix: a = Q @ T @ Q.mH with unitary Q.

    Parameters
    ----------
    a : array_like, shape (M, M)
    output : {'real', 'complex'}, optional
        Whether T of a real matrix is quasi-triangular, with a 2 × 2 block for each pair of complex
        eigenvalues, or complex and triangular.
    sort : {'lhp', 'rhp', 'iuc', 'ouc'} or callable, optional
        Which eigenvalues stand at the top: those in the left or the right half-plane (the axis counts
        as right), inside or outside of the unit circle (which counts as inside), or those for which
        sort(eigenvalue) is true. In the real form it is sort(real part, imaginary part), and a pair
        goes to the top if either of the two does.

    Returns
    -------
    tuple of Tensor
        T and Q, both of shape (M, M); with sort also the number of eigenvalues at the top.

    Raises
    ------
    ValueError
        If the matrix isn't square, or for another text.
    numerical.error
        If the matrix isn't finite, the iteration doesn't converge, or eigenvalues are too close to
        change places.

    Notes
    -----
    Eigenvalues change places by exchanges of neighbours (Bai and Demmel 1993).

    Examples
    --------
    >>> t, q = nm.linalg.schur([[1.0, 2.0], [0.0, 3.0]])
    >>> t
    Tensor([[1.0, 2.0],
            [0.0, 3.0]])
    >>> t, q, count = nm.linalg.schur([[2.0, 1.0], [0.0, -1.0]], sort="lhp")
    >>> t[0, 0], count
    (-1.0, 1)
    """
    choose = None if sort is None else _chooser(sort)
    t, q = native.schur(a, one_of(output, "output", ("real", "complex")) == "complex")
    if choose is None:
        return t, q
    real = t.dtype == "float64"
    flags = [float(bool(choose(z, real))) for z in native.eigenvalues_of_schur(t).tolist()]
    return native.order_schur(t, q, Tensor(flags, (len(flags),)))


def hessenberg(a, calc_q=False):
    """The Hessenberg form of a square matrix: a = Q @ H @ Q.mH with zeros below H's first subdiagonal.

    Parameters
    ----------
    a : array_like, shape (M, M)
    calc_q : bool, optional
        Whether to return Q as well.

    Returns
    -------
    Tensor or tuple of Tensor
        H, or (H, Q), of shape (M, M).

    Raises
    ------
    ValueError
        If the matrix isn't square.
    numerical.error
        If the matrix isn't finite.

    Notes
    -----
    Householder reflections.

    Examples
    --------
    >>> nm.linalg.hessenberg([[1.0, 2.0], [3.0, 4.0]])
    Tensor([[1.0, 2.0],
            [3.0, 4.0]])
    """
    return native.hessenberg(a, bool(calc_q))
