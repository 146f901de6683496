"""Memory between calls, in a process of its own: how malloc maps blocks depends on all that was freed before."""

import os
import subprocess
import sys

import numerical as nm
import pytest

PROGRAM = """
import ctypes
import numerical as nm

FIELDS = "arena ordblks smblks hblks hblkhd usmblks fsmblks uordblks fordblks keepcost"

class Heap(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in FIELDS.split()]

state = ctypes.CDLL(None).mallinfo2
state.restype = Heap

before = state()
tensor = nm.full(1 << 17, 1.0)
while_held = state()
del tensor
print(while_held.hblkhd - before.hblkhd, state().keepcost >= 1 << 20)
"""


@pytest.mark.skipif(
    "libasan" in os.environ.get("LD_PRELOAD", ""), reason="the sanitizer's malloc is another"
)
def test_a_freed_result_stays_on_the_heap_for_the_next_call():
    path = os.path.dirname(os.path.dirname(nm.__file__))
    environment = {
        name: value
        for name, value in os.environ.items()
        if not name.startswith(("GLIBC_", "MALLOC_"))
    }
    done = subprocess.run(
        [sys.executable, "-c", PROGRAM], capture_output=True, text=True,
        env={**environment, "PYTHONPATH": path},
    )  # fmt: skip
    assert (done.returncode, done.stdout, done.stderr) == (0, "0 True\n", "")
