"""einsum with implicit output, ellipsis, numbered labels and mixed dtypes, which the module's lacks."""

from . import _numerical
from ._arguments import integer
from ._hints import add_hint, einsum_hint
from ._native_module import native
from ._promotion import same_dtype

_SORTED_LABELS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
_ALL_LABELS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
_LEAST_TOTAL = 1024  # elements, from which on _total repays its checks


def einsum(spec, *operands, optimize=True):
    """Einstein summation: products of elements, summed over the labels that the output lacks.

    Parameters
    ----------
    spec : str
        One letter for each axis of each operand, and after "->" those of the output. Without "->" the
        output holds the letters that occur once, in alphabetical order. "..." means leading axes, which
        broadcast. The other form is einsum(a, [0, 1], b, [1, 2], [0, 2]).
    *operands : array_like
    optimize : object, optional
        Not read: the cheapest order of pairs is always searched.

    Returns
    -------
    Tensor or number
        A number where the output has no axis.

    Raises
    ------
    numerical.error
        If the subscripts don't fit the operands; the error's hint names the letter and the shapes.
    ValueError
        If "..." or a numbered label is misused.

    Notes
    -----
    A sum over three or more operands is split into pairs; each pair is a matrix product where it can
    be (see `matmul`). A sum of 1024 elements or more over all labels is taken with several partial
    sums, the same at every number of threads, as `sum` and the product with a vector take theirs.

    Examples
    --------
    >>> a = nm.array([[1.0, 2.0], [3.0, 4.0]])
    >>> nm.einsum("ij,jk->ik", a, a)
    Tensor([[ 7.0, 10.0],
            [15.0, 22.0]])
    >>> nm.einsum("ii", a)
    5.0
    """
    if type(spec) is str and spec.endswith("->"):
        total = _total(spec, operands)
        if total is not None:
            return total
    try:  # a check of the operands beforehand would cost as much as a small product
        result = _numerical.einsum(spec, *operands)
    except (_numerical.error, TypeError):
        result = None
    if result is None:
        result = _general(spec, operands)
    return result if result.ndim else result.tolist()


