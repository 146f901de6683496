"""Matrices of order 256 to 2000 from the package, where the engine's rate and its threads decide.

A row's work is counted by the usual formulas (Golub, Van Loan 2013, Matrix Computations, of each
algorithm), four times as much in complex arithmetic; rows without a common one show no rate.
"""

import collections.abc
import functools

import numerical as nm
import numpy as np
import scipy.linalg

from alternate import Case

Rows = collections.abc.Iterator[tuple[str, Case]]


def normal(*shape: int, dtype: str = "float64") -> np.ndarray:
    generator = np.random.default_rng(shape)
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if dtype == "complex128" else a


def hermitian(n: int, dtype: str) -> np.ndarray:
    a = normal(n, n, dtype=dtype)
    return a + a.conj().T


def definite(n: int, dtype: str) -> np.ndarray:
    a = normal(n, n, dtype=dtype)
    return a @ a.conj().T + n * np.eye(n)


def pair(group: str, name: str, function, rival, *arrays: np.ndarray, work: float = 0.0, **options):
    """The same call of both on the same arrays; `work` in real operations of a real matrix."""
    complex_work = 4 if np.iscomplexobj(arrays[0]) else 1
    return group, Case(
        name,
        functools.partial(function, *map(nm.asarray, arrays), **options),
        functools.partial(rival, *arrays, **options),
        work=work * complex_work,
    )


def products(dtype: str, orders: tuple[int, ...]) -> Rows:
    for n in orders:
        a, b = normal(n, n, dtype=dtype), normal(n, n, dtype=dtype)
        yield pair("products", f"matmul {n} {dtype}", nm.matmul, np.matmul, a, b, work=2 * n**3)


def thin_products() -> Rows:
    for m, k, n in ((1000, 32, 1000), (16, 4000, 16), (64, 2000, 2000), (4000, 16, 4000), (2000, 2000, 1)):  # fmt: skip
        a, b = normal(m, k), normal(k, n)
        name = f"matmul {m}x{k} times {k}x{n}"
        yield pair("thin products", name, nm.matmul, np.matmul, a, b, work=2 * m * k * n)


def systems(dtype: str, orders: tuple[int, ...]) -> Rows:
    L, R = nm.linalg, np.linalg
    for n in orders:
        a, b, h = normal(n, n, dtype=dtype), normal(n, dtype=dtype), definite(n, dtype)
        group, at = "systems and factors", f"{n} {dtype}"
        yield pair(group, f"solve {at}", L.solve, R.solve, a, b, work=2 / 3 * n**3)
        yield pair(group, f"solve {at}, {n} columns", L.solve, R.solve, a, a.T, work=8 / 3 * n**3)
        yield pair(group, f"inv {at}", L.inv, R.inv, a, work=2 * n**3)
        yield pair(group, f"cholesky {at}", L.cholesky, R.cholesky, h, work=1 / 3 * n**3)
        yield pair(group, f"ldl {at}", L.ldl, scipy.linalg.ldl, a + a.conj().T)
        her = dict(assume_a="her")
        yield pair(
            group, f"solve {at}, Hermitian", L.solve, scipy.linalg.solve, a + a.conj().T, b, **her
        )


def orthogonal(dtype: str, shapes: tuple[tuple[int, int], ...]) -> Rows:
    L, R = nm.linalg, np.linalg
    for m, n in shapes:
        a, b, at = normal(m, n, dtype=dtype), normal(m, dtype=dtype), f"{m}x{n} {dtype}"
        group, qr_work = "QR and least squares", 4 * m * n**2 - 4 / 3 * n**3
        yield pair(group, f"qr {at}", L.qr, R.qr, a, work=qr_work)
        yield pair(group, f"lstsq {at}", L.lstsq, R.lstsq, a, b, rcond=None)


def deficient() -> Rows:
    a, b = normal(1000, 200) @ normal(200, 300), normal(1000)
    name = "lstsq 1000x300 float64 of rank 200"
    yield pair("QR and least squares", name, nm.linalg.lstsq, np.linalg.lstsq, a, b, rcond=None)


def hermitian_eigenproblems(dtype: str, orders: tuple[int, ...]) -> Rows:
    L, R, S = nm.linalg, np.linalg, scipy.linalg
    group = "Hermitian eigenproblems"
    for n in orders:
        h, d, at = hermitian(n, dtype), definite(n, dtype), f"{n} {dtype}"
        yield pair(group, f"eigh {at}", L.eigh, R.eigh, h)
        yield pair(group, f"eigvalsh {at}", L.eigvalsh, R.eigvalsh, h)
        if n <= 1000:
            yield pair(group, f"eigh {at}, generalized", L.eigh, S.eigh, h, d)
            ten = dict(subset_by_index=(0, 9))
            yield pair(group, f"eigh {at}, ten pairs", L.eigh, S.eigh, h, **ten)


def singular_values(dtype: str, shapes: tuple[tuple[int, int], ...]) -> Rows:
    L, R = nm.linalg, np.linalg
    values_only = functools.partial(R.svd, compute_uv=False)
    thin = dict(full_matrices=False)
    for m, n in shapes:
        a, at = normal(m, n, dtype=dtype), f"{m}x{n} {dtype}"
        yield pair("singular values", f"svd {at}", L.svd, R.svd, a, **thin)
        yield pair("singular values", f"svdvals {at}", L.svdvals, values_only, a)
        yield pair("singular values", f"pinv {at}", L.pinv, R.pinv, a)


def general_eigenproblems(dtype: str, orders: tuple[int, ...]) -> Rows:
    L, R = nm.linalg, np.linalg
    group = "general eigenproblems"
    for n in orders:
        a, at = normal(n, n, dtype=dtype), f"{n} {dtype}"
        yield pair(group, f"eig {at}", L.eig, R.eig, a)
        yield pair(group, f"eigvals {at}", L.eigvals, R.eigvals, a)
        yield pair(group, f"hessenberg {at}", L.hessenberg, scipy.linalg.hessenberg, a)


def matrix_functions(orders: tuple[int, ...]) -> Rows:
    for n in orders:
        a = normal(n, n)
        yield pair("functions of matrices", f"expm {n}", nm.linalg.expm, scipy.linalg.expm, a)
        yield pair("functions of matrices", f"polar {n}", nm.linalg.polar, scipy.linalg.polar, a)


def cases() -> Rows:
    yield from products("float64", (128, 256, 512, 1000, 2000))
    yield from products("complex128", (256, 512, 1000))
    yield from thin_products()
    yield from systems("float64", (256, 500, 1000, 2000))
    yield from systems("complex128", (256, 1000))
    yield from orthogonal("float64", ((256, 256), (1000, 1000), (2000, 2000), (4000, 200)))
    yield from orthogonal("complex128", ((256, 256), (1000, 1000)))
    yield from deficient()
    yield from hermitian_eigenproblems("float64", (256, 500, 1000, 2000))
    yield from hermitian_eigenproblems("complex128", (256, 500, 1000))
    yield from singular_values("float64", ((256, 256), (500, 500), (1000, 1000), (1000, 200)))
    yield from singular_values("complex128", ((256, 256), (500, 500)))
    yield from general_eigenproblems("float64", (256, 500, 1000))
    yield from general_eigenproblems("complex128", (256, 500))
    yield from matrix_functions((256, 500, 1000))
