"""Memory between calls, in a process of its own: how malloc maps blocks depends on all that was freed before."""

import os
import subprocess
import sys

import numerical as nm
import pytest

CALLS = 20

PROGRAM = f"""
import resource, sys
import numerical as nm

n = int(sys.argv[1])
a = nm.array([[float(i == j) + 1 / (i + j + 1) for j in range(n)] for i in range(n)])
faults = []
for _ in range({CALLS}):
    before = resource.getrusage(resource.RUSAGE_SELF).ru_minflt
    nm.linalg.inv(a)
    faults.append(resource.getrusage(resource.RUSAGE_SELF).ru_minflt - before)
print(sorted(faults)[len(faults) // 2])
"""


@pytest.mark.skipif(
    "libasan" in os.environ.get("LD_PRELOAD", ""), reason="the sanitizer's malloc is another"
)
@pytest.mark.parametrize("n", [100, 200, 256, 316])
def test_repeated_calls_use_the_pages_that_the_first_one_touched(n):
    path = os.path.dirname(os.path.dirname(nm.__file__))
    environment = {
        name: value
        for name, value in os.environ.items()
        if not name.startswith(("GLIBC_", "MALLOC_"))
    }
    done = subprocess.run(
        [sys.executable, "-c", PROGRAM, str(n)], capture_output=True, text=True,
        env={**environment, "PYTHONPATH": path},
    )  # fmt: skip
    assert (done.returncode, done.stderr) == (0, "")
    pages_of_the_result = n * n * 8 // 4096
    assert int(done.stdout) < pages_of_the_result / 4
