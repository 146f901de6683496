"""The C++ sources are as clang-format 14 and .clang-format would have them.

    formatting.py           tells the files that are not
    formatting.py --write   brings them into form
"""

import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("src", "tests", "benchmarks", "examples")


def main() -> int:
    tool = shutil.which("clang-format-14")  # another version breaks lines in other places
    if tool is None:
        print("there is no clang-format-14")
        return 1
    files = sorted(path for folder in FOLDERS for path in (ROOT / folder).rglob("*.[ch]pp"))
    if "--write" in sys.argv[1:]:
        return subprocess.run([tool, "-i", *files]).returncode
    done = subprocess.run([tool, "--dry-run", "--Werror", *files], capture_output=True, text=True)
    faults = sorted({line.split(":")[0] for line in done.stderr.splitlines() if ": error: " in line})
    for fault in faults:
        print(f"{pathlib.Path(fault).relative_to(ROOT)} is not in form: ./dev format")
    if done.returncode == 0:
        print(f"{len(files)} files are in form")
    return done.returncode


if __name__ == "__main__":
    sys.exit(main())
