"""Data flows one way: every folder includes itself and the folders below it, nothing else.

Fails on an include that is no edge of ALLOWED, on a root header that reaches into a folder, and on
a source that does not include its own header first.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"

NUMERICAL = ["numerical"]
RUNTIME = ["numerical/runtime"]
KERNELS = ["numerical/gemm/kernels", "numerical/gemm/kernels/lanes"]
STRIDED = ["numerical/strided"]
GEMM = ["numerical/gemm", *KERNELS, *STRIDED, *RUNTIME]
FACTOR = ["numerical/factor", *GEMM]
EIGEN = ["numerical/eigen", *FACTOR]
SYSTEMS = ["numerical/systems", "numerical/vector_math", *FACTOR]
SVD = ["numerical/svd", "numerical/vector_math", "numerical/systems", *EIGEN]
NONSYMMETRIC = ["numerical/nonsymmetric", *EIGEN]
MATRIX_FUNCTIONS = ["numerical/matrix_functions", *NONSYMMETRIC]
STACKS = ["numerical/stacks", *SYSTEMS, *SVD]
EINSUM = ["numerical/einsum", *GEMM]
ELEMENTWISE = ["numerical/elementwise", *GEMM]
VECTOR_MATH = ["numerical/vector_math", *GEMM]
RANDOM = ["numerical/random", *VECTOR_MATH]

# Folder of the including file, to the folders it may include from, or single files. The path, which
# lies in gemm, is below the kernels: it includes nothing.
ALLOWED = {
    "numerical": NUMERICAL,
    "numerical/runtime": RUNTIME,
    "numerical/gemm/kernels/lanes": KERNELS,
    "numerical/gemm/kernels/portable": NUMERICAL + KERNELS + ["numerical/gemm/kernels/portable"],
    "numerical/gemm/kernels/avx2": KERNELS,
    "numerical/gemm/kernels/avx512": KERNELS,
    "numerical/gemm/kernels": NUMERICAL + KERNELS + ["numerical/gemm/path.hpp"],
    "numerical/strided": NUMERICAL + STRIDED + RUNTIME,
    "numerical/gemm": NUMERICAL + GEMM,
    "numerical/elementwise": NUMERICAL + ELEMENTWISE,
    "numerical/vector_math": VECTOR_MATH + ["numerical/counts.hpp"],
    "numerical/random": NUMERICAL + RANDOM,
    "numerical/factor": NUMERICAL + FACTOR,
    "numerical/systems": NUMERICAL + SYSTEMS,
    "numerical/eigen": NUMERICAL + EIGEN,
    "numerical/svd": NUMERICAL + SVD,
    "numerical/nonsymmetric": NUMERICAL + NONSYMMETRIC,
    "numerical/matrix_functions": NUMERICAL + MATRIX_FUNCTIONS,
    "numerical/stacks": NUMERICAL + STACKS,
    "numerical/einsum": NUMERICAL + EINSUM,
    "binding": ["binding"],
    "package": ["package", "module", "binding"]
    + NUMERICAL
    + STACKS
    + SYSTEMS
    + MATRIX_FUNCTIONS
    + EINSUM
    + ELEMENTWISE
    + RANDOM,
    "module": ["module", "binding"] + NUMERICAL + SVD + SYSTEMS + EINSUM + ELEMENTWISE,
}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


def faults_of(path: pathlib.Path) -> list[str]:
    folder = path.relative_to(SOURCES).parent.as_posix()
    includes = INCLUDE.findall(path.read_text())
    own = [name for quote, name in includes if quote == '"']
    faults = []
    for name in own:
        target = pathlib.PurePosixPath(name)
        if not (SOURCES / name).exists():
            faults.append(f"{name}: not a path from src/")
        elif not {target.parent.as_posix(), name} & set(ALLOWED.get(folder, [])):
            faults.append(f"{folder} includes {name}")
    header = path.with_suffix(".hpp").relative_to(SOURCES).as_posix()
    if path.suffix == ".cpp" and (SOURCES / header).exists() and includes[0][1] != header:
        faults.append(f"its own header {header} isn't included first")
    if ("<Python.h>" in path.read_text()) and path.name != "python.hpp":
        faults.append("Python.h is included by binding/python.hpp alone")
    return faults


def main() -> int:
    files = sorted(SOURCES.rglob("*.[ch]pp"))
    faults = [f"{path.relative_to(ROOT)}: {fault}" for path in files for fault in faults_of(path)]
    print("\n".join(faults) or f"{len(files)} files, every include runs downwards")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
