"""Functions of matrices and matrix equations against scipy.linalg."""

import functools

import numerical as nm
import numpy as np
import scipy.linalg

from alternate import Case

ORDERS = [4, 10, 32, 100, 300]
DTYPES = ("float64", "complex128")


def normal(n, dtype, seed):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal((n, n))
    return a + 1j * generator.standard_normal((n, n)) if dtype == "complex128" else a


def close(ours, theirs):
    theirs = np.asarray(theirs)
    np.testing.assert_allclose(np.asarray(ours), theirs, rtol=0, atol=1e-8 * np.abs(theirs).max())


def pair(group, name, function, *arrays, check=close):
    ours = functools.partial(getattr(nm.linalg, function), *map(nm.asarray, arrays))
    return group, Case(
        name, ours, functools.partial(getattr(scipy.linalg, function), *arrays), check=check
    )


def same_factors(ours, theirs):
    for one, other in zip(ours, theirs):
        close(one, other)


def cases():
    for dtype in DTYPES:
        for n in [*ORDERS, 1000] if dtype == "float64" else ORDERS:
            a = normal(n, dtype, 1)
            for scale in (1.0, 1e-3):
                yield pair("expm", f"expm n={n} {dtype} of scale {scale:g}", "expm", a * scale)
        for n in ORDERS:
            a, b, q = (normal(n, dtype, seed) for seed in (1, 2, 3))
            at = f"n={n} {dtype}"
            shifted = a @ a / n + 3 * np.eye(n)
            definite = a @ a.conj().T + np.eye(n)
            yield pair("sqrtm and logm", f"sqrtm {at}", "sqrtm", shifted)
            yield pair("sqrtm and logm", f"sqrtm {at} Hermitian", "sqrtm", definite)
            yield pair("sqrtm and logm", f"logm {at}", "logm", shifted)
            yield pair("polar and bases", f"polar {at}", "polar", a, check=same_factors)
            yield pair("polar and bases", f"orth {at}", "orth", a, check=None)
            yield pair("polar and bases", f"null_space {at}", "null_space", a, check=None)
            group = "equations"
            yield pair(group, f"solve_sylvester {at}", "solve_sylvester", a, b, q)
            stable = a - 3 * np.sqrt(n) * np.eye(n)
            yield pair(
                group, f"solve_continuous_lyapunov {at}", "solve_continuous_lyapunov", stable, q
            )
            inside = a / (3 * np.sqrt(n))
            yield pair(group, f"solve_discrete_lyapunov {at}", "solve_discrete_lyapunov", inside, q)
