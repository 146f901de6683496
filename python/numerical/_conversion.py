"""Tensors from Python data and from other libraries' arrays."""

from . import _numerical
from ._arguments import require_cpu, shown
from ._dtypes import complex128, float64
from ._hints import add_hint
from ._memory import from_bytes
from ._numerical import Tensor, error

MOST_AXES = 128  # of nested lists

# Common names of dtypes, each with the dtype that it means.
_DTYPES = {
    "float64": float64, "float": float64, "double": float64, "f8": float64, "<f8": float64,
    "complex128": complex128, "complex": complex128, "c16": complex128, "<c16": complex128,
    float: float64, complex: complex128,
}  # fmt: skip


def dtype_name(dtype):
    """ "float64" or "complex128" for a dtype given as a name, a Python type or a NumPy dtype."""
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
        raise TypeError(f"dtype must be 'float64' or 'complex128', not {_as_written(dtype)}")
    return found


def _as_written(dtype):
    """A type by the name that programs write, numpy.float32; anything else as it is shown."""
    if not isinstance(dtype, type):
        return shown(dtype)
    return (
        dtype.__qualname__
        if dtype.__module__ == "builtins"
        else f"{dtype.__module__}.{dtype.__qualname__}"
    )


def array(obj, dtype=None, *, copy=True, device=None):
    """A new tensor from numbers, nested lists or an array.

    Parameters
    ----------
    obj : array_like
        A number, nested lists or tuples, a buffer, or an array of another library.
    dtype : dtype, optional
        By default complex128 if a number is complex, float64 otherwise.
    copy : bool, optional
        If false, only a Tensor that can be returned as it is doesn't raise.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If nested lists are ragged, or a copy is refused that is needed.
    TypeError
        If something is no number of the dtype.

    Examples
    --------
    >>> nm.array([[1, 2], [3, 4]])
    Tensor([[1.0, 2.0],
            [3.0, 4.0]])
    >>> nm.array([1, 2j])
    Tensor([1+0j, 0+2j], dtype='complex128')
    """
    return asarray(obj, dtype, copy=None if copy else False, device=device)


def asarray(obj, dtype=None, *, device=None, copy=None):
    """A tensor from numbers, nested lists or an array; a Tensor of the right dtype as it is.

    Parameters
    ----------
    obj : array_like
        A number, nested lists or tuples, a buffer, or an array of another library.
    dtype : dtype, optional
        By default complex128 if a number is complex, float64 otherwise.
    device : 'cpu' or None, optional
    copy : bool or None, optional
        Whether to copy: if needed for None; always if true, also a Tensor; never if false.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If nested lists are ragged, if masked elements would be lost, or for copy=False where obj is no
        Tensor of the dtype: a Tensor owns its elements.
    TypeError
        If something is no number of the dtype.
    numerical.error
        If imaginary parts would be dropped.

    Examples
    --------
    >>> t = nm.asarray([1, 2, 3])
    >>> t
    Tensor([1.0, 2.0, 3.0])
    >>> nm.asarray(t) is t
    True
    """
    if dtype is None and copy is None and device is None and type(obj) is Tensor:
        return obj
    require_cpu(device)
    made = _made(obj, dtype_name(dtype))
    if copy is None or bool(copy) is (made is not obj):
        return made
    if copy:
        return _numerical._reshape(made, made.shape)
    raise ValueError(
        f"a Tensor owns its elements: this {type(obj).__name__} can't be one without a copy"
    )


def _made(obj, wanted):
    """The object as a Tensor of the given dtype; for None of the dtype that its elements suggest."""
    if isinstance(obj, Tensor):
        return _numerical.asarray(obj, wanted)
    if _exposes_memory(obj):
        return _imported(obj, wanted)
    for kind in (float, complex):  # the module knows no subclasses of these
        if isinstance(obj, kind):
            return _numerical.asarray(kind(obj), wanted)
    if isinstance(obj, int):
        return _converted(obj, int, wanted)
    if isinstance(obj, (list, tuple)):
        return _from_nested(obj, wanted)
    if isinstance(obj, range):
        return _from_nested(list(obj), wanted)
    if hasattr(obj, "__dlpack__"):
        return from_dlpack(obj) if wanted is None else _numerical.asarray(from_dlpack(obj), wanted)
    if hasattr(type(obj), "__array__"):  # such as a pandas DataFrame
        return _numerical.asarray(obj.__array__(), wanted)
    try:
        view = memoryview(obj)
    except TypeError:
        view = None
    if view is not None:
        return _from_buffer(view, wanted)
    if is_complex(obj):
        return _numerical.asarray(complex(obj), wanted)
    for converter, kind in (("__float__", float), ("__index__", int)):
        if hasattr(obj, converter):
            return _converted(obj, kind, wanted)
    raise TypeError(
        f"cannot make a Tensor from {type(obj).__name__}: give numbers, nested lists of numbers,"
        " a buffer, or an array that exposes __array_interface__ or __dlpack__"
    )


