"""NumPy's functions of tensors (NumPy Enhancement Proposal 18).

np.linalg.solve(t, b), np.sum(t) and their like run the function of this package that has the same
name; what it lacks, a parameter or the function as a whole, is NumPy's on views of the buffers.
Where NumPy has arrays of ints or booleans, for which there is no Tensor, the result is NumPy's: code
written for NumPy counts with it, assigns to it and reads its dtype.
"""

from . import _arrangement, _functions, _products, _shaping, _statistics, linalg
from ._array_api import result_type
from ._conversion import asarray
from ._creation import diag, diagonal, tril, triu
from ._einsum import einsum
from ._numerical import Tensor, error
from ._shaping import concatenate, reshape


class _Counterpart:
    """A function of ours behind NumPy's of the same meaning.

    `parameters` lists NumPy's in their order: before a semicolon the operands, which are passed by
    position; after it a name that ours has too, "theirs=ours", or "theirs!" for one that ours lacks.
    """

    def __init__(self, function, parameters):
        self._function = function
        operands, _, options = parameters.partition(";")
        self._operands = operands.split()
        listed = [option.partition("=") for option in options.split()]
        self._order = [*self._operands, *(theirs.rstrip("!") for theirs, _, _ in listed)]
        self._ours = {
            theirs: ours or theirs for theirs, _, ours in listed if not theirs.endswith("!")
        }

    def __call__(self, *args, **options):
        """The result, or NotImplemented if a parameter is given that ours lacks."""
        if len(args) > len(self._order):
            return NotImplemented
        given = {**dict(zip(self._order, args)), **options}
        if not all(name in given for name in self._operands):
            return NotImplemented
        operands = [given.pop(name) for name in self._operands]
        ours = {}
        for name, value in given.items():
            if name in self._ours:
                if not _is_default(value):
                    ours[self._ours[name]] = value
            elif value is not None and not _is_default(value):
                return NotImplemented
        return self._function(*operands, **ours)


def _is_default(value):
    return type(value).__name__ == "_NoValueType"  # numpy._NoValue: not given


# --- where NumPy's function means more than ours -------------------------------------------------
def _of_matrix(function):
    """For functions of a matrix that NumPy applies to other axes of a stack than ours."""
    return lambda a, **options: function(a, **options) if asarray(a).ndim == 2 else NotImplemented


def _with_dtype(reduction):
    """The reduction of the operand in the dtype given to NumPy."""

    def reduced(a, axis=None, dtype=None, **options):
        try:
            a = asarray(a, dtype)
        except (TypeError, error):  # no dtype of ours, or imaginary parts to be dropped
            return NotImplemented
        return reduction(a, axis, **options)

    return reduced


_WITHOUT_MEANING = {"optimize", "order", "casting"}  # every result is row-major, and exact in dtype


def _einsum(*operands, dtype=None, **options):
    if options.keys() - _WITHOUT_MEANING or not operands:
        return NotImplemented
    if dtype is not None:
        if not isinstance(operands[0], str) or dtype != result_type(*operands[1:]):
            return NotImplemented
    return einsum(*operands)


def _of_reals(function):
    """For functions of ordered numbers; NumPy orders complex ones by real parts first."""

    def real_function(a, *operands, **options):
        if asarray(a).dtype == "complex128":
            return NotImplemented
        return function(a, *operands, **options)

    return real_function


def _as_numpys(function):
    """The ints of our function as NumPy gives them: one intp, or an array that may be changed."""

    def with_array(*operands, **options):
        import numpy

        found = function(*operands, **options)
        return numpy.intp(found) if isinstance(found, int) else numpy.array(found)

    return _of_reals(with_array)


def _searchsorted(a, v, **options):
    return _of_reals(lambda v, a: _functions.searchsorted(a, v, **options))(v, a)


def _where(condition, x=None, y=None):
    if x is None or y is None:
        return NotImplemented
    return _functions.where(condition, x, y)


