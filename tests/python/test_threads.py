"""Calls from several threads, in a forked child and at the interpreter's end."""

import concurrent.futures
import functools
import os
import sys

import _numerical
import numpy as np
import pytest
from support import (
    lock_is_held_during,
    lock_is_released_during,
    not_under_address_sanitizer,
    output_of,
    run_python,
)

generator = np.random.default_rng(0)


def positive_definite(n):
    a = generator.standard_normal((n, n))
    return a @ a.T + n * np.eye(n)


def tensor(array):
    return _numerical.asarray(np.ascontiguousarray(array))


# Calls on a square matrix, of the functions that release the lock for 4096 elements or more.
KERNELS = {
    "solve": lambda a: functools.partial(_numerical.solve, a, tensor(np.ones(a.shape[0]))),
    "inverse": lambda a: functools.partial(_numerical.inverse, a),
    "lstsq": lambda a: functools.partial(_numerical.lstsq, a, tensor(np.ones(a.shape[0]))),
    "cholesky": lambda a: functools.partial(_numerical.cholesky, a),
    "qr": lambda a: functools.partial(_numerical.qr, a),
    "eigh": lambda a: functools.partial(_numerical.eigh, a, "divide_and_conquer"),
    "matrix_rank": lambda a: functools.partial(_numerical.matrix_rank, a),
    "pinv": lambda a: functools.partial(_numerical.pinv, a),
    "svd": lambda a: functools.partial(_numerical.svd, a, "divide_and_conquer"),
    "determinant": lambda a: functools.partial(_numerical.determinant, a),
    "slogdet": lambda a: functools.partial(_numerical.slogdet, a),
    "einsum": lambda a: functools.partial(_numerical.einsum, "ii->", a),
}


@pytest.mark.parametrize("name", KERNELS)
def test_the_lock_is_released_from_4096_elements_on(name):
    call = KERNELS[name]
    assert lock_is_released_during(call(tensor(positive_definite(64))))
    assert lock_is_held_during(call(tensor(positive_definite(63))))


def test_asarray_releases_the_lock_unless_bytes_are_swapped():
    for dtype in ["f8", "f4", "i8", "c16"]:
        array = np.zeros(4096, dtype)
        assert lock_is_released_during(functools.partial(_numerical.asarray, array))
        assert lock_is_held_during(functools.partial(_numerical.asarray, array[1:]))
    swapped = np.zeros(100_000, ">f8")
    assert lock_is_held_during(functools.partial(_numerical.asarray, swapped), tries=20)


def test_small_work_and_attributes_keep_the_lock():
    a = tensor(np.zeros((300, 300)))
    for call in [
        a.tolist,
        a.__dlpack__,
        functools.partial(getattr, a, "shape"),
        functools.partial(_numerical.Tensor, [1.0] * 5000),
        functools.partial(_numerical._negate, a),
        functools.partial(_numerical._reduce, "sum", a, -1),
    ]:
        assert lock_is_held_during(call, tries=20)


def flattened(result):
    items = result if isinstance(result, tuple) else (result,)
    return [np.asarray(item).tobytes() for item in items]


@pytest.mark.parametrize("order", [20, 200])
def test_concurrent_callers_get_the_bits_of_a_lone_one(order):
    calls = [make(tensor(positive_definite(order))) for make in KERNELS.values()] * 3
    alone = [flattened(call()) for call in calls]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        together = list(pool.map(lambda call: flattened(call()), calls))
    assert together == alone


def test_a_tensor_may_be_read_by_many_threads_and_dropped_by_any():
    shared = tensor(positive_definite(100))
    expected = flattened(_numerical.inverse(shared))

    def work(seed):
        mine = _numerical.asarray(np.asarray(shared))
        return flattened(_numerical.inverse(shared if seed % 2 else mine)) == expected

    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        assert all(pool.map(work, range(64)))
    assert sys.getrefcount(shared) == 2  # the name and the argument


def in_child(check):
    """Runs check() in a forked child and gives its exit status."""
    child = os.fork()
    if child == 0:
        status = 1
        try:
            status = 0 if check() else 2
        finally:
            os._exit(status)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def test_a_forked_child_computes_the_same():
    calls = [make(tensor(positive_definite(300))) for make in KERNELS.values()]
    alone = [flattened(call()) for call in calls]
    same = functools.partial(lambda: [flattened(call()) for call in calls] == alone)
    assert in_child(same) == 0
    assert in_child(lambda: in_child(same) == 0) == 0  # a child of the child
    assert same()


