"""The end of a process whose daemon threads are in the middle of telling failures."""

import os
import subprocess
import sys

import numerical as nm

# Threads come back to an interpreter that has ended while the package makes a hint for their error. They
# are unwound there, and must leave the error of the thread that ends the interpreter alone: its collector,
# which has something to do, would tell of theirs. A run sees it one time in eight.
PROGRAM = """
import sys, threading
import numerical as nm

singular, vector = nm.zeros((4, 4)), nm.ones(4)
calls = threading.Semaphore(0)

def work():
    while True:
        try:
            nm.linalg.solve(singular, vector)
        except nm.error:
            calls.release()

for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
for _ in range(12):
    calls.acquire()

class Held:
    pass

cycles = [Held() for _ in range(1000)]
for each in cycles:
    each.me = each
sys.setswitchinterval(1e-6)
sys.exit(1)
"""


def test_errors_of_threads_that_are_unwound_reach_no_other_thread():
    path = os.path.dirname(os.path.dirname(nm.__file__))
    for _ in range(16):
        done = subprocess.run(
            [sys.executable, "-c", PROGRAM], capture_output=True, text=True, env={**os.environ, "PYTHONPATH": path}
        )  # fmt: skip
        assert (done.returncode, done.stdout, done.stderr) == (1, "", "")
