"""Systems whose matrix is known to have a structure, and the warning of an ill-conditioned one."""

import warnings

from ._arguments import one_of
from ._conversion import asarray
from ._factors import cholesky_factor, ldl, lu_factor
from ._native_module import native

EPS = 2.0**-52


class LinAlgWarning(RuntimeWarning):
    """A matrix so ill-conditioned that a solution may have no correct digit.

    `solve` warns of one where its structure is named or its condition is to be looked at.

    Examples
    --------
    >>> import warnings
    >>> with warnings.catch_warnings(record=True) as caught:
    ...     warnings.simplefilter("always")
    ...     x = nm.linalg.solve(nm.diag([1.0, 1e-20]), [1.0, 1.0], assume_a="diagonal")
    >>> caught[0].category is nm.linalg.LinAlgWarning
    True
    """


def _by_factors(factor):
    def solve(a, b, conditions):
        factors = factor(a)
        return factors.solve(b), factors.rcond() if conditions else None

    return solve


def _by_triangle(lower):
    def solve(a, b, conditions):
        x = native.triangular_solve(a, b, 0, lower, False)
        return x, native.triangular_rcond(a, lower) if conditions else None

    return solve


def _by_band(widths):
    return lambda a, b, conditions: native.band_solve(a, b, widths, conditions)


_SOLVERS = {
    "general": _by_factors(lu_factor),
    "symmetric": _by_factors(lambda a: ldl(a, hermitian=False)),
    "hermitian": _by_factors(ldl),
    "positive definite": _by_factors(cholesky_factor),
    "upper triangular": _by_triangle(False),
    "lower triangular": _by_triangle(True),
    "diagonal": _by_band((0, 0)),
    "tridiagonal": _by_band((1, 1)),
    "banded": _by_band(None),
}
_SHORT_NAMES = {
    "gen": "general",
    "sym": "symmetric",
    "her": "hermitian",
    "pos": "positive definite",
}


def solve_assuming(a, b, assume_a, check_condition):
    """solve with assume_a or check_condition, which are None where they weren't given."""
    conditions = assume_a is not None if check_condition is None else bool(check_condition)
    name = "general" if assume_a is None else assume_a
    if not (isinstance(name, str) and name in _SHORT_NAMES):
        one_of(name, "assume_a", tuple(_SOLVERS))
    a = asarray(a)
    x, rcond = _SOLVERS[_SHORT_NAMES.get(name, name)](a, b, conditions)
    if conditions and a.size:
        _warn_of(rcond if isinstance(rcond, float) else native.min(rcond))
    return x


def _warn_of(rcond):
    if rcond < EPS:
        warnings.warn(
            f"solve: the matrix is ill-conditioned (rcond = {rcond:.2g}); the solution may have no"
            " correct digit",
            LinAlgWarning,
            stacklevel=3,
        )
