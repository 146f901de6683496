"""Factors that are kept: a matrix is factored once, and each system with it costs a substitution.

The objects are immutable and hold tensors; they pickle, and unpack as SciPy's tuples do. All of
them work on stacks (..., N, N).
"""

from ._arguments import shown
from ._conversion import asarray
from ._creation import diagonal, eye, tril, triu
from ._decompositions import cholesky
from ._functions import conj, log, prod, square, where
from ._functions import real as _real
from ._functions import sum as _sum
from ._matrices import SlogdetResult, matrix_transpose
from ._native_module import native
from ._shaping import broadcast_to


class Factors:
    """Tensors that stay what they are, under the names of _fields."""

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
    """What the factors of a square matrix A answer, or of each of a stack."""

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
        return self._solve(broadcast_to(eye(self.shape[-1]), self.shape), 0)

    def cond_estimate(self):
        """An estimate of the condition number ‖A‖₁·‖A⁻¹‖₁: 1/rcond(), infinite for a singular A."""
        rcond = self.rcond()
        if isinstance(rcond, float):
            return 1 / rcond if rcond else float("inf")
        return where(rcond == 0, float("inf"), 1 / where(rcond == 0, 1.0, rcond))


# --- LU ------------------------------------------------------------------------------------------
class LUFactor(SquareFactors):
    """P·A = L·U by partial pivoting; unpacks as SciPy's pair (lu, piv).

    lu : (..., N, N), L below the diagonal, whose ones aren't stored, and U.
    piv : Positions (..., N); row i was exchanged with row piv[..., i], i ascending.
    """

    __slots__ = ("lu", "piv", "norm")
    _fields = ("lu", "piv", "norm")

    def __iter__(self):
        return iter((self.lu, self.piv))

    @property
    def p(self):
        """The permutation matrix of A = p @ l @ u."""
        return eye(self.shape[-1])[self.p_indices]

    @property
    def p_indices(self):
        """Positions with A = l[p_indices] @ u, for one matrix."""
        return native.lu_places(self.piv)

    @property
    def l(self):  # noqa: E743 - the name of the literature
        """L, unit lower triangular."""
        return tril(self.lu, -1) + eye(self.shape[-1])

    @property
    def u(self):
        """U, upper triangular."""
        return triu(self.lu)

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
    """An LUFactor that unpacks as p, l, u with A = p @ l @ u."""

    __slots__ = ()

    def __iter__(self):
        return iter((self.p, self.l, self.u))


def lu(a, permute_l=False, *, p_indices=False):
    """The factors of A = P·L·U as an object that solves, by partial pivoting.

    Parameters
    ----------
    a : (..., N, N)
    permute_l : gives the pair (P·L, U) instead.
    p_indices : gives (p, L, U) with Positions p instead, A = L[p] @ U for one matrix.

    Returns
    -------
    LU
        unpacks as P, L, U; also `.solve`, `.inverse`, `.det`, `.slogdet`, `.rcond`.

    Examples
    --------
    >>> import numerical as nm
    >>> factors = nm.linalg.lu([[1.0, 2.0], [4.0, 2.0]])
    >>> p, l, u = factors
    >>> p @ l @ u
    Tensor([[1.0, 2.0],
            [4.0, 2.0]])
    >>> factors.solve([3.0, 6.0])
    Tensor([1.0, 1.0])
    """
    factors = LU(*native.lu_factors(a))
    if permute_l:
        return factors.p @ factors.l, factors.u
    return (factors.p_indices, factors.l, factors.u) if p_indices else factors


def lu_factor(a):
    """LUFactor(lu, piv) of (..., N, N), by partial pivoting: what `lu_solve` takes.

    numerical.error for entries that aren't finite. A singular matrix has factors too; to solve with
    them fails.
    """
    return LUFactor(*native.lu_factors(a))


_FORMS = {0: 0, 1: 1, 2: 2, "N": 0, "T": 1, "C": 2}


def _form(trans):
    try:
        return _FORMS[trans]
    except (KeyError, TypeError):
        raise ValueError(f"trans is 0, 1, 2, 'N', 'T' or 'C', not {shown(trans)}") from None


def lu_solve(lu_and_piv, b, trans=0):
    """x with A @ x = b from lu_factor(A), or from any pair (lu, piv) like it.

    trans: 1 for Aᵀ @ x = b, 2 for Aᴴ @ x = b. The same as `.solve` of the factors.
    """
    lu, piv = _pair(lu_and_piv, LUFactor, ("lu", "piv"), "lu_solve")
    if not isinstance(piv, native.Positions):
        piv = native.Positions(piv.tolist() if hasattr(piv, "tolist") else piv)
    return native.lu_solve(lu, piv, b, _form(trans))


