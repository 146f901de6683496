"""Factors that are kept: a matrix is factored once, and each system with it costs a substitution.

The objects are immutable and hold tensors; they pickle, and unpack as SciPy's tuples do. All of
them work on stacks (..., N, N).
"""

from ._arguments import shown
from ._conversion import asarray
from ._creation import diagonal, eye, tril, triu
from ._functions import conj, log, prod, square, where
from ._functions import real as _real
from ._functions import sum as _sum
from ._matrices import matrices, matrix_transpose
from ._native_module import native
from ._results import SlogdetResult
from ._shaping import broadcast_to


class Factors:
    """Immutable tensors under the names of _fields."""

    __slots__ = ()
    _fields: tuple[str, ...] = ()

    def __init__(self, *values):
        for name, value in zip(self._fields, values):
            object.__setattr__(self, name, value)

    def __setattr__(self, name, value):
        raise AttributeError(f"{type(self).__name__} is immutable")

    def __delattr__(self, name):
        raise AttributeError(f"{type(self).__name__} is immutable")

    def __reduce__(self):
        return type(self), tuple(getattr(self, name) for name in self._fields)

    def __copy__(self):
        return self

    def __deepcopy__(self, memo):
        return self

    def __repr__(self):
        return f"{type(self).__name__}(shape={self.shape}, dtype={self.dtype.name!r})"

    def __len__(self):
        return len(tuple(iter(self)))

    def __getitem__(self, index):
        return tuple(iter(self))[index]

    @property
    def shape(self):
        """The shape of what was factored."""
        return getattr(self, self._fields[0]).shape

    @property
    def dtype(self):
        """float64 or complex128."""
        return getattr(self, self._fields[0]).dtype


class SquareFactors(Factors):
    """What the factors of a square matrix A, or of each matrix of a stack, compute."""

    __slots__ = ()

    def solve(self, b, *, transposed=False, adjoint=False):
        """x with A @ x = b, with Aᵀ for transposed or Aᴴ for adjoint.

        b is (N,), or (..., N, K) with one right-hand side in each column. numerical.error "solve:
        matrix is singular" if a pivot is exactly zero.
        """
        if transposed and adjoint:
            raise ValueError("solve is transposed or adjoint, not both")
        return self._solve(b, 1 if transposed else 2 if adjoint else 0)

    def inverse(self):
        """A⁻¹, by N systems. To solve with, `solve` is faster and more accurate."""
        n = self.shape[-1]
        return self._solve(broadcast_to(eye(n), (*self.shape[:-2], n, n)), 0)

    def cond_estimate(self):
        """An estimate of the condition number ‖A‖₁·‖A⁻¹‖₁: 1/rcond(), infinite for a singular A."""
        rcond = self.rcond()
        if isinstance(rcond, float):
            return 1 / rcond if rcond else float("inf")
        return where(rcond == 0, float("inf"), 1 / where(rcond == 0, 1.0, rcond))


