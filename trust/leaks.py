"""Leaks: calls by the thousand leave references, blocks and bytes as they were.

Each call of the catalogue is repeated on each path; Python's blocks, the C library's bytes and, where a
debug build of CPython is found, the sum of all reference counts must come out as they were. Under
valgrind each call is made once, and what it reports of the module's own code is a fault.
"""

import gc
import os
import shutil
import subprocess
import sys
import xml.etree.ElementTree as xml

import catalogue
import support

HOW = (
    "each function, method and attribute is repeated on each path: Python's blocks, the C library's bytes, all"
    " reference counts (in a debug CPython) and resident memory stay; each once under valgrind"
)
CALLS_OF_A_PATH = {False: 100_000, True: 1_000_000}
REFERENCE_CALLS = 200
MOST_RESIDENT_GROWTH = 4 << 20
PATHS = (0, 1, 2)


def debug_python():
    """A debug build of CPython: $NUMERICAL_DEBUG_PYTHON, or Debian's python3-dbg."""
    return os.environ.get("NUMERICAL_DEBUG_PYTHON") or shutil.which("python3-dbg")


def repeated(call, operands, count):
    for _ in range(count):
        catalogue.result_of(call, operands)


def drift(read, call, operands, count):
    """By how much each number that read() gives changes in so many calls, the least of three times."""
    repeated(call, operands, 80)  # the memory that is kept for later calls fills
    least = None
    for _ in range(3):
        gc.collect()
        before = read()
        repeated(call, operands, count)
        gc.collect()
        changes = [abs(after - start) for start, after in zip(before, read())]
        least = changes if least is None else list(map(min, least, changes))
        if max(least) < count // 10:
            break
    return least


def lasting_objects():
    """What lives as long as the program, and calls may take and forget to give back."""
    found = {id(thing): thing for thing in gc.get_objects()}
    for thing in list(found.values()):
        for held in gc.get_referents(thing):
            found.setdefault(id(held), held)
    for number in range(-5, 257):
        found.setdefault(id(number), number)
    return list(found.values())


def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


class Answers:
    def __init__(self):
        self.nm = support.package()
        self.calls = dict(catalogue.calls(self.nm))
        self.operands = catalogue.Operands(self.nm, 3)
        self.complex_operands = catalogue.Operands(self.nm, 3, True)
        self.lasting = None

    def references(self):
        """The sum of the counts of all lasting objects, and the number of blocks."""
        if self.lasting is None:
            gc.collect()
            self.lasting = lasting_objects()
        return sum(map(sys.getrefcount, self.lasting)), sys.getallocatedblocks()

    def answer(self, cell, place):
        place.write(cell)
        kind, count, name = cell.split(" ", 2)
        if kind == "references":
            return self.repeat(name, int(count), self.references, ("references", "blocks"))
        if self.nm._numerical._limit_gemm_path(int(kind[4:])) != int(kind[4:]):
            return 0, []
        from memory import in_use

        before = resident()
        tried, faults = self.repeat(name, int(count), in_use, ("blocks", "bytes"))
        if resident() - before > MOST_RESIDENT_GROWTH:
            faults.append(f"{cell}: resident memory grew by {(resident() - before) >> 10} KiB")
        return tried, faults

    def repeat(self, name, count, read, units):
        faults = []
        for operands in (self.operands, self.complex_operands):
            grown = drift(read, self.calls[name], operands, count // 2)
            if max(grown[0], grown[1] // 24) >= max(count // 20, 2):
                faults.append(
                    f"{name}: {count // 2} calls change {grown[0]} {units[0]} and {grown[1]} {units[1]}"
                )
        return count, faults


# --- valgrind -------------------------------------------------------------------------------------------
def once_each(order):
    """Every call once; run under valgrind, which doesn't know all instructions of the other paths."""
    nm = support.package()
    made = 0
    for is_complex in (False, True):
        operands = catalogue.Operands(nm, order, is_complex)
        for _, call in catalogue.calls(nm):
            nm._numerical._limit_gemm_path(0)  # anew, as some calls set it
            catalogue.result_of(call, operands)
            made += 1
    print(made)


def valgrind(ledger, order):
    cell = f"valgrind of order {order}"
    if ledger.has(cell):
        return
    report = support.WORK / "valgrind.xml"
    done = subprocess.run(
        ["valgrind", "--leak-check=no", "--xml=yes", f"--xml-file={report}", "--child-silent-after-fork=yes",
         sys.executable, __file__, "--once-each", str(order)],
        capture_output=True, text=True, env={**os.environ, "PYTHONMALLOC": "malloc"},
    )  # fmt: skip
    faults = []
    if done.returncode != 0:
        faults.append(f"{cell}: {support.how_it_ended(done.returncode)} {done.stderr[-300:]}")
    else:
        # Children of a fork write behind the end of the document.
        document = report.read_text().partition("</valgrindoutput>")
        for error in xml.fromstring(document[0] + document[1]).findall("error"):
            frames = [
                (frame.findtext("obj") or "", frame.findtext("fn") or "?")
                for frame in error.iter("frame")
            ]
            kind = error.findtext("kind")  # of leaks too, which are counted by repetition
            if not kind.startswith("Leak_") and any(
                "_numerical" in where for where, _ in frames[:6]
            ):
                faults.append(f"{cell}: {kind} in {' < '.join(fn for _, fn in frames[:4])}")
    ledger.record(cell, int(done.stdout.strip() or 0), faults)


def run(budget):
    nm = support.package()
    names = [name for name, _ in catalogue.calls(nm)]
    ledger = support.Ledger("leaks", budget.long)
    count = -(-CALLS_OF_A_PATH[budget.long] // len(names))
    paths = [f"path{path} {count} {name}" for path in PATHS for name in names]
    references = [f"references {REFERENCE_CALLS} {name}" for name in names]
    support.work_through(__file__, references, ledger, budget, python=debug_python())
    support.work_through(__file__, paths, ledger, budget)
    orders = [3, 40] if budget.long and shutil.which("valgrind") else []
    for order in orders:
        if not budget.is_spent():
            valgrind(ledger, order)
    outcome = ledger.outcome(len(paths) + len(references) + len(orders))
    outcome.note += "" if debug_python() else "; no debug build of CPython found"
    outcome.note += "" if orders else "; no valgrind"
    return outcome


if __name__ == "__main__":
    if "--once-each" in sys.argv:
        once_each(int(sys.argv[-1]))
    else:
        support.answer_cells(Answers().answer)
