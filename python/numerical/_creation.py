"""Tensors from Python data, from other libraries' arrays, and from a few numbers."""

from operator import index

from . import _numerical
from ._memory import from_bytes, with_strides
from ._numerical import Tensor, error

float64 = "float64"
complex128 = "complex128"

# Names of dtypes that people use, each to the one of the two it means.
_DTYPES = {
    "float64": float64, "float": float64, "double": float64, "f8": float64, "<f8": float64,
    "complex128": complex128, "complex": complex128, "c16": complex128, "<c16": complex128,
    float: float64, complex: complex128,
}  # fmt: skip


def dtype_name(dtype):
    """"float64" or "complex128" for a dtype given as a name, a Python type or a NumPy dtype."""
    if dtype is None:
        return None
    try:
        found = _DTYPES.get(dtype)
    except TypeError:
        found = None
    if found is None:
        name = getattr(dtype, "name", None) or getattr(dtype, "__name__", None)
        found = _DTYPES.get(name) if isinstance(name, str) else None
    if found is None:
        raise TypeError(f"dtype must be 'float64' or 'complex128', not {dtype!r}")
    return found


def shape_of(shape):
    """A shape as a tuple of non-negative ints, from an int or a sequence."""
    extents = (shape,) if hasattr(shape, "__index__") else tuple(shape)
    extents = tuple(index(extent) for extent in extents)
    if any(extent < 0 for extent in extents):
        raise ValueError("negative dimensions are not allowed")
    return extents


def array(obj, dtype=None):
    """A new Tensor from nested lists or tuples of numbers, a number, a buffer or an array.

    The dtype is complex128 if any number is complex, otherwise float64, unless it is given.
    """
    return asarray(obj, dtype)


def asarray(obj, dtype=None):
    """As array, but a Tensor of the right dtype is returned as it is (tensors are immutable)."""
    if dtype is None and type(obj) is Tensor:
        return obj
    wanted = dtype_name(dtype)
    if isinstance(obj, Tensor) or _exposes_memory(obj) or isinstance(obj, int):
        return _numerical.asarray(obj, wanted)
    for kind in (float, complex):  # the module knows no subclasses of these
        if isinstance(obj, kind):
            return _numerical.asarray(kind(obj), wanted)
    if isinstance(obj, (list, tuple)):
        return _from_nested(obj, wanted)
    if isinstance(obj, range):
        return _from_nested(list(obj), wanted)
    if hasattr(obj, "__dlpack__"):
        return from_dlpack(obj) if wanted is None else _numerical.asarray(from_dlpack(obj), wanted)
    if hasattr(type(obj), "__array__"):  # as tables of data have, which are no arrays themselves
        return _numerical.asarray(obj.__array__(), wanted)
    try:
        view = memoryview(obj)
    except TypeError:
        view = None
    if view is not None:
        return _from_buffer(view, wanted)
    if _is_complex(obj):
        return _numerical.asarray(complex(obj), wanted)
    for converter, kind in (("__float__", float), ("__index__", int)):
        if hasattr(obj, converter):
            return _numerical.asarray(kind(obj), wanted)
    raise TypeError(
        f"cannot make a Tensor from {type(obj).__name__}: give numbers, nested lists of numbers,"
        " a buffer, or an array that exposes __array_interface__ or __dlpack__"
    )


def _exposes_memory(obj):
    # The struct is asked of the type: NumPy makes a dict for each look at the interface.
    return hasattr(type(obj), "__array_struct__") or hasattr(obj, "__array_interface__")


def _holds_many(kind):
    """Whether objects of the type may be rows: numbers have no length, those of NumPy neither."""
    return hasattr(kind, "__len__")


def _flatten(obj, axis, shape, flat):
    """Appends the numbers of a nested sequence, checking each level's length against shape."""
    if not isinstance(obj, (list, tuple)) and _holds_many(type(obj)) and _exposes_memory(obj):
        obj = _numerical.asarray(obj).tolist()
    if not isinstance(obj, (list, tuple)):
        if axis != len(shape):
            raise ValueError("the nested lists are ragged: some rows have numbers, some lists")
        flat.append(obj)
        return
    if axis == len(shape) or len(obj) != shape[axis]:
        raise ValueError(
            f"the nested lists are ragged: a row at depth {axis} has {len(obj)} items"
            + (f", the first has {shape[axis]}" if axis < len(shape) else ", another is a number")
        )
    if axis + 1 == len(shape) and not any(map(_holds_many, set(map(type, obj)))):
        flat += obj  # a row of numbers
        return
    for item in obj:
        _flatten(item, axis + 1, shape, flat)


