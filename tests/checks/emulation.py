"""Each intrinsic of the emulated <immintrin.h> is used by a kernel and compared with its instruction.

So are the codes of comparisons. What intrinsics_test.cpp compares is what intrinsics.cpp calls.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
EMULATION = ROOT / "tests" / "emulation"
DEFINED = re.compile(r"\b(_mm\w+)\(|^constexpr int (_CMP_\w+)", re.MULTILINE)
NAME = re.compile(r'(?<!")\b(?:_mm|_CMP_)\w+')  # not in a text


def main() -> int:
    header = (EMULATION / "immintrin.h").read_text()
    defined = {function or code for function, code in DEFINED.findall(header)}
    compared = set(NAME.findall((EMULATION / "intrinsics.cpp").read_text()))
    used = {
        name
        for pattern in ("*.cpp", "*.hpp")
        for path in (ROOT / "src").rglob(pattern)
        for name in NAME.findall(path.read_text())
    }
    faults = [f"{name} isn't compared with its instruction" for name in sorted(defined - compared)]
    faults += [f"{name} is used by no kernel" for name in sorted(defined - used)]
    print("\n".join(faults) or f"{len(defined)} intrinsics, each compared")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
