"""Compares the result bits of two builds: a refactoring is one that changes none.

    python3 benchmarks/replay.py build/before/python build/release/python

Each build runs in a process of its own, on every path and on one and two threads, over the same
reproducible operands; what is compared is a digest of every result's bytes.
"""

import argparse
import ctypes
import hashlib
import json
import random
import subprocess
import sys

SIZES = (1, 2, 3, 7, 16, 33, 64, 65, 129, 257)
SHAPES = ((600, 70), (4100, 16), (1600, 1600))  # on the last path alone


def operands(module, n: int, is_complex: bool):
    """A general, a Hermitian and a positive definite matrix, and right sides."""
    source = random.Random(n)

    def number():
        if not is_complex:
            return source.uniform(-1, 1)
        return complex(source.uniform(-1, 1), source.uniform(-1, 1))

    dtype = "complex128" if is_complex else "float64"
    general = [number() for _ in range(n * n)]
    hermitian = list(general)
    for i in range(n):
        hermitian[i * n + i] = general[i * n + i].real
        for j in range(i):
            hermitian[j * n + i] = general[i * n + j].conjugate()
    definite = list(hermitian)
    for i in range(n):
        definite[i * n + i] = 2.0 * n
    tensors = [module.Tensor(data, (n, n), dtype) for data in (general, hermitian, definite)]
    return *tensors, module.Tensor([number() for _ in range(3 * n)], (n, 3), dtype)


def tall_problem(module, rows: int, cols: int, is_complex: bool):
    source = random.Random(rows * cols)

    def numbers(count):
        parts = (source.uniform(-1, 1) for _ in range(2 * count))
        return [complex(x, y) for x, y in zip(parts, parts)] if is_complex else list(parts)[:count]

    dtype = "complex128" if is_complex else "float64"
    matrix = module.Tensor(numbers(rows * cols), (rows, cols), dtype)
    return matrix, module.Tensor(numbers(rows), (rows, 1), dtype)


def orthogonal_calls(module, matrix, right):
    yield "qr", lambda: module.qr(matrix)
    yield "lstsq", lambda: module.lstsq(matrix, right)


def calls(module, n: int, is_complex: bool):
    general, hermitian, definite, right = operands(module, n, is_complex)
    yield "einsum", lambda: module.einsum("ij,jk->ik", general, hermitian)
    yield "solve", lambda: module.solve(general, right)
    yield "inverse", lambda: module.inverse(general)
    yield "slogdet", lambda: module.slogdet(general)
    yield "cholesky", lambda: module.cholesky(definite)
    yield "qr", lambda: module.qr(general)
    yield "lstsq", lambda: module.lstsq(general, right)
    yield "pinv", lambda: module.pinv(general)
    for method in ("tridiagonal_ql", "divide_and_conquer"):
        yield f"eigh {method}", lambda method=method: module.eigh(hermitian, method)
    for method in ("bidiagonal_qr", "divide_and_conquer", "jacobi"):
        if method != "jacobi" or n <= 65:
            yield f"svd {method}", lambda method=method: module.svd(general, method)


def digest(result) -> str:
    parts = result if isinstance(result, tuple) else (result,)
    summary = hashlib.sha256()
    for part in parts:
        interface = getattr(part, "__array_interface__", None)
        if interface is None:
            summary.update(repr(part).encode())
            continue
        item = 16 if interface["typestr"] == "<c16" else 8
        summary.update(ctypes.string_at(interface["data"][0], part.size * item))
    return summary.hexdigest()[:16]


def replay(folder: str) -> dict[str, str]:
    sys.path.insert(0, f"{folder}/numerical")
    import _numerical as module

    digests = {}
    for path in (0, 1, 2):
        if module._limit_gemm_path(path) != path:
            continue
        for threads in (1, 2):
            module._set_num_threads(threads)
            for n in SIZES:
                for is_complex in (False, True):
                    for name, call in calls(module, n, is_complex):
                        row = f"{name}, n = {n}, {'complex' if is_complex else 'real'}, path {path}"
                        value = digest(call())
                        if digests.setdefault(row, value) != value:
                            digests[row] = "differs between one thread and two"
    for rows, cols in SHAPES:
        for is_complex in (False, True):
            kind = "complex" if is_complex else "real"
            for name, call in orthogonal_calls(
                module, *tall_problem(module, rows, cols, is_complex)
            ):
                digests[f"{name}, {rows} x {cols}, {kind}"] = digest(call())
    return digests


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("before", help="folder that holds the package `numerical`")
    parser.add_argument("after", nargs="?", help="another; without it `before` is replayed alone")
    options = parser.parse_args()
    if options.after is None:
        print(json.dumps(replay(options.before)))
        return 0
    runs = [
        json.loads(subprocess.check_output([sys.executable, __file__, folder]))
        for folder in (options.before, options.after)
    ]
    differing = sorted(row for row in runs[0] | runs[1] if runs[0].get(row) != runs[1].get(row))
    print("\n".join(differing) or f"{len(runs[0])} results, equal to the bit")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
