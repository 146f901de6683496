"""The sizes at which gemm changes its order of summation are known to gemm alone.

They decide bits. Who cuts a product into parts asks the functions of gemm/summation.hpp, or uses one
of the constants that are its interface; a copy of a threshold would go on saying the old thing after
a change of gemm, and only the bits would tell.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"
GEMM = SOURCES / "numerical" / "gemm"

HEADERS = ("summation.hpp", "gemm.hpp")
INTERFACE = {
    "least_tile_side", "depth_decides_from", "split_depth", "split_cols", "most_transposed"
}  # fmt: skip
CONSTANT = re.compile(r"^(?:inline )?constexpr std::size_t (\w+) =", re.MULTILINE)
COMMENT = re.compile(r"//.*")


def constants_of(path: pathlib.Path) -> set[str]:
    return set(CONSTANT.findall(path.read_text()))


def faults_of(path: pathlib.Path, thresholds: set[str]) -> list[str]:
    faults = []
    for name in sorted(constants_of(path) & thresholds):
        faults.append(f"declares {name}, a threshold of gemm, again")
    words = set(re.findall(r"\w+", COMMENT.sub("", path.read_text())))
    for name in sorted(words & (thresholds - INTERFACE)):
        faults.append(f"uses {name}: ask a function of gemm/summation.hpp")
    return faults


def main() -> int:
    thresholds = set().union(*(constants_of(GEMM / header) for header in HEADERS))
    faults = [f"{name} is no constant of gemm" for name in sorted(INTERFACE - thresholds)]
    files = [path for path in sorted(SOURCES.rglob("*.[ch]pp")) if GEMM not in path.parents]
    for path in files:
        faults += [f"{path.relative_to(ROOT)} {fault}" for fault in faults_of(path, thresholds)]
    print("\n".join(faults) or f"{len(files)} files keep to gemm's interface")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
