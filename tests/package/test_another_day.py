"""More programs as people write them for NumPy, run as they stand: filters, chains, transforms.

As in test_days_work, `put` is the only concession to immutable tensors.
"""

import numpy as np
import pytest

import numerical as nm
from test_days_work import numbers, put


def kalman_smoother(xp):
    step, noise, spread = xp.array([[1.0, 1.0], [0.0, 1.0]]), 0.05 * xp.eye(2), 0.5
    measured = xp.array([1.0, 0.0])
    means, covariances, predicted = [], [], []
    mean, covariance = xp.zeros(2), 10 * xp.identity(2)
    for k, error in enumerate(numbers(25)):
        mean, covariance = step.dot(mean), step.dot(covariance).dot(step.T) + noise
        predicted.append((mean, covariance))
        innovation = 0.5 * k + error - measured @ mean
        gain = covariance @ measured / (measured @ covariance @ measured + spread)
        mean = mean + gain * innovation
        covariance = covariance - xp.outer(gain, measured @ covariance)
        means.append(mean)
        covariances.append(covariance)
    smooth, width = means[-1], covariances[-1]
    path = [smooth]
    for k in range(len(means) - 2, -1, -1):
        ahead, ahead_covariance = predicted[k + 1]
        back = xp.linalg.solve(ahead_covariance, step @ covariances[k]).T
        smooth = means[k] + back @ (smooth - ahead)
        width = covariances[k] + back @ (width - ahead_covariance) @ back.T
        path.insert(0, smooth)
    path = xp.array(path)
    return path, width, xp.diff(path, axis=0).std(axis=0), xp.linalg.eigvalsh(width) > 0


def linear_discriminants(xp):
    groups = [
        xp.asarray(numbers(20, 4, seed=i) + centre)
        for i, centre in enumerate((0, 1.5, [3, 0, 0, -2]))
    ]
    data, labels = xp.concatenate(groups), xp.repeat(xp.arange(3), 20)
    overall = data.mean(axis=0)
    within, between = xp.zeros((4, 4)), xp.zeros((4, 4))
    for label in range(3):
        members = data[labels == label]
        centre = members.mean(axis=0)
        within += (members - centre).T @ (members - centre)
        between += len(members) * xp.outer(centre - overall, centre - overall)
    values, vectors = xp.linalg.eig(xp.linalg.inv(within) @ between)
    order = xp.argsort(-values.real)[:2]
    directions = vectors.real[:, order]
    directions = directions * xp.sign(directions[0])
    scores = (data - overall) @ directions
    centres = xp.stack([scores[labels == label].mean(axis=0) for label in range(3)])
    nearest = xp.argmin(((scores[:, None] - centres[None]) ** 2).sum(axis=-1), axis=1)
    return (
        values.real[order],
        directions / xp.linalg.norm(directions, axis=0),
        xp.mean(nearest == labels),
    )


def ridge_path(xp):
    features, target = xp.asarray(numbers(40, 6)), xp.asarray(numbers(40, seed=1))
    u, s, vt = xp.linalg.svd(features, full_matrices=False)
    penalties = 10.0 ** xp.linspace(-3, 3, 13)
    shrunk = s[:, None] / (s[:, None] ** 2 + penalties)
    path = vt.T @ (shrunk * (u.T @ target)[:, None])
    freedom = (s[:, None] ** 2 / (s[:, None] ** 2 + penalties)).sum(axis=0)
    misfits = ((target[:, None] - features @ path) ** 2).mean(axis=0)
    score = misfits / (1 - freedom / 40) ** 2
    best = int(xp.argmin(score))
    return path, freedom, penalties[best], xp.sort(score)[:3], path[:, best].round(6)


def gram_schmidt(xp):
    a = xp.asarray(numbers(8, 5))
    q, r = xp.zeros((8, 0)), xp.zeros((5, 5))
    for j in range(a.shape[1]):
        v = a[:, j]
        for _ in range(2):
            projection = q.T @ v
            v = v - q @ projection
            r = put(r, (slice(0, j), j), r[:j, j] + projection)
        r = put(r, (j, j), xp.linalg.norm(v))
        q = xp.hstack([q, (v / r[j, j]).reshape(-1, 1)])
    return q, r, xp.abs(q.T @ q - xp.eye(5)).max() < 1e-14, xp.allclose(q @ r, a), xp.triu(r) - r


