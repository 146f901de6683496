"""Covariances and correlations of observations."""

from ._arguments import real
from ._conversion import asarray
from ._functions import clip, conj, divide, mean, real as real_part, sqrt
from ._products import matmul
from ._shaping import concatenate, reshape
from ._creation import diagonal


def cov(m, y=None, rowvar=True, bias=False, ddof=None):
    """The covariance matrix of variables.

    Parameters
    ----------
    m : array_like, shape (N,) or (K, N)
        N observations of each variable, in rows.
    y : array_like, optional
        More variables, as m.
    rowvar : bool, optional
        If false, each variable is a column.
    bias : bool, optional
        Whether to divide by N, and not by N - 1.
    ddof : float, optional
        Divides by N - ddof, whatever bias is.

    Returns
    -------
    Tensor, shape (K, K), or number
        Hermitian; a number for one variable.

    Raises
    ------
    ValueError
        Above rank 2.

    Examples
    --------
    >>> nm.cov([[1.0, 2.0, 3.0], [2.0, 4.0, 6.0]])
    Tensor([[1.0, 2.0],
            [2.0, 4.0]])
    """
    variables = _rows(m, rowvar)
    if y is not None:
        variables = concatenate([variables, _rows(y, rowvar)])
    taken = (0.0 if bias else 1.0) if ddof is None else real(ddof, "ddof")
    away = variables - mean(variables, 1, keepdims=True)
    count = max(variables.shape[1] - taken, 0.0)
    result = divide(matmul(away, conj(away).T), count)
    return result if result.shape != (1, 1) else result[0, 0]


def _rows(m, rowvar):
    m = asarray(m)
    if m.ndim > 2:
        raise ValueError(f"cov takes a vector or a matrix, not a tensor of rank {m.ndim}")
    if m.ndim < 2:
        return reshape(m, (1, m.size))
    return m if rowvar or m.shape[0] == 1 else m.T


def corrcoef(x, y=None, rowvar=True):
    """The matrix of correlation coefficients of variables.

    Parameters
    ----------
    x : array_like, shape (N,) or (K, N)
        N observations of each variable, in rows.
    y : array_like, optional
        More variables, as x.
    rowvar : bool, optional
        If false, each variable is a column.

    Returns
    -------
    Tensor, shape (K, K), or number
        Parts are kept within [-1, 1]; a number for one variable.

    Raises
    ------
    ValueError
        Above rank 2.

    Examples
    --------
    >>> nm.corrcoef([[1.0, 2.0, 3.0], [3.0, 2.0, 1.0]])
    Tensor([[ 1.0, -1.0],
            [-1.0,  1.0]])
    """
    covariance = cov(x, y, rowvar)
    if not hasattr(covariance, "ndim"):
        return covariance / covariance if covariance else float("nan")
    deviations = sqrt(real_part(diagonal(covariance)))
    result = covariance / deviations[:, None] / deviations[None, :]
    if result.dtype == "float64":
        return clip(result, -1.0, 1.0)
    return clip(result.real, -1.0, 1.0) + 1j * clip(result.imag, -1.0, 1.0)
