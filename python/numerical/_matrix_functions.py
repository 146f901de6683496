"""Functions of square matrices, which extend f(a) = v·f(w)·v⁻¹ for a = v·diag(w)·v⁻¹ to all matrices."""

from ._native_module import native


def expm(a):
    """The exponential of square matrices.

    Parameters
    ----------
    a : array_like, shape (..., N, N)

    Returns
    -------
    Tensor, shape (..., N, N)

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If a holds an infinite or NaN entry; or if the eigenvalues of a large Hermitian matrix aren't
        found. What lies beyond the range of float64 comes out
        infinite or NaN.

    Notes
    -----
    By scaling and squaring with Padé approximants (Higham 2005; Al-Mohy and Higham 2009), at small
    norms by Taylor polynomials (Bader, Blanes and Casas 2019), of a large Hermitian matrix, and of
    such a complex one times i, by its eigenvectors.

    Examples
    --------
    >>> print(nm.linalg.expm([[0.0, 1.0], [0.0, 0.0]]))
    [[1.0, 1.0],
     [0.0, 1.0]]
    """
    return native.expm(a)


def logm(a):
    """The principal logarithms of square matrices.

    Parameters
    ----------
    a : array_like, shape (..., N, N)

    Returns
    -------
    Tensor, shape (..., N, N)
        x with expm(x) = a and eigenvalues whose imaginary parts are in (-π, π]; float64 for
        float64 matrices without negative eigenvalues, complex128 otherwise.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If one is singular, holds an infinite or NaN entry, or its eigenvalues aren't found; and for
        eigenvalues that lie on both sides of the branch cut and closer to it than rounding.

    Notes
    -----
    By the Schur form and inverse scaling and squaring on its triangle (Al-Mohy and Higham 2012), of a
    Hermitian matrix by its eigenvectors.

    Examples
    --------
    >>> x = nm.linalg.logm([[1.0, 3.0], [1.0, 4.0]])
    >>> nm.allclose(nm.linalg.expm(x), [[1.0, 3.0], [1.0, 4.0]])
    True
    >>> nm.linalg.logm([[-1.0]]).tolist()
    [[3.141592653589793j]]
    """
    return native.logm(a)


def sqrtm(a):
    """The principal square roots of square matrices.

    Parameters
    ----------
    a : array_like, shape (..., N, N)

    Returns
    -------
    Tensor, shape (..., N, N)
        x with x @ x = a and eigenvalues in the right half-plane; float64 for float64 matrices
        without negative eigenvalues, complex128 otherwise. Eigenvalues of a Hermitian matrix that
        are within rounding of zero count as zero.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If one holds an infinite or NaN entry, or is singular in a way that leaves no root to be
        found; or if its eigenvalues aren't found.

    Notes
    -----
    By the Schur form and a blocked recursion on its triangle (Björck and Hammarling 1983; Deadman, Higham
    and Ralha 2013), of a Hermitian matrix by its eigenvectors.

    Examples
    --------
    >>> x = nm.linalg.sqrtm([[1.0, 3.0], [1.0, 4.0]])
    >>> nm.allclose(x @ x, [[1.0, 3.0], [1.0, 4.0]])
    True
    >>> nm.linalg.sqrtm([[-4.0]]).tolist()
    [[2j]]
    """
    return native.sqrtm(a)
