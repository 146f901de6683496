"""Memory exhaustion: every allocation of a call fails, one after the other.

For each call of the catalogue, and each request for memory that it makes, of the module
(malloc, realloc, operator new) or of Python, the call is made anew with that request failing, and once
more with a row of them failing, as what handles a failure may need memory too. It must raise MemoryError, or have the result that it has
otherwise, down to the last bit; the call after it must be right; and repeating all of it must not make
the process grow. Starts of threads, the address space and the import are tried in children of their own.
"""

import ctypes
import gc
import os
import re
import resource
import subprocess
import sys

import catalogue
import support

HOW = (
    "each request for memory of each call fails, the module's and Python's, alone and in a row: MemoryError or the"
    " right result, no growth, the next call right; so do starts of threads, the import, the address space"
)
SOURCES = {"module": 1, "Python": 2, "Python for the module": 8}
# Failing requests in a row: for the module all later ones. CPython 3.11 runs for ever if it gets no
# number for the place to which an exception returns, so that Python gets memory again.
ROWS = {"module": 2**40, "Python": 16}
# What the standard library makes of a MemoryError of its own.
OTHER_WORDS = re.compile(
    r"ArgumentError: argument \d: MemoryError: $|PicklingError: Can't pickle .* import of module .* failed$"
    r"|RuntimeError: can't allocate read lock$"
)
SMALL, LARGE, THREADED = 3, 70, 300
SAMPLES = 12  # failing requests of each call on large operands
PASSES, GROWTH_SAMPLES = 20, 40  # of each small call's failures, for growth
IMPORT_PARTS = 61  # of the import's requests, one in so many is a cell
MODULES_IMPORT = "import, the module's requests"  # all of them
OFTEN = 3  # growth is believed when it is seen as often, in twice the passes each time

PYTHONS_RAISE = re.compile(
    r"SystemError: (error return without exception set|<.*> returned NULL without setting an exception)?$"
)
LOCKS = re.compile(
    r"can't allocate (read )?lock$|cannot release un-acquired lock$|can't start new thread$|Error calling __set_name__ on "
)


class Faults:
    """The preloaded library, told where the module lies."""

    def __init__(self):
        self.library = ctypes.PyDLL(os.environ["LD_PRELOAD"])
        self.library.disarm.restype = self.library.failures.restype = ctypes.c_long
        self.library.armed_call.restype = ctypes.py_object
        self.library.armed_call.argtypes = [ctypes.py_object, ctypes.py_object, ctypes.c_int, ctypes.c_long,
                                            ctypes.c_long]  # fmt: skip
        self.library.set_module.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
        self.library.hook_python()

    def find_module(self):
        with open("/proc/self/maps") as maps:
            spans = [line.split()[0].split("-") for line in maps if "_numerical" in line]
        self.library.set_module(int(spans[0][0], 16), int(spans[-1][1], 16))

    def requests(self, call, operands, source):
        self.library.armed_call(call, operands, source, -1, 0)
        return self.library.disarm()

    def failing(self, call, operands, source, first, row):
        """The call's result where `row` requests from the given one on fail."""
        return self.library.armed_call(call, operands, source, first, row)


class Heap(ctypes.Structure):
    _fields_ = [
        (name, ctypes.c_size_t)
        for name in (
            "arena",
            "ordblks",
            "smblks",
            "hblks",
            "hblkhd",
            "usmblks",
            "fsmblks",
            "uordblks",
            "fordblks",
            "keepcost",
        )
    ]


_heap = ctypes.CDLL(None).mallinfo2
_heap.restype = Heap


def in_use():
    """Python's blocks, and the C library's bytes."""
    gc.collect()
    now = _heap()
    return sys.getallocatedblocks(), now.uordblks + now.hblkhd


