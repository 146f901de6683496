"""Accuracy: residuals and loss of orthogonality in units of eps, beside NumPy's on the same matrices.

Ratios of LAPACK's kind are computed in extended precision from both libraries' results: at orders of 8, 33
and 100, float64 and complex128, three matrices of each family; of random matrices up to greater orders the
growth is shown. Writes docs/accuracy.md. A ratio above MOST, where NumPy's isn't, is a fault.
"""

import json
import warnings

import numpy as np

import support

HOW = "ratios of LAPACK's kind in extended precision, by function and family of matrices, beside NumPy's"
EPS = np.finfo(float).eps
ORDERS, SEEDS = (8, 33, 100), 3
GROWTH = {False: (250, 500), True: (250, 500, 1000, 2000, 4000, 8000)}
GROWTH_LIMIT = 3600.0  # seconds: at order 8000 the SVD and the general eigenproblem take minutes
WIDEST = 2 * max(ORDERS)
MOST = 10.0
PAGE = support.ROOT / "docs" / "accuracy.md"


# --- families of matrices ---------------------------------------------------------------------------
def entries(generator, shape, is_complex):
    a = generator.standard_normal(shape)
    return a + 1j * generator.standard_normal(shape) if is_complex else a


def unitary(generator, n, is_complex):
    return np.linalg.qr(entries(generator, (n, n), is_complex))[0]


def with_values(generator, values, is_complex):
    """A matrix of these singular values."""
    n = len(values)
    return (unitary(generator, n, is_complex) * values) @ unitary(generator, n, is_complex).conj().T