# --- LU ------------------------------------------------------------------------------------------
class LUFactor(SquareFactors):
    """The kept factors of P @ A = L @ U by partial pivoting, as `lu_factor` gives them.

    It unpacks as SciPy's pair (lu, piv): `lu` of shape (..., N, N) holds L below the diagonal, whose
    ones aren't stored, and U; row i was exchanged with row `piv[..., i]`, i ascending.

    Examples
    --------
    >>> factors = nm.linalg.lu_factor([[1.0, 2.0], [4.0, 2.0]])
    >>> factors
    LUFactor(shape=(2, 2), dtype='float64')
    >>> factors.solve([3.0, 6.0])
    Tensor([1.0, 1.0])
    >>> factors.det()
    -6.0
    >>> lu, piv = factors
    >>> piv
    Positions([1, 1])
    """

    __slots__ = ("lu", "piv", "norm")
    _fields = ("lu", "piv", "norm")

    def __iter__(self):
        return iter((self.lu, self.piv))

    @property
    def p(self):
        """The permutation matrix of A = p @ l @ u."""
        return eye(self.shape[-2])[self.p_indices]

    @property
    def p_indices(self):
        """Positions with A = l[p_indices] @ u, for one matrix."""
        return native.lu_places(self.piv)

    @property
    def l(self):  # noqa: E743 - the name of the literature
        """L, unit lower triangular, of as many columns as U has rows."""
        rows, cols = self.shape[-2:]
        return tril(self.lu[..., : min(rows, cols)], -1) + eye(rows, min(rows, cols))

    @property
    def u(self):
        """U, upper triangular or trapezoidal."""
        rows, cols = self.shape[-2:]
        return triu(self.lu[..., : min(rows, cols), :])

    def _solve(self, b, form):
        return native.lu_solve(self.lu, self.piv, b, form)

    def det(self):
        """The determinant, which may overflow where slogdet doesn't."""
        return native.lu_det(self.lu, self.piv)

    def slogdet(self):
        """SlogdetResult(sign, logabsdet): the determinant is sign·exp(logabsdet)."""
        return SlogdetResult(*native.lu_slogdet(self.lu, self.piv))

    def rcond(self):
        """An estimate of 1/(‖A‖₁·‖A⁻¹‖₁), seldom more than three times too large, by a few systems
        (Higham and Tisseur 2000). 0 for a singular A, 1 for N = 0."""
        return native.lu_rcond(self.lu, self.piv, self.norm)


class LU(LUFactor):
    """The kept factors of A = P @ L @ U, as `lu` gives them.

    An `LUFactor` that unpacks as p, l and u, as SciPy's `lu`.

    Examples
    --------
    >>> p, l, u = nm.linalg.lu([[1.0, 2.0], [4.0, 2.0]])
    >>> u
    Tensor([[4.0, 2.0],
            [0.0, 1.5]])
    """

    __slots__ = ()

    def __iter__(self):
        return iter((self.p, self.l, self.u))


def lu(a, permute_l=False, *, p_indices=False):
    """The factors of A = P @ L @ U by partial pivoting, as an object that solves.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    permute_l : bool, optional
        Gives the pair (P @ L, U) instead.
    p_indices : bool, optional
        Gives (p, L, U) with Positions p instead: A = L[p] @ U for one matrix.

    Returns
    -------
    LU or tuple
        The object unpacks as P (..., M, M), L (..., M, K) and U (..., K, N), K = min(M, N). Of square
        matrices its methods are `solve(b, transposed=, adjoint=)`, `inverse`, `det`, `slogdet`,
        `rcond` and `cond_estimate`.

    Raises
    ------
    ValueError
        If a isn't a matrix or a stack of them.
    numerical.error
        If a matrix isn't finite. A singular one has factors too; to solve with them fails.

    Examples
    --------
    >>> factors = nm.linalg.lu([[1.0, 2.0], [4.0, 2.0]])
    >>> p, l, u = factors
    >>> p @ l @ u
    Tensor([[1.0, 2.0],
            [4.0, 2.0]])
    >>> factors.solve([3.0, 6.0])
    Tensor([1.0, 1.0])
    >>> nm.linalg.lu([[1.0, 2.0, 3.0], [4.0, 2.0, 0.0]]).u
    Tensor([[4.0, 2.0, 0.0],
            [0.0, 1.5, 3.0]])
    """
    factors = LU(*native.lu(a))
    if permute_l:
        return factors.p @ factors.l, factors.u
    return (factors.p_indices, factors.l, factors.u) if p_indices else factors


def lu_factor(a):
    """The factors of P @ A = L @ U by partial pivoting: what `lu_solve` takes.

    Parameters
    ----------
    a : array_like, shape (..., N, N)

    Returns
    -------
    LUFactor
        It unpacks as SciPy's (lu, piv), and solves by itself.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If a matrix isn't finite. A singular one has factors too; to solve with them fails.

    Examples
    --------
    >>> factors = nm.linalg.lu_factor([[2.0, 0.0], [0.0, 4.0]])
    >>> factors.solve([2.0, 8.0])
    Tensor([1.0, 2.0])
    >>> factors.cond_estimate()
    2.0
    """
    return LUFactor(*native.lu_factors(a))