class Trial:
    """All failures of one call on one set of operands."""

    def __init__(self, faults, name, call, operands, place):
        self.faults, self.name, self.call, self.operands, self.place = (
            faults,
            name,
            call,
            operands,
            place,
        )
        self.expected = catalogue.result_of(call, operands)
        self.tried = 0
        self.found = []

    def requests(self, source):
        for _ in range(2):  # what is made once is made before
            catalogue.result_of(self.call, self.operands)
        try:
            self.faults.requests(self.call, self.operands, source)
        except Exception:  # a call that fails in any case
            pass
        return self.faults.library.disarm()

    def fail(self, kind, first, row):
        self.place.write(f"{self.name}, {kind}'s request {first}{' and more' if row > 1 else ''}")
        self.tried += 1
        try:
            result = self.faults.failing(self.call, self.operands, SOURCES[kind], first, row)
        except MemoryError:
            return
        except BaseException as error:
            said = f"{type(error).__name__}: {error}"
            if said != self.expected and not (
                OTHER_WORDS.match(said) or self.is_pythons_raise(said)
            ):
                self.found.append(f"{self.place.read()}: {said[:200]}")
            return
        if catalogue.digest(result) != self.expected:
            self.found.append(f"{self.place.read()}: another result")

    def is_pythons_raise(self, said):
        """What CPython makes of `raise ValueError("text")` where it gets no memory for a traceback or the
        text, in a function that is all Python as well."""
        kind, raises, _ = self.expected.partition(": ")
        return bool(raises) and (said == kind + ": " or PYTHONS_RAISE.match(said) is not None)

    def require_right(self, kind):
        if catalogue.result_of(self.call, self.operands) != self.expected:
            self.found.append(f"{self.name}: another result after {kind}'s failures")

    def every_request(self):
        for kind, row in ROWS.items():
            for first in range(self.requests(SOURCES[kind])):
                self.fail(kind, first, row=1)
                self.require_right(kind)
                self.fail(kind, first, row)
                self.require_right(kind)
        if not self.found:
            self.require_no_growth("module")
            self.require_no_growth("Python for the module")

    def some_requests(self, kind):
        count = self.requests(SOURCES[kind])
        for i in range(min(count, SAMPLES)):
            self.fail(kind, i * count // min(count, SAMPLES), 1 if i % 2 else ROWS[kind])
        self.require_right(kind)

    def require_no_growth(self, kind):
        """A block that a failure loses is lost in every pass."""
        count = self.requests(SOURCES[kind])
        places = sorted(
            {i * count // min(count, GROWTH_SAMPLES) for i in range(min(count, GROWTH_SAMPLES))}
        )
        grown = []
        for passes in (PASSES << i for i in range(OFTEN)):
            before = in_use()
            for _ in range(passes):
                for first in places:
                    self.fail(kind, first, row=1)
            grown = [after - start for start, after in zip(before, in_use())]
            if grown[0] < passes and grown[1] < 24 * passes:
                return
        self.found.append(f"{self.name}: failures of {kind} lost {grown[0]} blocks and {grown[1]} bytes "
                          f"in {passes} passes")  # fmt: skip


# --- starts of threads, the address space, the import: each in a child of its own -----------------------
def in_child(check):
    """The text that check() returns in a forked child, "" where all is well; how it ended otherwise."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.write(writing, (check() or "").encode()[:4000])
        except BaseException as error:
            os.write(writing, f"{type(error).__name__}: {error}".encode()[:4000])
        os._exit(0)
    os.close(writing)
    with os.fdopen(reading) as pipe:
        said = pipe.read()
    status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    return said if status == 0 else support.how_it_ended(status)


def threads_fail(faults, nm, place):
    """The k-th start of a worker fails: numerical.error, and the next call computes."""
    operands = catalogue.Operands(nm, 40)
    a = nm.ones((THREADED, THREADED))
    expected = catalogue.digest(a[:8] @ a)
    found, tried = [], 0
    for first in range(nm.get_num_threads() + 1):
        for row in (1, 2**40):

            def check(first=first, row=row):
                try:
                    result = faults.failing(lambda o: a @ a, operands, 4, first, row)
                    failed = faults.library.failures()
                    return "" if failed == 0 else f"succeeded though {failed} starts failed"
                except nm.error as error:
                    if str(error) != "Resource temporarily unavailable":
                        return f"said {error}"
                return (
                    "" if catalogue.digest((a @ a)[:8]) == expected else "another result afterwards"
                )

            tried += 1
            place.write(f"start {first} of a thread")
            if said := in_child(check):
                found.append(f"start {first} of a thread: {said}")
    return tried, found


def address_space_ends(nm, place):
    """Large calls with room for a few MiB more: MemoryError or the right result, and right afterwards."""
    operands = catalogue.Operands(nm, THREADED)
    found, tried = [], 0
    with open("/proc/self/statm") as statm:
        size = int(statm.read().split()[0]) * resource.getpagesize()
    for name, call in catalogue.calls(nm):
        for room in (1 << 20, 4 << 20, 16 << 20):

            def check(call=call, room=room):
                expected = catalogue.result_of(call, operands) if room > 4 << 20 else None
                resource.setrlimit(resource.RLIMIT_AS, (size + room, resource.RLIM_INFINITY))
                try:
                    result = catalogue.result_of(call, operands)
                    return "" if expected in (None, result) else "another result"
                except MemoryError:
                    return ""
                finally:
                    resource.setrlimit(
                        resource.RLIMIT_AS, (resource.RLIM_INFINITY, resource.RLIM_INFINITY)
                    )

            if "by jacobi" in name:
                continue
            tried += 1
            place.write(f"{name} with {room >> 20} MiB of address space")
            if said := in_child(check):
                found.append(f"{name} with {room >> 20} MiB of address space: {said}")
    return tried, found


def import_fails(faults, place, sources, part, parts):
    """One request in `parts` during the first import, from place `part` on: MemoryError or ImportError."""
    assert "numerical" not in sys.modules
    sys.path.insert(0, str(support.BUILD / "python"))
    # Compiled before: CPython's parser says SyntaxError, or crashes, where it gets no memory.
    compile_all = [sys.executable, "-c", "import numerical"]
    subprocess.run(compile_all, check=True, cwd=sys.path[0], env={**os.environ, "LD_PRELOAD": ""})
    library = ctypes.CDLL(str(support.module_file()))  # mapped, so that its place is known
    assert library
    faults.find_module()

    def load(_):
        import numerical

        return numerical.Tensor

    found, tried = [], 0
    for kind, source in sources.items():
        counted = in_child(lambda: f"{faults.requests(load, None, source)}")
        for first in range(part, int(counted), parts):

            def check(first=first):
                try:
                    faults.failing(load, None, source, first, 1)
                except (MemoryError, ImportError):
                    return ""
                except (RuntimeError, SystemError) as error:  # what Python's own import makes of it
                    said = f"{type(error).__name__}: {error}"
                    return "" if LOCKS.match(str(error)) or PYTHONS_RAISE.match(said) else said
                return "" if load(None)([1.0]).tolist() == [1.0] else "another result"

            tried += 1
            place.write(f"import with {kind}'s request {first} failing")
            if said := in_child(check):
                found.append(f"{place.read()}: {said}")
    return tried, found


# --- the cells ----------------------------------------------------------------------------------------
def names():
    nm = support.package()
    return [name for name, _ in catalogue.calls(nm)]


def import_cells(long):
    return [f"import {part}" for part in range(IMPORT_PARTS if long else 1)]


def cells(long):
    """Threads and address space once; each call, small and real first."""
    yield from ("threads", *(["address space"] if long else []))
    for size in ("small", "small complex", "large"):
        yield from (f"{size}: {name}" for name in names())


def answer_with(faults):
    nm = None
    kept = {}

    def answer(cell, place):
        nonlocal nm
        if cell == MODULES_IMPORT:
            return import_fails(faults, place, {"module": SOURCES["module"]}, 0, 1)
        if cell.startswith("import "):
            return import_fails(faults, place, SOURCES, int(cell.split()[1]), IMPORT_PARTS)
        if nm is None:
            nm = support.package()
            faults.find_module()
        if cell == "threads":
            return threads_fail(faults, nm, place)
        if cell == "address space":
            return address_space_ends(nm, place)
        size, _, name = cell.partition(": ")
        if size not in kept:
            kept[size] = catalogue.Operands(
                nm, LARGE if size == "large" else SMALL, "complex" in size
            )
        trial = Trial(faults, name, dict(catalogue.calls(nm))[name], kept[size], place)
        if size == "large":
            trial.some_requests("module")
        else:
            trial.every_request()
        return trial.tried, trial.found

    return answer


def environment_of_workers():
    library = support.compiled("exhaustion.c", "exhaustion.so", "-O1", "-fPIC", "-shared")
    return {
        "LD_PRELOAD": str(library), "PYTHONPYCACHEPREFIX": str(support.WORK / "pycache"),
        "PYTHONDONTWRITEBYTECODE": "",
    }  # fmt: skip


def run(budget):
    ledger = support.Ledger("memory", budget.long)
    environment = environment_of_workers()
    calls, imports = list(cells(budget.long)), import_cells(budget.long)
    # The import in processes in which nothing else imports the package.
    support.work_through(__file__, imports[:1], ledger, budget, environment)
    support.work_through(__file__, calls, ledger, budget, environment)
    support.work_through(__file__, imports[1:], ledger, budget, environment)
    return ledger.outcome(len(calls) + len(imports))


if __name__ == "__main__":
    support.answer_cells(answer_with(Faults()))
