"""The methods of Tensor other than arithmetic and indexing.

They are set on the module's type; nothing is subclassed or wrapped, so that the result of any function
has them.
"""

from . import _numerical
from ._conversion import asarray
from ._dtypes import complex128, float64
from ._format import tensor_html, tensor_repr, tensor_text
from . import _functions as functions
from ._arrangement import take
from ._creation import diagonal
from ._hints import add_hint
from ._memory import array_interface, bytes_held, of_module
from ._native_module import native
from ._numerical import Tensor, error
from ._products import dot, trace
from ._shaping import permute_dims, ravel, repeat, reshape, squeeze, swapaxes


_module_init = of_module("__init__")


def _init(self, *args, **options):
    """The module's constructor, with a hint if it is given what numerical.array takes."""
    try:
        _module_init(self, *args, **options)
    except error as failure:
        raise add_hint(
            failure,
            "Tensor takes a flat sequence of numbers, their shape and 'float64' or 'complex128';"
            " numerical.array takes nested lists, arrays and buffers",
        )


def _item(t, *index):
    """The one element, or that at an index, as a Python number."""
    if index:
        place = index[0] if len(index) == 1 and isinstance(index[0], tuple) else index
        element = ravel(t)[place] if len(place) == 1 else t[place]
        if isinstance(element, Tensor):
            raise IndexError(f"item takes one index, or {t.ndim} for shape {t.shape}, not {place}")
        return element
    if t.size != 1:
        raise ValueError(f"only a tensor of one element is a number; this one has {t.size}")
    return _numerical._reshape(t, ()).tolist()


def _bool(t):
    if t.size != 1:
        raise ValueError(
            f"the truth of a tensor of {t.size} elements is ambiguous: compare with allclose or"
            " array_equal, or ask for .size"
        )
    return _item(t) != 0


def _real_item(t, kind):
    value = _item(t)
    if isinstance(value, complex):
        raise TypeError(f"a complex128 tensor is no {kind}: take .real or abs() first")
    return value


def _refuse_assignment(self, index, value):
    raise TypeError(
        "tensors are immutable, so that their buffers can be shared: t.at[index].set(values) gives"
        " a changed copy, and so do add, multiply, min and max in place of set"
    )


def _refuse_deletion(self, index):
    raise TypeError("tensors are immutable: take the elements to keep by indexing or concatenate")


_module_dlpack = of_module("__dlpack__")


def _dlpack(self, *args, max_version=None, dl_device=None, copy=None, **options):
    """A DLPack capsule of the buffer, marked read-only, or of a copy, which may be written to.

    The mark exists from version 1 on. A consumer that doesn't pass max_version=(1, 0) can't read it, and
    gets a copy, since tensors are immutable; with copy=False it gets a BufferError.
    """
    if dl_device is not None and tuple(dl_device) != (1, 0):
        raise BufferError(f"a Tensor lies on the CPU, device (1, 0), not on {tuple(dl_device)}")
    knows_mark = max_version is not None and max_version[0] >= 1
    if not knows_mark and copy is not None and not copy:
        raise BufferError(
            "a Tensor is immutable: without a copy it is lent read-only, to consumers that pass"
            " max_version=(1, 0) or later"
        )
    if knows_mark and not copy:
        return self._dlpack_versioned(False)
    source = _numerical._reshape(self, self.shape)  # of its own, as it may be written to
    return source._dlpack_versioned(True) if knows_mark else _module_dlpack(source, *args)


def _iterate(t):
    if t.ndim == 0:
        raise TypeError("a tensor of rank 0 has no axis to iterate over; use item()")
    return (t[i] for i in range(t.shape[0]))


def _contains(t, value):
    """Whether an element equals the value, with broadcasting."""
    return bool(functions.any(t == value))


def _format_spec(t, spec):
    if not spec:
        return tensor_text(t)
    if t.size == 1:
        return format(_item(t), spec)
    raise TypeError(f"the format '{spec}' is for numbers: apply it to elements or to t.item(i)")


def _length(t):
    if t.ndim == 0:
        raise TypeError("a tensor of rank 0 has no length")
    return t.shape[0]


def _reshape(t, *shape, order="C"):
    """The elements under another shape, given as one sequence or as extents; one may be -1."""
    return reshape(t, shape[0] if len(shape) == 1 else shape, order)


def _transpose(t, *axes):
    """The axes in another order, given as one sequence or as ints; reversed by default."""
    if not axes:
        return permute_dims(t)
    return permute_dims(t, axes[0] if len(axes) == 1 else axes)


