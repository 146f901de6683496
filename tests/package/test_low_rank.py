"""Leading singular values and vectors, exact and from a random sample."""

import math

import numpy as np
import pytest

import numerical as nm
from oracle import normal

LA = nm.linalg
EPS = 2.0**-52
BOTH = pytest.mark.parametrize("dtype", ["float64", "complex128"])


def orthonormal(rows, cols, dtype, seed):
    return np.linalg.qr(normal((rows, cols), dtype, seed))[0]


def with_values(rows, cols, values, dtype="float64", seed=0):
    left = orthonormal(rows, len(values), dtype, seed)
    right = orthonormal(cols, len(values), dtype, seed + 1)
    return left * np.asarray(values) @ right.conj().T


def check_triplets(a, u, s, vh, tolerance):
    k = s.shape[-1]
    np.testing.assert_allclose(
        a @ vh.conj().swapaxes(-1, -2), u * s[..., None, :], rtol=0, atol=tolerance
    )
    for basis in (u, vh.conj().swapaxes(-1, -2)):
        gram = basis.conj().swapaxes(-1, -2) @ basis
        np.testing.assert_allclose(
            gram, np.broadcast_to(np.eye(k), gram.shape), rtol=0, atol=tolerance
        )


@BOTH
@pytest.mark.parametrize("lead", [(), (2,), (0,)])
@pytest.mark.parametrize("shape", [(4, 4), (5, 3), (3, 5), (40, 36), (36, 90)])
def test_leading_triplets_are_those_of_the_whole(shape, lead, dtype):
    a = normal((*lead, *shape), dtype)
    whole = np.linalg.svd(a, compute_uv=False)
    for k in {0, 1, 2, min(shape)}:
        u, s, vh = map(np.asarray, LA.svd(a, k=k))
        assert (u.shape, s.shape, vh.shape) == (
            (*lead, shape[0], k), (*lead, k), (*lead, k, shape[1])
        )  # fmt: skip
        tolerance = 30 * max(shape) * EPS * whole.max(initial=0)
        np.testing.assert_allclose(s, whole[..., :k], rtol=0, atol=tolerance)
        check_triplets(a, u, s, vh, tolerance)
        np.testing.assert_allclose(LA.svdvals(a, k=k), whole[..., :k], rtol=0, atol=tolerance)
        np.testing.assert_allclose(
            LA.svd(a, k=k, compute_uv=False), whole[..., :k], rtol=0, atol=tolerance
        )


@pytest.mark.parametrize(
    "options", [{"hermitian": True}, {"method": "jacobi"}, {"method": "bidiagonal_qr"}]
)
def test_leading_triplets_of_other_methods_are_slices(options):
    a = normal((12, 12))
    a = a + a.T
    whole, part = LA.svd(a, **options), LA.svd(a, k=5, **options)
    assert (part.U == whole.U[:, :5]).all() and (part.S == whole.S[:5]).all()
    assert (part.Vh == whole.Vh[:5]).all()
    assert (LA.svd(a, k=5, compute_uv=False, **options) == whole.S[:5]).all() or options.get(
        "hermitian"
    )