def _clip(a, low=None, high=None, **bounds):
    for bound in (low, high, *bounds.values()):
        if bound is not None and asarray(bound).dtype == "complex128":
            return NotImplemented
    if bounds:  # NumPy 2 has two names for each
        low, high = bounds.get("min", low), bounds.get("max", high)
    return _functions.clip(a, low, high)


def _take_along_axis(arr, indices, axis):
    if axis is None:
        return NotImplemented
    return _arrangement.take_along_axis(arr, indices, axis)


def _meshgrid(*vectors, copy=True, sparse=False, indexing="xy"):
    return NotImplemented if sparse else _arrangement.meshgrid(*vectors, indexing=indexing)


def _flipped(axis):
    return lambda m: _shaping.flip(m, axis) if asarray(m).ndim > axis else NotImplemented


def _repeat(a, repeats, axis=None):
    if hasattr(repeats, "__len__"):
        return NotImplemented
    return _shaping.repeat(a, repeats, axis)


def _qr(a, mode="reduced"):
    return linalg.qr(a, mode) if mode in ("reduced", "complete", "r") else NotImplemented


def _svd(a, full_matrices=True, compute_uv=True):
    return linalg.svd(a, full_matrices) if compute_uv else linalg.svdvals(a)


def _reshape(a, shape, order="C"):
    return reshape(a, shape) if order in ("C", "A") else NotImplemented


def _ravel(a, order="C"):
    return _shaping.ravel(a) if order in ("C", "A") else NotImplemented


def _array_equal(a1, a2, equal_nan=False):
    return NotImplemented if equal_nan else _functions.array_equal(a1, a2)


_EXTREMUM = "a; axis out! keepdims initial! where!"
_SPREAD = "a; axis dtype out! ddof=correction keepdims where! mean! correction"

