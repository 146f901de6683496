"""Leading singular values and vectors, exactly or from a random sample."""

from ._arguments import count, integer, shown
from ._conversion import asarray
from ._matrices import matrices
from ._native_module import native
from ._results import SVDResult

MOST_ITERATIONS = 1000  # far beyond what changes a digit


def randomized_svd(a, k, *, oversampling=10, power_iterations=2, seed=0, generator=None):
    """About the k leading singular values and vectors, from a random sample of the range.

    Parameters
    ----------
    a : array_like, shape (..., M, N)
        The matrices of a stack share their sample.
    k : int
        How many, at most min(M, N).
    oversampling : int, optional
        The sample has k + oversampling columns, as far as the matrix has.
    power_iterations : int, optional
        Products with the matrix and its adjoint that make large values stand out. The norm of what is
        left out comes within a factor of the next singular value that falls towards 1 with each. At
        most 1000.
    seed : int, optional
        From 0 to 2**64 - 1. The same seed gives the same bits at every number of threads.
    generator : object, optional
        With a method standard_normal(shape), which draws the sample instead of the seed's numbers, for
        example numpy.random.default_rng(0).

    Returns
    -------
    SVDResult
        U of shape (..., M, k), S (..., k) and Vh (..., k, N), with orthonormal columns of U and rows of
        Vh.

    Raises
    ------
    ValueError
        Below rank 2, for k beyond min(M, N), negative counts and a seed out of its range.
    TypeError
        If the generator has no standard_normal.
    numerical.error
        If a matrix isn't finite, or an iteration doesn't converge.

    Notes
    -----
    Subspace iteration (Halko, Martinsson and Tropp 2011), a few passes over a matrix of which svd makes
    many: good where the singular values fall off. Where all must be right, svd(a, k=k) is exact.

    Examples
    --------
    >>> a = nm.outer(nm.arange(5.0), nm.arange(4.0))
    >>> u, s, vh = nm.linalg.randomized_svd(a, 1)
    >>> nm.allclose(u * s @ vh, a)
    True
    """
    a = matrices(a, "randomized_svd")
    k, oversampling = count(k, "k"), count(oversampling, "oversampling")
    power_iterations = count(power_iterations, "power_iterations")
    if power_iterations > MOST_ITERATIONS:
        raise ValueError(
            f"power_iterations is at most {MOST_ITERATIONS}, not {shown(power_iterations)}"
        )
    least = min(a.shape[-2:])
    if k > least:
        raise ValueError(f"k is at most min(M, N) = {least}, not {shown(k)}")
    shape = (a.shape[-1], min(k + oversampling, least))
    draw = _own_numbers(seed) if generator is None else _numbers_of(generator)
    sample = draw(shape) if a.dtype == "float64" else _complex_numbers(draw, shape)
    return SVDResult(*native.randomized_svd(a, sample, k, power_iterations))


def _own_numbers(seed):
    seed = integer(seed, "seed")
    return lambda shape: native.standard_normal(seed, shape)


def _numbers_of(generator):
    if not hasattr(generator, "standard_normal"):
        raise TypeError(
            f"generator must have standard_normal(shape), and {type(generator).__name__} has not"
        )
    return lambda shape: asarray(generator.standard_normal(shape))


def _complex_numbers(draw, shape):
    """Real and imaginary parts from one draw, so that they are independent."""
    both = draw((2, *shape))
    return both[0] + 1j * both[1]


def leading_svd(a, k):
    """SVDResult of the k leading values of matrices, exactly."""
    return SVDResult(*native.leading_svd(a, count(k, "k")))
