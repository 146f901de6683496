"""A signal's handler runs, and may end a call, while the call is in the engine."""

import os
import signal
import subprocess
import sys
import threading

import numpy as np
import pytest

import numerical as nm

# The sweeps of Jacobi's method at this order take many minutes: what isn't ended hangs.
ORDER = 3000


class Stop(Exception):
    pass


@pytest.fixture
def alarm():
    """Sends an alarm soon; its handler is to be set by the test."""
    before = signal.getsignal(signal.SIGALRM)
    yield lambda handler: (
        signal.signal(signal.SIGALRM, handler), signal.setitimer(signal.ITIMER_REAL, 0.05, 0.05)
    )  # fmt: skip
    signal.setitimer(signal.ITIMER_REAL, 0)
    signal.signal(signal.SIGALRM, before)


@pytest.fixture(params=[1, 2])
def threads(request):
    with nm.num_threads(request.param):
        yield request.param


def stop(number, frame):
    signal.setitimer(signal.ITIMER_REAL, 0)
    raise Stop


def bits(t):
    return np.asarray(t).tobytes()


def symmetric(order):
    a = nm.reshape(nm.sin(nm.arange(order * order)), (order, order))
    return a + a.T


CALLS = {
    "eigh by Jacobi": lambda: nm.linalg.eigh(symmetric(ORDER), method="jacobi"),
    "svd by Jacobi": lambda: nm.linalg.svd(symmetric(ORDER), method="jacobi"),
    "a stack": lambda: nm.linalg.eigh(
        nm.broadcast_to(symmetric(40), (3000, 40, 40)), method="jacobi"
    ),
}


@pytest.mark.parametrize("name", CALLS)
def test_what_a_handler_raises_ends_the_call(name, alarm, threads):
    a = symmetric(300)
    before = bits(a @ a)
    alarm(stop)
    with pytest.raises(Stop):
        CALLS[name]()
    assert bits(a @ a) == before


def test_a_handler_may_call_the_engine_and_let_the_call_go_on(alarm, threads):
    products = []
    a = symmetric(128)
    large = symmetric(400)
    expected = bits(nm.linalg.svd(large, method="jacobi").S)

    def multiply(number, frame):
        products.append(bits(a @ a))

    alarm(multiply)
    while not products:
        assert bits(nm.linalg.svd(large, method="jacobi").S) == expected
    assert set(products) == {bits(a @ a)}


def test_ctrl_c_is_keyboard_interrupt(threads):
    program = f"""
import os, signal, threading
import numerical as nm
nm.set_num_threads({threads})
a = nm.eye({ORDER}) + 0.5
# A shell that starts a program in the background has it ignore Ctrl-C.
signal.signal(signal.SIGINT, signal.default_int_handler)
threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    nm.linalg.eigh(a, method="jacobi")
except KeyboardInterrupt:
    print("ended", (nm.eye(100) @ nm.eye(100)).shape)
"""
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)},
    )  # fmt: skip
    assert done.stdout == "ended (100, 100)\n", done.stderr


def test_calls_of_other_threads_are_not_ended(alarm):
    a = symmetric(200)
    expected = bits(nm.linalg.eigh(a, method="jacobi").eigenvalues)
    found = []
    worker = threading.Thread(
        target=lambda: found.append(bits(nm.linalg.eigh(a, method="jacobi").eigenvalues))
    )
    alarm(stop)
    with pytest.raises(Stop):
        worker.start()
        nm.linalg.eigh(symmetric(ORDER), method="jacobi")
    worker.join()
    assert found == [expected]
