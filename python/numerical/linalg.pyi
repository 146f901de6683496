from collections.abc import Iterator
from typing import Any, Literal, Sequence, overload

from . import diagonal as diagonal
from . import matmul as matmul
from . import matrix_power as matrix_power
from . import multi_dot as multi_dot
from . import outer as outer
from . import tensordot as tensordot
from . import trace as trace
from . import Positions
from ._dtypes import DType
from ._numerical import Tensor
from ._numerical import error as error

__all__ = [
    "CholeskyFactor",
    "EigResult",
    "EighResult",
    "LDLFactor",
    "LU",
    "LUFactor",
    "LinAlgError",
    "LinAlgWarning",
    "LstsqResult",
    "QRResult",
    "SVDResult",
    "SlogdetResult",
    "cho_factor",
    "cho_solve",
    "cholesky",
    "cholesky_factor",
    "cond",
    "cross",
    "det",
    "diagonal",
    "eig",
    "eigh",
    "eigvals",
    "eigvalsh",
    "hessenberg",
    "inv",
    "ldl",
    "lstsq",
    "lu",
    "lu_factor",
    "lu_solve",
    "matmul",
    "matrix_norm",
    "matrix_power",
    "matrix_rank",
    "matrix_transpose",
    "multi_dot",
    "norm",
    "outer",
    "pinv",
    "qr",
    "randomized_svd",
    "schur",
    "slogdet",
    "solve",
    "solve_triangular",
    "svd",
    "svdvals",
    "tensordot",
    "trace",
    "vecdot",
    "vector_norm",
]

LinAlgError = error

class LinAlgWarning(RuntimeWarning): ...

class EigResult(tuple[Tensor, Tensor]):
    _fields: tuple[str, ...]
    def __new__(cls, *values: Any) -> Any: ...
    def __getnewargs__(self) -> tuple[Tensor, Tensor]: ...
    @property
    def eigenvalues(self) -> Tensor: ...
    @property
    def eigenvectors(self) -> Tensor: ...

class EighResult(tuple[Tensor, Tensor]):
    _fields: tuple[str, ...]
    def __new__(cls, *values: Any) -> Any: ...
    def __getnewargs__(self) -> tuple[Tensor, Tensor]: ...
    @property
    def eigenvalues(self) -> Tensor: ...
    @property
    def eigenvectors(self) -> Tensor: ...

class QRResult(tuple[Tensor, Tensor]):
    _fields: tuple[str, ...]
    def __new__(cls, *values: Any) -> Any: ...
    def __getnewargs__(self) -> tuple[Tensor, Tensor]: ...
    @property
    def Q(self) -> Tensor: ...
    @property
    def R(self) -> Tensor: ...

class SlogdetResult(tuple[Any, Any]):
    _fields: tuple[str, ...]
    def __new__(cls, *values: Any) -> Any: ...
    def __getnewargs__(self) -> tuple[Any, Any]: ...
    @property
    def sign(self) -> Any: ...
    @property
    def logabsdet(self) -> Any: ...

class SVDResult(tuple[Tensor, Tensor, Tensor]):
    _fields: tuple[str, ...]
    def __new__(cls, *values: Any) -> Any: ...
    def __getnewargs__(self) -> tuple[Tensor, Tensor, Tensor]: ...
    @property
    def U(self) -> Tensor: ...
    @property
    def S(self) -> Tensor: ...
    @property
    def Vh(self) -> Tensor: ...

class LstsqResult:
    x: Tensor
    def __init__(self, a: Tensor, b: Tensor, rcond: float | None) -> None: ...
    @property
    def residuals(self) -> Tensor: ...
    @property
    def rank(self) -> int: ...
    @property
    def singular_values(self) -> Tensor: ...
    def __len__(self) -> int: ...
    def __getitem__(self, index: Any) -> Any: ...
    def __iter__(self) -> Iterator[Any]: ...

class _Factors:
    @property
    def shape(self) -> tuple[int, ...]: ...
    @property
    def dtype(self) -> DType: ...
    def __len__(self) -> int: ...
    def __getitem__(self, index: Any) -> Any: ...

class _SquareFactors(_Factors):
    def solve(self, b: Any, *, transposed: bool = False, adjoint: bool = False) -> Tensor: ...
    def inverse(self) -> Tensor: ...
    def det(self) -> Any: ...
    def slogdet(self) -> SlogdetResult: ...
    def rcond(self) -> Any: ...
    def cond_estimate(self) -> Any: ...

class LUFactor(_SquareFactors):
    lu: Tensor
    piv: Positions
    norm: Any
    def __init__(self, *values: Any) -> None: ...
    def __iter__(self) -> Iterator[Any]: ...
    @property
    def p(self) -> Tensor: ...
    @property
    def p_indices(self) -> Positions: ...
    @property
    def l(self) -> Tensor: ...
    @property
    def u(self) -> Tensor: ...

class LU(LUFactor): ...

class CholeskyFactor(_SquareFactors):
    c: Tensor
    lower: bool
    def __init__(self, *values: Any) -> None: ...
    def __iter__(self) -> Iterator[Any]: ...
    @property
    def l(self) -> Tensor: ...
    def update(self, v: Any) -> CholeskyFactor: ...
    def downdate(self, v: Any) -> CholeskyFactor: ...

class LDLFactor(_SquareFactors):
    l: Tensor
    diagonal: Tensor
    below: Tensor
    perm: Positions
    hermitian: bool
    norm: Any
    def __init__(self, *values: Any) -> None: ...
    def __iter__(self) -> Iterator[Any]: ...
    @property
    def d(self) -> Tensor: ...