def _exposes_memory(obj):
    # The struct is looked up in the type, since NumPy makes a dict at each access to the interface.
    if isinstance(obj, Tensor) or hasattr(type(obj), "__array_struct__"):
        return True
    return hasattr(obj, "__array_interface__")


def carries_mask(kind):
    """Whether arrays of the type may have masked elements, as those of numpy.ma."""
    return hasattr(kind, "mask") and hasattr(kind, "__array_interface__")


def _imported(obj, wanted=None):
    """A copy of an array's memory."""
    if carries_mask(type(obj)) and obj.mask.any():
        raise ValueError(
            "a Tensor has no masked elements: fill them first, as masked.filled(0.0) does"
        )
    try:
        return _numerical.asarray(obj, wanted)
    except error as failure:
        raise _named_type(failure, obj)


def _named_type(failure, obj):
    """The failure to read an array, with a hint that names the array's dtype."""
    dtype = getattr(obj, "dtype", None)
    if dtype is None or "typestr" not in str(failure):
        return failure
    return add_hint(
        failure,
        f"the array has dtype {dtype}: make it one of these first, as array.astype(float) does",
    )


def _converted(number, kind, wanted):
    try:
        return _numerical.asarray(kind(number), wanted)
    except OverflowError:
        raise OverflowError(f"too large for a Tensor's numbers: {shown(number)}") from None


def _holds_many(kind):
    """Whether objects of the type may be rows: numbers, NumPy's too, have no length."""
    return hasattr(kind, "__len__")


def _flatten(obj, axis, shape, flat):
    """Appends the numbers of a nested sequence, checking each level's length against shape."""
    if not isinstance(obj, (list, tuple)) and _holds_many(type(obj)) and _exposes_memory(obj):
        obj = _imported(obj).tolist()
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
        if len(shape) == MOST_AXES:  # or a list that holds itself
            raise ValueError(f"the lists are nested more than {MOST_AXES} deep")
        shape.append(len(level))
        if not level:
            break
        level = level[0]
    if _holds_many(type(level)) and _exposes_memory(level):
        shape.extend(_imported(level).shape)
    flat = []
    _flatten(obj, 0, shape, flat)
    if wanted is None:
        plain = set(map(type, flat)) <= {int, float, bool}
        wanted = float64 if plain or not any(map(is_complex, flat)) else complex128
    try:
        return Tensor(flat, shape, wanted)
    except error:
        fault = next(filter(None, (_fault(item, wanted) for item in flat)), None)
        if fault is None:
            raise
        raise fault from None


def is_complex(number):
    """Whether a number may have an imaginary part. An object that also has __float__ is judged by its class."""
    if isinstance(number, (int, float)) or not hasattr(number, "__complex__"):
        return isinstance(number, complex)
    if not hasattr(number, "__float__"):
        return True
    from numbers import Complex, Real

    return isinstance(number, Complex) and not isinstance(number, Real)


def _fault(item, wanted):
    """The error of an item that is no number of the dtype; None for one that is."""
    try:
        if not isinstance(item, str):
            complex(item) if wanted == complex128 else float(item)
            return None
    except OverflowError:
        return OverflowError(f"too large for a Tensor's numbers: {shown(item)}")
    except (TypeError, ValueError):
        pass
    return TypeError(f"{type(item).__name__} {shown(item)} is not a number of dtype {wanted}")


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


def from_dlpack(obj, *, device=None, copy=None):
    """A tensor copied from an array that exports DLPack.

    Parameters
    ----------
    obj : object with __dlpack__
        Its data lies in memory that the CPU can read.
    device : 'cpu' or None, optional
    copy : bool or None, optional
        False is refused: a Tensor owns its elements.

    Returns
    -------
    Tensor

    Raises
    ------
    BufferError
        For memory of other devices, types that aren't plain numbers, or copy=False.
    TypeError
        If the object exports no DLPack.

    Examples
    --------
    >>> nm.from_dlpack(nm.ones(2))
    Tensor([1.0, 1.0])
    """
    from ._dlpack import described, require_readable

    require_cpu(device)
    if copy is not None and not copy:
        raise BufferError("a Tensor owns its elements: from_dlpack copies them, pass copy=None")
    lies_on = getattr(obj, "__dlpack_device__", None)
    if lies_on is not None:  # before anything is exported
        require_readable(lies_on())
    export = getattr(obj, "__dlpack__", None)
    if export is None:
        raise TypeError(f"{type(obj).__name__} exports no __dlpack__")
    try:
        capsule = export(max_version=(1, 0))
    except TypeError:  # it is older than the parameter
        capsule = export()
    return _numerical.asarray(described(capsule))