_PLAIN = {
    "sum": _Counterpart(_with_dtype(_functions.sum), "a; axis dtype out! keepdims initial! where!"),
    "mean": _Counterpart(_with_dtype(_functions.mean), "a; axis dtype out! keepdims where!"),
    "max": _Counterpart(_functions.max, _EXTREMUM),
    "amax": _Counterpart(_functions.max, _EXTREMUM),
    "min": _Counterpart(_functions.min, _EXTREMUM),
    "amin": _Counterpart(_functions.min, _EXTREMUM),
    "var": _Counterpart(_with_dtype(_functions.var), _SPREAD),
    "std": _Counterpart(_with_dtype(_functions.std), _SPREAD),
    "real": _Counterpart(_functions.real, "val"),
    "imag": _Counterpart(_functions.imag, "val"),
    "allclose": _Counterpart(_functions.allclose, "a b; rtol atol equal_nan"),
    "array_equal": _Counterpart(_array_equal, "a1 a2; equal_nan"),
    "reshape": _Counterpart(_reshape, "a; shape order newshape=shape copy!"),
    "ravel": _Counterpart(_ravel, "a; order"),
    "squeeze": _Counterpart(_shaping.squeeze, "a; axis"),
    "expand_dims": _Counterpart(_shaping.expand_dims, "a axis"),
    "transpose": _Counterpart(_shaping.transpose, "a; axes"),
    "permute_dims": _Counterpart(_shaping.transpose, "a; axes"),
    "matrix_transpose": _Counterpart(linalg.matrix_transpose, "x"),
    "moveaxis": _Counterpart(_shaping.moveaxis, "a source destination"),
    "swapaxes": _Counterpart(_shaping.swapaxes, "a axis1 axis2"),
    "flip": _Counterpart(_shaping.flip, "m; axis"),
    "broadcast_to": _Counterpart(_shaping.broadcast_to, "array shape; subok!"),
    "concatenate": _Counterpart(concatenate, "arrays; axis out! dtype! casting!"),
    "stack": _Counterpart(_shaping.stack, "arrays; axis out! dtype! casting!"),
    "vstack": _Counterpart(_arrangement.vstack, "tup; dtype! casting!"),
    "hstack": _Counterpart(_arrangement.hstack, "tup; dtype! casting!"),
    "column_stack": _Counterpart(_arrangement.column_stack, "tup"),
    "tile": _Counterpart(_shaping.tile, "A reps"),
    "repeat": _Counterpart(_repeat, "a repeats; axis"),
    "diag": _Counterpart(diag, "v; k"),
    "diagonal": _Counterpart(_of_matrix(diagonal), "a; offset axis1! axis2!"),
    "prod": _Counterpart(
        _with_dtype(_functions.prod), "a; axis dtype out! keepdims initial! where!"
    ),
    "cumsum": _Counterpart(_with_dtype(_functions.cumsum), "a; axis dtype out!"),
    "cumprod": _Counterpart(_with_dtype(_functions.cumprod), "a; axis dtype out!"),
    "diff": _Counterpart(_arrangement.diff, "a; n axis prepend append"),
    "round": _Counterpart(_functions.round, "a; decimals out!"),
    "round_": _Counterpart(_functions.round, "a; decimals out!"),
    "around": _Counterpart(_functions.round, "a; decimals out!"),
    "where": _Counterpart(_where, "condition; x y"),
    "clip": _Counterpart(
        _of_reals(_clip), "a; a_min=low a_max=high out! min max dtype! where! casting!"
    ),
    "sort": _Counterpart(_of_reals(_functions.sort), "a; axis kind order! stable"),
    "argsort": _Counterpart(_as_numpys(_functions.argsort), "a; axis kind order! stable"),
    "argmax": _Counterpart(_as_numpys(_functions.argmax), "a; axis out! keepdims"),
    "argmin": _Counterpart(_as_numpys(_functions.argmin), "a; axis out! keepdims"),
    "searchsorted": _Counterpart(_as_numpys(_searchsorted), "a v; side sorter"),
    "take": _Counterpart(_arrangement.take, "a indices; axis out! mode!"),
    "take_along_axis": _Counterpart(_take_along_axis, "arr indices axis"),
    "roll": _Counterpart(_arrangement.roll, "a shift; axis"),
    "split": _Counterpart(_arrangement.split, "ary indices_or_sections; axis"),
    "unstack": _Counterpart(_arrangement.unstack, "x; axis"),
    "flipud": _Counterpart(_flipped(0), "m"),
    "fliplr": _Counterpart(_flipped(1), "m"),
    "meshgrid": _meshgrid,
    "vander": _Counterpart(_arrangement.vander, "x; N increasing"),
    "cov": _Counterpart(_statistics.cov, "m; y rowvar bias ddof fweights! aweights! dtype!"),
    "corrcoef": _Counterpart(_statistics.corrcoef, "x; y rowvar bias! ddof! dtype!"),
    "tril": _Counterpart(tril, "m; k"),
    "triu": _Counterpart(triu, "m; k"),
    "trace": _Counterpart(_of_matrix(_products.trace), "a; offset axis1! axis2! dtype! out!"),
    "dot": _Counterpart(_products.dot, "a b; out!"),
    "vdot": _Counterpart(_products.vdot, "a b"),
    "inner": _Counterpart(_products.inner, "a b"),
    "outer": _Counterpart(_products.outer, "a b; out!"),
    "tensordot": _Counterpart(_products.tensordot, "a b; axes"),
    "kron": _Counterpart(_products.kron, "a b"),
    "einsum": _einsum,
}
_LINALG = {
    "solve": _Counterpart(linalg.solve, "a b"),
    "inv": _Counterpart(linalg.inv, "a"),
    "det": _Counterpart(linalg.det, "a"),
    "slogdet": _Counterpart(linalg.slogdet, "a"),
    "cholesky": _Counterpart(linalg.cholesky, "a; upper"),
    "qr": _Counterpart(_qr, "a; mode"),
    "eigh": _Counterpart(linalg.eigh, "a; UPLO"),
    "eigvalsh": _Counterpart(linalg.eigvalsh, "a; UPLO"),
    "svd": _Counterpart(_svd, "a; full_matrices compute_uv hermitian!"),
    "svdvals": _Counterpart(linalg.svdvals, "x"),
    "lstsq": _Counterpart(linalg.lstsq, "a b; rcond"),
    "pinv": _Counterpart(linalg.pinv, "a; rcond=rtol hermitian! rtol"),
    "matrix_rank": _Counterpart(linalg.matrix_rank, "A; tol hermitian! rtol"),
    "matrix_power": _Counterpart(linalg.matrix_power, "a n"),
    "multi_dot": _Counterpart(linalg.multi_dot, "arrays; out!"),
    "cond": _Counterpart(linalg.cond, "x; p"),
    "norm": _Counterpart(linalg.norm, "x; ord axis keepdims"),
    "matrix_norm": _Counterpart(linalg.matrix_norm, "x; keepdims ord"),
    "vector_norm": _Counterpart(linalg.vector_norm, "x; axis keepdims ord"),
    "matrix_transpose": _Counterpart(linalg.matrix_transpose, "x"),
    "matmul": _Counterpart(linalg.matmul, "x1 x2"),
    "outer": _Counterpart(linalg.outer, "x1 x2"),
    "tensordot": _Counterpart(linalg.tensordot, "x1 x2; axes"),
    "vecdot": _Counterpart(linalg.vecdot, "x1 x2; axis"),
    "cross": _Counterpart(linalg.cross, "x1 x2; axis"),
    "tensorsolve": _Counterpart(linalg.tensorsolve, "a b; axes"),
    "tensorinv": _Counterpart(linalg.tensorinv, "a; ind"),
    "diagonal": _Counterpart(_of_matrix(linalg.diagonal), "x; offset"),
    "trace": _Counterpart(linalg.trace, "x; offset dtype!"),
}
_COUNTERPARTS = {"numpy": _PLAIN, "numpy.linalg": _LINALG}


