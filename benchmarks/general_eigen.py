"""General eigenproblems against numpy.linalg, in turns, by CPU time on one thread: ours/theirs.

    python3 benchmarks/general_eigen.py build/release/benchmarks/general_eigen
"""

import argparse
import os
import statistics
import subprocess
import time

os.environ["OPENBLAS_NUM_THREADS"] = "1"

import numpy  # noqa: E402

ORDERS = [4, 8, 16, 32, 64, 100, 200, 300, 500, 1000]


def matrix(n, dtype):
    generator = numpy.random.default_rng(n)
    a = generator.standard_normal((n, n))
    return a if dtype == "float64" else a + 1j * generator.standard_normal((n, n))


def theirs(what, a):
    call = getattr(numpy.linalg, what)
    repeats = 1 + 4000 // a.size
    start = time.process_time()
    for _ in range(repeats):
        call(a)
    return (time.process_time() - start) / repeats


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", help="the built general_eigen")
    parser.add_argument("--orders", default=",".join(map(str, ORDERS)))
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--path", default="2", help="limit of the path: 0, 1 or 2")
    options = parser.parse_args()
    server = subprocess.Popen(
        [options.program, options.path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
    )

    def ours(what, dtype, n):
        server.stdin.write(f"{what} {dtype} {n} 1\n")
        server.stdin.flush()
        return float(server.stdout.readline())

    for dtype in ("float64", "complex128"):
        for n in map(int, options.orders.split(",")):
            a = matrix(n, dtype)
            ratios = []
            for what in ("eigvals", "eig"):
                ours(what, dtype, n), theirs(what, a)
                rounds = [ours(what, dtype, n) / theirs(what, a) for _ in range(options.rounds)]
                ratios.append(f"{what} {statistics.median(rounds):.2f}")
            print(f"{dtype:>10} n={n:<5} {'   '.join(ratios)}", flush=True)
    server.stdin.close()
    server.wait()


if __name__ == "__main__":
    main()
