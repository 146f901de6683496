"""Everything of the array surface that isn't linear algebra, as people write it, at three sizes.

Each row is one expression, evaluated once with our names and once with NumPy's. The names in it:
v and u are vectors, m and w square matrices of about as many elements, thin one of five columns, z
and z2 complex, p positive, q above 1, f within [-1, 1], s sorted, repeated with few values, i and places
Positions, j and rows NumPy's ints, b, c and bm masks as comparisons give them. Where NumPy
gives a view and ours is a copy, the view is copied too.
"""

import functools
import math
import types

import numerical as nm
import numpy as np
from alternate import Case

SIZES = (10, 10_000, 1_000_000)

EXPRESSIONS = {
    "arithmetic": (
        "v + u", "v * 2.0", "2.0 - v", "v / u", "-v", "v ** 2", "p ** 1.7", "z + z", "z * z", "z / z",
        "m + row", "m + column", "m * row", "column - row", "z * 2.0", "v * z",
    ),
    "comparisons and masks": (
        "v < u", "v >= 0.5", "v == u", "v != 0.5", "z == z", "b & c", "b | c", "b ^ c", "~b",
        "(v > 0).any()", "(v > 9).any()", "(p > 0).all()", "(v > 0).sum()", "xp.any(b)", "xp.all(c)",
        "xp.count_nonzero(b)", "xp.nonzero(b)", "xp.logical_and(b, c)", "xp.isnan(v)", "xp.isinf(v)",
        "xp.isfinite(v)", "xp.isfinite(z)", "xp.isclose(v, u)", "xp.allclose(v, v)",
        "xp.array_equal(v, v)", "xp.any(bm, axis=0)", "xp.all(bm, axis=1)",
    ),
    "choice": (
        "xp.where(b, v, u)", "xp.where(b, v, 0.0)", "xp.where(v > 0, v, 0.0)", "xp.clip(v, -0.5, 0.5)",
        "xp.maximum(v, u)", "xp.maximum(v, 0.0)", "xp.minimum(v, u)", "xp.sign(v)", "xp.abs(v)",
        "xp.abs(z)",
    ),
    "rounding": ("xp.floor(v)", "xp.ceil(v)", "xp.trunc(v)", "xp.round(v)", "xp.round(v, 2)"),
    "elementary functions": tuple(
        f"xp.{name}({operand})"
        for name, operand in {
            "exp": "v", "exp2": "v", "expm1": "v", "log": "p", "log2": "p", "log10": "p", "log1p": "p",
            "sqrt": "p", "sin": "v", "cos": "v", "tan": "v", "sinh": "v", "cosh": "v", "tanh": "v",
            "arcsin": "f", "arccos": "f", "arctan": "v", "arcsinh": "v", "arccosh": "q",
            "arctanh": "f", "square": "v",
        }.items()
    ) + ("xp.arctan2(v, u)", "xp.hypot(v, u)", "xp.exp(z)", "xp.sqrt(z)", "xp.log(z)"),
    "reductions": tuple(
        f"xp.{name}({operand})"
        for name in ("sum", "mean", "max", "min", "std", "var", "prod", "argmax", "argmin")
        for operand in ("v", "m, axis=0", "m, axis=1")
    ) + ("xp.sum(z)", "xp.mean(z)", "xp.sum(z2, axis=0)", "xp.sum(thin, axis=0)", "xp.sum(thin, axis=1)",
         "xp.max(thin, axis=1)"),
    "running": ("xp.cumsum(v)", "xp.cumsum(m, axis=0)", "xp.cumsum(m, axis=1)", "xp.cumprod(v)",
                "xp.diff(v)", "xp.diff(m, axis=0)"),
    "order": ("xp.sort(v)", "xp.sort(repeated)", "xp.sort(m, axis=0)", "xp.sort(m, axis=1)", "xp.stable_argsort(v)",
              "xp.searchsorted(s, v)"),
    "indexing": (
        "v[i]", "v[b]", "v[j]", "m[rows]", "m[rows, rows]", "m[1]", "v[2:-2]",
        "xp.copied(m[:, 1:])", "xp.copied(v[::2])", "xp.take(v, i)", "xp.take_along_axis(m, places, axis=1)",
    ),
    "arrangement": (
        "xp.concatenate([v, u])", "xp.stack([v, u])", "xp.stack([v, u], axis=1)", "xp.hstack([m, w])",
        "xp.vstack([m, w])", "xp.column_stack([v, u])", "xp.tile(v, 3)", "xp.repeat(v, 3)",
        "xp.roll(v, 3)", "xp.split(v, 5)", "xp.roll(m, 1, axis=0)", "xp.roll(m, 1, axis=1)",
        "xp.tril(m)", "xp.triu(m)", "xp.trace(m)", "xp.diag(m)",
        "xp.transposed(m)",
    ),
    "making": ("xp.zeros(n)", "xp.ones(n)", "xp.full(n, 2.5)", "xp.arange(n)", "xp.linspace(0.0, 1.0, n)",
               "xp.eye(side)"),
    "products": ("xp.kron(few, part)", "xp.outer(half, half)", "xp.meshgrid(half, half)",
                 "xp.einsum('i,i->', v, u)", "xp.einsum('ij->j', m)", "xp.einsum('ij,ij->i', m, w)",
                 "xp.einsum('ii->i', m)", "xp.cov(thin.T)", "xp.vander(half, 4)"),
}  # fmt: skip