def array_function(func, types, args, kwargs):
    """Runs one of NumPy's functions that was given a Tensor.

    Ours if all operands are tensors and plain arrays, where there is one that takes the parameters;
    NumPy's own otherwise. Other classes with a say of their own are left to have it.
    """
    import numpy  # it is loaded: only its functions lead here

    others = [kind for kind in types if kind is not Tensor and kind is not numpy.ndarray]
    if any(kind.__array_function__ is not numpy.ndarray.__array_function__ for kind in others):
        return NotImplemented
    counterpart = _COUNTERPARTS.get(func.__module__, {}).get(func.__name__)
    if counterpart is not None and not others:
        try:
            result = counterpart(*args, **kwargs)
        except error as failure:
            raise _caught_either_way(failure, numpy.linalg.LinAlgError) from None
        if result is not NotImplemented:
            return result
    if isinstance(kwargs.get("out"), Tensor):
        raise TypeError(
            f"tensors are immutable: numpy.{func.__name__} can't write its result into one;"
            " give an array as out"
        )
    return func(*_viewed(args, numpy), **_viewed(kwargs, numpy))


def _viewed(value, numpy):
    """The value with every Tensor in its lists, tuples and dicts as a view."""
    if isinstance(value, Tensor):
        return numpy.asarray(value)
    if type(value) in (list, tuple):
        return type(value)(_viewed(item, numpy) for item in value)
    if type(value) is dict:
        return {name: _viewed(item, numpy) for name, item in value.items()}
    return value


def _caught_either_way(failure, numpys):
    """Our error as one that programs written for NumPy catch as well."""
    both = type("LinAlgError", (error, numpys), {"__module__": "numerical.linalg"})(*failure.args)
    vars(both).update(vars(failure))  # notes and hint
    return both