FAMILIES = {
    "random": lambda g, n, c: entries(g, (n, n), c),
    "graded rows": lambda g, n, c: entries(g, (n, n), c) * np.logspace(0, -12, n)[:, None],
    "graded columns": lambda g, n, c: entries(g, (n, n), c) * np.logspace(0, -12, n),
    "condition 1e14": lambda g, n, c: with_values(g, np.logspace(0, -14, n), c),
    "clustered": lambda g, n, c: with_values(g, 1 + 1e-10 * g.standard_normal(n), c),
    "half the rank": lambda g, n, c: with_values(g, np.where(np.arange(n) < n // 2, 1.0, 0.0), c),
    "tiny": lambda g, n, c: entries(g, (n, n), c) * 1e-300,
    "huge": lambda g, n, c: entries(g, (n, n), c) * 1e300,
}
SINGULAR = {"half the rank"}


def hermitian(a):
    return (a + a.conj().T) / 2


def definite(a, generator):
    """Of the family's singular values, as eigenvalues."""
    u, s, _ = np.linalg.svd(a)
    return hermitian((u * np.maximum(s, s[0] * 1e-15)) @ u.conj().T)


# --- ratios, in extended precision ------------------------------------------------------------------
def wide(a):
    """In extended precision, which takes too long beyond some order."""
    a = np.asarray(a)
    if a.ndim and max(a.shape) > WIDEST:
        return a
    return a.astype(np.clongdouble if a.dtype.kind == "c" else np.longdouble)


def size(a):
    return np.sqrt(np.sum(np.abs(a) ** 2))


def over(error, scale):
    """error / (eps·scale); nothing over nothing is nothing."""
    return (
        0.0
        if error == 0
        else float(error / (EPS * scale))
        if scale > 0 and np.isfinite(scale)
        else float("inf")
    )


def orthogonality(q):
    q = wide(q)
    n = q.shape[1]
    return over(size(q.conj().T @ q - np.eye(n)), n)


def product(f, a, g):
    b = FAMILIES["random"](g, len(a), np.iscomplexobj(a))
    x, y = wide(a), wide(b)
    return over(np.max(np.abs(wide(f(a, b)) - x @ y)), len(a) * np.max(np.abs(x) @ np.abs(y)))


def solve(f, a, g):
    b = entries(g, (len(a), 3), np.iscomplexobj(a)) * np.abs(a).max()
    m, x, y = wide(a), wide(f(a, b)), wide(b)
    return over(size(y - m @ x), len(a) * (size(m) * size(x) + size(y)))


def inverse(f, a, g):
    m, x = wide(a), wide(f(a))
    return over(size(m @ x - np.eye(len(a))), len(a) * size(m) * size(x))


def cholesky(f, a, g):
    a = definite(a, g)
    m, low = wide(a), wide(f(a))
    return over(size(m - low @ low.conj().T), len(a) * size(m))


def qr(f, a, g):
    q, r = f(a)[:2]
    m = wide(a)
    return max(over(size(m - wide(q) @ wide(r)), len(a) * size(m)), orthogonality(q))


def eigh(f, a, g):
    a = hermitian(a)
    values, vectors = f(a)
    m, v = wide(a), wide(vectors)
    return max(over(size(m @ v - v * wide(values)), len(a) * size(m)), orthogonality(vectors))


def svd(f, a, g):
    u, s, vh = f(a)
    m = wide(a)
    residual = over(size(m - (wide(u) * wide(s)) @ wide(vh)), len(a) * size(m))
    return max(residual, orthogonality(u), orthogonality(np.asarray(vh).conj().T))


def eig(f, a, g):
    values, vectors = f(a)
    m, v = wide(a), wide(vectors)
    return over(size(m @ v - v * wide(values)), len(a) * size(m) * np.sqrt(len(a)))


def lstsq(f, a, g):
    a = np.vstack([a, a[::-1]])
    b = entries(g, (len(a),), np.iscomplexobj(a)) * np.abs(a).max()
    m, y = wide(a), wide(b)
    x = wide(f(a, b))
    rest = y - m @ x
    return over(size(m.conj().T @ rest), len(a) * size(m) * (size(m) * size(x) + size(y)))


def pinv(f, a, g):
    m, x = wide(a), wide(f(a))
    return over(size(m @ x @ m - m), len(a) * size(m) ** 2 * size(x))


# Function, ratio, ours, NumPy's, and whether it takes singular matrices.
def functions(nm):
    lib = nm.linalg
    return {
        "matmul": (product, lambda a, b: nm.matmul(a, b), np.matmul, True),
        "solve": (solve, lambda a, b: lib.solve(a, b), np.linalg.solve, False),
        "inv": (inverse, lambda a: lib.inv(a), np.linalg.inv, False),
        "cholesky": (cholesky, lambda a: lib.cholesky(a), np.linalg.cholesky, False),
        "qr": (qr, lambda a: lib.qr(a), np.linalg.qr, True),
        "eigh": (eigh, lambda a: lib.eigh(a), np.linalg.eigh, True),
        "svd": (svd, lambda a: lib.svd(a), np.linalg.svd, True),
        "eig": (eig, lambda a: lib.eig(a), np.linalg.eig, True),
        "lstsq": (lstsq, lambda a, b: lib.lstsq(a, b)[0], lambda a, b: np.linalg.lstsq(a, b, rcond=None)[0], True),
        "pinv": (pinv, lambda a: lib.pinv(a), np.linalg.pinv, True),
    }  # fmt: skip


def ratio_of(measure, function, a, generator):
    """The ratio; infinity where the function raises or gives what isn't finite."""

    def arrays(*given):
        result = function(*given)
        return tuple(map(np.asarray, result)) if isinstance(result, tuple) else np.asarray(result)

    try:
        found = measure(arrays, a, generator)
        return found if np.isfinite(found) else float("inf")
    except (np.linalg.LinAlgError, ValueError):
        return float("inf")


def of_family(nm, name, family):
    """Pairs of ratios, ours and NumPy's."""
    measure, ours, theirs, _ = functions(nm)[name]
    pairs = []
    for n in ORDERS:
        for is_complex in (False, True):
            for seed in range(SEEDS):
                a = FAMILIES[family](np.random.default_rng([n, is_complex, seed]), n, is_complex)
                pairs.append(
                    [ratio_of(measure, f, a, np.random.default_rng(seed)) for f in (ours, theirs)]
                )
    return pairs


def answer_with(nm):
    warnings.simplefilter("ignore")

    def answer(cell, place):
        place.write(cell)
        name, family = cell.split(": ")
        if family.startswith("order "):
            measure, ours, theirs, _ = functions(nm)[name]
            a = FAMILIES["random"](np.random.default_rng(1), int(family[6:]), False)
            pairs = [[ratio_of(measure, f, a, np.random.default_rng(1)) for f in (ours, theirs)]]
        else:
            pairs = of_family(nm, name, family)
        file_of(cell).write_text(json.dumps(pairs))
        worst = [pair for pair in pairs if pair[0] > MOST and pair[0] > 2 * pair[1]]
        return (
            len(pairs),
            [f"{cell}: {worst[0][0]:.1f}, NumPy's {worst[0][1]:.1f}"] if worst else [],
        )

    return answer


def file_of(cell):
    return support.WORK / f"ratios {cell}.json".replace(" ", "_").replace(":", "")


# --- the page ---------------------------------------------------------------------------------------
def shown(ratio):
    return f"{ratio:.2g}" if np.isfinite(ratio) else "fails"


def rows(names):
    yield "| function | family | median | largest | NumPy's median | NumPy's largest |"
    yield "|---|---|--:|--:|--:|--:|"
    for name in names:
        for family in FAMILIES:
            file = file_of(f"{name}: {family}")
            if file.exists():
                ours, theirs = zip(*json.loads(file.read_text()))
                cells = [np.median(ours), max(ours), np.median(theirs), max(theirs)]
                yield f"| `{name}` | {family} | " + " | ".join(map(shown, cells)) + " |"


def growth_rows(names):
    orders = [
        n for n in GROWTH[True] if any(file_of(f"{name}: order {n}").exists() for name in names)
    ]
    yield "| function | " + " | ".join(f"{n}" for n in orders) + " |"
    yield "|---" * (1 + len(orders)) + "|"
    for name in names:
        files = [file_of(f"{name}: order {n}") for n in orders]
        pairs = [json.loads(file.read_text())[0] if file.exists() else None for file in files]
        yield f"| `{name}` | " + " | ".join(
            f"{shown(p[0])} / {shown(p[1])}" if p else "" for p in pairs
        ) + " |"


def write_page(names):
    text = PAGE.read_text()
    for mark, lines in (("ratios", rows(names)), ("growth", growth_rows(names[1:]))):
        begin, end = f"<!-- {mark} -->", f"<!-- end of {mark} -->"
        before, _, rest = text.partition(begin)
        text = before + begin + "\n" + "\n".join(lines) + "\n" + end + rest.partition(end)[2]
    PAGE.write_text(text)


def run(budget):
    names = list(functions(support.package()))
    ledger = support.Ledger("accuracy", budget.long)
    takes_singular = {name: row[3] for name, row in functions(support.package()).items()}
    cells = [f"{name}: {family}" for family in FAMILIES for name in names
             if takes_singular[name] or family not in SINGULAR]  # fmt: skip
    measured = [name for name in names if name != "matmul"]  # which the residuals rest on
    growth = [f"{name}: order {n}" for n in GROWTH[budget.long] for name in measured]
    support.work_through(__file__, cells, ledger, budget)
    support.work_through(__file__, growth, ledger, budget, limit=GROWTH_LIMIT)
    write_page(names)
    return ledger.outcome(len(cells) + len(growth))


if __name__ == "__main__":
    support.answer_cells(answer_with(support.package()))
