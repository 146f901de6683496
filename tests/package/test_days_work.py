"""A day's linear algebra, each program written once for NumPy and run as it stands with numerical.

The only concession is `put`: tensors are immutable, so that where NumPy assigns to an index
numerical makes a changed copy by t.at[index].set(values).
"""

import numpy as np
import pytest

import numerical as nm


def put(a, index, values):
    """a with a[index] = values."""
    if isinstance(a, nm.Tensor):
        return a.at[index].set(values)
    a = a.copy()
    a[index] = values
    return a


def numbers(*shape, seed=0):
    return np.random.default_rng(seed).standard_normal(shape)


def polynomial_fit(xp):
    x = xp.linspace(-1, 1, 40)
    noise = xp.asarray(numbers(40)) * 0.01
    y = 1 + 2 * x - 3 * x**2 + noise
    powers = xp.vander(x, 4, increasing=True)
    coefficients, residuals, rank, values = xp.linalg.lstsq(powers, y, rcond=None)
    fitted = powers @ coefficients
    return coefficients, residuals, rank, values, xp.std(y - fitted, ddof=4), xp.corrcoef(y, fitted)


def principal_components(xp):
    data = xp.asarray(numbers(60, 5) @ np.diag([5.0, 3, 1, 0.5, 0.1]))
    centred = data - data.mean(axis=0)
    covariance = xp.cov(centred, rowvar=False)
    values, vectors = xp.linalg.eigh(covariance)
    order = xp.argsort(values)[::-1]
    values, vectors = values[order], vectors[:, order]
    signs = xp.sign(vectors[xp.argmax(xp.abs(vectors), axis=0), list(range(5))])
    scores = centred @ (vectors * signs)
    share = xp.cumsum(values) / xp.sum(values)
    return values, scores[:, :2], share, xp.searchsorted(share, 0.95)


def kalman_filter(xp):
    dt = 0.1
    step = xp.array([[1.0, dt], [0.0, 1.0]])
    drift, measured, spread = 0.01 * xp.eye(2), xp.array([[1.0, 0.0]]), xp.array([[0.25]])
    state, covariance = xp.zeros((2, 1)), xp.eye(2)
    track = []
    for k, noise in enumerate(numbers(30)):
        state, covariance = step @ state, step @ covariance @ step.T + drift
        gain = covariance @ measured.T @ xp.linalg.inv(measured @ covariance @ measured.T + spread)
        state = state + gain @ (xp.array([[0.3 * k + noise]]) - measured @ state)
        covariance = (xp.eye(2) - gain @ measured) @ covariance
        track.append(state.ravel())
    track = xp.stack(track)
    return track, covariance, xp.diff(track[:, 0]).mean(), track.max(axis=0)


def spectral_clustering(xp):
    points = xp.asarray(np.concatenate([numbers(10, 2) * 0.1, numbers(12, 2, seed=1) * 0.1 + 3.0]))
    gaps = points[:, None, :] - points[None, :, :]
    distances = xp.sqrt(xp.sum(gaps**2, axis=-1))
    weights = xp.where(distances < 1.5, xp.exp(-(distances**2)), 0.0) - xp.eye(22)
    degrees = weights.sum(axis=1)
    scale = 1.0 / xp.sqrt(xp.maximum(degrees, 1e-12))
    laplacian = xp.eye(22) - scale[:, None] * weights * scale[None, :]
    values, vectors = xp.linalg.eigh(laplacian)
    halves = xp.abs(vectors[:, :2] @ vectors[0, :2]) > 1e-6
    (members,) = xp.nonzero(halves)
    return (
        xp.count_nonzero(values < 1e-8),
        members,
        points[members].mean(axis=0),
        xp.any(halves, axis=0),
    )


