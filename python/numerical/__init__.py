"""numerical: dense linear algebra with kernels chosen by processor at run time.

    import numerical as nm

    a = nm.array([[4.0, 1.0], [1.0, 3.0]])
    x = nm.linalg.solve(a, [1.0, 2.0])

Tensors are dense, immutable, float64 or complex128. Names follow NumPy; numerical.linalg holds the
decompositions. The functions of the compiled module are here as well, under their own names.
"""

import builtins as _builtins

from . import _native_module  # first: it makes the type that _numerical uses

from . import (
    _advice, _array_api, _assumptions, _methods, _numerical, _pickling, _protocols, linalg,
)  # fmt: skip
from ._array_api import (
    __array_api_version__, __array_namespace_info__, astype, can_cast, finfo, iinfo, isdtype,
    result_type,
)  # fmt: skip
from ._config import cpu_quota, show_config
from ._conversion import array, asarray, from_dlpack

from ._creation import (
    arange, diag, diagonal, empty, empty_like, eye, full, full_like, identity, linspace, ones,
    ones_like, tri, tril, triu, zeros, zeros_like,
)  # fmt: skip
from ._dtypes import complex128, float64
from ._einsum import einsum

from ._arrangement import (
    block_diag, column_stack, diff, hstack, meshgrid, roll, split, take, take_along_axis, toeplitz,
    unstack, vander, vstack,
)  # fmt: skip
from ._functions import (
    abs, absolute, acos, acosh, add, all, allclose, any, arccos, arccosh, arcsin, arcsinh, arctan,
    arctan2, arctanh, argmax, argmin, argsort, array_equal, asin, asinh, atan, atan2, atanh, ceil, clip, conj, conjugate, cos, cosh,
    copysign, count_nonzero, cumprod, cumsum, divide, equal, exp, exp2, expm1, floor, floor_divide, greater,
    greater_equal, hypot, imag, isclose, isfinite, isinf, isnan, less, less_equal, log, log10,
    log1p, log2, logical_and, logical_not, logical_or, logical_xor, max, maximum, mean, min,
    minimum, multiply, negative, nextafter, nonzero, not_equal, pow, power, prod, real, remainder, round,
    searchsorted, sign, signbit, sin, sinh, sort, sqrt, square, std, subtract, sum, tan, tanh, trunc,
    var, where,
)  # fmt: skip
from ._numerical import Tensor, error
from ._positions import METHODS as _POSITIONS_METHODS
from ._positions import Positions

from ._products import (
    dot, inner, kron, matmul, multi_dot, outer, tensordot, trace, vdot,
)  # fmt: skip
from ._settings import get_num_threads, limit_gemm_path, num_threads, set_num_threads

from ._shaping import (
    broadcast_to, concat, concatenate, expand_dims, flip, moveaxis, permute_dims, ravel, repeat, reshape,
    squeeze, stack, swapaxes, tile, transpose,
)  # fmt: skip
from ._standard import (
    broadcast_arrays, broadcast_shapes, cumulative_prod, cumulative_sum, isin, logaddexp, positive,
    reciprocal, unique_all, unique_counts, unique_inverse, unique_values,
)  # fmt: skip
from ._statistics import corrcoef, cov

from .linalg import (
    cholesky, lstsq, matrix_power, matrix_rank, matrix_transpose, norm, pinv, qr, slogdet, solve,
    svd, vecdot,
)  # fmt: skip

__version__ = "0.1.0"

newaxis = None
pi = 3.141592653589793
e = 2.718281828459045
inf = float("inf")
nan = float("nan")

# The module's own names of functions that the package has under other names.
determinant = _numerical.determinant
eigh = linalg.eigh
inverse = _numerical.inverse

# The class is shared by the process: methods that one interpreter sets on it would be called by the
# others, and lose their names when that interpreter ends. An interpreter is identified by its builtins.
if vars(Tensor).get("_builtins", vars(_builtins)) is not vars(_builtins):
    raise ImportError(
        "numerical is loaded in another interpreter of this process; its state is the process's, so"
        " that one interpreter alone can have it"
    )
Tensor._builtins = vars(_builtins)

_native_module.native._connect(
    asarray,
    _protocols.defers_to,
    _advice.annotate,
    _assumptions.solve_assuming,
    float64,
    complex128,
)

for _methods_of in (_methods, _pickling, _protocols, _array_api):
    for _name, _function in _methods_of.METHODS.items():
        setattr(Tensor, _name, _function)
for _name, _function in _POSITIONS_METHODS.items():
    setattr(Positions, _name, _function)
