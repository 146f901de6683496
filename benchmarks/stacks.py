"""Stacks of small matrices against numpy.linalg: the program `stacks` and NumPy in alternate rounds.

    OPENBLAS_NUM_THREADS=1 python3 benchmarks/stacks.py [PROGRAM]

Both run on one thread and on the same matrices, and are timed by processor time. A row shows the
median of the rounds' ratios ours/theirs, below 1 where we are faster, and nanoseconds a matrix.
"""

import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy

PROGRAM = Path(__file__).resolve().parents[1] / "build/release/benchmarks/stacks"
ROUNDS = 15
SIZES = [(3, 10000), (4, 10000), (8, 2000), (32, 500), (100, 50)]  # order, matrices


def rivals(a):
    """Name of the operation, to NumPy's call on `a` that does the same."""
    linalg = numpy.linalg
    vectors = a.reshape(-1)[: a.shape[0] * a.shape[1]].reshape(a.shape[0], a.shape[1], 1)
    return {
        "solve": lambda: linalg.solve(a, vectors),
        "inv": lambda: linalg.inv(a),
        "det": lambda: linalg.det(a),
        "slogdet": lambda: linalg.slogdet(a),
        "cholesky": lambda: linalg.cholesky(a),
        "qr": lambda: linalg.qr(a),
        "eigh": lambda: linalg.eigh(a),
        "eigvalsh": lambda: linalg.eigvalsh(a),
        "svd": lambda: linalg.svd(a, full_matrices=False),
        "pinv": lambda: linalg.pinv(a),
        "matrix_rank": lambda: linalg.matrix_rank(a),
        "matmul": lambda: a @ a,
        "matvec": lambda: a @ vectors,
    }


def definite(generator, order, count):
    """Well-conditioned symmetric matrices, which every operation takes."""
    a = generator.standard_normal((count, order, order))
    return a + a.transpose(0, 2, 1) + 4 * order * numpy.eye(order)


def seconds_of(call):
    start = time.thread_time()
    call()
    return time.thread_time() - start


def main():
    program = subprocess.Popen(
        [sys.argv[1] if len(sys.argv) > 1 else PROGRAM],
        text=True,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
    )

    def our_seconds(operation, order, count, file):
        print(operation, order, count, file, file=program.stdin, flush=True)
        return float(program.stdout.readline())

    generator = numpy.random.default_rng(1)
    with tempfile.TemporaryDirectory() as folder:
        for order, count in SIZES:
            a = definite(generator, order, count)
            file = Path(folder) / f"{order}.f64"
            a.tofile(file)
            for name, theirs in rivals(a).items():
                rounds = []
                for _ in range(ROUNDS):
                    ours = our_seconds(name, order, count, file)
                    rival = seconds_of(theirs)
                    rival += seconds_of(theirs)
                    ours += our_seconds(name, order, count, file)
                    rounds.append((ours / rival, ours, rival))
                best = [min(column) / count / 2 * 1e9 for column in list(zip(*rounds))[1:]]
                ratio = statistics.median(ratio for ratio, _, _ in rounds)
                print(
                    f"{name:12} {count:6} x {order:3}  {ratio:6.2f}  "
                    f"{best[0]:10.0f} {best[1]:10.0f} ns",
                    flush=True,
                )
    program.stdin.close()
    program.wait()


if __name__ == "__main__":
    main()
