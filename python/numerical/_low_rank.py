"""Leading singular values and vectors, exactly or from a random sample."""

from ._arguments import count, integer, shown
from ._conversion import asarray
from ._matrices import SVDResult, matrices
from ._native_module import native


def randomized_svd(a, k, *, oversampling=10, power_iterations=2, seed=0, generator=None):
    """SVDResult(U, S, Vh) of about the k leading singular values, from a random sample of the range.

    In few passes over a, of which svd makes many: the method of Halko, Martinsson and Tropp (2011),
    good where the singular values fall off. Where all must be right, svd(a, k=k) is exact.

    Parameters
    ----------
    a : (..., M, N)
        The matrices of a stack share their sample.
    k : int
        How many, at most min(M, N). U is (..., M, k), S (..., k) and Vh (..., k, N).
    oversampling : int
        The sample has k + oversampling columns, as far as the matrix has.
    power_iterations : int
        Passes with the matrix and its adjoint that make large values stand out. The norm of what is
        left out comes within a factor of the next singular value that falls towards 1 with each.
    seed : int from 0 to 2**64 - 1
        The same seed gives the same bits at every number of threads.
    generator : object with standard_normal(shape), optional
        Draws the sample instead, for example numpy.random.default_rng(0).

    Raises
    ------
    ValueError
        For k beyond min(M, N), negative counts and a seed out of its range.

    Examples
    --------
    >>> import numerical as nm
    >>> a = nm.outer(nm.arange(5.0), nm.arange(4.0))
    >>> u, s, vh = nm.linalg.randomized_svd(a, 1)
    >>> bool(nm.allclose(u * s @ vh, a))
    True
    """
    a = matrices(a, "randomized_svd")
    k, oversampling = count(k, "k"), count(oversampling, "oversampling")
    power_iterations = count(power_iterations, "power_iterations")
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
