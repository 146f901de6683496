"""Joining, splitting and rearranging tensors, under NumPy's names."""

from . import _numerical
from ._arguments import integer, integers, items, one_of, shown
from ._conversion import asarray
from ._creation import axis_of, shape_of, zeros
from ._functions import conj
from ._native_module import native
from ._numerical import Tensor
from ._positions import Positions
from ._promotion import same_dtype
from ._shaping import broadcast_to, concatenate, flip, moveaxis, ravel, reshape, stack


# --- joins ---------------------------------------------------------------------------------------
@native.shortcut
def hstack(tensors):
    """Tensors joined along the second axis; vectors and numbers along the only one.

    Parameters
    ----------
    tensors : sequence of array_like

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the other extents differ.

    Examples
    --------
    >>> nm.hstack([[1.0, 2.0], [3.0]])
    Tensor([1.0, 2.0, 3.0])
    """
    parts = [t if t.ndim else ravel(t) for t in _each(tensors)]
    return concatenate(parts, 0 if parts and parts[0].ndim == 1 else 1)


@native.shortcut
def vstack(tensors):
    """Tensors joined along the first axis; vectors and numbers are rows.

    Parameters
    ----------
    tensors : sequence of array_like

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the other extents differ.

    Examples
    --------
    >>> nm.vstack([[1.0, 2.0], [3.0, 4.0]])
    Tensor([[1.0, 2.0],
            [3.0, 4.0]])
    """
    return concatenate([t if t.ndim > 1 else reshape(t, (1, t.size)) for t in _each(tensors)])


@native.shortcut
def column_stack(tensors):
    """Matrices and vectors side by side; vectors and numbers are columns.

    Parameters
    ----------
    tensors : sequence of array_like

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the numbers of rows differ.

    Examples
    --------
    >>> nm.column_stack([[1.0, 2.0], [3.0, 4.0]])
    Tensor([[1.0, 3.0],
            [2.0, 4.0]])
    """
    parts = _each(tensors)
    if parts and all(t.ndim == 1 for t in parts) and len({t.size for t in parts}) == 1:
        return stack(parts, 1)
    return concatenate([t if t.ndim > 1 else reshape(t, (t.size, 1)) for t in parts], 1)


def _each(tensors):
    return [asarray(t) for t in items(tensors, "tensors", "a sequence of tensors")]


def block_diag(*matrices):
    """The block diagonal matrix of the given matrices.

    Parameters
    ----------
    *matrices : array_like
        Vectors and numbers are rows.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        Above rank 2.

    Examples
    --------
    >>> nm.block_diag([[1.0, 2.0], [3.0, 4.0]], 5.0)
    Tensor([[1.0, 2.0, 0.0],
            [3.0, 4.0, 0.0],
            [0.0, 0.0, 5.0]])
    """
    blocks = [t if t.ndim > 1 else reshape(t, (1, t.size)) for t in same_dtype(*matrices)]
    if not blocks:
        return zeros((1, 0))
    for block in blocks:
        if block.ndim != 2:
            raise ValueError(f"block_diag takes matrices, not a tensor of rank {block.ndim}")
    columns, rows, before = sum(block.shape[1] for block in blocks), [], 0
    for block in blocks:
        count, width = block.shape
        left = zeros((count, before), block.dtype)
        before += width
        rows.append(concatenate([left, block, zeros((count, columns - before), block.dtype)], 1))
    return concatenate(rows)


def diff(a, n=1, axis=-1, prepend=None, append=None):
    """The differences of neighbours along an axis, taken n times over.

    Parameters
    ----------
    a : array_like
        At least one axis.
    n : int, optional
        How many times; each time shortens the axis by one.
    axis : int, optional
    prepend, append : array_like, optional
        What is joined to a along the axis first; a number fills one place.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If n is negative, or for a tensor of rank 0.
    IndexError
        If the axis is out of bounds.

    Examples
    --------
    >>> nm.diff([1.0, 4.0, 9.0])
    Tensor([3.0, 5.0])
    >>> nm.diff([1.0, 4.0, 9.0], prepend=0.0)
    Tensor([1.0, 3.0, 5.0])
    """
    if prepend is None and append is None:
        return native.diff(a, n, axis)
    a = asarray(a)
    place = axis_of(axis, a.ndim)
    one = (*a.shape[:place], 1, *a.shape[place + 1 :])
    parts = [None if part is None else asarray(part) for part in (prepend, append)]
    parts = [t if t is None or t.ndim else broadcast_to(t, one) for t in parts]
    joined = [t for t in (parts[0], a, parts[1]) if t is not None]
    return native.diff(concatenate(joined, place), n, place)


