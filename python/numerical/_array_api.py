"""The array API 2025.12 of a library that has two dtypes and one device.

The standard's functions are in `numerical` and `numerical.linalg`; this module answers what a program
asks about dtypes, devices and the namespace itself.
"""

import sys

from ._arguments import CPU, require_cpu, shown
from ._conversion import asarray, dtype_name
from ._dtypes import complex128, float64
from ._shaping import reshape

__array_api_version__ = "2025.12"
_VERSIONS = ("2021.12", "2022.12", "2023.12", "2024.12", "2025.12")
_NUMBER_KINDS = ("b", "i", "u", "f", "c")  # of arrays that asarray takes

_DTYPES_OF_KIND = {
    "bool": (),
    "signed integer": (),
    "unsigned integer": (),
    "integral": (),
    "real floating": (float64,),
    "complex floating": (complex128,),
    "numeric": (float64, complex128),
}


# --- dtypes --------------------------------------------------------------------------------------
def astype(x, dtype, /, *, copy=True, device=None):
    """The elements of x in another dtype.

    Parameters
    ----------
    x : array_like
    dtype : dtype
    copy : bool, optional
        If false, x itself is returned where it has the dtype.
    device : 'cpu' or None, optional

    Returns
    -------
    Tensor

    Raises
    ------
    numerical.error
        For complex128 to float64, which would discard imaginary parts: take `real(x)`.

    Examples
    --------
    >>> nm.astype(nm.array([1.0, 2.0]), nm.complex128)
    Tensor([1+0j, 2+0j], dtype='complex128')
    """
    require_cpu(device)
    x = asarray(x)
    converted = asarray(x, dtype)
    return reshape(x, x.shape) if copy and converted is x else converted


def can_cast(from_, to, /):
    """Whether every value of one dtype is a value of another.

    Parameters
    ----------
    from_ : dtype or Tensor
    to : dtype

    Returns
    -------
    bool

    Examples
    --------
    >>> nm.can_cast(nm.float64, nm.complex128), nm.can_cast(nm.complex128, nm.float64)
    (True, False)
    """
    return dtype_name(to) == complex128 or _dtype_of(from_) == float64


def result_type(*arrays_and_dtypes):
    """The dtype of a result: complex128 if an operand is complex, otherwise float64.

    Parameters
    ----------
    *arrays_and_dtypes : array_like or dtype
        At least one.

    Returns
    -------
    dtype

    Raises
    ------
    ValueError
        If nothing is given.

    Examples
    --------
    >>> nm.result_type(nm.ones(3), 1j)
    'complex128'
    """
    if not arrays_and_dtypes:
        raise ValueError("result_type takes at least one tensor, dtype or number")
    is_complex = any([_dtype_of(operand) == complex128 for operand in arrays_and_dtypes])
    return complex128 if is_complex else float64


def _dtype_of(operand):
    kind = getattr(getattr(operand, "dtype", None), "kind", "")
    if kind in _NUMBER_KINDS:
        return complex128 if kind == "c" else float64
    if isinstance(operand, (str, type)) or hasattr(
        operand, "subdtype"
    ):  # a dtype of NumPy has that
        return dtype_name(operand)
    return asarray(operand).dtype


def isdtype(dtype, kind):
    """Whether a dtype is one of those given, or of one of the given kinds.

    Parameters
    ----------
    dtype : dtype
    kind : dtype, str, or tuple of these
        "real floating", "complex floating" and "numeric" have dtypes here; no dtype is of the kinds
        "bool", "signed integer", "unsigned integer" and "integral".

    Returns
    -------
    bool

    Raises
    ------
    TypeError
        If dtype is none.
    ValueError
        If kind is neither a dtype nor the name of a kind.

    Examples
    --------
    >>> nm.isdtype(nm.float64, "real floating"), nm.isdtype(nm.float64, ("bool", "integral"))
    (True, False)
    """
    wanted = dtype_name(dtype)
    kinds = kind if isinstance(kind, tuple) else (kind,)
    return any([wanted in _dtypes_of(each) for each in kinds])


