"""Checks of arguments other than tensors; a refusal names the argument.

A value of another kind is a TypeError, one of the right kind out of its range a ValueError.
"""

from operator import index

from ._hints import add_hint

SHOWN = 60  # characters of a value that an error message shows


def shown(value):
    """The value as an error message shows it; a long one is cut off."""
    if isinstance(value, int) and value.bit_length() > 128:  # Python refuses to print the largest
        return f"an int of {value.bit_length()} bits"
    try:
        text = repr(value)
    except ValueError:  # for an int within
        return f"a {type(value).__name__}"
    return text if len(text) <= SHOWN else f"{text[:SHOWN]}..."


def integer(value, name):
    """An int, from any object with __index__."""
    try:
        return index(value)
    except TypeError:
        failure = TypeError(f"{name} must be an int, not {type(value).__name__}")
        raise _whole_number_hint(failure, value) from None


def _whole_number_hint(failure, value):
    """For a float of integer value, adds the int to write as a hint."""
    if isinstance(value, float) and value.is_integer() and abs(value) < 2**53:
        return add_hint(failure, f"write {int(value)} for {value}, or int(...) around it")
    return failure


def count(value, name):
    """An int that isn't negative."""
    number = integer(value, name)
    if number < 0:
        raise ValueError(f"{name} must not be negative, not {shown(number)}")
    return number


def items(value, name, wanted):
    """The items of a sequence as a tuple; a text, a set or a dict is refused."""
    if not isinstance(value, (str, bytes, dict, set, frozenset)):
        try:
            return tuple(value)
        except TypeError:
            pass
    raise TypeError(f"{name} must be {wanted}, not {type(value).__name__}")


def integers(value, name):
    """A tuple of ints, from an int or a sequence of them."""
    if hasattr(type(value), "__index__"):
        value = (value,)
    wanted = "an int or a sequence of ints"
    if isinstance(value, float):
        failure = TypeError(f"{name} must be {wanted}, not {type(value).__name__}")
        raise _whole_number_hint(failure, value)
    numbers = []
    for item in items(value, name, wanted):
        try:
            numbers.append(index(item))
        except TypeError:
            failure = TypeError(f"{name} must be {wanted}, not of {type(item).__name__}")
            raise _whole_number_hint(failure, item) from None
    return tuple(numbers)


def one_of(value, name, choices, hints=None):
    """A text that is one of the choices. `hints` has sentences for other names of the choices."""
    if not isinstance(value, str):
        raise TypeError(f"{name} must be a text, not {type(value).__name__}")
    if value not in choices:
        listed = ", ".join(map(repr, choices[:-1]))
        failure = ValueError(f"{name} is {listed} or {choices[-1]!r}, not {shown(value)}")
        raise add_hint(failure, hints[value]) if hints and value in hints else failure
    return value


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


CPU = "cpu"  # the one device


def require_cpu(device):
    """ValueError for a device other than "cpu" and None."""
    if device is not None and not (isinstance(device, str) and device == CPU):
        raise ValueError(f"device must be 'cpu', where every tensor lies, not {shown(device)}")
