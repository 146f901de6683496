"""How time and memory grow with the order of a matrix, on one thread.

    PYTHONPATH=build/release/python python3 benchmarks/growth.py [--long] [NAME..]

Each call runs in a fresh process, whose CPU time is the time; "power" is p where the time grew as
n^p from the order before, with 3 as the limit. "memory" is what the process held at most during
the call beyond what it held before, in matrices of the operand's size; what the call returns is
in it. Orders 500, 1000 and 2000; with --long 1000 to 8000, which takes ten minutes and 5 GB.
"""

import argparse
import math
import os
import subprocess
import sys

GENERAL = "x"
DEFINITE = "x + x.T + 4 * np.sqrt(n) * np.eye(n)"  # the norm of x + x.T is about 2.8·√n
CALLS = {  # the operand `a`, and the call
    "matmul": (GENERAL, "a @ a"),
    "solve": (GENERAL, "nm.linalg.solve(a, b)"),
    "inv": (GENERAL, "nm.linalg.inv(a)"),
    "cholesky": (DEFINITE, "nm.linalg.cholesky(a)"),
    "qr": (GENERAL, "nm.linalg.qr(a)"),
    "eigvalsh": (DEFINITE, "nm.linalg.eigvalsh(a)"),
    "eigh": (DEFINITE, "nm.linalg.eigh(a)"),
    "svdvals": (GENERAL, "nm.linalg.svdvals(a)"),
    "svd": (GENERAL, "nm.linalg.svd(a)"),
}
ORDERS = (500, 1000, 2000)
LONG_ORDERS = (1000, 2000, 4000, 8000)

PROGRAM = """
import time
import numpy as np
import numerical as nm

def held(field):
    with open("/proc/self/status", encoding="ascii") as status:
        return next(1024 * int(line.split()[1]) for line in status if line.startswith(field))

nm.set_num_threads(1)
n = {order}
x = np.random.default_rng(1).standard_normal((n, n))
b = nm.asarray(x[0])
a = nm.asarray({operand})
del x
with open("/proc/self/clear_refs", "w", encoding="ascii") as peak:
    peak.write("5")  # VmHWM counts from here on
before = held("VmRSS")
start = time.process_time()
result = {call}
print(time.process_time() - start, held("VmHWM") - before)
"""


def measured(name: str, order: int) -> tuple[float, float]:
    """Seconds, and matrices of memory."""
    operand, call = CALLS[name]
    program = PROGRAM.format(order=order, operand=operand, call=call)
    environment = {**os.environ, "OPENBLAS_NUM_THREADS": "1"}
    run = subprocess.run(
        [sys.executable, "-c", program], env=environment, capture_output=True, text=True, check=True
    )
    seconds, extra = run.stdout.split()
    return float(seconds), float(extra) / (8 * order**2)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("names", nargs="*", help="of the calls: " + ", ".join(CALLS))
    parser.add_argument("--long", action="store_true", help="orders 1000 to 8000")
    options = parser.parse_args()
    if unknown := set(options.names) - set(CALLS):
        parser.error("no such call: " + ", ".join(sorted(unknown)))
    print(f"{'call':<10} {'order':>6} {'seconds':>9} {'power':>6} {'memory':>7}")
    for name in options.names or CALLS:
        before = None
        for order in LONG_ORDERS if options.long else ORDERS:
            seconds, memory = measured(name, order)
            power = f"{math.log(seconds / before, 2):.2f}" if before else ""
            print(f"{name:<10} {order:>6} {seconds:>9.3f} {power:>6} {memory:>7.1f}", flush=True)
            before = seconds


if __name__ == "__main__":
    main()
