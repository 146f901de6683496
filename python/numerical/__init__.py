"""Dense arrays and linear algebra in double precision, computed by the native module _numerical.

The module's own Tensor gets its operators and its indexing here, at import.
"""

from . import _numerical as _numerical
from . import _indexing, _operators
from ._numerical import (
    Tensor,
    asarray,
    cholesky,
    determinant,
    eigh,
    einsum,
    error,
    get_num_threads,
    inverse,
    lstsq,
    matrix_rank,
    pinv,
    qr,
    slogdet,
    solve,
    svd,
)
from ._settings import limit_gemm_path, set_num_threads

__all__ = [
    "Tensor",
    "asarray",
    "cholesky",
    "determinant",
    "eigh",
    "einsum",
    "error",
    "get_num_threads",
    "inverse",
    "limit_gemm_path",
    "lstsq",
    "matrix_rank",
    "pinv",
    "qr",
    "set_num_threads",
    "slogdet",
    "solve",
    "svd",
]

for _methods in (_operators.METHODS, _indexing.METHODS):
    for _name, _function in _methods.items():
        setattr(Tensor, _name, _function)