def _from_nested(obj, wanted):
    shape, level = [], obj
    while isinstance(level, (list, tuple)):
        shape.append(len(level))
        if not level:
            break
        level = level[0]
    if _holds_many(type(level)) and _exposes_memory(level):
        shape.extend(_numerical.asarray(level).shape)
    flat = []
    _flatten(obj, 0, shape, flat)
    if wanted is None:
        plain = set(map(type, flat)) <= {int, float, bool}
        wanted = float64 if plain or not any(map(_is_complex, flat)) else complex128
    try:
        return Tensor(flat, shape, wanted)
    except error:
        bad = [item for item in flat if not _is_number(item, wanted)]
        if not bad:
            raise
        kind = type(bad[0]).__name__
        raise TypeError(f"{kind} {bad[0]!r} is not a number of dtype {wanted}") from None


def _is_complex(number):
    """Whether a number may have an imaginary part: what is a float as well may by its own class."""
    if isinstance(number, (int, float)) or not hasattr(number, "__complex__"):
        return isinstance(number, complex)
    if not hasattr(number, "__float__"):
        return True
    from numbers import Complex, Real

    return isinstance(number, Complex) and not isinstance(number, Real)


def _is_number(item, wanted):
    try:
        complex(item) if wanted == complex128 else float(item)
    except (TypeError, ValueError, OverflowError):
        return False
    return not isinstance(item, str)


# Buffer formats (PEP 3118) to kinds of the array interface; the item size comes with the buffer.
_KINDS = {"?": "b", **dict.fromkeys("bhilqn", "i"), **dict.fromkeys("BHILQN", "u"),
          "c": "u", "f": "f", "d": "f", "Zf": "c", "Zd": "c"}  # fmt: skip


def _from_buffer(view, wanted):
    code = view.format
    order = ">" if code[0] in ">!" else "<"
    kind = _KINDS.get(code.lstrip("@=<>!"))
    if kind is None:
        raise TypeError(f"a buffer of format {code!r} holds no numbers that a Tensor can")
    typestr = f"{'|' if view.itemsize == 1 else order}{kind}{view.itemsize}"
    return _numerical.asarray(from_bytes(view.tobytes(), view.shape, typestr), wanted)


def from_dlpack(obj):
    """A Tensor copied from an object on the CPU that exports DLPack."""
    device = getattr(obj, "__dlpack_device__", None)
    if device is not None and device()[0] not in (1, 3):  # kDLCPU, kDLCUDAHost
        raise BufferError(f"from_dlpack reads the CPU's memory; this is device {device()}")
    export = getattr(obj, "__dlpack__", None)
    if export is None:
        raise TypeError(f"{type(obj).__name__} exports no __dlpack__")
    from ._dlpack import described

    capsule = export()
    return _numerical.asarray(described(capsule))


def zeros(shape, dtype=float64):
    """A Tensor of zeros."""
    return full(shape, 0.0, dtype)


def ones(shape, dtype=float64):
    """A Tensor of ones."""
    return full(shape, 1.0, dtype)


def empty(shape, dtype=float64):
    """A Tensor of zeros: tensors are immutable, so that there is nothing to fill in later."""
    return full(shape, 0.0, dtype)


def full(shape, fill_value, dtype=None):
    """A Tensor of one value; complex128 if the value is complex and no dtype is given."""
    value = complex(fill_value) if _is_complex(fill_value) else fill_value
    wanted = dtype_name(dtype) or (complex128 if isinstance(value, complex) else float64)
    return _numerical._full(shape_of(shape), value, wanted == complex128)


def zeros_like(a, dtype=None):
    """Zeros of a's shape, and of its dtype unless one is given."""
    return full_like(a, 0.0, dtype)


def ones_like(a, dtype=None):
    """Ones of a's shape, and of its dtype unless one is given."""
    return full_like(a, 1.0, dtype)


