"""Linear matrix equations, by Schur forms of their coefficients."""

from ._native_module import native


def solve_sylvester(a, b, q):
    """x with a @ x + x @ b = q (Bartels and Stewart 1972).

    Parameters
    ----------
    a : matrix of shape (M, M)
    b : matrix of shape (N, N)
    q : matrix of shape (M, N)

    Returns
    -------
    Tensor of shape (M, N)

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If a and -b have an eigenvalue in common, to working accuracy; if a matrix holds an infinite
        or NaN entry, or its eigenvalues aren't found.

    Examples
    --------
    >>> import numerical as nm
    >>> print(nm.linalg.solve_sylvester([[2.0, 0.0], [0.0, 3.0]], [[1.0]], [[3.0], [8.0]]))
    [[1.0],
     [2.0]]
    """
    return native.solve_sylvester(a, b, q)


def solve_continuous_lyapunov(a, q):
    """x with a @ x + x @ a.mH = q, Hermitian to the bit if q is.

    Parameters
    ----------
    a, q : matrices of shape (N, N)

    Returns
    -------
    Tensor of shape (N, N)

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If two eigenvalues of a, or one and itself, are each other's negative conjugate, to working
        accuracy; if a matrix holds an infinite or NaN entry, or its eigenvalues aren't found.

    Examples
    --------
    >>> import numerical as nm
    >>> print(nm.linalg.solve_continuous_lyapunov([[-1.0, 0.0], [0.0, -2.0]], -4 * nm.eye(2)))
    [[2.0, 0.0],
     [0.0, 1.0]]
    """
    return native.solve_continuous_lyapunov(a, q)


def solve_discrete_lyapunov(a, q):
    """x with a @ x @ a.mH - x + q = 0, Hermitian to the bit if q is.

    Parameters
    ----------
    a, q : matrices of shape (N, N)

    Returns
    -------
    Tensor of shape (N, N)

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If two eigenvalues of a, or one and itself, are each other's reciprocal conjugate, to
        working accuracy; if a matrix holds an infinite or NaN entry, or its eigenvalues aren't
        found.

    Examples
    --------
    >>> import numerical as nm
    >>> print(nm.linalg.solve_discrete_lyapunov([[0.5, 0.0], [0.0, 0.0]], 3 * nm.eye(2)))
    [[4.0, 0.0],
     [0.0, 3.0]]
    """
    return native.solve_discrete_lyapunov(a, q)