def scope_of(n):
    generator = np.random.default_rng(5)
    side = math.isqrt(n)
    v, u = generator.standard_normal((2, n))
    m, w = generator.standard_normal((2, side, side))
    return {
        "v": v, "u": u, "m": m, "w": w, "p": np.abs(v) + 0.1, "q": np.abs(v) + 1.0, "f": v / np.abs(v).max(),
        "z": v + 1j * u, "z2": m + 1j * w, "row": m[0].copy(), "column": m[:, :1].copy(),
        "b": v > 0, "c": u > 0, "bm": m > 0, "i": generator.permutation(n),
        "rows": generator.permutation(side)[: side // 2], "s": np.sort(u), "thin": v.reshape(-1, 5),
        "places": np.argsort(m, axis=1), "j": generator.permutation(n), "repeated": np.floor(4 * v), "half": w[0].copy(), "few": m[:3, :3].copy(),
        "part": w[: side // 3 + 1, : side // 3 + 1].copy(), "n": n, "side": side,
    }  # fmt: skip


def ours(theirs):
    """The same names bound to tensors, and places as sorting gives them: Positions."""
    mine = {
        name: nm.asarray(value.astype(complex if value.dtype == complex else float))
        if isinstance(value, np.ndarray) and value.dtype != int
        else value
        for name, value in theirs.items()
    }
    mine["i"] = nm.Positions(theirs["i"])
    mine["places"] = nm.Positions(theirs["places"])
    mine.update(b=mine["v"] > 0, c=mine["u"] > 0, bm=mine["m"] > 0)
    return mine


# What both have under two names, or one of them as an operator.
OURS = types.SimpleNamespace(**{
    **vars(nm), "stable_argsort": nm.argsort, "transposed": lambda a: a.T, "copied": lambda a: a,
})  # fmt: skip
THEIRS = types.SimpleNamespace(**{
    **{name: getattr(np, name) for name in dir(np) if not name.startswith("_")},
    "stable_argsort": functools.partial(np.argsort, kind="stable"),
    "transposed": lambda a: np.ascontiguousarray(a.T), "copied": np.copy,
    "split": lambda a, parts: [part.copy() for part in np.split(a, parts)],
})  # fmt: skip


def cases():
    for n in SIZES:
        theirs = scope_of(n)
        mine = ours(theirs)
        for group, expressions in EXPRESSIONS.items():
            for text in expressions:
                yield f"{group}, {n}", Case(
                    f"{text}, {n}",
                    eval(f"lambda: {text}", {**mine, "xp": OURS}),
                    eval(f"lambda: {text}", {**theirs, "xp": THEIRS}),
                )
