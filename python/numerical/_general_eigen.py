"""Eigenvalues of general square matrices, Schur and Hessenberg forms."""

from ._arguments import one_of
from ._matrices import EigResult
from ._native_module import native

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


def schur(a, output="real"):
    """The Schur form of a square matrix: a = Q @ T @ Q.mH with unitary Q.

    Parameters
    ----------
    a : array_like, shape (M, M)
    output : {'real', 'complex'}, optional
        Whether T of a real matrix is quasi-triangular, with a 2 × 2 block for each pair of complex
        eigenvalues, or complex and triangular.

    Returns
    -------
    tuple of Tensor
        T and Q, both of shape (M, M).

    Raises
    ------
    ValueError
        If the matrix isn't square, or for another output.
    numerical.error
        If the matrix isn't finite or the iteration doesn't converge.

    Examples
    --------
    >>> t, q = nm.linalg.schur([[1.0, 2.0], [0.0, 3.0]])
    >>> t
    Tensor([[1.0, 2.0],
            [0.0, 3.0]])
    """
    return native.schur(a, one_of(output, "output", ("real", "complex")) == "complex")


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
    h, q = native.hessenberg(a)
    return (h, q) if calc_q else h