def conjugate_gradients(xp):
    n = 30
    main, off = xp.ones(n) * 2.1, -xp.ones(n - 1)
    matrix = xp.diag(main) + xp.diag(off, 1) + xp.diag(off, k=-1)
    b = xp.sin(xp.arange(n))
    x = xp.zeros_like(b)
    r = b - matrix @ x
    p, history = r.copy(), [xp.linalg.norm(r)]
    while history[-1] > 1e-12 * history[0]:
        ap = matrix @ p
        alpha = (r @ r) / (p @ ap)
        x, following = x + alpha * p, r - alpha * ap
        p = following + (following @ following) / (r @ r) * p
        r = following
        history.append(xp.linalg.norm(r))
    return (
        x,
        xp.linalg.cond(matrix),
        xp.array(history[:5]),
        xp.abs(xp.linalg.solve(matrix, b) - x).max() < 1e-10,
    )


def markov_chain(xp):
    weights = xp.abs(xp.asarray(numbers(6, 6)))
    chain = weights / weights.sum(axis=1)[:, xp.newaxis]
    values, vectors = xp.linalg.eig(chain.T)
    place = xp.argmax(values.real)
    stationary = xp.real(vectors[:, place])
    stationary = stationary / stationary.sum()
    reach = xp.linalg.inv(xp.eye(6) - chain + xp.ones((6, 1)) * stationary)
    passage = (xp.diag(reach)[None, :] - reach) / stationary
    entropy = -xp.sum(stationary[:, None] * chain * xp.log2(chain))
    gaps = xp.sort(xp.abs(values))[::-1]
    return stationary, xp.isclose(stationary @ chain, stationary).all(), passage, entropy, gaps[1]


def dynamic_modes(xp):
    t = xp.linspace(0, 4 * xp.pi, 81)
    x = xp.linspace(-3, 3, 25)
    space, time = xp.meshgrid(x, t, indexing="ij")
    field = xp.exp(-(space**2)) * xp.exp(2.3j * time) + xp.tanh(space) / xp.cosh(space) * xp.exp(
        -0.7j * time
    )
    before, after = field[:, :-1], field[:, 1:]
    u, s, vh = xp.linalg.svd(before, full_matrices=False)
    rank = xp.count_nonzero(s > 1e-8 * s[0])
    u, s, v = u[:, :rank], s[:rank], vh[:rank].conj().T
    reduced = u.conj().T @ after @ v / s
    values, vectors = xp.linalg.eig(reduced)
    frequencies = xp.log(values) / (t[1] - t[0])
    order = xp.argsort(frequencies.imag)
    modes = after @ (v / s) @ vectors
    amplitudes = xp.linalg.lstsq(modes, field[:, 0], rcond=None)[0]
    rebuilt = modes @ (amplitudes[:, None] * xp.vander(values, 81, increasing=True))
    return rank, frequencies[order].imag, xp.abs(rebuilt - field).max() < 1e-9


def blurred_image(xp):
    n = 24
    row = xp.exp(-0.5 * (xp.arange(n) / 1.5) ** 2)
    places = xp.abs(xp.arange(n)[:, None] - xp.arange(n)[None, :])
    blur = xp.exp(-0.5 * (places / 1.5) ** 2)
    blur = blur / blur.sum(axis=1, keepdims=True)
    image = xp.zeros((n, n))
    image = put(image, (slice(6, 18), slice(8, 12)), 1.0)
    image = put(image, (slice(10, 14), slice(4, 20)), 1.0)
    blurred = blur @ image @ blur.T + 1e-4 * xp.asarray(numbers(n, n))
    u, s, vt = xp.linalg.svd(blur)
    filtered = s / (s**2 + 1e-6)
    inverse = (vt.T * filtered) @ u.T
    sharp = xp.clip(inverse @ blurred @ inverse.T, 0, 1)
    return (
        row[:3],
        blurred,
        sharp,
        xp.mean((sharp > 0.5) == (image > 0.5)) > 0.9,
        xp.where(image[10] > 0)[0],
    )


