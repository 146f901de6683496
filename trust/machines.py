"""Machines: other processors, Pythons, stacks and limits give the same results.

Each row runs every call of the table in a process of its own and compares the bits with those of this
process on the same path: an emulated processor without AVX (QEMU); one processor by the affinity, and half a
one by a control group; threads with stacks of 64 KiB; every CPython of 3.10 and later that
is found.
"""

import functools
import glob
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import threading

import catalogue
import support

HOW = (
    "every call in processes on an emulated processor without AVX, with one processor, a quota, stacks of 64 KiB, and under other"
    " Pythons: bits compared"
)
ORDERS = (3, 40)
SMALL_STACK = 64 << 10
QUOTA_GROUP = pathlib.Path("/sys/fs/cgroup/numerical_trust")
# What rests on the C library, which has functions of its own for processors without fused products.
OF_THE_C_LIBRARY = re.compile(r"_numerical\._(unary|binary \^)|((arc|a)(sin|cos|tan)) \d+ True")


# --- in the process that is tried --------------------------------------------------------------------
def digests(nm, path):
    """All calls on a path, or on the best one, with the path's number under "path"."""
    found = {"path": nm._numerical._limit_gemm_path(path)}
    for order in ORDERS:
        for is_complex in (False, True):
            operands = catalogue.Operands(nm, order, is_complex)
            for name, call in catalogue.calls(nm):
                if "threads" not in name and "pickled" not in name and "__reduce" not in name:
                    found[f"{name} {order} {is_complex}"] = catalogue.result_of(call, operands)
                    nm._numerical._limit_gemm_path(path)
    return found


def on_a_small_stack(nm, path):
    """The same, on threads with little room, one for each call."""
    found = {"path": nm._numerical._limit_gemm_path(path)}
    threading.stack_size(SMALL_STACK)
    for order in ORDERS:
        for is_complex in (False, True):
            operands = catalogue.Operands(nm, order, is_complex)
            for name, call in catalogue.calls(nm):
                if "threads" in name or "pickled" in name or "__reduce" in name:
                    continue
                said = []
                worker = threading.Thread(
                    target=lambda: said.append(catalogue.result_of(call, operands))
                )
                worker.start()
                worker.join()
                found[f"{name} {order} {is_complex}"] = said[0] if said else "nothing"
                nm._numerical._limit_gemm_path(path)
    return found


# --- the machines --------------------------------------------------------------------------------------
def pythons():
    """CPythons that are there: Debian's, pyenv's and those in $NUMERICAL_PYTHONS."""
    listed = os.environ.get("NUMERICAL_PYTHONS", "").split(":")
    there = listed + glob.glob(os.path.expanduser("~/.pyenv/versions/3.1[0-9]*/bin/python"))
    found = {}
    for name in filter(None, there):
        version = subprocess.run([name, "-c", "import sys; print(sys.version.split()[0], sys.version_info >= (3, 10))"],
                                 capture_output=True, text=True).stdout.split()  # fmt: skip
        if version and version[1] == "True":
            found[version[0]] = name
    return found


def emulator():
    return (
        os.environ.get("NUMERICAL_QEMU")
        or shutil.which("qemu-x86_64-static")
        or shutil.which("qemu-x86_64")
    )


def machines():
    """Name, command before the script, and what the script is to do; None where it can't be tried here."""
    python = sys.executable
    first = str(min(os.sched_getaffinity(0)))
    yield "one processor by affinity", [shutil.which("taskset"), "-c", first, python], "--digests"
    yield "stacks of 64 KiB", [python], "--small-stack"
    for version, name in sorted(pythons().items()):
        yield f"CPython {version}", [name], "--digests"
    qemu = emulator()
    # QEMU 7.2 computes AVX2's gathers wrongly: that path is tried on real processors alone (bits.py).
    yield "no AVX: QEMU's Nehalem", [qemu, "-cpu", "Nehalem", python], "--digests"
    group = _quota_group()
    enter = 'echo $$ > %s/cgroup.procs && exec "$@"' % group
    yield "a quota of half a processor", [
        group and "/bin/sh",
        "-c",
        enter,
        "sh",
        python,
    ], "--digests"


def _quota_group():
    """A control group with a quota of half a processor, if one can be made; where none is mounted the folder
    gets no files of its own."""
    try:
        QUOTA_GROUP.mkdir(exist_ok=True)
        if not (QUOTA_GROUP / "cpu.max").exists():
            QUOTA_GROUP.rmdir()
            return None
        (QUOTA_GROUP / "cpu.max").write_text("50000 100000\n")
    except OSError:
        return None
    return QUOTA_GROUP


def try_machine(name, command, mode, reference):
    done = subprocess.run([*command, __file__, mode], capture_output=True, text=True)
    if done.returncode != 0:
        return 1, [f"{name}: {support.how_it_ended(done.returncode)} {done.stderr[-300:]}"]
    found = json.loads(done.stdout)
    there = reference(found["path"])
    if "QEMU" in name:
        found = {
            called: bits for called, bits in found.items() if not OF_THE_C_LIBRARY.match(called)
        }
    wrong = [called for called, bits in found.items() if there[called] != bits]
    return len(found) - 1, [f"{name}: {called} differs" for called in wrong[:5]]


def run(budget):
    nm = support.package()
    reference = functools.cache(lambda path: digests(nm, path))
    ledger = support.Ledger("machines", budget.long)
    every = list(machines())
    missing = [name for name, command, _ in every if command[0] is None]
    for name, command, mode in every:
        if command[0] is not None and not ledger.has(name) and not budget.is_spent():
            ledger.record(name, *try_machine(name, command, mode, reference))
    nm._numerical._limit_gemm_path(3)
    if QUOTA_GROUP.exists():
        QUOTA_GROUP.rmdir()
    outcome = ledger.outcome(len(every))
    outcome.details = "\n".join(
        f"- {name}: {cell['tried']:,} results, {len(cell['faults'])} differ" for name, cell in ledger.cells.items()
    ) + ("\n- not tried here: " + ", ".join(missing) if missing else "")  # fmt: skip
    return outcome


if __name__ == "__main__":
    tried = {"--digests": digests, "--small-stack": on_a_small_stack}[sys.argv[1]]
    print(json.dumps(tried(support.package(), 3)))