def _refuse_out(out):
    if out is not None:
        raise TypeError("tensors are immutable: a reduction gives its result and fills no out")


# The reductions with the parameters that NumPy's functions of the same names pass to a method.
def _as_method(reduction):
    def method(t, axis=None, dtype=None, out=None, *, keepdims=False):
        _refuse_out(out)
        return reduction(t, axis, dtype=dtype, keepdims=keepdims)

    return _named_as(reduction, method)


def _as_plain_method(reduction):
    def method(t, axis=None, out=None, *, keepdims=False):
        _refuse_out(out)
        return reduction(t, axis, keepdims=keepdims)

    return _named_as(reduction, method)


def _as_spread_method(reduction):
    def method(t, axis=None, dtype=None, out=None, ddof=0, *, keepdims=False, correction=None):
        _refuse_out(out)
        if correction is not None:
            ddof = correction
        return reduction(t, axis, ddof=ddof, dtype=dtype, keepdims=keepdims)

    return _named_as(reduction, method)


def _as_running_method(function):
    def method(t, axis=None, dtype=None, out=None):
        _refuse_out(out)
        return function(t, axis, dtype)

    return _named_as(function, method)


def _named_as(function, method):
    method.__name__ = function.__name__
    method.__doc__ = f"numerical.{function.__name__} of the tensor."
    return method


def _extreme_method(reduction):
    def method(t, axis=None, dtype=None, out=None, *, keepdims=False):
        _refuse_out(out)
        return reduction(t if dtype is None else asarray(t, dtype), axis, keepdims=keepdims)

    return _named_as(reduction, method)


def _sorted(t, axis=-1, kind=None):
    """A sorted copy: tensors are immutable, so that sort() changes nothing in place."""
    return functions.sort(t, axis, kind)


def _argsort(t, axis=-1, kind=None):
    """The Positions that sort the tensor along an axis."""
    return functions.argsort(t, axis, kind)


def _clip(t, min=None, max=None, out=None):
    """The elements brought between bounds; None for no bound."""
    _refuse_out(out)
    return functions.clip(t, min, max)


def _round(t, decimals=0, out=None):
    """Rounded to decimals, halves to the even digit."""
    _refuse_out(out)
    return functions.round(t, decimals)


def _searchsorted(t, v, side="left", sorter=None):
    """Where v would keep the ascending vector sorted."""
    return functions.searchsorted(t, v, side, sorter)


def _nonzero(t):
    """For each axis the Positions of the elements that aren't zero."""
    return functions.nonzero(t)


def _astype(t, dtype=None, *, copy=None):
    """The elements in another dtype; t itself where it has it already, or a copy if copy is true.

    A dtype of NumPy's that no tensor has, such as its bool, gives an array of NumPy.
    """
    if _is_numpys_alone(dtype):
        return t.__array__().astype(dtype)
    converted = asarray(t, dtype)
    return _copy(t) if copy and converted is t else converted


def _is_numpys_alone(dtype):
    """Whether it is a dtype or scalar type of NumPy other than our two."""
    kind = dtype if isinstance(dtype, type) else type(dtype)
    return kind.__module__.partition(".")[0] == "numpy" and dtype not in (float64, complex128)


def _squeeze(t, axis=None):
    """The tensor without axes of extent 1, or without those named, which must have it."""
    return squeeze(t, axis)


def _copy(t):
    """A tensor of the same elements, which never change."""
    return reshape(t, t.shape)


def _to_float(t):
    return float(_real_item(t, "float"))


def _to_int(t):
    return int(_real_item(t, "int"))


def _to_complex(t):
    return complex(_item(t))


def _itself(t):
    return t


def _deep_itself(t, memo=None):
    return t


def _text(t):
    return tensor_text(t)


class _Places:
    """What t.at[index] returns: the methods make changed copies of t."""

    __slots__ = ("_tensor", "_index")

    def __init__(self, tensor, index):
        self._tensor, self._index = tensor, index

    def set(self, values):
        """A copy with the selected elements replaced; the values broadcast to them."""
        return native.updated(self._tensor, self._index, values, "set")

    def add(self, values):
        """A copy with the values added; a place selected twice collects both."""
        return native.updated(self._tensor, self._index, values, "add")

    def multiply(self, values):
        """A copy with the selected elements multiplied by the values."""
        return native.updated(self._tensor, self._index, values, "multiply")

    def min(self, values):
        """A copy with the smaller of element and value at each selected place."""
        return native.updated(self._tensor, self._index, values, "min")

    def max(self, values):
        """A copy with the larger of element and value at each selected place."""
        return native.updated(self._tensor, self._index, values, "max")

    def get(self):
        """The selected elements, t[index]."""
        return self._tensor[self._index]


