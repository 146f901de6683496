"""Q·R with a kept Q: its reflectors are applied, and Q is formed only on request."""

from ._arguments import one_of
from ._arrangement import take_along_axis
from ._conversion import asarray
from ._creation import diagonal, eye, zeros
from ._factors import Factors
from ._functions import abs as _abs
from ._functions import all as _all
from ._functions import argsort, conj, log, prod, where
from ._functions import sum as _sum
from ._native_module import native
from ._numerical import error
from ._results import SlogdetResult
from ._shaping import broadcast_to, concat, reshape


class QRFactor(Factors):
    """The kept factors of A = Q @ R, as `qr_factor` gives them.

    Q is kept as its reflectors and formed only if `q` is read. The object unpacks as Q and R,
    with pivoting as Q, R and perm: A[:, perm] = Q @ R. `r` is (..., K, N) with K = min(M, N); its
    diagonal isn't negative, and falls with pivoting.

    Examples
    --------
    >>> factors = nm.linalg.qr_factor([[0.0, 2.0], [0.0, 0.0], [1.0, 0.0]], pivoting=True)
    >>> factors.perm
    Positions([1, 0])
    >>> nm.round(factors.solve([4.0, 5.0, 3.0]), 12)
    Tensor([3.0, 2.0])
    """

    __slots__ = ("_vectors", "_blocks", "_phases", "r", "perm")
    _fields = ("_vectors", "_blocks", "_phases", "r", "perm")

    def __iter__(self):
        return iter((self.q, self.r) if self.perm is None else (self.q, self.r, self.perm))

    @property
    def shape(self):
        """The shape of what was factored."""
        return (*self._vectors.shape[:-1], self.r.shape[-1])

    @property
    def q(self):
        """Q with orthonormal columns, (..., M, K)."""
        return self._form(self.r.shape[-2])

    def _form(self, columns):
        rows = self.shape[-2]
        return self._apply(
            broadcast_to(eye(rows, columns), (*self.shape[:-2], rows, columns)), False
        )

    def _apply(self, c, adjoint):
        return native.qr_apply(self._vectors, self._blocks, self._phases, c, adjoint)

    def q_multiply(self, c):
        """Q @ c without forming Q, for c of K rows, or of M for the square Q; a vector counts as one
        column."""
        c, is_vector = _as_columns(c)
        rows, k = self.shape[-2], self.r.shape[-2]
        if c.ndim and c.shape[-2] == k != rows:
            below = zeros((*c.shape[:-2], rows - k, c.shape[-1]), dtype=c.dtype)
            c = concat([c, below], axis=-2)
        product = self._apply(c, False)
        return product[..., 0] if is_vector else product

    def qh_multiply(self, c, *, complete=False):
        """Qᴴ @ c without forming Q, for c of M rows: K rows, or M of the square Q if complete."""
        c, is_vector = _as_columns(c)
        product = self._apply(c, True)
        if not complete:
            product = product[..., : self.r.shape[-2], :]
        return product[..., 0] if is_vector else product

    def solve(self, b):
        """The x of least ‖A @ x - b‖ for M ≥ N and A of full rank.

        b is (M,), or (..., M, K) with one right-hand side in each column. numerical.error "solve:
        matrix is singular" for a zero on R's diagonal.
        """
        rows, cols = self.shape[-2:]
        if rows < cols:
            raise ValueError(
                f"solve by QR takes matrices with at least as many rows as columns, not {self.shape}"
            )
        if not _all(diagonal(self.r) != 0):
            raise error("solve: matrix is singular")
        b, is_vector = _as_columns(b)
        x = native.triangular_solve(self.r, self.qh_multiply(b), 0, False, False)
        if self.perm is not None:
            places = argsort(self.perm)[..., None]
            x = take_along_axis(x, places[(None,) * (x.ndim - places.ndim) + (...,)], -2)
        return x[..., 0] if is_vector else x

    def inverse(self):
        """A⁻¹ of square A; (..., N, M) with A⁺ @ A the identity for M > N."""
        rows = self.shape[-2]
        return self.solve(broadcast_to(eye(rows), (*self.shape[:-2], rows, rows)))

    def det(self):
        """The determinant of square A."""
        sign, pivots = self._sign_and_pivots("det")
        return sign * prod(pivots, axis=-1)

    def slogdet(self):
        """SlogdetResult(sign, logabsdet) of square A."""
        sign, pivots = self._sign_and_pivots("slogdet")
        logs = _sum(
            where(pivots == 0, float("-inf"), log(where(pivots == 0, 1.0, pivots))), axis=-1
        )
        return SlogdetResult(sign * (logs != float("-inf")), logs)

    def _sign_and_pivots(self, name):
        """A reflector's determinant is -1, and there is one for each factor that isn't zero."""
        rows, cols = self.shape[-2:]
        if rows != cols:
            raise ValueError(f"{name} takes square matrices, not shape {self.shape}")
        reflections = prod(where(diagonal(self._blocks) == 0, 1.0, -1.0), axis=(-2, -1))
        sign = reflections * prod(self._phases, axis=-1)
        if self.perm is not None:
            sign = sign * _signs(self.perm)
        return sign, _abs(diagonal(self.r))

    def rcond(self):
        """An estimate of 1/(‖R‖₁·‖R⁻¹‖₁), for M ≥ N, which is within N of that of A (Higham and
        Tisseur 2000). 0 for a singular R, 1 for N = 0."""
        rows, cols = self.shape[-2:]
        if rows < cols:
            raise ValueError(f"rcond takes no more columns than rows, not {self.shape}")
        return native.triangular_rcond(self.r, False)

    def cond_estimate(self):
        """1/rcond(), infinite for a singular R."""
        rcond = self.rcond()
        if isinstance(rcond, float):
            return 1 / rcond if rcond else float("inf")
        return where(rcond == 0, float("inf"), 1 / where(rcond == 0, 1.0, rcond))


