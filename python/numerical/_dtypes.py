"""The two dtypes: texts that also compare with the types and dtypes of NumPy."""

_NAMES_OF_NUMPY = {"numpy.float64": "float64", "numpy.complex128": "complex128"}
_OF_PYTHON = {float: "float64", complex: "complex128"}


class DType(str):
    """The dtype float64 or complex128: a text with the attributes that libraries expect of a dtype.

    It equals that text, NumPy's dtype and scalar type of the same name, and float or complex. Its
    hash is that of the text, so that as a key of a dict a dtype represents its name.

    Attributes
    ----------
    name : str
        "float64" or "complex128".
    kind : str
        "f" or "c".
    char : str
        NumPy's letter, "d" or "D".
    itemsize : int
        The bytes of an element, 8 or 16.

    Examples
    --------
    >>> nm.float64 == "float64" == nm.zeros(2).dtype
    True
    >>> nm.complex128.itemsize
    16
    """

    __slots__ = ()

    kind = property(lambda self: self[0], doc='"f" or "c".')
    itemsize = property(lambda self: 8 if self[0] == "f" else 16, doc="Bytes of an element.")
    char = property(lambda self: "d" if self[0] == "f" else "D", doc="NumPy's letter.")
    name = property(str.__str__, doc="The plain text.")

    def __eq__(self, other):
        if isinstance(other, type):
            return str.__eq__(self, _OF_PYTHON.get(other) or _named(other))
        return str.__eq__(self, other)

    def __ne__(self, other):
        equal = self == other
        return equal if equal is NotImplemented else not equal

    __hash__ = str.__hash__

    def __reduce_ex__(self, protocol):
        return self.name  # pickled as the module's name for the one instance

    def __copy__(self):
        return self

    def __deepcopy__(self, memo):
        return self


def _named(kind):
    return _NAMES_OF_NUMPY.get(f"{kind.__module__}.{kind.__name__}", "")


float64 = DType("float64")
complex128 = DType("complex128")
