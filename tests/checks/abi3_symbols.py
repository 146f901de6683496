"""The module's dynamic symbols: it must load into every CPython from 3.10 on.

    abi3_symbols.py build/release/python/numerical/_numerical.abi3.so

What it takes from the interpreter must belong to the stable ABI of CPython 3.10, the argument
parser in its Py_ssize_t forms; what it offers is the initialization functions of its two modules
and nothing else.
"""

import subprocess
import sys
from pathlib import Path

STABLE = Path(__file__).with_name("stable_abi_3_10.txt")
INITIALIZERS = {"PyInit__numerical", "PyInit__native"}
INTERPRETER_PREFIXES = ("Py", "_Py")

# Without Py_ssize_t these parse and build "#" as int up to CPython 3.12.
INT_SIZED = {
    "PyArg_Parse",
    "PyArg_ParseTuple",
    "PyArg_ParseTupleAndKeywords",
    "PyArg_VaParse",
    "PyArg_VaParseTupleAndKeywords",
    "PyObject_CallFunction",
    "PyObject_CallMethod",
    "Py_BuildValue",
    "Py_VaBuildValue",
}


def dynamic_symbols(module, which):
    out = subprocess.run(
        ["nm", "-D", which, str(module)], check=True, capture_output=True, text=True
    ).stdout
    # A version follows the name after an @ where the symbol has one.
    return {line.split()[-1].split("@")[0] for line in out.splitlines()}


def stable_names():
    lines = STABLE.read_text().splitlines()
    return {line for line in lines if line and not line.startswith("#")}


def faults(module):
    taken = {
        name
        for name in dynamic_symbols(module, "--undefined-only")
        if name.startswith(INTERPRETER_PREFIXES)
    }
    offered = dynamic_symbols(module, "--defined-only")
    if not taken:
        yield "takes nothing from the interpreter: is this the module?"
    for name in sorted(taken - stable_names()):
        yield f"takes {name}, which is not in the stable ABI of CPython 3.10"
    for name in sorted(taken & INT_SIZED):
        yield f"takes {name} instead of its Py_ssize_t form"
    if offered != INITIALIZERS:
        yield f"offers {sorted(offered)} instead of {sorted(INITIALIZERS)} alone"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    found = list(faults(sys.argv[1]))
    for fault in found:
        print(f"{sys.argv[1]}: {fault}")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