class _At:
    """What t.at returns, for indexing: t.at[index].set(values) is t with other elements there."""

    __slots__ = ("_tensor",)

    def __init__(self, tensor):
        self._tensor = tensor

    def __getitem__(self, index):
        return _Places(self._tensor, index)


_TENSOR_DOC = """A dense, immutable array of float64 or complex128 numbers, in row-major order.

`numerical.array` makes tensors of nested lists and arrays; the class itself takes what a tensor
holds: the elements, the shape and the dtype. Tensors never change: `t.at[index].set(values)` gives a
changed copy.

Parameters
----------
data : sequence of number
    The elements in row-major order.
shape : sequence of int, optional
    The extents of the axes; one axis that holds all elements by default.
dtype : dtype, optional
    float64 by default.

Attributes
----------
shape : tuple of int
    The extents of the axes.
ndim : int
    The number of axes.
size : int
    The number of elements.
dtype : dtype
    `numerical.float64` or `numerical.complex128`.
itemsize : int
    The bytes of an element.
nbytes : int
    The bytes of all elements.
T : Tensor
    The axes in reverse order.
mT : Tensor
    The last two axes exchanged.
mH : Tensor
    The conjugate of mT.
real : Tensor
    The real parts, float64.
imag : Tensor
    The imaginary parts, float64.
at : object
    Changed copies: `t.at[index]` has set, add, multiply, min, max and get.
device : str
    "cpu".

Raises
------
numerical.error
    If the shape holds another number of elements, or an element is no number of the dtype.

Examples
--------
>>> t = nm.Tensor([1, 2, 3, 4], (2, 2))
>>> t
Tensor([[1.0, 2.0],
        [3.0, 4.0]])
>>> t[:, 1] + 10
Tensor([12.0, 14.0])
>>> t.at[0, 0].set(5.0)
Tensor([[5.0, 2.0],
        [3.0, 4.0]])
"""

METHODS = {
    "__doc__": _TENSOR_DOC,
    "at": property(
        _At, doc="Changed copies: t.at[index].set(values), and add, multiply, min, max."
    ),
    "__init__": _init,
    "item": _item,
    "reshape": native.method_shortcut(_reshape),
    "ravel": native.method_shortcut(ravel),
    "flatten": native.method_shortcut(ravel),
    "transpose": _transpose,
    "squeeze": native.method_shortcut(_squeeze),
    "swapaxes": swapaxes,
    "repeat": repeat,
    "take": take,
    "diagonal": native.method_shortcut(diagonal),
    "trace": native.method_shortcut(trace),
    "dot": native.method_shortcut(dot),
    "sum": _as_method(functions.sum),
    "mean": _as_method(functions.mean),
    "prod": _as_method(functions.prod),
    "max": _extreme_method(functions.max),
    "min": _extreme_method(functions.min),
    "any": _as_plain_method(functions.any),
    "all": _as_plain_method(functions.all),
    "argmax": _as_plain_method(functions.argmax),
    "argmin": _as_plain_method(functions.argmin),
    "var": _as_spread_method(functions.var),
    "std": _as_spread_method(functions.std),
    "cumsum": _as_running_method(functions.cumsum),
    "cumprod": _as_running_method(functions.cumprod),
    "sort": _sorted,
    "argsort": _argsort,
    "searchsorted": _searchsorted,
    "nonzero": _nonzero,
    "clip": _clip,
    "round": _round,
    "astype": _astype,
    "itemsize": property(lambda t: t.dtype.itemsize, doc="Bytes of an element."),
    "nbytes": property(lambda t: t.size * t.dtype.itemsize, doc="Bytes of all elements."),
    "copy": native.method_shortcut(_copy),
    "__len__": _length,
    "__iter__": _iterate,
    "__contains__": _contains,
    "__bool__": _bool,
    "__float__": _to_float,
    "__int__": _to_int,
    "__complex__": _to_complex,
    "__repr__": tensor_repr,
    "__str__": _text,
    "__format__": _format_spec,
    "_repr_html_": tensor_html,
    "__copy__": _itself,
    "__deepcopy__": _deep_itself,
    "__setitem__": _refuse_assignment,
    "__delitem__": _refuse_deletion,
    "__dlpack__": _dlpack,
    "__array_interface__": property(array_interface, doc=array_interface.__doc__),
    "__sizeof__": bytes_held,
}