_FORMS = {0: 0, 1: 1, 2: 2, "N": 0, "T": 1, "C": 2}


def _form(trans):
    try:
        return _FORMS[trans]
    except (KeyError, TypeError):
        raise ValueError(f"trans is 0, 1, 2, 'N', 'T' or 'C', not {shown(trans)}") from None


def lu_solve(lu_and_piv, b, trans=0):
    """Solutions of A @ x = b from `lu_factor(A)`.

    Parameters
    ----------
    lu_and_piv : LUFactor, or a pair (lu, piv) like SciPy's
    b : array_like, shape (N,) or (..., N, K)
        One right-hand side in each column; a vector serves every matrix of a stack.
    trans : {0, 1, 2, 'N', 'T', 'C'}, optional
        1 for the transpose of A, 2 for its adjoint.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If piv doesn't belong to the factors.
    numerical.error
        "solve: matrix is singular" if a pivot is zero.

    Notes
    -----
    N² multiply-adds a right-hand side. The last bits may differ from those of `solve(A, b)`.

    Examples
    --------
    >>> factors = nm.linalg.lu_factor([[1.0, 2.0], [4.0, 2.0]])
    >>> nm.linalg.lu_solve(factors, [3.0, 6.0])
    Tensor([1.0, 1.0])
    """
    lu, piv = _pair(lu_and_piv, LUFactor, ("lu", "piv"), "lu_solve")
    if not isinstance(piv, native.Positions):
        piv = native.Positions(piv.tolist() if hasattr(piv, "tolist") else piv)
    return native.lu_solve(lu, piv, b, _form(trans))


def _pair(given, kind, names, function):
    """The two fields of a factor, or of a pair given in its place."""
    if isinstance(given, kind):
        return tuple(getattr(given, name) for name in names)
    if not isinstance(given, (tuple, list)) or len(given) != 2:
        raise TypeError(f"{function} takes a {kind.__name__} or a pair ({names[0]}, {names[1]})")
    return given


# --- Cholesky ------------------------------------------------------------------------------------
class CholeskyFactor(SquareFactors):
    """The kept factor of A = L @ Lᴴ, as `cholesky_factor` and `cho_factor` give it.

    It unpacks as SciPy's pair (c, lower): c of shape (..., N, N) is L if lower, otherwise U = Lᴴ, and
    zero in the other triangle. `update(v)` and `downdate(v)` give the factors of A ± v·vᴴ.

    Examples
    --------
    >>> factor = nm.linalg.cholesky_factor([[4.0, 2.0], [2.0, 2.0]])
    >>> factor.l
    Tensor([[2.0, 0.0],
            [1.0, 1.0]])
    >>> factor.update([1.0, 0.0]).det()
    6.0
    """

    __slots__ = ("c", "lower")
    _fields = ("c", "lower")

    def __iter__(self):
        return iter((self.c, self.lower))

    @property
    def l(self):  # noqa: E743 - the name of the literature
        """L, lower triangular with a positive diagonal."""
        return self.c if self.lower else self.c.mH

    def _solve(self, b, form):
        if form == 1:  # Aᵀ is the conjugate of A
            return conj(native.definite_solve(self.c, self.lower, conj(asarray(b))))
        return native.definite_solve(self.c, self.lower, b)

    def det(self):
        """The determinant, which may overflow where slogdet doesn't."""
        return prod(square(_real(diagonal(self.c))), axis=-1)

    def slogdet(self):
        """SlogdetResult(1, logabsdet)."""
        logs = 2 * _sum(log(_real(diagonal(self.c))), axis=-1)
        return SlogdetResult(logs * 0 + 1, logs)

    def rcond(self):
        """An estimate of 1/(‖A‖₁·‖A⁻¹‖₁) from the factor alone, by a few products and systems
        (Higham and Tisseur 2000). 1 for N = 0."""
        return native.definite_rcond(self.c, self.lower)

    def update(self, v):
        """The factor of A + v·vᴴ for a vector v, in N² operations (Gill, Golub, Murray and Saunders
        1974). Of one matrix, no stack."""
        return self._changed(native.cholesky_update, v)

    def downdate(self, v):
        """The factor of A - v·vᴴ, as update. numerical.error "downdate: matrix would not be
        positive-definite" where there is none."""
        return self._changed(native.cholesky_downdate, v)

    def _changed(self, change, v):
        changed = change(self.l, v)
        return CholeskyFactor(changed if self.lower else changed.mH, self.lower)