def empty_like(a, dtype=None):
    """As zeros_like."""
    return full_like(a, 0.0, dtype)


def full_like(a, fill_value, dtype=None):
    """One value in a's shape, and of its dtype unless one is given."""
    a = asarray(a)
    return full(a.shape, fill_value, dtype or a.dtype)


def eye(n, m=None, k=0, dtype=float64):
    """n × m (m = n by default) with ones on diagonal k, zeros elsewhere."""
    if (m is None or m == n) and k == 0:
        return _numerical._eye(n, dtype_name(dtype) == complex128)
    n, columns = shape_of((n, n if m is None else m))
    rows = [[1.0 if j - i == k else 0.0 for j in range(columns)] for i in range(n)]
    return Tensor([x for row in rows for x in row], (n, columns), dtype_name(dtype) or float64)


def identity(n, dtype=float64):
    """The n × n identity."""
    return eye(n, dtype=dtype)


def arange(start, stop=None, step=1.0, dtype=None):
    """start, start + step, ... below stop, as float64 unless a dtype is given."""
    if stop is None:
        start, stop = 0.0, start
    return asarray(_numerical._arange(start, stop, step), dtype)


def linspace(start, stop, num=50, endpoint=True, dtype=None):
    """`num` equally spaced numbers from start to stop, which is the last one if endpoint is true."""
    if endpoint or num < 0:
        return asarray(_numerical._linspace(start, stop, num), dtype)
    with_stop = _numerical._linspace(start, stop, num + 1)
    return asarray(_numerical._take(with_stop, (0,), (1,), (num,), (1,)), dtype)


def diag(v, k=0):
    """The matrix with v on diagonal k, or diagonal k of a matrix."""
    v = asarray(v)
    if v.ndim == 2:
        return diagonal(v, k)
    if v.ndim != 1:
        raise ValueError(f"diag takes a vector or a matrix, not a tensor of rank {v.ndim}")
    n = v.size + abs(k)
    flat = [0.0] * (n * n)
    first = k if k >= 0 else -k * n
    flat[first : first + v.size * (n + 1) : n + 1] = v.tolist()
    return Tensor(flat, (n, n), v.dtype)


def diagonal(a, offset=0):
    """The diagonal of a matrix, or the one `offset` places to its right, as a vector."""
    a = asarray(a)
    if a.ndim != 2:
        raise ValueError(f"diagonal takes a matrix, not a tensor of rank {a.ndim}")
    rows, columns = a.shape
    first_row, first_column = max(-offset, 0), max(offset, 0)
    count = max(min(rows - first_row, columns - first_column), 0)
    if count == 0:
        return Tensor([], (0,), a.dtype)
    return with_strides(a, (count,), (columns + 1,), first_row * columns + first_column)


def tri(n, m=None, k=0, dtype=float64):
    """n × m with ones on and below diagonal k, zeros above."""
    n, columns = shape_of((n, n if m is None else m))
    rows = ([1.0] * min(max(i + k + 1, 0), columns) for i in range(n))
    flat = [x for row in rows for x in (*row, *[0.0] * (columns - len(row)))]
    return Tensor(flat, (n, columns), dtype_name(dtype) or float64)


def _masked(a, keep):
    """The elements of matrices from place first to last of keep(row), zeros elsewhere."""
    a = asarray(a)
    if a.ndim < 2:
        raise ValueError(f"matrices are wanted, not a tensor of rank {a.ndim}")
    rows, columns = a.shape[-2:]
    flat = []
    every = _numerical._reshape(a, (a.size // columns if columns else 0, columns))
    for i, row in enumerate(every.tolist()):
        first, last = keep(i % rows)
        first, last = min(max(first, 0), columns), min(max(last, 0), columns)
        flat += [*[0.0] * first, *row[first:last], *[0.0] * (columns - max(last, first))]
    return Tensor(flat, a.shape, a.dtype)


def tril(a, k=0):
    """The matrix, or each of a stack, with zeros above diagonal k."""
    return _masked(a, lambda i: (0, i + k + 1))


def triu(a, k=0):
    """The matrix, or each of a stack, with zeros below diagonal k."""
    columns = asarray(a).shape[-1] if asarray(a).ndim else 0
    return _masked(a, lambda i: (i + k, columns))
