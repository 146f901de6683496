"""Every source folder has tests: a test program's source or a test file where TESTS_OF looks."""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"

# Beside the folders of the core, whose tests lie in the folder of the same name under tests/unit;
# those of the kernels' forms are its own.
TESTS_OF = {
    "binding": "tests/python/test_binding*.py",
    "module": "tests/python/test_*.py",
    "package": "tests/package/test_*.py",
}


def tests_of(folder: pathlib.Path) -> str:
    name = folder.relative_to(SOURCES).as_posix()
    unit = "kernels" if "gemm/kernels" in name else folder.name
    return TESTS_OF.get(name, f"tests/unit/{unit}/*_test.cpp")


def main() -> int:
    folders = sorted({path.parent for path in SOURCES.rglob("*.cpp")})
    faults = [
        f"{folder.relative_to(ROOT)} has no {tests_of(folder)}"
        for folder in folders
        if not any(ROOT.glob(tests_of(folder)))
    ]
    print("\n".join(faults) or f"{len(folders)} folders, each with tests")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