_EighMethod = Literal["divide_and_conquer", "tridiagonal_ql", "jacobi"]
_SVDMethod = Literal["divide_and_conquer", "bidiagonal_qr", "jacobi"]
_Axes = int | Sequence[int] | None

_Structure = Literal[
    "general",
    "symmetric",
    "hermitian",
    "positive definite",
    "upper triangular",
    "lower triangular",
    "diagonal",
    "tridiagonal",
    "banded",
    "gen",
    "sym",
    "her",
    "pos",
]

def solve(
    a: Any, b: Any, *, assume_a: _Structure | None = None, check_condition: bool | None = None
) -> Tensor: ...
def inv(a: Any) -> Tensor: ...
def det(a: Any) -> Any: ...
def slogdet(a: Any) -> SlogdetResult: ...
def cholesky(a: Any, *, upper: bool = False) -> Tensor: ...
@overload
def qr(a: Any, mode: Literal["reduced", "complete"] = "reduced") -> QRResult: ...
@overload
def qr(a: Any, mode: Literal["r"]) -> Tensor: ...
def eigh(
    a: Any,
    UPLO: Literal["L", "U", "l", "u"] = "L",
    *,
    b: Any = None,
    type: Literal[1, 2, 3] = 1,
    subset_by_index: Sequence[int] | None = None,
    subset_by_value: Sequence[float] | None = None,
    method: _EighMethod = "divide_and_conquer",
) -> EighResult: ...
def eigvalsh(
    a: Any,
    UPLO: Literal["L", "U", "l", "u"] = "L",
    *,
    b: Any = None,
    type: Literal[1, 2, 3] = 1,
    subset_by_index: Sequence[int] | None = None,
    subset_by_value: Sequence[float] | None = None,
    method: _EighMethod = "divide_and_conquer",
) -> Tensor: ...
@overload
def svd(
    a: Any,
    full_matrices: bool = True,
    compute_uv: Literal[True] = True,
    hermitian: bool = False,
    *,
    k: int | None = None,
    method: _SVDMethod = "divide_and_conquer",
) -> SVDResult: ...
@overload
def svd(
    a: Any,
    full_matrices: bool = True,
    *,
    compute_uv: Literal[False],
    hermitian: bool = False,
    k: int | None = None,
    method: _SVDMethod = "divide_and_conquer",
) -> Tensor: ...
def svdvals(a: Any, *, k: int | None = None) -> Tensor: ...
def randomized_svd(
    a: Any,
    k: int,
    *,
    oversampling: int = 10,
    power_iterations: int = 2,
    seed: int = 0,
    generator: Any = None,
) -> SVDResult: ...
def lstsq(a: Any, b: Any, rcond: float | None = None) -> LstsqResult: ...
def pinv(
    a: Any, rcond: float | None = None, hermitian: bool = False, *, rtol: float | None = None
) -> Tensor: ...
def matrix_rank(
    a: Any, tol: float | None = None, hermitian: bool = False, *, rtol: float | None = None
) -> Any: ...
def vector_norm(x: Any, *, axis: _Axes = None, keepdims: bool = False, ord: float = 2) -> Any: ...
def matrix_norm(x: Any, *, keepdims: bool = False, ord: float | str = "fro") -> Any: ...
def norm(x: Any, ord: float | str | None = None, axis: _Axes = None, keepdims: bool = False) -> Any: ...
def cond(x: Any, p: float | str | None = None) -> Any: ...
def matrix_transpose(x: Any) -> Tensor: ...
def vecdot(a: Any, b: Any, *, axis: int = -1) -> Any: ...
def cross(a: Any, b: Any, *, axis: int = -1) -> Tensor: ...
def eigvals(a: Any) -> Tensor: ...
@overload
def eig(a: Any, *, left: Literal[False] = False) -> EigResult: ...
@overload
def eig(a: Any, *, left: Literal[True]) -> tuple[Tensor, Tensor, Tensor]: ...
def schur(a: Any, output: Literal["real", "complex"] = "real") -> tuple[Tensor, Tensor]: ...
@overload
def hessenberg(a: Any, calc_q: Literal[False] = False) -> Tensor: ...
@overload
def hessenberg(a: Any, calc_q: Literal[True]) -> tuple[Tensor, Tensor]: ...
_Trans = Literal[0, 1, 2, "N", "T", "C"]

@overload
def lu(a: Any, permute_l: Literal[False] = False, *, p_indices: Literal[False] = False) -> LU: ...
@overload
def lu(a: Any, permute_l: Literal[True], *, p_indices: bool = False) -> tuple[Tensor, Tensor]: ...
@overload
def lu(
    a: Any, permute_l: Literal[False] = False, *, p_indices: Literal[True]
) -> tuple[Positions, Tensor, Tensor]: ...
def lu_factor(a: Any) -> LUFactor: ...
def lu_solve(lu_and_piv: LUFactor | tuple[Any, Any], b: Any, trans: _Trans = 0) -> Tensor: ...
def cholesky_factor(a: Any) -> CholeskyFactor: ...
def cho_factor(a: Any, lower: bool = False) -> CholeskyFactor: ...
def cho_solve(c_and_lower: CholeskyFactor | tuple[Any, bool], b: Any) -> Tensor: ...
def solve_triangular(
    a: Any, b: Any, trans: _Trans = 0, lower: bool = False, unit_diagonal: bool = False
) -> Tensor: ...
def ldl(a: Any, lower: bool = True, hermitian: bool = True) -> LDLFactor: ...
