"""einsum against numpy.matmul, numpy.einsum(optimize=True) and plain numpy.einsum.

Plain numpy.einsum is left out where it would take seconds. NumPy gives a view for 'ij->ji', our
tensors have none: there NumPy's copy of its view is the rival.
"""

import functools

import numerical
import numpy

from alternate import Case

ORDERS = [3, 4, 8, 16, 32, 64, 128, 256, 500, 1000, 1024, 2000, 3000]
THIN = [(2000, 32, 2000), (4000, 4000, 16), (16, 16, 4000)]
BATCHES = [(4, 500), (4, 64), (64, 64), (64, 16), (1000, 4), (1000, 8), (1000, 16), (1000, 32)]
MOST_PLAIN_WORK = 2e8
MATMUL_SPECS = {
    "ij,jk->ik": numpy.matmul,
    "bij,bjk->bik": numpy.matmul,
    "ij,kj->ik": lambda a, b: numpy.matmul(a, b.T),
    "bij,bjk->bki": lambda a, b: numpy.matmul(a, b).transpose(0, 2, 1).copy(),
}


def normal(shape, dtype):
    generator = numpy.random.default_rng(1)
    numbers = generator.standard_normal(shape)
    if dtype == "complex128":
        numbers = numbers + 1j * generator.standard_normal(shape)
    return numbers


def agree(ours, theirs):
    numpy.testing.assert_allclose(
        numpy.asarray(ours), theirs, rtol=1e-9, atol=1e-11 * max(1.0, numpy.abs(theirs).max())
    )


def rivals(spec, work):
    if spec in MATMUL_SPECS:
        yield "matmul", MATMUL_SPECS[spec]
    if spec == "ij->ji":
        yield "einsum, copied", lambda a: numpy.ascontiguousarray(numpy.einsum(spec, a))
        return
    yield "einsum(optimize=True)", functools.partial(numpy.einsum, spec, optimize=True)
    if work <= MOST_PLAIN_WORK:
        yield "einsum", functools.partial(numpy.einsum, spec)


def cases_of(spec, extents, dtype="float64", path_work=0.0):
    """Rows of one summation for extents by label; `path_work` for chains, whose order counts."""
    inputs = spec.split("->")[0].split(",")
    arrays = [normal([extents[label] for label in labels], dtype) for labels in inputs]
    tensors = [numerical.asarray(array) for array in arrays]
    plain_work = float(numpy.prod([float(extent) for extent in extents.values()]))
    flops = 2 * (path_work or plain_work) * (1 if dtype == "float64" else 4)
    sizes = " ".join(f"{label}={extent}" for label, extent in extents.items())
    for rival, theirs in rivals(spec, plain_work):
        yield f"{spec} against {rival}", Case(
            f"{spec} {sizes}{' complex' if dtype == 'complex128' else ''}, {rival}",
            functools.partial(numerical.einsum, spec, *tensors),
            functools.partial(theirs, *arrays),
            0.0 if len(inputs) == 1 else flops,
            check=agree,
        )


def products():
    for n in ORDERS:
        yield from cases_of("ij,jk->ik", {"i": n, "j": n, "k": n})
    for i, j, k in THIN:
        yield from cases_of("ij,jk->ik", {"i": i, "j": j, "k": k})
    for n in (3, 8, 16, 64, 128, 500, 1000):
        for spec in ("ij,jk->ik", "ij,kj->ik"):
            yield from cases_of(spec, {"i": n, "j": n, "k": n}, "complex128")
    for b, n in ((64, 64), (1000, 4), (1000, 16)):
        for spec in ("bij,bjk->bik", "bij,bjk->bki"):
            yield from cases_of(spec, {"b": b, "i": n, "j": n, "k": n}, "complex128")
    for n in ORDERS:
        yield from cases_of("ij,kj->ik", {"i": n, "j": n, "k": n})
    for b, n in BATCHES:
        yield from cases_of("bij,bjk->bik", {"b": b, "i": n, "j": n, "k": n})
    for b, n in BATCHES:
        yield from cases_of("bij,bjk->bki", {"b": b, "i": n, "j": n, "k": n})


def contractions():
    for dtype in ("float64", "complex128"):
        for n in (4, 10, 30):
            yield from cases_of("abcd,cdef->abef", dict.fromkeys("abcdef", n), dtype)
        for n in (4, 20, 100):
            yield from cases_of("ijk,ikl->jl", dict.fromkeys("ijkl", n), dtype)
    for n in (4, 100, 1000):
        chain = dict(zip("ijklm", (n, n, n, n, max(1, n // 10))))
        work = n * n * chain["m"] * 3.0
        yield from cases_of("ij,jk,kl,lm->im", chain, path_work=work)
        longer = dict(zip("ijklmno", (n, n, n, n, n, n, max(1, n // 10))))
        work = n * n * longer["o"] * 5.0
        yield from cases_of("ij,jk,kl,lm,mn,no->io", longer, path_work=work)


def memory_bound():
    for dtype in ("float64", "complex128"):
        for power in range(3, 8):
            yield from cases_of("i,i->", {"i": 10**power}, dtype)
        for n in (3, 30, 300, 1000, 3000):
            for spec in ("i,j->ij", "ij->ji", "ij->j", "ij->i"):
                yield from cases_of(spec, {"i": n, "j": n}, dtype)
            yield from cases_of("ii->", {"i": n}, dtype)


def cases():
    yield from products()
    yield from contractions()
    yield from memory_bound()