def _pair(given, kind, names, function):
    """The two fields of a factor, or of a pair that stands for one."""
    if isinstance(given, kind):
        return tuple(getattr(given, name) for name in names)
    if not isinstance(given, (tuple, list)) or len(given) != 2:
        raise TypeError(f"{function} takes a {kind.__name__} or a pair ({names[0]}, {names[1]})")
    return given


# --- Cholesky ------------------------------------------------------------------------------------
class CholeskyFactor(SquareFactors):
    """A = L·Lᴴ of Hermitian positive-definite A; unpacks as SciPy's pair (c, lower).

    c : (..., N, N), L if lower, otherwise U = Lᴴ; zero in the other triangle.
    """

    __slots__ = ("c", "lower")
    _fields = ("c", "lower")

    def __iter__(self):
        return iter((self.c, self.lower))

    @property
    def l(self):  # noqa: E743 - the name of the literature
        """L, lower triangular with a positive diagonal."""
        return self.c if self.lower else _adjoint(self.c)

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
        return CholeskyFactor(changed if self.lower else _adjoint(changed), self.lower)


def _adjoint(a):
    return matrix_transpose(conj(a))


def cholesky_factor(a):
    """CholeskyFactor with c = L, a = L·Lᴴ, of Hermitian positive-definite (..., N, N).

    The lower triangle of a is read. numerical.error "Cholesky: matrix is not positive-definite".

    Examples
    --------
    >>> import numerical as nm
    >>> factor = nm.linalg.cholesky_factor([[4.0, 2.0], [2.0, 2.0]])
    >>> factor.solve([6.0, 4.0])
    Tensor([1.0, 1.0])
    >>> factor.update([1.0, 0.0]).det()
    6.0
    """
    return CholeskyFactor(cholesky(a), True)


def cho_factor(a, lower=False):
    """CholeskyFactor(c, lower): U with a = Uᴴ·U from a's upper triangle, or L if lower.

    What `cho_solve` takes. Unlike SciPy's, c is zero in the other triangle.
    """
    if lower:
        return cholesky_factor(a)
    return CholeskyFactor(_adjoint(cholesky(_adjoint(asarray(a)))), False)


def cho_solve(c_and_lower, b):
    """x with A @ x = b from cho_factor(A), or from any pair (c, lower) like it."""
    c, lower = _pair(c_and_lower, CholeskyFactor, ("c", "lower"), "cho_solve")
    return native.definite_solve(c, bool(lower), b)


# --- symmetric indefinite ------------------------------------------------------------------------
class LDLFactor(SquareFactors):
    """P·A·Pᵀ = L·D·Lᴴ of Hermitian indefinite A, or L·D·Lᵀ of a symmetric one.

    L is unit lower triangular, D has blocks of order 1 and 2 on its diagonal. Unpacks as SciPy's
    (lu, d, perm): A = lu @ d @ luᴴ with triangular lu[perm].
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
    """LDLFactor of Hermitian matrices (..., N, N), definite or not, by the rook's search for pivots.

    Parameters
    ----------
    a : (..., N, N)
    lower : the triangle of a that is read; L is lower triangular in either case.
    hermitian : False for complex symmetric matrices, A = L·D·Lᵀ.

    Returns
    -------
    LDLFactor
        unpacks as SciPy's lu, d, perm; also `.solve`, `.inverse`, `.det`, `.slogdet`, `.rcond`.
        Pivots by Bunch and Kaufman (1977) with the search of Ashcraft, Grimes and Lewis (1998).

    Examples
    --------
    >>> import numerical as nm
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
    """x with A @ x = b for triangular (..., N, N); the other triangle isn't read.

    Parameters
    ----------
    a : (..., N, N)
    b : (N,), or (..., N, K) with one right-hand side in each column.
    trans : 1 or "T" for Aᵀ @ x = b, 2 or "C" for Aᴴ @ x = b.
    lower : A is the lower triangle of a, otherwise the upper.
    unit_diagonal : the diagonal isn't read and counts as ones.

    Raises
    ------
    numerical.error
        "solve_triangular: matrix is singular" for a zero on the diagonal.

    Examples
    --------
    >>> import numerical as nm
    >>> nm.linalg.solve_triangular([[2.0, 1.0], [0.0, 4.0]], [4.0, 8.0])
    Tensor([1.0, 2.0])
    """
    return native.triangular_solve(a, b, _form(trans), bool(lower), bool(unit_diagonal))
