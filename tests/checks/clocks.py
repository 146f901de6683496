"""No test reads a clock, sleeps, sets itself a deadline or counts page faults.

A test that does fails on a machine that is slow or busy. What is about time is a benchmark; what
waits for another thread waits for a barrier, an event or a count.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
TIMED = re.compile(
    r"\bimport time\b|\bfrom time import\b|import [\w, ]*\btime\b|<chrono>|<ctime>|<sys/resource.h>"
    r"|\bclock_gettime\b|\bsleep(_for|_until)?\(|\bwait_(for|until)\("
    r"|\btimeout\s*=|\bdeadline\s*=\s*[^N\s]|\bgetrusage\b|\bru_\w+|\bVmRSS\b"
)


def lines_of(path: pathlib.Path) -> list[str]:
    return path.read_text(encoding="utf-8").splitlines()


def main() -> int:
    files = sorted(
        path
        for pattern in ("*.cpp", "*.hpp", "*.py")
        for path in (ROOT / "tests").rglob(pattern)
        if path != pathlib.Path(__file__).resolve()
    )
    faults = [
        f"{path.relative_to(ROOT)}:{number}: {line.strip()}"
        for path in files
        for number, line in enumerate(lines_of(path), 1)
        if TIMED.search(line)
    ]
    print("\n".join(faults) or f"{len(files)} files, none looks at a clock")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