# --- parts ---------------------------------------------------------------------------------------
def split(a, indices_or_sections, axis=0):
    """The parts of a tensor along an axis.

    Parameters
    ----------
    a : array_like
    indices_or_sections : int or sequence of int
        How many equal parts, or the places where a new part begins.
    axis : int, optional

    Returns
    -------
    list of Tensor

    Raises
    ------
    ValueError
        If the axis doesn't divide into that many equal parts.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.split([1.0, 2.0, 3.0, 4.0], 2)
    [Tensor([1.0, 2.0]), Tensor([3.0, 4.0])]
    >>> nm.split([1.0, 2.0, 3.0, 4.0], [1, 3])
    [Tensor([1.0]), Tensor([2.0, 3.0]), Tensor([4.0])]
    """
    a = asarray(a)
    place = axis_of(axis, a.ndim)
    extent = a.shape[place]
    if hasattr(type(indices_or_sections), "__index__"):
        count = integer(indices_or_sections, "indices_or_sections")
        if count < 1 or extent % count:
            raise ValueError(f"an axis of {extent} doesn't divide into {shown(count)} equal parts")
        edges = range(extent // count, extent, extent // count) if extent else [0] * (count - 1)
    else:
        edges = integers(indices_or_sections, "indices_or_sections")
    lead = (slice(None),) * place
    return [a[(*lead, slice(i, j))] for i, j in zip((0, *edges), (*edges, extent))]


def unstack(x, /, *, axis=0):
    """The slices of a tensor along an axis.

    Parameters
    ----------
    x : array_like
    axis : int, optional

    Returns
    -------
    tuple of Tensor

    Raises
    ------
    IndexError
        If the axis is out of bounds.

    Examples
    --------
    >>> nm.unstack([[1.0, 2.0], [3.0, 4.0]])
    (Tensor([1.0, 2.0]), Tensor([3.0, 4.0]))
    """
    x = asarray(x)
    return tuple(moveaxis(x, axis_of(axis, x.ndim), 0))


def take(a, indices, axis=None):
    """The elements at places along an axis.

    Parameters
    ----------
    a : array_like
    indices : int, sequence of int or Positions
        Counted from the end where negative.
    axis : int or None, optional
        None takes from the elements in row-major order.

    Returns
    -------
    Tensor or number
        The axis is replaced by those of indices.

    Raises
    ------
    IndexError
        If a place is out of bounds.

    Examples
    --------
    >>> nm.take([10.0, 20.0, 30.0], [2, 0])
    Tensor([30.0, 10.0])
    >>> nm.take([[1.0, 2.0], [3.0, 4.0]], 1, axis=1)
    Tensor([2.0, 4.0])
    """
    a = asarray(a)
    if axis is None:
        return (a if a.ndim == 1 else ravel(a))[indices,]
    place = axis_of(axis, a.ndim)
    return a[(*(slice(None),) * place, indices)]


def take_along_axis(a, indices, axis=-1):
    """One element for each place in indices, taken along an axis: the partner of argsort and argmax.

    Parameters
    ----------
    a : array_like
    indices : Positions or nested sequence of int
        Of a's rank; the other axes broadcast.
    axis : int, optional

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the ranks differ.
    IndexError
        If a place is out of bounds.

    Examples
    --------
    >>> a = nm.array([[3.0, 1.0], [2.0, 5.0]])
    >>> nm.take_along_axis(a, nm.argsort(a))
    Tensor([[1.0, 3.0],
            [2.0, 5.0]])
    """
    a = asarray(a)
    indices = indices if isinstance(indices, Positions) else Positions(indices)
    place = axis_of(axis, a.ndim)
    if indices.ndim != a.ndim:
        raise ValueError(f"take_along_axis takes indices of rank {a.ndim}, not {indices.ndim}")
    own_runs = all(m == n for i, (m, n) in enumerate(zip(indices.shape, a.shape)) if i != place)
    if own_runs:
        return native.taken_along(a, indices, place)
    keys = []
    for i, extent in enumerate(a.shape):
        column = Positions(list(range(extent)))
        new_axes = [None] * a.ndim
        new_axes[i] = slice(None)
        keys.append(indices if i == place else column[tuple(new_axes)])
    return a[tuple(keys)]


# --- other orders --------------------------------------------------------------------------------
def roll(a, shift, axis=None):
    """The elements shifted cyclically by a number of places.

    Parameters
    ----------
    a : array_like
    shift : int or sequence of int
    axis : int or sequence of int, optional
        One for each shift, or one for all; by default the elements move in row-major order.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If there are not as many shifts as axes.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.roll([1.0, 2.0, 3.0, 4.0], 1)
    Tensor([4.0, 1.0, 2.0, 3.0])
    """
    a = asarray(a)
    if axis is None:
        return native.rolled(a, sum(integers(shift, "shift")) % max(a.size, 1), None)
    shifts, axes = integers(shift, "shift"), integers(axis, "axis")
    if len(shifts) != len(axes) and 1 not in (len(shifts), len(axes)):
        raise ValueError(f"roll takes as many shifts as axes, not {len(shifts)} and {len(axes)}")
    count = max(len(shifts), len(axes))
    for places, along in zip(shifts * count if len(shifts) == 1 else shifts,
                             axes * count if len(axes) == 1 else axes):  # fmt: skip
        along = axis_of(along, a.ndim)
        a = native.rolled(a, places % max(a.shape[along], 1), along)
    return a


def meshgrid(*vectors, indexing="xy"):
    """The coordinates of a grid: tensors of one shape, in each of which one vector runs along its axis.

    Parameters
    ----------
    *vectors : array_like
    indexing : {'xy', 'ij'}, optional
        For 'ij' each vector runs along its own axis; for 'xy' the first two change theirs.

    Returns
    -------
    tuple of Tensor

    Raises
    ------
    ValueError
        For another indexing.

    Examples
    --------
    >>> x, y = nm.meshgrid([1.0, 2.0], [3.0, 4.0, 5.0])
    >>> x
    Tensor([[1.0, 2.0],
            [1.0, 2.0],
            [1.0, 2.0]])
    >>> y
    Tensor([[3.0, 3.0],
            [4.0, 4.0],
            [5.0, 5.0]])
    """
    one_of(indexing, "indexing", ("xy", "ij"))
    vectors = [ravel(v) for v in vectors]
    count, swapped = len(vectors), indexing == "xy" and len(vectors) > 1
    places = [1, 0, *range(2, count)] if swapped else range(count)
    shape = [0] * count
    for vector, place in zip(vectors, places):
        shape[place] = vector.size
    along = [
        [v.size if i == place else 1 for i in range(count)] for v, place in zip(vectors, places)
    ]
    return tuple(broadcast_to(reshape(v, own), shape) for v, own in zip(vectors, along))


# --- matrices of a few numbers -------------------------------------------------------------------
def vander(x, N=None, increasing=False):
    """The matrix of powers of a vector's elements.

    Parameters
    ----------
    x : array_like, shape (M,)
    N : int, optional
        The columns, M by default.
    increasing : bool, optional
        Column j holds x to the power of j if true, of N - 1 - j otherwise.

    Returns
    -------
    Tensor, shape (M, N)

    Raises
    ------
    ValueError
        If x is no vector.

    Examples
    --------
    >>> nm.vander([1.0, 2.0, 3.0])
    Tensor([[1.0, 1.0, 1.0],
            [4.0, 2.0, 1.0],
            [9.0, 3.0, 1.0]])
    """
    x = asarray(x)
    if x.ndim != 1:
        raise ValueError(f"vander takes a vector, not a tensor of rank {x.ndim}")
    count = x.size if N is None else integer(N, "N")
    if count < 1:
        return zeros((x.size, max(count, 0)), x.dtype)
    shape_of((x.size, count))  # refuses what no tensor can hold before any column is made
    columns = [_numerical._full((x.size,), 1.0, x.dtype == "complex128"), x][:count]
    while len(columns) < count:
        columns.append(columns[-1] * x)
    return stack(columns if increasing else columns[::-1], 1)


def toeplitz(c, r=None):
    """The matrix of constant diagonals.

    Parameters
    ----------
    c : array_like, shape (M,)
        The first column.
    r : array_like, shape (N,), optional
        The first row, conj(c) by default; its first element is not read.

    Returns
    -------
    Tensor, shape (M, N)

    Examples
    --------
    >>> nm.toeplitz([1.0, 2.0, 3.0])
    Tensor([[1.0, 2.0, 3.0],
            [2.0, 1.0, 2.0],
            [3.0, 2.0, 1.0]])
    >>> nm.toeplitz([1.0, 2.0], [0.0, 5.0, 6.0])
    Tensor([[1.0, 5.0, 6.0],
            [2.0, 1.0, 5.0]])
    """
    c, r = same_dtype(ravel(c), ravel(conj(c) if r is None else r))
    if c.size == 0 or r.size == 0:
        return Tensor([], (c.size, r.size), c.dtype)
    diagonals = concatenate([flip(c), r[1:]])
    return flip(native.with_strides(diagonals, (c.size, r.size), (1, 1)), 0)
