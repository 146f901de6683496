"""The sources are as their formatters would have them.

C++ by clang-format 14 and .clang-format, Python by black and pyproject.toml.

    formatting.py           tells the files that are not
    formatting.py --write   brings them into form
"""

import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
CPP_FOLDERS = ("src", "tests", "benchmarks", "examples")
PYTHON_FOLDERS = (*CPP_FOLDERS, "python", "tools", "trust", "docs")
# clang-format of another version breaks lines in other places.
CPP = ["clang-format-14"]
PYTHON = ["black", "--quiet", f"--config={ROOT / 'pyproject.toml'}"]
FAULT = re.compile(r"would reformat (.*)|(.*?):\d+:\d+: error: ")


def files_of(folders: tuple[str, ...], *suffixes: str) -> list[pathlib.Path]:
    return sorted(
        path for folder in folders for path in (ROOT / folder).rglob("*") if path.suffix in suffixes
    )


def faults_of(command: list[str], files: list[pathlib.Path]) -> list[str]:
    """The files that are not in form, from what a formatter says of them."""
    done = subprocess.run([*command, *files], capture_output=True, text=True)
    named = {match[1] or match[2] for match in map(FAULT.match, done.stderr.splitlines()) if match}
    if done.returncode != 0 and not named:
        sys.exit(done.stderr)
    return sorted(str(pathlib.Path(file).relative_to(ROOT)) for file in named)


def main() -> int:
    for tool in (CPP[0], PYTHON[0]):
        if shutil.which(tool) is None:
            sys.exit(f"there is no {tool}")
    cpp = files_of(CPP_FOLDERS, ".cpp", ".hpp")
    python = files_of(PYTHON_FOLDERS, ".py", ".pyi")
    if "--write" in sys.argv[1:]:
        written = [subprocess.run([*CPP, "-i", *cpp]), subprocess.run([*PYTHON, *python])]
        return max(done.returncode for done in written)
    faults = faults_of([*CPP, "--dry-run", "--Werror"], cpp)
    faults += faults_of([PYTHON[0], "--check", *PYTHON[2:]], python)
    for fault in faults:
        print(f"{fault} is not in form: ./dev format")
    if not faults:
        print(f"{len(cpp) + len(python)} files are in form")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
