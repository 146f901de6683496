"""Hints of failures: the operands, and what to try next."""

from ._conversion import asarray
from ._hints import add_hint

_ADVICE = {
    "matrix is singular": "the matrix has no inverse: lstsq and pinv give the least-squares answer",
    "infinite or NaN entry": "look for NaN and infinities in the input, for example by sum(a - a)",
    "not positive-definite": "the matrix must be Hermitian with positive eigenvalues;"
    " eigvalsh shows them, and adding a multiple of eye(n) shifts them",
    "square matrix": "lstsq, pinv, qr and svd take rectangular matrices",
    "did not converge": 'another method may: method="tridiagonal_ql" of eigh or "bidiagonal_qr"'
    " of svd",
    "right-hand side": "b has as many rows as a; each column is one right-hand side",
}


def annotate(failure, operands):
    """Adds the operands and what to try next to a failure."""
    given = ", ".join(map(_described, operands))
    advice = next((text for key, text in _ADVICE.items() if key in str(failure)), None)
    add_hint(failure, f"given {given}" + (f"; {advice}" if advice else ""))


def _described(operand):
    try:
        t = asarray(operand)
    except Exception:  # the operand may be what failed, and a note must never replace the error
        return f"a {type(operand).__name__}"
    return f"{t.dtype} of shape {t.shape}"
