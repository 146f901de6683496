"""Factors that are kept, what is solved with them, and general eigenproblems, against scipy.linalg."""

import functools

import numerical as nm
import numpy as np
import scipy.linalg

from alternate import Case

ORDERS = [10, 100, 300]
DTYPES = ("float64", "complex128")


def normal(shape, dtype, seed):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if dtype == "complex128" else a


def pair(group, name, function, rival, *arrays):
    ours = [nm.asarray(a) if isinstance(a, np.ndarray) else a for a in arrays]
    return group, Case(name, functools.partial(function, *ours), functools.partial(rival, *arrays))


def factored(dtype, n):
    a, b = normal((n, n), dtype, 1), normal(n, dtype, 2)
    h = a @ a.conj().T + np.eye(n)
    L, R, at = nm.linalg, scipy.linalg, f"n={n} {dtype}"
    group = "kept factors"
    yield pair(group, f"lu_factor {at}", L.lu_factor, R.lu_factor, a)
    yield pair(group, f"cho_factor {at}", L.cho_factor, R.cho_factor, h)
    yield pair(group, f"ldl {at}", L.ldl, R.ldl, a + a.conj().T)
    yield pair(group, f"qr pivoted {at}", L.qr_factor, functools.partial(R.qr, pivoting=True), a)
    group = "systems with kept factors"
    ours, theirs = L.lu_factor(nm.asarray(a)), R.lu_factor(a)
    yield group, Case(
        f"lu_solve {at}",
        functools.partial(L.lu_solve, ours, nm.asarray(b)),
        functools.partial(R.lu_solve, theirs, b),
    )
    ours, theirs = L.cho_factor(nm.asarray(h)), R.cho_factor(h)
    yield group, Case(
        f"cho_solve {at}",
        functools.partial(L.cho_solve, ours, nm.asarray(b)),
        functools.partial(R.cho_solve, theirs, b),
    )
    triangle = np.triu(a) + n * np.eye(n)
    yield pair(group, f"solve_triangular {at}", L.solve_triangular, R.solve_triangular, triangle, b)
    group = "general eigenproblems"
    yield pair(group, f"eig {at}", L.eig, np.linalg.eig, a)
    yield pair(group, f"eigvals {at}", L.eigvals, np.linalg.eigvals, a)
    yield pair(group, f"schur {at}", L.schur, R.schur, a)
    yield pair(group, f"hessenberg {at}", L.hessenberg, R.hessenberg, a)


def cases():
    for dtype in DTYPES:
        for n in ORDERS:
            yield from factored(dtype, n)