def cholesky_factor(a):
    """The factor of A = L @ Lᴴ for Hermitian positive-definite matrices, as an object that solves.

    Parameters
    ----------
    a : array_like, shape (..., N, N)
        The lower triangle is read.

    Returns
    -------
    CholeskyFactor
        Its methods are `solve`, `inverse`, `det`, `slogdet`, `rcond`, `cond_estimate`, and for one
        matrix `update` and `downdate` (Gill, Golub, Murray and Saunders 1974).

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        "Cholesky: matrix is not positive-definite", or if a matrix isn't finite.

    Examples
    --------
    >>> factor = nm.linalg.cholesky_factor([[4.0, 2.0], [2.0, 2.0]])
    >>> factor.solve([6.0, 4.0])
    Tensor([1.0, 1.0])
    """
    return CholeskyFactor(native.cholesky(a), True)


def cho_factor(a, lower=False):
    """The factor of Hermitian positive-definite matrices: what `cho_solve` takes.

    Parameters
    ----------
    a : array_like, shape (..., N, N)
        The triangle that `lower` names is read.
    lower : bool, optional
        L of A = L @ Lᴴ, otherwise U of A = Uᴴ @ U.

    Returns
    -------
    CholeskyFactor
        It unpacks as SciPy's (c, lower); unlike there, c is zero in the other triangle.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        "Cholesky: matrix is not positive-definite", or if a matrix isn't finite.

    Examples
    --------
    >>> c, lower = nm.linalg.cho_factor([[4.0, 2.0], [2.0, 2.0]])
    >>> c
    Tensor([[2.0, 1.0],
            [0.0, 1.0]])
    """
    if lower:
        return cholesky_factor(a)
    a = matrices(a, "cholesky", True)
    c = native.upper_cholesky(a) if a.ndim == 2 else native.cholesky(a.mH).mH
    return CholeskyFactor(c, False)


def cho_solve(c_and_lower, b):
    """Solutions of A @ x = b from `cho_factor(A)`.

    Parameters
    ----------
    c_and_lower : CholeskyFactor, or a pair (c, lower) like SciPy's
    b : array_like, shape (N,) or (..., N, K)
        One right-hand side in each column; a vector serves every matrix of a stack.

    Returns
    -------
    Tensor

    Raises
    ------
    numerical.error
        "solve: matrix is singular" for a zero on the diagonal of c.

    Examples
    --------
    >>> factor = nm.linalg.cho_factor([[4.0, 2.0], [2.0, 2.0]])
    >>> nm.linalg.cho_solve(factor, [6.0, 4.0])
    Tensor([1.0, 1.0])
    """
    c, lower = _pair(c_and_lower, CholeskyFactor, ("c", "lower"), "cho_solve")
    return native.definite_solve(c, bool(lower), b)