def gaussian_process(xp):
    x, inputs = xp.linspace(0, 5, 20), xp.linspace(-1, 6.5, 33)
    y = xp.sin(x) + 0.1 * xp.asarray(numbers(20))

    def kernel(a, b):
        return xp.exp(-0.5 * (a[:, xp.newaxis] - b[xp.newaxis, :]) ** 2)

    factor = xp.linalg.cholesky(kernel(x, x) + 0.01 * xp.eye(20))
    weights = xp.linalg.solve(factor.T, xp.linalg.solve(factor, y))
    cross = kernel(inputs, x)
    reduced = xp.linalg.solve(factor, cross.T)
    variance = xp.clip(1.0 - xp.sum(reduced**2, axis=0), 0.0, None)
    evidence = -0.5 * y @ weights - xp.sum(xp.log(xp.diagonal(factor))) - 10 * xp.log(2 * xp.pi)
    return cross @ weights, variance, evidence, xp.argmax(variance)


def page_rank(xp):
    links = xp.asarray((np.random.default_rng(3).random((12, 12)) < 0.25).astype(float))
    degrees = links.sum(axis=1, keepdims=True)
    walk = xp.where(degrees > 0, links / xp.where(degrees > 0, degrees, 1.0), 1 / 12)
    rank = xp.full(12, 1 / 12)
    for _ in range(60):
        rank = 0.85 * rank @ walk + 0.15 / 12
    order = xp.argsort(-rank)
    return rank, order[:5], xp.isclose(rank.sum(), 1.0), rank[order]


def stationary_distribution(xp):
    chain = xp.array([[0.9, 0.1, 0.0], [0.2, 0.7, 0.1], [0.0, 0.3, 0.7]])
    system = xp.vstack([chain.T - xp.eye(3), xp.ones((1, 3))])
    distribution = xp.linalg.lstsq(system, xp.array([0.0, 0, 0, 1]), rcond=None)[0]
    power = xp.linalg.matrix_power(chain, 200)
    return (
        distribution,
        power[0],
        xp.allclose(power, distribution),
        xp.linalg.det(chain),
        xp.trace(chain),
    )


def procrustes(xp):
    shape = xp.asarray(numbers(15, 3))
    turn, _ = xp.linalg.qr(xp.asarray(numbers(3, 3, seed=1)))
    other = 2.0 * shape @ turn + xp.array([1.0, -2.0, 0.5])
    a, b = shape - shape.mean(axis=0), other - other.mean(axis=0)
    u, s, vh = xp.linalg.svd(a.T @ b)
    rotation, scale = u @ vh, s.sum() / xp.sum(a**2)
    return rotation - turn, scale, xp.linalg.norm(scale * a @ rotation - b)


def whitening(xp):
    data = xp.asarray(numbers(200, 4) @ numbers(4, 4, seed=1))
    data = data - xp.mean(data, axis=0, keepdims=True)
    values, vectors = xp.linalg.eigh(xp.cov(data.T))
    white = data @ (vectors / xp.sqrt(values)) @ vectors.T
    return white, xp.cov(white.T), xp.round(white.std(axis=0, ddof=1), 8), xp.var(white, axis=0)


def quantum_circuit(xp):
    hadamard = xp.array([[1.0, 1.0], [1.0, -1.0]]) / xp.sqrt(2.0)
    phase = xp.diag(xp.exp(1j * xp.array([0.0, xp.pi / 4])))
    exchange = xp.array([[1.0, 0, 0, 0], [0, 1, 0, 0], [0, 0, 0, 1], [0, 0, 1, 0]]).reshape(
        2, 2, 2, 2
    )
    state = xp.zeros((2, 2, 2), dtype=complex)
    state = put(state, (0, 0, 0), 1.0)
    for qubit in range(3):
        state = xp.moveaxis(xp.tensordot(hadamard, state, axes=(1, qubit)), 0, qubit)
        state = xp.moveaxis(xp.tensordot(phase, state, axes=(1, qubit)), 0, qubit)
    state = xp.einsum("abcd,cde->abe", exchange, state, optimize=True)
    state = xp.einsum(hadamard, [0, 1], state, [2, 1, 3], [2, 0, 3])
    density = xp.outer(state, state.conj())
    return state, xp.abs(state) ** 2, xp.vdot(state, state).real, xp.trace(density).real


