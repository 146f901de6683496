"""The text of tensors: all elements of small ones, the edges of large ones."""

import math

from . import _numerical
from ._shaping import concatenate

SUMMARY_SIZE = 1000  # larger tensors show the edges alone
EDGE = 3
LINE_WIDTH = 88


def tensor_repr(tensor):
    """As Tensor([1.0, 2.0]), with the shape where the brackets don't show it, and dtype complex128."""
    text = "Tensor(" + tensor_text(tensor, "Tensor(")
    if _is_cut(tensor) or (tensor.size == 0 and tensor.shape != (0,)):
        text += f", shape={tensor.shape}"
    if tensor.dtype != "float64":
        text += f", dtype='{tensor.dtype}'"
    return text + ")"


def tensor_text(tensor, lead=""):
    """The nested brackets with numbers in columns of one width."""
    if tensor.ndim == 0:
        return _texts(tensor.tolist())
    if tensor.size == 0:
        return "[]"
    rows = _edges(tensor).tolist() if _is_cut(tensor) else tensor.tolist()
    texts = _texts(rows)
    width = max((len(text) for text in _leaves(texts)), default=0)
    return _bracketed(texts, tensor.shape, width, len(lead), _is_cut(tensor))


def tensor_html(tensor):
    """A table for a notebook: a matrix or a vector; the text for other ranks."""
    import html

    if tensor.ndim not in (1, 2) or tensor.size == 0:
        return f"<pre>{html.escape(tensor_repr(tensor))}</pre>"
    matrix = _edges(tensor) if _is_cut(tensor) else tensor
    rows = matrix.tolist() if tensor.ndim == 2 else [matrix.tolist()]
    columns = tensor.shape[-1]
    lines = []
    for index, row in enumerate(rows):
        cells = [f"<td>{html.escape(_number(x))}</td>" for x in row]
        if _is_cut_axis(tensor, columns):
            cells.insert(EDGE, "<td>…</td>")
        if tensor.ndim == 2 and index == EDGE and _is_cut_axis(tensor, tensor.shape[0]):
            lines.append("<tr><td>⋮</td></tr>")
        lines.append(f"<tr>{''.join(cells)}</tr>")
    shape = " × ".join(map(str, tensor.shape))
    return f"<table>{''.join(lines)}</table><p>Tensor, {shape}, {tensor.dtype}</p>"


def _is_cut(tensor):
    return tensor.size > SUMMARY_SIZE


def _is_cut_axis(tensor, extent):
    return _is_cut(tensor) and extent > 2 * EDGE


def _edges(tensor):
    """The first and last three places of every long axis."""
    for axis, extent in enumerate(tensor.shape):
        if extent > 2 * EDGE:
            tensor = _ends(tensor, axis, extent)
    return tensor


def _ends(tensor, axis, extent):
    # Six places at a constant step can't be both ends: two takes, one after the other.
    def taken(first):
        starts, counts = [0] * tensor.ndim, list(tensor.shape)
        starts[axis], counts[axis] = first, EDGE
        ones = [1] * tensor.ndim
        return _numerical._take(tensor, starts, ones, counts, ones)

    return concatenate([taken(0), taken(extent - EDGE)], axis)


def _number(x):
    if isinstance(x, complex):
        return f"{x.real:.8g}{x.imag:+.8g}j"
    if math.isfinite(x) and (x != int(x) or abs(x) >= 1e16):
        return f"{x:.8g}"
    return repr(x)


def _texts(rows):
    return [_texts(row) for row in rows] if isinstance(rows, list) else _number(rows)


def _leaves(texts):
    if isinstance(texts, list):
        for item in texts:
            yield from _leaves(item)
    else:
        yield texts


def _bracketed(texts, shape, width, indent, cut):
    if not isinstance(texts, list):
        return texts.rjust(width)
    items = [_bracketed(item, shape[1:], width, indent + 1, cut) for item in texts]
    if cut and shape[0] > 2 * EDGE:
        items.insert(EDGE, "...")
    if len(shape) > 1:
        gap = "\n" * (len(shape) - 1) + " " * (indent + 1)
        return "[" + ("," + gap).join(items) + "]"
    lines, line = [], ""
    for item in items:
        if line and len(line) + len(item) + 2 > LINE_WIDTH - indent:
            lines.append(line)
            line = ""
        line += (", " if line else "") + item
    lines.append(line)
    return "[" + (",\n" + " " * (indent + 1)).join(lines) + "]"