def _as_columns(c):
    """Columns, and whether they are one vector."""
    c = asarray(c)
    return (c[:, None], True) if c.ndim == 1 else (c, False)


def _signs(perm):
    """The signs of the permutations: each cycle of even length changes it."""
    lead = perm.shape[:-1]
    if not lead:
        return _sign(perm.tolist())
    return reshape(asarray([_sign(run) for run in _runs(perm.tolist(), len(lead))]), lead)


def _runs(nested, depth):
    if depth == 0:
        yield nested
    else:
        for item in nested:
            yield from _runs(item, depth - 1)


def _sign(places):
    places, sign = list(places), 1.0
    for i, place in enumerate(places):
        while place != i:
            places[i], places[place], sign = places[place], place, -sign
            place = places[i]
    return sign


def qr_factor(a, pivoting=False):
    """The factors of A = Q @ R, with Q kept as its reflectors, as an object that solves.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    pivoting : bool, optional
        Columns change places, A[:, perm] = Q @ R, so that the diagonal of R falls and shows the rank.

    Returns
    -------
    QRFactor
        It unpacks as Q and R, and perm with pivoting. Its methods are `q_multiply` and `qh_multiply`,
        which don't form Q, `solve` for least squares, `rcond` and `cond_estimate`, and for square
        matrices `inverse`, `det` and `slogdet`.

    Raises
    ------
    ValueError
        Below rank 2.
    numerical.error
        If a matrix isn't finite.

    Notes
    -----
    Pivots are found in panels (Quintana-Orti, Sun and Bischof 1998).

    Examples
    --------
    >>> factors = nm.linalg.qr_factor([[3.0, 0.0], [0.0, 4.0], [0.0, 0.0]])
    >>> factors.solve([3.0, 8.0, 1.0])
    Tensor([1.0, 2.0])
    >>> factors.qh_multiply([3.0, 8.0, 1.0])
    Tensor([3.0, 8.0])
    """
    (vectors, blocks, phases), (r, perm) = native.qr_factors(a, bool(pivoting))
    return QRFactor(vectors, blocks, phases, r, perm if pivoting else None)


def pivoted_qr(a, mode):
    """(Q, R, perm), or (R, perm) for mode "r", with columns in the order of pivoting."""
    factors = qr_factor(a, True)
    if mode == "r":
        return factors.r, factors.perm
    if mode == "reduced":
        return factors.q, factors.r, factors.perm
    rows, k = factors.shape[-2], factors.r.shape[-2]
    below = zeros((*factors.shape[:-2], rows - k, factors.shape[-1]), dtype=factors.dtype)
    return factors._form(rows), concat([factors.r, below], axis=-2), factors.perm


def qr_multiply(a, c, mode="right", pivoting=False, conjugate=False):
    """A product with Q of A = Q @ R, without forming Q, and R.

    Parameters
    ----------
    a : array_like, shape (M, N)
    c : array_like
        (L, M), or for mode 'left' (K, L) with K = min(M, N). A vector is a row or a column.
    mode : {'right', 'left'}, optional
        c @ Q of shape (L, K), or Q @ c of shape (M, L).
    pivoting : bool, optional
        As for `qr_factor`.
    conjugate : bool, optional
        Takes conj(Q) for Q.

    Returns
    -------
    tuple
        The product and R, with perm behind them if pivoting.

    Raises
    ------
    ValueError
        For another mode, or below rank 2.
    numerical.error
        If the extents don't fit, or the matrix isn't finite.

    Examples
    --------
    >>> product, r = nm.linalg.qr_multiply([[3.0, 0.0], [0.0, 4.0], [0.0, 0.0]], [3.0, 8.0, 1.0])
    >>> product
    Tensor([3.0, 8.0])
    """
    one_of(mode, "mode", ("left", "right"))
    factors, c = qr_factor(a, pivoting), asarray(c)
    if conjugate:
        c = conj(c)
    if mode == "left":
        product = factors.q_multiply(c)
    elif c.ndim == 1:
        product = conj(factors.qh_multiply(conj(c)))
    else:
        product = factors.qh_multiply(c.mH).mH
    if conjugate:
        product = conj(product)
    return (product, factors.r, factors.perm) if pivoting else (product, factors.r)
