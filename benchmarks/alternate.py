"""Times two ways of doing one thing alternately, in one run and on the same data.

Absolute times on a shared machine are noise; the ratio of two calls made one after the other is
not. A round calls ours, then theirs, then theirs, then ours, so that a drift of the clock cancels;
the figure of a case is the median of the rounds' ratios theirs/ours: above 1, we are faster.

On one thread the clock is the process's CPU time, which other processes of the machine do not
enter. On several threads it is the wall clock, and a pause follows the rival's calls: OpenBLAS's
threads go on spinning for 2^26 cycles after each, on the processors that our call is to run on. The
calling thread doesn't sleep in the pause: the first milliseconds of either side's calls are 0.3 to
0.5 longer on a processor that the system had halted (on a virtual machine of Zen 5), and the rival's
calls, which follow ours at once, never meet that.
"""

import ctypes
import dataclasses
import math
import statistics
import time
from typing import Any, Callable

Call = Callable[[], Any]

RIVAL_SPINS = 0.04  # seconds, the 2^26 cycles of OpenBLAS at 1.7 GHz


@dataclasses.dataclass
class Case:
    """One row: `ours` and `theirs` are calls without arguments on the same data.

    `work` is what one call does, in floating-point operations or in bytes moved as `unit` says
    ("flop" or "byte"), and makes the row show the rate; 0 shows none. `check`, if given, takes the
    results of ours and theirs and raises where they disagree.
    """

    name: str
    ours: Call
    theirs: Call
    work: float = 0.0
    unit: str = "flop"
    check: Callable[[Any, Any], None] | None = None


@dataclasses.dataclass
class Row:
    name: str
    threads: int
    ours: float  # seconds a call, the smallest seen
    theirs: float
    ratio: float  # median of the rounds' theirs/ours
    rate: float  # of ours: GFLOP/s or GB/s, 0 for none


def openblas_libraries() -> list[ctypes.CDLL]:
    """The OpenBLAS libraries that this process has loaded."""
    with open("/proc/self/maps", encoding="ascii", errors="replace") as maps:
        paths = {line.split()[-1] for line in maps if "openblas" in line}
    return [ctypes.CDLL(path) for path in sorted(paths)]


def set_rival_threads(threads: int) -> None:
    for library in openblas_libraries():
        library.openblas_set_num_threads(threads)


def rival() -> str:
    """NumPy's version and the BLAS below it; raises if that is not OpenBLAS, which is no rival."""
    import numpy

    libraries = openblas_libraries()
    if not libraries:
        raise RuntimeError("NumPy runs on a BLAS other than OpenBLAS: install libopenblas0-pthread")
    config = libraries[0].openblas_get_config
    config.restype = ctypes.c_char_p
    return f"NumPy {numpy.__version__} on {config().decode().strip()}"


def _seconds(call: Call, repeats: int, clock: Callable[[], float]) -> float:
    start = clock()
    for _ in range(repeats):
        call()
    return (clock() - start) / repeats


def _pass_time(seconds: float) -> None:
    end = time.perf_counter() + seconds
    while time.perf_counter() < end:
        pass


def _repeats(call: Call, clock: Callable[[], float], slice_seconds: float) -> int:
    once = _seconds(call, 1, clock)
    if once >= slice_seconds:
        return 1
    once = max(min(once, _seconds(call, 1, clock)), 1e-7)
    return min(100_000, math.ceil(slice_seconds / once))


def least_rounds(start: float, budget: float) -> int:
    return 5 if time.perf_counter() - start < 4 * budget else 2


def measure(
    case: Case, threads: int, budget: float = 0.5, slice_seconds: float = 0.002,
    rival_spins: float = RIVAL_SPINS,
) -> Row:  # fmt: skip
    """Runs the case for about `budget` seconds, and for five rounds at least (slow cases: two).

    On several threads `rival_spins` seconds pass after the rival's calls.
    """
    clock = time.process_time if threads == 1 else time.perf_counter
    ours_result, theirs_result = case.ours(), case.theirs()
    if case.check is not None:
        case.check(ours_result, theirs_result)
    del ours_result, theirs_result
    if threads > 1:
        _pass_time(rival_spins)
    ours_repeats = _repeats(case.ours, clock, slice_seconds)
    theirs_repeats = _repeats(case.theirs, clock, slice_seconds)
    ours, theirs, ratios = [], [], []
    start = time.perf_counter()
    end = start + budget
    while len(ratios) < least_rounds(start, budget) or (
        time.perf_counter() < end and len(ratios) < 200
    ):
        if threads > 1 and not ratios:
            _pass_time(rival_spins)
        first = _seconds(case.ours, ours_repeats, clock)
        rival_first = _seconds(case.theirs, theirs_repeats, clock)
        rival_second = _seconds(case.theirs, theirs_repeats, clock)
        if threads > 1:
            _pass_time(rival_spins)
        second = _seconds(case.ours, ours_repeats, clock)
        ours += [first, second]
        theirs += [rival_first, rival_second]
        ratios.append((rival_first + rival_second) / (first + second))
    rate = case.work / min(ours) / 1e9 if case.work else 0.0
    return Row(case.name, threads, min(ours), min(theirs), statistics.median(ratios), rate)


def geometric_mean(values: list[float]) -> float:
    return math.exp(statistics.fmean(math.log(value) for value in values))
