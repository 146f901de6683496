"""CPU time of `import numerical` and of `import numpy`, each in fresh interpreters, alternately.

    PYTHONPATH=build/release/python python3 benchmarks/import_time.py

The import of numerical is meant to stay below 5 ms on a current processor, that a script which
imports it starts without a wait.
"""

import statistics
import subprocess
import sys

ROUNDS = 15
PROGRAM = """
import time
start = time.process_time()
import {module}
print(time.process_time() - start)
"""


def seconds(module: str) -> float:
    command = [sys.executable, "-c", PROGRAM.format(module=module)]
    return float(subprocess.run(command, capture_output=True, text=True, check=True).stdout)


def main() -> None:
    rounds = [(seconds("numerical"), seconds("numpy")) for _ in range(ROUNDS)]
    ours, theirs = (min(times) for times in zip(*rounds))
    ratio = statistics.median(b / a for a, b in rounds)
    print(f"import: numerical {1e3 * ours:.1f} ms, numpy {1e3 * theirs:.1f} ms, ratio {ratio:.1f}")


if __name__ == "__main__":
    main()
