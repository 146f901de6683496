"""Arguments that are no tensors, checked so that a refusal names the argument.

A value of another kind is a TypeError, one of the right kind out of its range a ValueError.
"""

from operator import index

SHOWN = 60  # characters of a value that an error message shows


def shown(value):
    """The value as an error message shows it; of a long one the kind and the beginning."""
    if isinstance(value, int) and value.bit_length() > 128:  # Python refuses to print the largest
        return f"an int of {value.bit_length()} bits"
    text = repr(value)
    return text if len(text) <= SHOWN else f"{type(value).__name__} {text[:SHOWN]}..."


def integer(value, name):
    """An int, from whatever stands for one."""
    try:
        return index(value)
    except TypeError:
        raise TypeError(f"{name} must be an int, not {type(value).__name__}") from None


def count(value, name):
    """An int that isn't negative."""
    number = integer(value, name)
    if number < 0:
        raise ValueError(f"{name} must not be negative, not {shown(number)}")
    return number


def items(value, name, wanted):
    """The items of a sequence as a tuple; what has no order or no end is refused."""
    if not isinstance(value, (str, bytes, dict, set, frozenset)):
        try:
            return tuple(value)
        except TypeError:
            pass
    raise TypeError(f"{name} must be {wanted}, not {type(value).__name__}")


def integers(value, name):
    """A tuple of ints, from an int or a sequence of them."""
    if hasattr(value, "__index__"):
        value = (value,)
    wanted = "an int or a sequence of ints"
    given = items(value, name, wanted)
    try:
        return tuple(map(index, given))
    except TypeError:
        odd = next(item for item in given if not hasattr(item, "__index__"))
        raise TypeError(f"{name} must be {wanted}, not of {type(odd).__name__}") from None


def real(value, name):
    """A float, from a real number."""
    if isinstance(value, (str, bytes)):
        raise TypeError(f"{name} must be a real number, not {type(value).__name__}")
    try:
        return float(value)
    except OverflowError:
        raise OverflowError(f"{name} is too large for a float: {shown(value)}") from None
    except (TypeError, ValueError):
        raise TypeError(f"{name} must be a real number, not {type(value).__name__}") from None