def multidimensional_scaling(xp):
    points = xp.asarray(numbers(12, 2))
    squared = xp.sum(points**2, axis=1)
    distances = xp.maximum(squared[:, None] + squared[None, :] - 2 * points @ points.T, 0)
    centring = xp.eye(12) - xp.ones((12, 12)) / 12
    values, vectors = xp.linalg.eigh(-0.5 * centring @ distances @ centring)
    embedded = vectors[:, ::-1][:, :2] * xp.sqrt(values[::-1][:2])
    again = xp.linalg.norm(embedded[:, None, :] - embedded[None, :, :], axis=2)
    upper = xp.triu(again, 1)
    return values[::-1][:2], again**2 - distances, upper[upper > 0].size, xp.sum(values > 1e-10)


def independent_components(xp):
    t = xp.linspace(0, 8, 400)
    sources = xp.stack([xp.sin(2 * t), xp.sign(xp.sin(3 * t)), (2 * t) % 1])
    sources = (sources - sources.mean(axis=1, keepdims=True)) / sources.std(axis=1, keepdims=True)
    mixed = xp.array([[1.0, 1, 1], [0.5, 2, 1], [1.5, 1, 2]]) @ sources
    mixed = mixed - mixed.mean(axis=1)[:, None]
    values, vectors = xp.linalg.eigh(xp.cov(mixed))
    white = xp.diag(1 / xp.sqrt(values)) @ vectors.T @ mixed
    unmixing = xp.eye(3)
    for _ in range(60):
        projected = xp.tanh(unmixing @ white)
        unmixing = projected @ white.T / 400 - xp.diag((1 - projected**2).mean(axis=1)) @ unmixing
        u, _, vh = xp.linalg.svd(unmixing)
        unmixing = u @ vh
    match = xp.abs(xp.corrcoef(unmixing @ white, sources)[:3, 3:])
    return xp.sort(match.max(axis=0)), match.max(axis=1) > 0.9, xp.cov(white)


def hidden_chain(xp):
    step = xp.array([[0.95, 0.05], [0.1, 0.9]])
    emit = xp.array([[1 / 6] * 6, [0.1] * 5 + [0.5]])
    rolls = np.random.default_rng(2).integers(0, 6, 60).tolist()
    forward, scales = xp.empty((60, 2)), []
    belief = xp.array([0.5, 0.5])
    for k, roll in enumerate(rolls):
        belief = (belief @ step if k else belief) * emit[:, roll]
        scales.append(belief.sum())
        belief = belief / scales[-1]
        forward = put(forward, k, belief)
    backward, later = xp.ones(2), []
    for k in range(59, -1, -1):
        later.append(backward)
        backward = step @ (emit[:, rolls[k]] * backward) / scales[k]
    posterior = forward * xp.array(later[::-1])
    posterior = posterior / posterior.sum(axis=1, keepdims=True)
    best, pointers = xp.log(0.5 * emit[:, rolls[0]]), []
    for roll in rolls[1:]:
        ways = best[:, None] + xp.log(step)
        pointers.append(xp.argmax(ways, axis=0))
        best = ways.max(axis=0) + xp.log(emit[:, roll])
    state = int(xp.argmax(best))
    path = [state]
    for pointer in pointers[::-1]:
        state = int(pointer[state])
        path.append(state)
    return xp.sum(xp.log(xp.array(scales))), posterior, xp.array(path[::-1]), xp.max(best)


