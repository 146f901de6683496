"""Common to the functions of matrices: checks of operands, and parts of them."""

from . import _numerical
from ._conversion import asarray
from ._shaping import swapaxes


def matrices(a, name, square_only=False):
    a = asarray(a)
    if a.ndim < 2:
        raise ValueError(f"{name} takes a matrix or a stack of them, not a tensor of rank {a.ndim}")
    if square_only and a.shape[-1] != a.shape[-2]:
        raise ValueError(f"{name} takes square matrices, not shape {a.shape}")
    return a


def item_of_first_axis(t, i):
    """t[i] as a tensor, of rank 0 for a vector t."""
    rest = t.ndim - 1
    return _numerical._take(
        t, (i, *[0] * rest), (1,) * t.ndim, (1, *t.shape[1:]), (0, *[1] * rest)
    )  # fmt: skip


def matrix_transpose(x):
    """The matrices with their last two axes exchanged, without conjugation.

    Parameters
    ----------
    x : array_like, shape (..., M, N)

    Returns
    -------
    Tensor, shape (..., N, M)

    Raises
    ------
    ValueError
        Below rank 2.

    Examples
    --------
    >>> nm.matrix_transpose([[1.0, 2.0], [3.0, 4.0]])
    Tensor([[1.0, 3.0],
            [2.0, 4.0]])
    """
    return swapaxes(matrices(x, "matrix_transpose"), -2, -1)