# --- symmetric indefinite ------------------------------------------------------------------------
class LDLFactor(SquareFactors):
    """The kept factors of P @ A @ Pᵀ = L @ D @ Lᴴ, as `ldl` gives them.

    L is unit lower triangular, D has blocks of order 1 and 2 on its diagonal. The object unpacks as
    SciPy's (lu, d, perm): A = lu @ d @ luᴴ, and lu[perm] is L. For symmetric A that isn't Hermitian
    read Lᵀ for Lᴴ.

    Examples
    --------
    >>> outer, d, perm = nm.linalg.ldl([[0.0, 2.0], [2.0, 0.0]])
    >>> d
    Tensor([[0.0, 2.0],
            [2.0, 0.0]])
    """

    __slots__ = ("l", "diagonal", "below", "perm", "hermitian", "norm")
    _fields = ("l", "diagonal", "below", "perm", "hermitian", "norm")

    def __iter__(self):
        return iter((*native.ldl_parts(*self._factors), self.perm))

    @property
    def _factors(self):
        return self.l, self.diagonal, self.below, self.perm, self.hermitian

    @property
    def d(self):
        """D as a matrix."""
        return native.ldl_parts(*self._factors)[1]

    def _solve(self, b, form):
        if form == (1 if self.hermitian else 2):  # the conjugate of A
            return conj(native.ldl_solve(*self._factors, conj(asarray(b))))
        return native.ldl_solve(*self._factors, b)

    def det(self):
        """The determinant, which may overflow where slogdet doesn't."""
        return native.ldl_det(*self._factors)

    def slogdet(self):
        """SlogdetResult(sign, logabsdet): the determinant is sign·exp(logabsdet)."""
        return SlogdetResult(*native.ldl_slogdet(*self._factors))

    def rcond(self):
        """An estimate of 1/(‖A‖₁·‖A⁻¹‖₁), seldom more than three times too large, by a few systems
        (Higham and Tisseur 2000). 0 for a singular A, 1 for N = 0."""
        return native.ldl_rcond(*self._factors, self.norm)


def ldl(a, lower=True, hermitian=True):
    """The factors of Hermitian matrices, definite or not, as an object that solves.

    Parameters
    ----------
    a : array_like, shape (..., N, N)
    lower : bool, optional
        The triangle of a that is read; L is lower triangular in either case.
    hermitian : bool, optional
        False for complex symmetric matrices, A = L @ D @ Lᵀ.

    Returns
    -------
    LDLFactor
        It unpacks as SciPy's lu, d and perm. Its methods are `solve(b, transposed=, adjoint=)`,
        `inverse`, `det`, `slogdet`, `rcond` and `cond_estimate`.

    Raises
    ------
    ValueError
        If the matrices aren't square.
    numerical.error
        If the triangle isn't finite.

    Notes
    -----
    Blocks of order 1 and 2 (Bunch and Kaufman 1977), chosen by the rook's search (Ashcraft, Grimes and
    Lewis 1998), which bounds the elements of L.

    Examples
    --------
    >>> factors = nm.linalg.ldl([[0.0, 2.0], [2.0, 0.0]])
    >>> factors.solve([2.0, 4.0])
    Tensor([2.0, 1.0])
    >>> factors.det()
    -4.0
    """
    if not lower:
        a = matrix_transpose(conj(a) if hermitian else a)
    hermitian = bool(hermitian)
    (l, diagonal, below), (perm, norm) = native.ldl_factors(a, hermitian)
    return LDLFactor(l, diagonal, below, perm, hermitian, norm)


# --- triangles -----------------------------------------------------------------------------------
def solve_triangular(a, b, trans=0, lower=False, unit_diagonal=False):
    """Solutions of A @ x = b for triangular matrices.

    Parameters
    ----------
    a : array_like, shape (..., N, N)
        The other triangle isn't read.
    b : array_like, shape (N,) or (..., N, K)
        One right-hand side in each column; a vector serves every matrix of a stack.
    trans : {0, 1, 2, 'N', 'T', 'C'}, optional
        1 for the transpose of A, 2 for its adjoint.
    lower : bool, optional
        A is the lower triangle of a, otherwise the upper.
    unit_diagonal : bool, optional
        The diagonal isn't read and counts as ones.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the matrices aren't square, or for another `trans`.
    numerical.error
        "solve_triangular: matrix is singular" for a zero on the diagonal, or if the triangle isn't
        finite.

    Examples
    --------
    >>> nm.linalg.solve_triangular([[2.0, 1.0], [0.0, 4.0]], [4.0, 8.0])
    Tensor([1.0, 2.0])
    """
    return native.triangular_solve(a, b, _form(trans), bool(lower), bool(unit_diagonal))