def poisson_equation(xp):
    n = 9
    second = 2 * xp.eye(n) - xp.eye(n, k=1) - xp.eye(n, k=-1)
    laplacian = xp.kron(second, xp.eye(n)) + xp.kron(xp.eye(n), second)
    points = xp.linspace(0, 1, n + 2)[1:-1]
    x, y = xp.meshgrid(points, points)
    source = xp.sin(xp.pi * x) * xp.sin(xp.pi * y) * (points[1] - points[0]) ** 2
    solution = xp.linalg.solve(laplacian, source.ravel()).reshape(n, n)
    grid = xp.zeros((n + 2, n + 2))
    grid = put(grid, (slice(1, -1), slice(1, -1)), solution)
    return grid, xp.max(grid), xp.argmax(grid), xp.flip(grid, axis=0), xp.roll(grid, 1, axis=1)


def power_iteration(xp):
    matrix = xp.asarray(numbers(8, 8))
    matrix = matrix @ matrix.T
    vector = xp.ones(8)
    for step in range(5000):
        following = matrix @ vector
        following = following / xp.linalg.norm(following)
        if xp.max(xp.abs(following - vector)) < 1e-14:
            break
        vector = following
    value = vector @ matrix @ vector
    return value, vector, xp.linalg.eigvalsh(matrix)[-1] - value, xp.all(xp.isfinite(vector))


def image_compression(xp):
    y, x = xp.meshgrid(xp.linspace(0, 3, 30), xp.linspace(0, 2, 20))
    picture = xp.sin(x * y) + xp.floor(2 * x) / 5
    u, s, vh = xp.linalg.svd(picture, full_matrices=False)
    energy = xp.cumsum(s**2) / xp.sum(s**2)
    rank = int(xp.searchsorted(energy, 0.999)) + 1
    compressed = (u[:, :rank] * s[:rank]) @ vh[:rank]
    return rank, s, compressed, xp.linalg.norm(picture - compressed) / xp.linalg.norm(picture)


def batched_solves(xp):
    matrices = xp.asarray(numbers(20, 4, 4)) + 5 * xp.eye(4)
    right = xp.asarray(numbers(20, 4, 2, seed=1))
    solutions = xp.linalg.solve(matrices, right)
    missed = xp.abs(matrices @ solutions - right).max(axis=(1, 2))
    signs, logarithms = xp.linalg.slogdet(matrices)
    return (
        solutions,
        missed < 1e-12,
        signs,
        logarithms,
        xp.argsort(logarithms),
        xp.linalg.inv(matrices),
    )


def sparse_regression(xp):
    features = xp.asarray(numbers(50, 10))
    boolean = xp.concatenate([xp.array([3.0, -2.0, 1.5]), xp.zeros(7)])
    target = features @ boolean + 0.1 * xp.asarray(numbers(50, seed=1))
    ridge = xp.linalg.solve(features.T @ features + 0.1 * xp.eye(10), features.T @ target)
    step = 1 / xp.linalg.norm(features, 2) ** 2
    weights = xp.zeros(10)
    for _ in range(300):
        weights = weights - step * (features.T @ (features @ weights - target))
        weights = xp.sign(weights) * xp.maximum(xp.abs(weights) - 2.0 * step, 0)
    (chosen,) = xp.where(xp.abs(weights) > 1e-8)
    return ridge, weights, chosen, weights[xp.abs(weights) > 1e-8], xp.split(weights, 2)[0]


PROGRAMS = [
    polynomial_fit, principal_components, kalman_filter, spectral_clustering, gaussian_process, page_rank,
    stationary_distribution, procrustes, whitening, quantum_circuit, poisson_equation, power_iteration,
    image_compression, batched_solves, sparse_regression,
]  # fmt: skip


@pytest.mark.parametrize("program", PROGRAMS, ids=lambda program: program.__name__)
def test_a_program_written_for_numpy_runs(program):
    for ours, theirs in zip(program(nm), program(np), strict=True):
        ours, theirs = np.asarray(ours), np.asarray(theirs)
        assert ours.shape == theirs.shape
        np.testing.assert_allclose(ours, theirs, rtol=1e-9, atol=1e-10)