def _dtypes_of(kind):
    if isinstance(kind, str) and kind in _DTYPES_OF_KIND:
        return _DTYPES_OF_KIND[kind]
    try:
        return (dtype_name(kind),)
    except TypeError:
        listed = ", ".join(map(repr, _DTYPES_OF_KIND))
        raise ValueError(f"kind is a dtype or one of {listed}, not {shown(kind)}") from None


class FloatInfo:
    """The limits of the numbers of both dtypes: those of complex128 are the limits of its parts.

    Attributes
    ----------
    bits : int
        64, the bits of a number or part.
    eps : float
        The distance from 1.0 to the next larger number, 2^-52.
    max : float
        The largest finite number.
    min : float
        The smallest finite number, -max.
    smallest_normal : float
        The smallest positive number of full precision, 2^-1022.
    dtype : dtype
        "float64", the dtype of the parts.
    """

    dtype = float64
    bits = 64
    eps = sys.float_info.epsilon
    max = sys.float_info.max
    min = -sys.float_info.max
    smallest_normal = sys.float_info.min

    def __repr__(self):
        return f"finfo(bits={self.bits}, eps={self.eps}, max={self.max}, min={self.min})"


def finfo(type, /):
    """The limits of the numbers of a dtype, or of a tensor's.

    Parameters
    ----------
    type : dtype or array_like

    Returns
    -------
    FloatInfo
        With the attributes bits, eps, max, min, smallest_normal and dtype.

    Raises
    ------
    TypeError
        For a dtype that isn't ours.

    Examples
    --------
    >>> nm.finfo(nm.float64).eps == 2.0**-52
    True
    """
    _dtype_of(type)  # refuses what is no dtype
    return FloatInfo()


def iinfo(type, /):
    """Refused: there are no integer dtypes.

    Parameters
    ----------
    type : object

    Raises
    ------
    TypeError
        Always; finfo tells of float64 and complex128.

    Examples
    --------
    >>> try:
    ...     nm.iinfo("int64")
    ... except TypeError:
    ...     print("no integer dtypes")
    no integer dtypes
    """
    raise TypeError(
        f"there are no integer dtypes, so that iinfo has nothing to tell of {shown(type)}; finfo"
        " tells of float64 and complex128"
    )


# --- devices -------------------------------------------------------------------------------------
def _to_device(self, device, /, *, stream=None):
    """The tensor itself, for the only device, "cpu". There are no streams."""
    require_cpu(device)
    if stream is not None:
        raise ValueError(f"the CPU has no streams: stream must be None, not {shown(stream)}")
    return self


# --- the namespace -------------------------------------------------------------------------------
class NamespaceInfo:
    """The capabilities of the namespace, in the standard's terms.

    There are no bool and integer dtypes: a mask is a float64 tensor of ones and zeros, an index a
    float64 number.
    """

    def capabilities(self):
        """A dict. Masks select elements, so that shapes may depend on data."""
        return {"boolean indexing": True, "data-dependent shapes": True, "max dimensions": 64}

    def default_device(self):
        """ "cpu"."""
        return CPU

    def devices(self):
        """["cpu"]."""
        return [CPU]

    def default_dtypes(self, *, device=None):
        """The default dtypes by kind; kinds without a dtype here are left out."""
        require_cpu(device)
        return {"real floating": float64, "complex floating": complex128}

    def dtypes(self, *, device=None, kind=None):
        """The dtypes by their names: all, or those of a kind or of a tuple of kinds."""
        require_cpu(device)
        kinds = ("numeric",) if kind is None else kind if isinstance(kind, tuple) else (kind,)
        found = {dtype for each in kinds for dtype in _dtypes_of(each)}
        return {dtype.name: dtype for dtype in (float64, complex128) if dtype in found}


def __array_namespace_info__():
    """The NamespaceInfo, which tells programs the dtypes, devices and capabilities."""
    return NamespaceInfo()


def _array_namespace(self, *, api_version=None):
    """The module `numerical`, for programs written against the standard.

    ValueError for a version of the standard that isn't known.
    """
    if api_version is not None and api_version not in _VERSIONS:
        raise ValueError(f"api_version is one of {', '.join(_VERSIONS)}, not {shown(api_version)}")
    return sys.modules[__package__]


METHODS = {
    "__array_namespace__": _array_namespace,
    "device": property(lambda self: CPU, doc='"cpu": where the elements lie.'),
    "to_device": _to_device,
}
