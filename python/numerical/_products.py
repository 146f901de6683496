"""Products of tensors, most of them by one call of the module's einsum."""

from . import _numerical
from ._arguments import integer, items, shown
from ._creation import diagonals_of
from ._functions import conj
from ._functions import sum as _sum
from ._native_module import native
from ._promotion import same_dtype
from ._shaping import normalized_axes, ravel, reshape

matmul = native.matmul
_LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"


def _vector(a, b):
    a, b = same_dtype(a, b)
    return ravel(a), ravel(b)


def broadcast_shape(a, b):
    """The shape that two shapes broadcast to; ValueError if they don't."""
    shape = []
    for i in range(-max(len(a), len(b)), 0):
        x = a[i] if -i <= len(a) else 1
        y = b[i] if -i <= len(b) else 1
        if x != y and 1 not in (x, y):
            raise ValueError(
                f"operands could not be broadcast together with shapes {tuple(a)} {tuple(b)}"
            )
        shape.append(y if x == 1 else x)
    return tuple(shape)


@native.shortcut
def dot(a, b):
    """The product of vectors and matrices, as matmul; of numbers, as multiply.

    Parameters
    ----------
    a, b : array_like
        Above rank 2 the last axis of a meets the next to last of b.

    Returns
    -------
    Tensor or number

    Raises
    ------
    ValueError
        If the axes that meet differ.

    Examples
    --------
    >>> nm.dot([1.0, 2.0], [3.0, 4.0])
    11.0
    """
    a, b = same_dtype(a, b)
    if 0 in (a.ndim, b.ndim):
        return _numerical._binary("*", a, b)
    if a.ndim <= 2 and b.ndim <= 2:
        return matmul(a, b)
    return tensordot(a, b, ((a.ndim - 1,), (b.ndim - 2 if b.ndim > 1 else 0,)))


def vdot(a, b):
    """The sum of conj(a)*b over all elements, in row-major order.

    Parameters
    ----------
    a, b : array_like
        Of one size.

    Returns
    -------
    number

    Raises
    ------
    ValueError
        If the sizes differ.

    Examples
    --------
    >>> nm.vdot([1j, 2.0], [1j, 3.0])
    (7+0j)
    """
    x, y = _vector(a, b)
    if x.size != y.size:
        raise ValueError(f"vdot takes operands of one size, not {x.size} and {y.size}")
    return _numerical.einsum("i,i->", conj(x), y).tolist()


def inner(a, b):
    """The sums of products over the last axes of both.

    Parameters
    ----------
    a, b : array_like
        The last axes have one extent; numbers multiply.

    Returns
    -------
    Tensor or number

    Raises
    ------
    ValueError
        If the extents differ.

    Examples
    --------
    >>> nm.inner([[1.0, 2.0], [3.0, 4.0]], [1.0, 1.0])
    Tensor([3.0, 7.0])
    """
    a, b = same_dtype(a, b)
    if 0 in (a.ndim, b.ndim):
        return _numerical._binary("*", a, b)
    result = tensordot(a, b, ((a.ndim - 1,), (b.ndim - 1,)))
    return result if result.ndim else result.tolist()


@native.shortcut
def outer(a, b):
    """The products of all elements of a with all elements of b.

    Parameters
    ----------
    a, b : array_like
        Taken as vectors, in row-major order.

    Returns
    -------
    Tensor, shape (a.size, b.size)

    Examples
    --------
    >>> nm.outer([1.0, 2.0], [3.0, 4.0])
    Tensor([[3.0, 4.0],
            [6.0, 8.0]])
    """
    a, b = same_dtype(a, b)
    column, row = _numerical._reshape(a, (a.size, 1)), _numerical._reshape(b, (1, b.size))
    return _numerical._binary("*", column, row)


def tensordot(a, b, axes=2):
    """The sums of products over some axes of both.

    Parameters
    ----------
    a, b : array_like
    axes : int or pair of sequences of int, optional
        The last `axes` of a and the first of b, or the axes of a and those of b.

    Returns
    -------
    Tensor

    Raises
    ------
    ValueError
        If the axes don't match.

    Examples
    --------
    >>> nm.tensordot([[1.0, 2.0], [3.0, 4.0]], [[1.0, 0.0], [0.0, 1.0]])
    Tensor(5.0)
    >>> nm.tensordot(nm.ones((2, 3)), nm.ones((3, 4)), 1).shape
    (2, 4)
    """
    a, b = same_dtype(a, b)
    from_a, from_b = _summed_axes(a, b, axes)
    if len(from_a) != len(from_b) or any(a.shape[i] != b.shape[j] for i, j in zip(from_a, from_b)):
        raise ValueError(f"tensordot: the axes {axes} of {a.shape} and {b.shape} don't match")
    a_labels = list(_LETTERS[: a.ndim])
    b_labels = list(_LETTERS[a.ndim : a.ndim + b.ndim])
    for i, j in zip(from_a, from_b):
        b_labels[j] = a_labels[i]
    kept = [x for i, x in enumerate(a_labels) if i not in from_a]
    kept += [x for j, x in enumerate(b_labels) if j not in from_b]
    if not from_a:  # products without a sum, which would begin at +0 and lose the sign of a zero
        return _numerical._binary("*", reshape(a, (*a.shape, *[1] * b.ndim)), b)
    return _numerical.einsum(f"{''.join(a_labels)},{''.join(b_labels)}->{''.join(kept)}", a, b)


