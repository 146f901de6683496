"""Calls of the package on two threads against themselves on one, alternately in one run.

Each line has a row's milliseconds on one thread and the median of two over one, by the wall clock:
on a machine that does other work too the figures say nothing.

    PYTHONPATH=build/python python3 benchmarks/scaling.py [REGULAR EXPRESSION]
"""

import collections.abc
import re
import statistics
import sys
import time

import numerical as nm
import numpy as np

Call = collections.abc.Callable[[], object]
Rows = collections.abc.Iterator[tuple[str, collections.abc.Callable[[], Call]]]

SPAN = 0.003  # seconds of a timing, with as many calls as that takes
MOST_ROUNDS = 31
BUDGET = 0.5  # seconds for each row and thread count

random = np.random.default_rng(1)


def real(*shape: int) -> nm.Tensor:
    return nm.asarray(random.standard_normal(shape))


def complex_numbers(*shape: int) -> nm.Tensor:
    return nm.asarray(random.standard_normal(shape) + 1j * random.standard_normal(shape))


def hermitian(n: int, numbers=real) -> nm.Tensor:
    a = numbers(n, n)
    return a + nm.conj(a.T)


def definite(n: int, numbers=real) -> nm.Tensor:
    a = numbers(n, n)
    return a @ nm.conj(a.T) + n * nm.eye(n)


def of(function, *operands: nm.Tensor) -> Call:
    return lambda: function(*operands)


def rows() -> Rows:
    """Names, and functions that make the operands and give the call."""
    la = nm.linalg
    for n in (128, 256, 512, 1000, 2000):
        yield f"matmul {n}", lambda n=n: of(nm.matmul, real(n, n), real(n, n))
    for n in (100, 256, 500, 1000, 2000):
        yield f"solve {n}", lambda n=n: of(la.solve, real(n, n), real(n))
        yield f"solve {n}, {n} columns", lambda n=n: of(la.solve, real(n, n), real(n, n))
        yield f"inv {n}", lambda n=n: of(la.inv, real(n, n))
        yield f"det {n}", lambda n=n: of(la.det, real(n, n))
        yield f"cholesky {n}", lambda n=n: of(la.cholesky, definite(n))
        yield f"eigh {n}", lambda n=n: of(la.eigh, hermitian(n))
        yield f"eigvalsh {n}", lambda n=n: of(la.eigvalsh, hermitian(n))
    for n in (256, 500):
        yield f"cholesky {n}, complex", lambda n=n: of(la.cholesky, definite(n, complex_numbers))
        yield f"eigh {n}, complex", lambda n=n: of(la.eigh, hermitian(n, complex_numbers))
    for m, n in ((100, 100), (256, 256), (500, 500), (1000, 1000), (4000, 200), (10000, 50)):
        yield f"qr {m}x{n}", lambda m=m, n=n: of(la.qr, real(m, n))
    for n in (128, 256, 500, 1000):
        yield f"svd {n}", lambda n=n: of(la.svd, real(n, n))
        yield f"svdvals {n}", lambda n=n: of(la.svdvals, real(n, n))
    for m, n in ((200, 200), (1000, 200)):
        yield f"pinv {m}x{n}", lambda m=m, n=n: of(la.pinv, real(m, n))
    for n in (100, 300, 500):
        yield f"eig {n}", lambda n=n: of(la.eig, real(n, n))
        yield f"expm {n}", lambda n=n: of(la.expm, real(n, n) / n)
    for count, n in ((10000, 3), (500, 32), (50, 100)):
        yield f"inv, stack {count}x{n}", lambda k=count, n=n: of(la.inv, real(k, n, n))
    for n in (10**4, 10**5, 10**6):
        yield f"exp {n}", lambda n=n: of(nm.exp, real(n))


def seconds(call: Call, threads: int, calls: int) -> float:
    nm.set_num_threads(threads)
    start = time.perf_counter()
    for _ in range(calls):
        call()
    return (time.perf_counter() - start) / calls


def measure(call: Call) -> tuple[float, float]:
    """Seconds on one thread, and two over one."""
    seconds(call, 2, 1)
    once = seconds(call, 1, 1)
    calls = max(1, int(SPAN / once))
    rounds = max(5, min(MOST_ROUNDS, int(BUDGET / (once * calls))))
    pairs = [(seconds(call, 1, calls), seconds(call, 2, calls)) for _ in range(rounds)]
    return (
        statistics.median(one for one, _ in pairs),
        statistics.median(two / one for one, two in pairs),
    )


def main(wanted: str = "") -> None:
    print(f"{'row':<28} {'one thread':>13} {'two/one':>8}")
    for name, made in rows():
        if re.search(wanted, name):
            one, ratio = measure(made())
            mark = "  >" if ratio > 1 else ""
            print(f"{name:<28} {one * 1e3:10.3f} ms {ratio:8.2f}{mark}", flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
