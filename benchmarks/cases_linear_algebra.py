"""Linear algebra as people call it from the package: stacks, values only, products, joins, statistics."""

import functools

import numerical as nm
import numpy as np

from alternate import Case

STACKS = [(10_000, 3), (10_000, 4), (2_000, 8), (500, 32), (50, 100)]
VALUE_ORDERS = [8, 16, 32, 64, 100, 200, 500, 1000]
NORM_ORDERS = [8, 32, 100, 200]  # of what is computed from singular values
LENGTHS = [10, 10_000, 1_000_000]
DTYPES = ("float64", "complex128")


def normal(shape, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if dtype == "complex128" else a


def definite(shape, dtype):
    a = normal(shape, dtype)
    return a @ a.conj().swapaxes(-1, -2) + np.eye(shape[-1])


def close(ours, theirs):
    theirs = np.asarray(theirs)
    largest = np.abs(theirs).max() if theirs.size else 0
    np.testing.assert_allclose(np.asarray(ours), theirs, rtol=0, atol=1e-9 * largest)


def pair(group, name, function, rival, *arrays, check=None, **options):
    """The same arguments for both, arrays as tensors for ours."""
    ours = [nm.asarray(a) if isinstance(a, np.ndarray) else a for a in arrays]
    return group, Case(
        name,
        functools.partial(function, *ours, **options),
        functools.partial(rival, *arrays, **options),
        check=check,
    )


def stacks():
    L, R = nm.linalg, np.linalg
    for dtype in DTYPES:
        for count, n in STACKS:
            a, b = normal((count, n, n), dtype), normal((count, n, 1), dtype, 1)
            h = definite((count, n, n), dtype)
            at = f"{count} {n}x{n} {dtype}"
            group = f"stacks of order {n}"
            yield pair(group, f"solve {at}", L.solve, R.solve, a, b)
            yield pair(group, f"inv {at}", L.inv, R.inv, a)
            yield pair(group, f"det {at}", L.det, R.det, a, check=close)
            yield pair(group, f"slogdet {at}", L.slogdet, R.slogdet, a)
            yield pair(group, f"cholesky {at}", L.cholesky, R.cholesky, h, check=close)
            group = f"stacks of order {n}, by iteration and reflectors"
            yield pair(group, f"qr {at}", L.qr, R.qr, a)
            yield pair(group, f"eigh {at}", L.eigh, R.eigh, h)
            yield pair(group, f"eigvalsh {at}", L.eigvalsh, R.eigvalsh, h, check=close)
            yield pair(group, f"svd {at}", L.svd, R.svd, a)
            yield pair(group, f"pinv {at}", L.pinv, R.pinv, a)
            yield pair(group, f"matrix_rank {at}", L.matrix_rank, R.matrix_rank, a, check=close)
            yield pair("a @ b of stacks", f"matmul {at}", nm.matmul, np.matmul, a, a, check=close)


def values():
    for dtype in DTYPES:
        for n in VALUE_ORDERS:
            a, h = normal((n, n), dtype), definite((n, n), dtype)
            group = f"values only, n {'up to 200' if n <= 200 else 'from 500 on'}"
            at = f"n={n} {dtype}"
            yield pair(group, f"eigvalsh {at}", nm.linalg.eigvalsh, np.linalg.eigvalsh, h)
            yield group, Case(
                f"svdvals {at}",
                functools.partial(nm.linalg.svdvals, nm.asarray(a)),
                functools.partial(np.linalg.svd, a, compute_uv=False),
                check=close,
            )
            if n <= 100:
                yield pair(
                    "values and vectors, n up to 100",
                    f"eigh {at}",
                    nm.linalg.eigh,
                    np.linalg.eigh,
                    h,
                )
                yield pair(
                    "values and vectors, n up to 100", f"svd {at}", nm.linalg.svd, np.linalg.svd, a
                )
            if n in NORM_ORDERS:
                yield pair(group, f"cond {at}", nm.linalg.cond, np.linalg.cond, a)
                yield pair(group, f"norm 2 {at}", nm.linalg.norm, np.linalg.norm, a, 2, check=close)
                yield pair(group, f"nuclear {at}", nm.linalg.norm, np.linalg.norm, a, "nuc")
                yield pair(
                    group, f"matrix_rank {at}", nm.linalg.matrix_rank, np.linalg.matrix_rank, a
                )


def systems():
    for shape in [(100, 20), (1000, 200), (2000, 50), (300, 300)]:
        a, b = normal(shape), normal(shape[:1], seed=1)
        yield "lstsq with all four results", Case(
            f"lstsq {shape}",
            lambda t=nm.asarray(a), r=nm.asarray(b): tuple(nm.linalg.lstsq(t, r)),
            functools.partial(np.linalg.lstsq, a, b, rcond=None),
        )
    a, b = normal((1000, 150)) @ normal((150, 300), seed=1), normal(1000, seed=2)
    yield "lstsq with all four results", Case(
        "lstsq (1000, 300) of rank 150",
        lambda t=nm.asarray(a), r=nm.asarray(b): tuple(nm.linalg.lstsq(t, r)),
        functools.partial(np.linalg.lstsq, a, b, rcond=None),
    )
    for shape in [(1000, 50), (2000, 200)]:
        a = normal(shape)
        yield pair(
            "complete bases", f"qr complete {shape}", nm.linalg.qr, np.linalg.qr, a, "complete"
        )
        yield pair("complete bases", f"svd full {shape}", nm.linalg.svd, np.linalg.svd, a)


def operators(group, text, scope):
    """The expression with names bound to tensors, and to NumPy's arrays."""
    ours = {name: nm.asarray(a) if isinstance(a, np.ndarray) else a for name, a in scope.items()}
    return group, Case(
        text,
        eval(f"lambda: {text}", {**ours, "xp": nm}),
        eval(f"lambda: {text}", {**scope, "xp": np}),
    )


def products():
    for dtype in DTYPES:
        for n in (10, 100, 200, 300, 1000):
            scope = {"a": normal((n, n), dtype), "v": normal(n, dtype, 1)}
            for text in ("a @ v", "v @ a", "v @ v"):
                group, case = operators(f"products with vectors, {dtype}", text, scope)
                case.name = f"{text} n={n} {dtype}"
                yield group, case


def small_calls():
    scope = {"v": normal(10), "a": normal((10, 10))}
    for text in ("v[3]", "a[1, 2]", "a[3]", "v[2:7]", "a[:, 2]", "a[2:5, 1:]", "a[2:5]", "a.T",
                 "v + v", "2 * v", "v[[1, 2, 3]]", "v[v > 0]", "v > 0", "-v", "v.sum()", "a @ v",
                 "a @ a", "xp.sqrt(v * v)"):  # fmt: skip
        yield operators("small calls", text, scope)
    for n in (4, 32):
        scope = {"a": normal((n, n))}
        for text in ("a[2]", "a[:, 2]", "a[1:3]", "a.T"):
            group, case = operators("NumPy's views", text, scope)
            case.name = f"{text} n={n}"
            yield group, case


def joins():
    scope = {"a": normal((300, 300)), "v": normal(300), "small": normal((20, 20))}
    for text in (
        "xp.concatenate([a, a])", "xp.concatenate([a, a], axis=1)", "xp.stack([a, a])", "xp.trace(a)",
        "xp.linalg.multi_dot([a, a, a])", "xp.kron(small, small)", "xp.allclose(a, a)", "xp.tril(a)",
        "xp.triu(a)", "xp.tri(300)", "xp.diag(v)", "xp.diag(a)", "xp.eye(300, k=1)", "a[[1, 5, 9, 200]]",
        "xp.outer(v, v)", "xp.linalg.norm(a)", "xp.sum(a, axis=0)", "xp.std(a, axis=1)",
    ):  # fmt: skip
        yield operators("joins and matrices", text, scope)


def statistics():
    for n in LENGTHS:
        v = normal(n)
        for name in ("sum", "mean", "std", "var", "max"):
            yield pair(
                "statistics of vectors", f"{name} n={n}", getattr(nm, name), getattr(np, name), v
            )
        yield pair("statistics of vectors", f"norm n={n}", nm.linalg.norm, np.linalg.norm, v)


def cases():
    for family in (stacks, values, systems, products, small_calls, joins, statistics):
        yield from family()