def _total(spec, operands):
    """The sum over all labels of one operand, or of two where one's labels begin or end the other's.

    The module adds the terms one after the other, which takes as long as each addition. None where
    this doesn't apply, or where the module has an error to raise.
    """
    sizes = [t.size for t in operands if type(t) is _numerical.Tensor]
    if len(sizes) != len(operands) or not 0 < len(sizes) < 3 or max(sizes) < _LEAST_TOTAL:
        return None
    labels = spec[:-2].split(",")
    if len(labels) != len(operands) or not all(map(_are_axes, labels, operands)):
        return None
    if len(operands) == 1:
        return native.sum(operands[0])
    (few, b), (many, a) = sorted(zip(labels, operands), key=lambda pair: len(pair[0]))
    if len(few) == len(many) or a.dtype != b.dtype:
        return None
    if many.startswith(few) and a.shape[: b.ndim] == b.shape:
        rows = _shaped(a, b.size, a.size // b.size)
        return native.sum(native.matmul(_shaped(b, b.size), rows))
    if many.endswith(few) and a.shape[-b.ndim :] == b.shape:
        rows = _shaped(a, a.size // b.size, b.size)
        return native.sum(native.matmul(rows, _shaped(b, b.size)))
    return None


def _are_axes(labels, operand):
    """Whether the labels are different letters, one for each axis."""
    return labels.isalpha() and labels.isascii() and len(labels) == len(set(labels)) == operand.ndim


def _shaped(operand, *shape):
    """The operand itself if it has the shape, as another one is a copy."""
    return operand if operand.shape == shape else _numerical._reshape(operand, shape)


def _general(spec, operands):
    """The sum in a form that the module's einsum takes, or its error with a hint."""
    if not isinstance(spec, str):
        spec, operands = _interleaved((spec, *operands))
    tensors = same_dtype(*operands)
    try:
        return _numerical.einsum(*_spelt_out(spec, tensors))
    except _numerical.error as failure:
        fault = einsum_hint(spec, [tensor.shape for tensor in tensors])
        raise add_hint(failure, fault) if fault else failure


def _spelt_out(spec, tensors):
    """The subscripts and operands as the module takes them."""
    if "." in spec:
        spec, tensors = _without_ellipsis(spec, tensors)
    elif "->" not in spec:
        spec = f"{spec}->{_implicit_output(spec)}"
    return spec, *tensors


def _interleaved(arguments):
    """The text and the operands of einsum(a, [0, 1], b, [1, 2], [0, 2])."""
    lists = [*arguments[1::2], *(arguments[-1:] if len(arguments) % 2 else ())]
    if len(arguments) < 2 or not all(isinstance(labels, (list, tuple)) for labels in lists):
        raise TypeError("einsum takes the subscripts as text first: einsum('ij,jk->ik', a, b)")
    texts = ["".join(map(_label, labels)) for labels in lists]
    if len(arguments) % 2:
        return f"{','.join(texts[:-1])}->{texts[-1]}", arguments[:-1:2]
    return ",".join(texts), arguments[::2]


def _label(number):
    """The letter of a numbered axis. Letters sort as their numbers, for the implicit output."""
    if number is Ellipsis:
        return "..."
    place = integer(number, "a subscript")
    if not 0 <= place < len(_SORTED_LABELS):
        raise ValueError(f"einsum: subscripts are from 0 to {len(_SORTED_LABELS) - 1}, not {place}")
    return _SORTED_LABELS[place]


def _implicit_output(inputs):
    labels = "".join(inputs.split()).replace(",", "")
    return "".join(sorted(label for label in set(labels) if labels.count(label) == 1))


def _without_ellipsis(spec, tensors):
    """The ellipses spelt out in unused labels; axes of extent 1 that would broadcast are dropped."""
    inputs, arrow, output = "".join(spec.split()).partition("->")
    parts = inputs.split(",")
    if len(parts) != len(tensors):
        raise _numerical.error("einsum: number of operands does not match the spec")
    for part in [*parts, output]:
        if part.replace("...", "", 1).count("."):
            raise ValueError(f"einsum: '...' may stand once in each operand, not as in '{part}'")
    free = [label for label in _ALL_LABELS if label not in inputs + output]
    counts = [
        t.ndim - len(p.replace("...", "")) if "..." in p else 0 for p, t in zip(parts, tensors)
    ]
    if min(counts) < 0:
        raise _numerical.error("einsum: operand rank does not match its subscripts")
    depth = max(counts)
    if depth > len(free):
        raise ValueError(f"einsum: no labels are left for the {depth} axes of '...'")
    if arrow and depth and "..." not in output:
        raise ValueError(f"einsum: '{output}' has no '...' for the {depth} axes of the operands'")
    hidden = "".join(free[:depth])
    extents = _hidden_extents(parts, tensors, counts, depth)
    spelt, squeezed = [], []
    for part, tensor, count in zip(parts, tensors, counts):
        labels, tensor = _spell(part, tensor, hidden[depth - count :], extents[depth - count :])
        spelt.append(labels)
        squeezed.append(tensor)
    if arrow:
        target = output.replace("...", hidden)
    else:
        target = hidden + _implicit_output(inputs.replace("...", ""))
    return f"{','.join(spelt)}->{target}", squeezed


def _hidden_extents(parts, tensors, counts, depth):
    extents = [1] * depth
    for part, tensor, count in zip(parts, tensors, counts):
        first = part.find("...")
        for i in range(count):
            place = depth - count + i
            extent = tensor.shape[first + i]
            if extents[place] != 1 and extent not in (1, extents[place]):
                raise _numerical.error("einsum: inconsistent extent for a repeated label")
            extents[place] = extents[place] if extent == 1 else extent
    return extents


def _spell(part, tensor, hidden, extents):
    """The operand's labels, without the hidden axes along which it would have to be repeated."""
    first = part.find("...")
    if first < 0:
        return part, tensor
    kept = [
        label
        for i, (label, extent) in enumerate(zip(hidden, extents))
        if tensor.shape[first + i] == extent
    ]
    dropped = {first + i for i, extent in enumerate(extents) if tensor.shape[first + i] != extent}
    if dropped:
        shape = [extent for axis, extent in enumerate(tensor.shape) if axis not in dropped]
        tensor = _numerical._reshape(tensor, shape)
    return part.replace("...", "".join(kept)), tensor
