"""Linear matrix equations, by Schur forms of their coefficients."""

from ._native_module import native


def solve_sylvester(a, b, q):
    """The solution x of Sylvester's equation, a @ x + x @ b = q.

    Parameters
    ----------
    a : array_like, shape (..., M, M)
    b : array_like, shape (..., N, N)
    q : array_like, shape (..., M, N)
        Leading axes broadcast.

    Returns
    -------
    Tensor, shape (..., M, N)

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If a and -b have an eigenvalue in common, to working accuracy; if a matrix holds an infinite
        or NaN entry, or its eigenvalues aren't found.

    Notes
    -----
    By the Schur forms of the coefficients (Bartels and Stewart 1972) and a recursion on their triangles
    (Jonsson and Kågström 2002).

    Examples
    --------
    >>> print(nm.linalg.solve_sylvester([[2.0, 0.0], [0.0, 3.0]], [[1.0]], [[3.0], [8.0]]))
    [[1.0],
     [2.0]]
    """
    return native.solve_sylvester(a, b, q)


def solve_continuous_lyapunov(a, q):
    """The solution x of Lyapunov's equation, a @ x + x @ a.mH = q.

    Parameters
    ----------
    a, q : array_like, shape (..., N, N)
        Leading axes broadcast.

    Returns
    -------
    Tensor, shape (..., N, N)
        Hermitian to the bit if q is.

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If two eigenvalues of a, or one and itself, are each other's negative conjugate, to working
        accuracy; if a matrix holds an infinite or NaN entry, or its eigenvalues aren't found.

    Notes
    -----
    By the Schur form of a (Bartels and Stewart 1972) and a recursion on its triangle
    (Jonsson and Kågström 2002).

    Examples
    --------
    >>> print(nm.linalg.solve_continuous_lyapunov([[-1.0, 0.0], [0.0, -2.0]], -4 * nm.eye(2)))
    [[2.0, 0.0],
     [0.0, 1.0]]
    """
    return native.solve_continuous_lyapunov(a, q)


def solve_discrete_lyapunov(a, q):
    """The solution x of the discrete Lyapunov equation, a @ x @ a.mH - x + q = 0.

    Parameters
    ----------
    a, q : array_like, shape (..., N, N)
        Leading axes broadcast.

    Returns
    -------
    Tensor, shape (..., N, N)
        Hermitian to the bit if q is.

    Raises
    ------
    ValueError
        If the shapes don't fit.
    numerical.error
        If two eigenvalues of a, or one and itself, are each other's reciprocal conjugate, to
        working accuracy; if a matrix holds an infinite or NaN entry, or its eigenvalues aren't
        found.

    Notes
    -----
    By the Schur form of a (Kitagawa 1977) and a recursion on its triangle
    (Jonsson and Kågström 2002).

    Examples
    --------
    >>> print(nm.linalg.solve_discrete_lyapunov([[0.5, 0.0], [0.0, 0.0]], 3 * nm.eye(2)))
    [[4.0, 0.0],
     [0.0, 3.0]]
    """
    return native.solve_discrete_lyapunov(a, q)