def fourier_by_matrices(xp):
    n = 48
    places = xp.arange(n)
    transform = xp.exp(-2j * xp.pi * xp.outer(places, places) / n)
    signal = xp.cos(2 * xp.pi * 5 * places / n) + 0.5 * xp.sin(2 * xp.pi * 11 * places / n)
    spectrum = transform @ signal
    power = xp.abs(spectrum[: n // 2]) ** 2 / n
    peaks = xp.sort(xp.argsort(power)[-2:])
    kernel = xp.zeros(n)
    kernel = put(kernel, [0, 1, -1], [0.5, 0.25, 0.25])
    smooth = (transform.conj() @ (spectrum * (transform @ kernel)) / n).real
    direct = 0.5 * signal + 0.25 * (xp.roll(signal, 1) + xp.roll(signal, -1))
    unitary = transform / xp.sqrt(n)
    return spectrum, power, peaks, smooth - direct, unitary @ unitary.conj().T, power[peaks].sum()


def quantum_walk(xp):
    n, steps = 41, 15
    coin = xp.array([[1, 1j], [1j, 1]]) / 2**0.5
    state = xp.zeros((2, n), dtype="complex128")
    state = put(state, (slice(None), n // 2), xp.array([1, 0]))
    for _ in range(steps):
        state = coin @ state
        state = xp.stack((xp.roll(state[0], -1), xp.roll(state[1], 1)))
    likely = (xp.abs(state) ** 2).sum(axis=0)
    x = xp.arange(n) - n // 2
    mean = (likely * x).sum()
    spread = xp.sqrt(xp.sum(likely * x**2) - mean**2)
    entangled = state @ state.conj().T
    values = xp.linalg.eigvalsh(entangled)
    return (
        likely,
        mean,
        spread,
        xp.isclose(likely.sum(), 1),
        -xp.sum(values * xp.log(values)),
        x[likely > 0.05],
    )


def page_rank_with_dangling_nodes(xp):
    links = {0: [1, 2], 1: [2], 2: [0], 3: [0, 2], 4: [], 5: [4, 3]}
    adjacency = xp.zeros((6, 6))
    for page, targets in links.items():
        for target in targets:
            adjacency = put(adjacency, (page, target), 1)
    out = adjacency.sum(axis=1)
    dangling = out == 0
    chain = adjacency / xp.where(dangling, 1, out)[:, None]
    rank, rounds, change = xp.ones(6) / 6, 0, xp.inf
    while change > 1e-12:
        following = 0.85 * (chain.T @ rank + rank[dangling].sum() / 6) + 0.15 / 6
        change, rank, rounds = xp.abs(following - rank).sum(), following, rounds + 1
    (lost,) = xp.nonzero(dangling)
    return (
        rank,
        rounds,
        lost,
        xp.argsort(rank)[::-1],
        xp.allclose(rank.sum(), 1),
        xp.any(dangling),
        ~dangling,
    )


def newtons_method(xp):
    def residual(z):
        x, y, w = z
        return xp.array([x**2 + y**2 + w**2 - 3, x * y - w, xp.exp(x) - y - w + 1 - xp.e])

    def jacobian(z):
        x, y, w = z
        return xp.array([[2 * x, 2 * y, 2 * w], [y, x, -1], [xp.exp(x), -1, -1]])

    z, sizes = xp.array([1.4, 0.8, 0.9]), []
    for _ in range(20):
        r = residual(z)
        sizes.append(xp.max(xp.abs(r)))
        if sizes[-1] < 1e-13:
            break
        z = z - xp.linalg.solve(jacobian(z), r)
    step = 1e-6
    differences = xp.column_stack(
        [(residual(z + step * e) - residual(z - step * e)) / (2 * step) for e in xp.eye(3)]
    )
    return z, sizes[0], sizes[-1] < 1e-12, xp.isclose(differences, jacobian(z), atol=1e-7).all()


PROGRAMS = [
    kalman_smoother, linear_discriminants, ridge_path, gram_schmidt, conjugate_gradients, markov_chain,
    dynamic_modes, blurred_image, multidimensional_scaling, independent_components, hidden_chain,
    fourier_by_matrices, quantum_walk, page_rank_with_dangling_nodes, newtons_method,
]  # fmt: skip


@pytest.mark.parametrize("program", PROGRAMS, ids=lambda program: program.__name__)
def test_a_program_written_for_numpy_runs(program):
    for ours, theirs in zip(program(nm), program(np), strict=True):
        ours, theirs = np.asarray(ours), np.asarray(theirs)
        assert ours.shape == theirs.shape
        np.testing.assert_allclose(ours, theirs, rtol=1e-9, atol=1e-9)
