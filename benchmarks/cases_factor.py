"""cholesky and qr against NumPy."""

import numpy as np

import numerical
from alternate import Case

CHOLESKY_ORDERS = [4, 8, 16, 32, 64, 100, 128, 129, 200, 256, 257, 300, 500, 512, 1000, 1024, 2000]
QR_SHAPES = [
    *[(n, n) for n in (64, 100, 128, 200, 256, 300, 500, 512, 1000, 1024, 2000)],
    (4000, 200),
    (2000, 50),
    (50, 2000),
    (200, 4000),
    (500, 1000),
]


def normal(shape, dtype):
    generator = np.random.default_rng(1)
    numbers = generator.standard_normal(shape)
    return numbers + 1j * generator.standard_normal(shape) if dtype == "complex128" else numbers


def definite(n, dtype):
    b = normal((n, n), dtype)
    return b @ b.conj().T / n + np.eye(n)


def same_factor(ours, theirs):
    np.testing.assert_allclose(np.asarray(ours), theirs, rtol=0, atol=1e-9 * np.abs(theirs).max())


def same_up_to_signs(ours, theirs):
    np.testing.assert_allclose(
        np.abs(np.asarray(ours[1])), np.abs(theirs[1]), rtol=0, atol=1e-9 * np.abs(theirs[1]).max()
    )


def qr_work(m, n):
    """Operations of R and, after the plus of m·k², of the thin Q."""
    k = min(m, n)
    return 4 * m * n * k - 2 * (m + n) * k**2 + 4 * k**3 / 3 + 2 * m * k**2 - 2 * k**3 / 3


def cases():
    for dtype, complex_factor in (("float64", 1), ("complex128", 4)):
        for n in CHOLESKY_ORDERS:
            a = definite(n, dtype)
            ours = numerical.asarray(a)
            yield f"cholesky {dtype}", Case(
                f"cholesky {n} {dtype}",
                lambda: numerical.cholesky(ours),
                lambda: np.linalg.cholesky(a),
                work=complex_factor * n**3 / 3,
                check=same_factor,
            )
        for m, n in QR_SHAPES:
            a = normal((m, n), dtype)
            ours = numerical.asarray(a)
            yield f"qr {dtype}", Case(
                f"qr {m}x{n} {dtype}",
                lambda: numerical.qr(ours),
                lambda: np.linalg.qr(a),
                work=complex_factor * qr_work(m, n),
                check=same_up_to_signs,
            )