def test_a_fork_while_another_thread_computes():
    a = tensor(positive_definite(400))
    expected = flattened(_numerical.inverse(a))
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        busy = [pool.submit(_numerical.inverse, a) for _ in range(20)]
        for _ in range(10):
            assert in_child(lambda: flattened(_numerical.inverse(a)) == expected) == 0
        assert all(flattened(future.result()) == expected for future in busy)


FORK_BEFORE_USE = """
import os
import _numerical as m
n = 300
a = m.Tensor([float(n * (i == j)) + 1 for i in range(n) for j in range(n)], (n, n))
child = os.fork()
result = m.inverse(a).tolist()
if child == 0:
    os._exit(0 if result[0][0] > 0 else 1)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
print(m.get_num_threads() >= 1)
"""


def test_a_fork_before_the_first_use():
    assert output_of(FORK_BEFORE_USE) == "True\n"


THREADS_OF_THE_PROCESS = """
import os
import _numerical as m

def threads():
    return len(os.listdir("/proc/self/task"))

before = threads()
small = m.Tensor([2.0, 0.0, 0.0, 3.0], (2, 2))
m.solve(small, small), m.svd(small, "divide_and_conquer"), m.einsum("ij,jk->ik", small, small)
large = m._full((300, 300), 1.0, False)
m._binary("+", large, large), m._reduce("sum", large, 0), m._set_num_threads(0)
print(threads() - before)
m.einsum("ij,jk->ik", large, large)
print((threads() > before) == (m.get_num_threads() > 1))
"""


def test_no_thread_starts_before_a_loop_wants_two():
    assert output_of(THREADS_OF_THE_PROCESS) == "0\nTrue\n"


# --- the end of the interpreter ------------------------------------------------------------------

# The main thread leaves while daemon threads are in calls: each has made its first, and the main
# thread gets the lock to go on when another call gives it up. The C library then sleeps for a while
# in an exit handler, on_exit(sleep), which is called with the exit status, so that threads come
# back to an interpreter that has ended. A busy machine sees fewer of them, and fails by none.
EXIT = """
import ctypes, sys, threading
import _numerical as m

def work():
{work}

def call():
    try:
        work()
    except m.error:
        pass
    calls.release()

def forever():
    call()
    started.wait()
    while True:
        call()

started = threading.Barrier(4)
calls = threading.Semaphore(0)
threads = [threading.Thread(target=forever, daemon=True) for _ in range(3)]
for thread in threads:
    thread.start()
started.wait()
for _ in range(3 + 12):
    calls.acquire()
libc = ctypes.CDLL(None)
libc.on_exit(libc.sleep, None)
sys.exit(1)
"""

WORK = {
    "a call that returns": """
    m.solve(matrix, vector)
""",
    "a call that throws in its kernel": """
    m.solve(singular, vector)
""",
    "an array that is read": """
    m.asarray(exposed)
""",
    "a sequence that runs Python code": """
    m.Tensor(Slow())
""",
    "an item that runs Python code when dropped": """
    m.Tensor(Dropping())
""",
    "an interface that runs Python code": """
    m.asarray(Interface())
""",
}

PRELUDE = """
n = 250
numbers = [float((i * j) % 17) + n * (i == j) for i in range(n) for j in range(n)]
matrix = m.Tensor(numbers, (n, n))
vector = m.Tensor([1.0] * n)
singular = m.Tensor(numbers[:-n] + [0.0] * n, (n, n))

class exposed:
    kept = m.Tensor([0.0] * 300000)
    __array_interface__ = kept.__array_interface__

def spin():
    for _ in range(2000):
        pass

class Slow:
    def __len__(self):
        return 100
    def __getitem__(self, index):
        spin()
        return 1.0

class Item:
    def __float__(self):
        return 1.0
    def __del__(self):
        spin()

class Dropping:
    def __len__(self):
        return 100
    def __getitem__(self, index):
        return Item()

class Interface:
    @property
    def __array_struct__(self):
        spin()
        raise AttributeError
    @property
    def __array_interface__(self):
        spin()
        return {"typestr": "<f8", "data": (1, True), "shape": Shape(), "strides": None}

class Shape:
    def __len__(self):
        return 1
    def __getitem__(self, index):
        spin()
        return 0
"""


@not_under_address_sanitizer("frames that are unwound by force stay poisoned in its books")
@pytest.mark.parametrize("kind", WORK)
def test_daemon_threads_in_calls_do_not_disturb_the_end(kind):
    if sys.version_info < (3, 11) and "Python code" in kind:
        pytest.skip("CPython 3.10 crashes by itself when such a thread comes back")
    script = EXIT.format(work=WORK[kind]).replace("def work", PRELUDE + "\ndef work", 1)
    done = run_python(script)
    assert (done.returncode, done.stdout, done.stderr) == (1, "", "")