@pytest.mark.parametrize(
    ("call", "kind", "message"),
    [
        (lambda: LA.svd(nm.ones((3, 2)), k=3), ValueError, "k is at most min(M, N) = 2, not 3"),
        (lambda: LA.svd(nm.ones((3, 2)), k=3, method="jacobi"), ValueError, "k is at most min(M, N) = 2, not 3"),
        (lambda: LA.svd(nm.ones((3, 2)), k=-1), ValueError, "k must not be negative, not -1"),
        (lambda: LA.svdvals(nm.ones((3, 2)), k=1.0), TypeError, "k must be an int, not float"),
        (lambda: LA.svd(nm.ones(3), k=1), ValueError, "svd takes a matrix or a stack of them, not a tensor of rank 1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 3), ValueError, "k is at most min(M, N) = 2, not 3"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), -1), ValueError, "k must not be negative, not -1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, oversampling=-1), ValueError,
         "oversampling must not be negative, not -1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, power_iterations=-1), ValueError,
         "power_iterations must not be negative, not -1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, power_iterations=1001), ValueError,
         "power_iterations is at most 1000, not 1001"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, seed=-1), ValueError, "seed is an int from 0 to 2^64 - 1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, seed=2**64), ValueError, "seed is an int from 0 to 2^64 - 1"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, seed=1.0), TypeError, "seed must be an int, not float"),
        (lambda: LA.randomized_svd(nm.ones((3, 2)), 1, generator=7), TypeError,
         "generator must have standard_normal(shape), and int has not"),
        (lambda: LA.randomized_svd(nm.ones(3), 1), ValueError,
         "randomized_svd takes a matrix or a stack of them, not a tensor of rank 1"),
        (lambda: LA.randomized_svd([[math.inf]], 1), nm.error, "SVD: the matrix holds an infinite or NaN entry"),
        (lambda: LA.svd([[math.nan]], k=1), nm.error, "SVD: the matrix holds an infinite or NaN entry"),
    ],
)  # fmt: skip
def test_bad_arguments(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert str(failure.value) == message


def rest_of(a, result):
    """The spectral norm of what the triplets leave of the matrix."""
    u, s, vh = map(np.asarray, result)
    return np.linalg.norm(a - u * s @ vh, 2)


FAMILIES = {
    "geometric": 0.8 ** np.arange(60.0),
    "slow": 1 / (1 + np.arange(60.0)),
    "step": np.r_[np.ones(8), np.full(52, 1e-3)],
    "flat": np.ones(60),
}


@BOTH
@pytest.mark.parametrize("family", FAMILIES)
def test_the_mean_error_keeps_within_the_theory(family, dtype):
    """Without power iterations the range misses at most the bound of theorem 10.6 of Halko,
    Martinsson and Tropp (2011) in the mean, and cutting to rank k the next value more (theorem 9.3).
    """
    values, k, p = FAMILIES[family], 8, 6
    a = with_values(80, 60, values, dtype)
    bound = (1 + math.sqrt(k / (p - 1))) * values[k]
    bound += math.e * math.sqrt(k + p) / p * math.sqrt((values[k:] ** 2).sum())
    errors = [
        rest_of(a, LA.randomized_svd(a, k, oversampling=p, power_iterations=0, seed=seed))
        for seed in range(30)
    ]
    assert np.mean(errors) <= bound + values[k]
    assert min(errors) >= values[k] * (1 - 1e-12)  # no approximation of rank k is better


@BOTH
def test_power_iterations_near_the_best_approximation(dtype):
    values = FAMILIES["slow"]
    a = with_values(80, 60, values, dtype)
    means = [
        np.mean(
            [
                rest_of(a, LA.randomized_svd(a, 8, power_iterations=q, seed=seed))
                for seed in range(10)
            ]
        )
        for q in (0, 1, 2, 4)
    ]
    assert means == sorted(means, reverse=True)
    assert means[-1] <= 1.02 * values[8]


@BOTH
def test_triplets_of_a_sample_are_consistent(dtype):
    a = with_values(50, 40, 0.1 ** np.arange(12.0), dtype)
    u, s, vh = map(np.asarray, LA.randomized_svd(a, 5))
    np.testing.assert_allclose(s, 0.1 ** np.arange(5.0), rtol=1e-12)
    check_triplets(a, u, s, vh, 1e-13)
    assert s.tolist() == sorted(s, reverse=True)


def test_a_seed_has_its_bits_and_another_seed_others():
    a = normal((90, 70))
    seen = set()
    for threads in (1, 2, 3, 64):
        with nm.num_threads(threads):
            seen.add(np.asarray(LA.randomized_svd(a, 6, seed=2**64 - 1).U).tobytes())
    assert len(seen) == 1
    seen.add(np.asarray(LA.randomized_svd(a, 6, seed=5).U).tobytes())
    assert len(seen) == 2


@BOTH
def test_a_generator_draws_the_sample(dtype):
    a = with_values(50, 40, 0.1 ** np.arange(12.0), dtype)
    first = LA.randomized_svd(a, 5, generator=np.random.default_rng(3))
    second = LA.randomized_svd(a, 5, generator=np.random.default_rng(3))
    assert (first.U == second.U).all()
    np.testing.assert_allclose(first.S, 0.1 ** np.arange(5.0), rtol=1e-12)


def test_the_matrices_of_a_stack_share_the_sample():
    a = normal((3, 20, 15))
    u, s, vh = LA.randomized_svd(a, 4, seed=9)
    assert u.shape == (3, 20, 4) and s.shape == (3, 4) and vh.shape == (3, 4, 15)
    for i in range(3):
        single = LA.randomized_svd(a[i], 4, seed=9)
        assert (u[i] == single.U).all() and (s[i] == single.S).all() and (vh[i] == single.Vh).all()


def test_empty_matrices_have_no_triplets():
    for shape in ((0, 3), (3, 0), (2, 0, 3)):
        u, s, vh = LA.randomized_svd(nm.zeros(shape), 0)
        assert u.shape == (*shape[:-1], 0) and s.shape == (*shape[:-2], 0)
        assert vh.shape == (*shape[:-2], 0, shape[-1])
        u, s, vh = LA.svd(nm.zeros(shape), k=0)
        assert u.shape == (*shape[:-1], 0) and vh.shape == (*shape[:-2], 0, shape[-1])
