"""What help() says of the module's functions, whole and in their order."""

import _numerical
import pytest

DOCS = {
    "_set_num_threads": "_set_num_threads(n)\n"
    "Cap the threads a kernel uses at n (see numerical.set_num_threads).",
    "get_num_threads": "get_num_threads() -> int\n" "The threads a kernel may use.",
    "_limit_gemm_path": "_limit_gemm_path(code) -> int\n"
    "The path code now in use (see numerical.limit_gemm_path).",
    "_gemm_path": "_gemm_path() -> int\n" "The path code float64 matrix products take.",
    "_amx_probed": "_amx_probed() -> bool\n" "Whether the AMX's self-test has run in this process.",
    "solve": "solve(a, b) -> Tensor\n"
    "Solve the linear system a @ x = b (a rank-2; b rank-1, or rank-2 with one right-hand"
    " side per column).",
    "inverse": "inverse(a) -> Tensor\n" "The inverse of a square matrix.",
    "lstsq": "lstsq(a, b) -> Tensor\n"
    "The minimum-norm least-squares solution of a @ x ≈ b, as numpy.linalg.lstsq (SVD; a "
    "rank-2; b rank-1, or rank-2 with one right-hand side per column).",
    "cholesky": "cholesky(a) -> Tensor\n"
    "The lower factor L of A = L Lᴴ (Hermitian positive-definite).",
    "qr": "qr(a) -> (Q, R)\n"
    "The QR factorisation of an m×n matrix, as numpy.linalg.qr (reduced): Q is m×k, R "
    "k×n, k = min(m, n).",
    "eigh": "eigh(a, method) -> (values, vectors)\n"
    "Eigenpairs of a real symmetric or complex Hermitian matrix (real values, ascending);"
    " its lower triangle is read, as numpy.linalg.eigh reads it.",
    "matrix_rank": "matrix_rank(a) -> int\n"
    "The numerical rank of a matrix, as numpy.linalg.matrix_rank.",
    "pinv": "pinv(a) -> Tensor\n"
    "The Moore–Penrose pseudo-inverse of an m×n matrix, as numpy.linalg.pinv.",
    "svd": "svd(a, method) -> (U, S, Vh)\n"
    "The singular value decomposition a = U @ diag(S) @ Vh of an m×n matrix, as "
    "numpy.linalg.svd(a, full_matrices=False).",
    "determinant": "determinant(a) -> number\n"
    "The determinant of a square matrix (float or complex).",
    "_take": "_take(t, starts, steps, counts, keep) -> Tensor or number\n"
    "The strided copy behind Tensor.__getitem__.",
    "_binary": "_binary(op, a, b) -> Tensor\n"
    "Element-wise a op b (op one of + - * /), broadcast; one dtype.",
    "_negate": "_negate(a) -> Tensor\n" "Element-wise negation.",
    "_unary": "_unary(name, a) -> Tensor\n"
    "exp, log, sqrt, sin, cos, tan, tanh or abs of every element.",
    "_reduce": "_reduce(op, a, axis) -> number or Tensor\n"
    "sum, mean, max or min of every element (axis -1) or along an axis.",
    "_reshape": "_reshape(a, shape) -> Tensor\n" "The elements under another shape.",
    "_full": "_full(shape, value, complex) -> Tensor\n" "A tensor of one value.",
    "_eye": "_eye(n, complex) -> Tensor\n" "The n×n identity.",
    "_arange": "_arange(start, stop, step) -> Tensor\n" "As numpy.arange (float64).",
    "_linspace": "_linspace(start, stop, num) -> Tensor\n"
    "As numpy.linspace with the end point (float64).",
    "slogdet": "slogdet(a) -> (sign, logabsdet)\n"
    "The sign and the natural log of |det(a)|, as numpy.linalg.slogdet; it\n"
    "does not underflow or overflow where determinant(a) does.",
    "einsum": "einsum(spec, *operands) -> Tensor\n"
    "Einstein summation, e.g. 'ij,jk->ik' (matmul), 'i,i->' (dot), 'ij->ji'.",
    "asarray": "asarray(obj, dtype=None) -> Tensor\n"
    "A Tensor (converted if dtype differs), or a copy of a C-contiguous array via\n"
    "__array_interface__. dtype is honoured: real->complex128 widens (zero imaginary\n"
    "part); complex128->float64 is refused.",
}


@pytest.mark.parametrize("name", DOCS)
def test_a_function_says_what_it_does(name):
    assert getattr(_numerical, name).__doc__ == DOCS[name]


def test_every_function_is_listed():
    functions = [name for name, value in vars(_numerical).items() if type(value) is type(len)]
    assert functions == list(DOCS)
