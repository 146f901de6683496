"""Eigenvalues of general square matrices, Schur and Hessenberg forms."""

from ._arguments import one_of
from ._matrices import EigResult
from ._native_module import native

eigvals = native.eigvals


def eig(a, *, left=False):
    """EigResult(eigenvalues, eigenvectors) of general square matrices, or stacks of them.

    Column j of the vectors belongs to value j: a @ v[:, j] = w[j] * v[:, j], with Euclidean norm 1.
    Of a real matrix both are float64 where no value has an imaginary part, complex128 otherwise.
    With left=True, for one matrix, (eigenvalues, left vectors u, right vectors) with
    uᴴ·a = diag(w)·uᴴ. By balancing, Hessenberg reduction and multishift QR with aggressive early
    deflation (Braman, Byers, Mathias 2002). numerical.error if the iteration doesn't converge.
    """
    return native.eig_both(a) if left else EigResult(*native.eig(a))


def schur(a, output="real"):
    """(T, Q) with a = Q·T·Qᴴ and unitary Q, for one square matrix.

    T is upper triangular, for a real matrix quasi-triangular with a 2 × 2 block for each pair of
    complex eigenvalues, unless output is "complex".
    """
    return native.schur(a, one_of(output, "output", ("real", "complex")) == "complex")


def hessenberg(a, calc_q=False):
    """H with a = Q·H·Qᴴ and zeros below its first subdiagonal; (H, Q) if calc_q."""
    h, q = native.hessenberg(a)
    return (h, q) if calc_q else h