def _summed_axes(a, b, axes):
    if hasattr(axes, "__index__"):
        count = integer(axes, "axes")
        if not 0 <= count <= min(a.ndim, b.ndim):
            raise ValueError(f"tensordot: {shown(count)} axes of shapes {a.shape} and {b.shape}")
        return range(a.ndim - count, a.ndim), range(count)
    both = items(axes, "axes", "an int or a pair of axes")
    if len(both) != 2:
        raise ValueError(f"tensordot: axes must be an int or a pair, not {len(both)} items")
    return normalized_axes(both[0], a.ndim, "axes"), normalized_axes(both[1], b.ndim, "axes")


@native.shortcut
def kron(a, b):
    """The Kronecker product: every element of a times the whole of b.

    Parameters
    ----------
    a, b : array_like

    Returns
    -------
    Tensor

    Examples
    --------
    >>> nm.kron([[1.0, 2.0]], [[1.0, 10.0]])
    Tensor([[ 1.0, 10.0,  2.0, 20.0]])
    """
    a, b = same_dtype(a, b)
    rank = max(a.ndim, b.ndim)
    a = reshape(a, (1,) * (rank - a.ndim) + a.shape)
    b = reshape(b, (1,) * (rank - b.ndim) + b.shape)
    apart = _numerical._binary(
        "*",
        reshape(a, [extent for x in a.shape for extent in (x, 1)]),
        reshape(b, [extent for y in b.shape for extent in (1, y)]),
    )
    return reshape(apart, [x * y for x, y in zip(a.shape, b.shape)])


@native.shortcut
def trace(a, offset=0, axis1=-2, axis2=-1, dtype=None):
    """The sum of a diagonal of a matrix, of each matrix of a stack.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
    offset : int, optional
        0 for the main diagonal, positive above it, negative below.
    axis1, axis2 : int, optional
        The axes of rows and columns: the last two by default, where numpy.trace takes the first.
    dtype : dtype, optional
        What the elements are converted to first.

    Returns
    -------
    number or Tensor
        A number for one matrix.

    Raises
    ------
    ValueError
        Below rank 2.
    IndexError
        If an axis is out of bounds.

    Examples
    --------
    >>> nm.trace([[1.0, 2.0], [3.0, 4.0]])
    5.0
    """
    if dtype is None and type(axis1) is type(axis2) is int and (axis1, axis2) == (-2, -1):
        return native.trace(a, integer(offset, "offset"))
    return _sum(diagonals_of(a, offset, axis1, axis2, "trace"), -1, dtype=dtype)


@native.shortcut
def multi_dot(tensors):
    """The product of a chain of matrices, in the order of the fewest operations.

    Parameters
    ----------
    tensors : sequence of array_like
        At least two; the first and the last may be vectors.

    Returns
    -------
    Tensor or number
        A number if both ends are vectors.

    Raises
    ------
    ValueError
        If there are fewer than two, one isn't a matrix, or neighbours don't fit.

    Notes
    -----
    The order is found by dynamic programming (Godbole 1973).

    Examples
    --------
    >>> nm.linalg.multi_dot([nm.ones((2, 30)), nm.ones((30, 2)), [1.0, 2.0]])
    Tensor([90.0, 90.0])
    """
    chain = same_dtype(*items(tensors, "tensors", "a sequence of tensors"))
    if len(chain) < 2:
        raise ValueError("multi_dot needs at least two tensors")
    row, column = chain[0].ndim == 1, chain[-1].ndim == 1
    if row:
        chain[0] = reshape(chain[0], (1, chain[0].size))
    if column:
        chain[-1] = reshape(chain[-1], (chain[-1].size, 1))
    if any(matrix.ndim != 2 for matrix in chain):
        raise ValueError("multi_dot takes matrices, and vectors at its ends")
    product = _multiplied(chain, _best_splits(chain), 0, len(chain) - 1)
    shape = product.shape[1 if row else 0 : 1 if column else 2]
    return reshape(product, shape) if shape else product.tolist()[0][0]


def _best_splits(chain):
    """Where to split each part of the chain, by dynamic programming (Godbole 1973)."""
    sizes = [chain[0].shape[0], *(matrix.shape[1] for matrix in chain)]
    count = len(chain)
    cost = [[0] * count for _ in range(count)]
    split = [[0] * count for _ in range(count)]
    for length in range(1, count):
        for i in range(count - length):
            j = i + length
            cost[i][j], split[i][j] = min(
                (cost[i][k] + cost[k + 1][j] + sizes[i] * sizes[k + 1] * sizes[j + 1], k)
                for k in range(i, j)
            )
    return split


def _multiplied(chain, split, first, last):
    if first == last:
        return chain[first]
    middle = split[first][last]
    return matmul(
        _multiplied(chain, split, first, middle), _multiplied(chain, split, middle + 1, last)
    )
