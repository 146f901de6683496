"""pyflakes finds nothing in the Python files: no unused import or name, no undefined one.

What __init__.py and linalg.py import is used by others; a line that imports for effect says so by
"noqa: F401".
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("python", "tests", "tools", "benchmarks", "examples", "docs")

UNUSED = re.compile(r"(?P<file>.+?):(?P<line>\d+):\d+:? .* imported but unused")
PASS_NAMES_ON = ("__init__.py", "linalg.py")


def is_meant(fault: str) -> bool:
    unused = UNUSED.match(fault)
    if unused is None:
        return False
    path = pathlib.Path(unused["file"])
    line = path.read_text().splitlines()[int(unused["line"]) - 1]
    return path.name in PASS_NAMES_ON or "noqa: F401" in line


def main() -> int:
    folders = [str(ROOT / folder) for folder in FOLDERS if (ROOT / folder).is_dir()]
    done = subprocess.run(
        [sys.executable, "-m", "pyflakes", *folders], capture_output=True, text=True
    )
    if "No module named pyflakes" in done.stderr:
        print("there is no pyflakes")
        return 1
    faults = [line for line in done.stdout.splitlines() if not is_meant(line)]
    print("\n".join(faults + done.stderr.splitlines()) or "no name is unused or undefined")
    return 1 if faults or done.stderr else 0


if __name__ == "__main__":
    sys.exit(main())
