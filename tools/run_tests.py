"""Builds what a stage of the tests needs, runs it, and ends with a plain count.

    unit       the core's own tests, release build
    checks     what no test program can see: include directions, kernel objects, symbols
    python     the module and the package, release build
    packaging  wheel, install, a C++ user's program
    emulated   unit tests with the AVX-512 kernels built on emulated intrinsics, and the
               module's tests that reach them
    asan       unit and module tests under the address and undefined-behaviour sanitizers
    tsan       under the thread sanitizer, what runs on several threads

A stage's programs run side by side, one on each processor; each prints its output when it ends.
"""

import argparse
import collections.abc
import concurrent.futures
import dataclasses
import functools
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as xml

ROOT = pathlib.Path(__file__).resolve().parents[1]

@dataclasses.dataclass
class Count:
    passed: int = 0
    failed: int = 0
    skipped: int = 0

    def add(self, other: "Count") -> None:
        self.passed += other.passed
        self.failed += other.failed
        self.skipped += other.skipped


def build(preset: str) -> None:
    subprocess.run(
        ["cmake", "--preset", preset, "--log-level=WARNING",
         f"-DPython3_EXECUTABLE={sys.executable}"],
        cwd=ROOT, check=True, stdout=subprocess.DEVNULL,
    )  # fmt: skip
    subprocess.run(["cmake", "--build", f"build/{preset}"], cwd=ROOT, check=True)


def ctest_commands(preset: str, wanted) -> list[tuple[str, list[str]]]:
    """Name and command of the registered tests whose name `wanted` accepts."""
    shown = subprocess.run(
        ["ctest", "--show-only=json-v1"], cwd=ROOT / "build" / preset, check=True,
        capture_output=True, text=True,
    ).stdout  # fmt: skip
    tests = json.loads(shown)["tests"]
    return [(test["name"], test["command"]) for test in tests if wanted(test["name"])]


def counted_by_googletest(report: pathlib.Path) -> Count:
    result = json.loads(report.read_text())
    cases = [case for suite in result["testsuites"] for case in suite["testsuite"]]
    skipped = sum(case["result"] == "SKIPPED" for case in cases)
    return Count(result["tests"] - result["failures"] - skipped, result["failures"], skipped)


def run_command(name: str, command: list[str], environment: dict[str, str]) -> Count:
    """Runs a test program; without a report of its own it counts as one test."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder) / "report.json"
        start = time.monotonic()
        done = subprocess.run(
            command, cwd=ROOT, capture_output=True, text=True, errors="replace",
            env={**os.environ, **environment, "GTEST_OUTPUT": f"json:{report}"},
        )  # fmt: skip
        count = counted_by_googletest(report) if report.exists() else Count()
    if done.returncode != 0:
        print((done.stdout + done.stderr)[-8000:])
        count.failed = max(count.failed, 1)
    elif count == Count():
        count.passed = 1
    print(f"  {name}: {count.passed} passed, {count.failed} failed"
          f" ({time.monotonic() - start:.1f} s)", flush=True)  # fmt: skip
    return count


def run_pytest(preset: str, tests: list[str], environment: dict[str, str]) -> Count:
    with tempfile.TemporaryDirectory() as scratch:
        report = pathlib.Path(scratch) / "report.xml"
        start = time.monotonic()
        done = subprocess.run(
            [sys.executable, "-m", "pytest", "-q", *tests, f"--junitxml={report}"], cwd=ROOT,
            capture_output=True, text=True, errors="replace",
            env={**os.environ, "NUMERICAL_BUILD": str(ROOT / "build" / preset), **environment},
        )  # fmt: skip
        if done.returncode != 0:
            print((done.stdout + done.stderr)[-8000:])
        if not report.exists():
            return Count(failed=1)
        suite = xml.parse(report).getroot().find("testsuite")
    total, skipped = int(suite.get("tests")), int(suite.get("skipped"))
    failed = int(suite.get("failures")) + int(suite.get("errors"))
    if done.returncode not in (0, 1):
        failed = max(failed, 1)
    count = Count(max(total - failed - skipped, 0), failed, skipped)
    print(f"  {' '.join(tests)}: {count.passed} passed, {count.failed} failed"
          f" ({time.monotonic() - start:.1f} s)", flush=True)  # fmt: skip
    return count


Job = collections.abc.Callable[[], Count]


def together(jobs: list[Job]) -> Count:
    """Runs the jobs in their order, as many at once as there are processors."""
    count = Count()
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for result in pool.map(lambda job: job(), jobs):
            count.add(result)
    return count


def unit_jobs(preset: str, environment: dict[str, str], filter_of=lambda name: "*") -> list[Job]:
    return [
        functools.partial(
            run_command, name, command, {**environment, "GTEST_FILTER": filter_of(name)}
        )
        for name, command in ctest_commands(preset, lambda name: name.startswith("unit_"))
    ]


def pytest_jobs(preset: str, pattern: str, environment: dict[str, str]) -> list[Job]:
    """A process for each file: what one does to the process, another doesn't see."""
    return [
        functools.partial(run_pytest, preset, [str(path.relative_to(ROOT))], environment)
        for path in sorted(ROOT.glob(pattern))
    ]


def preloaded(*libraries: str) -> str:
    """The sanitizer's library under Python, and the C++ library whose throw it wraps."""
    found = [
        subprocess.run(["g++", f"-print-file-name={library}"], capture_output=True, text=True)
        .stdout.strip() for library in libraries
    ]  # fmt: skip
    return ":".join(found)


def stage_unit() -> Count:
    build("release")
    return together(unit_jobs("release", {}))


def stage_checks() -> Count:
    build("release")
    commands = ctest_commands("release", lambda name: not name.startswith("unit_"))
    return together([functools.partial(run_command, *command, {}) for command in commands])


def stage_python() -> Count:
    build("release")
    return together(pytest_jobs("release", "tests/python/test_*.py", {})
                    + pytest_jobs("release", "tests/package/test_*.py", {}))  # fmt: skip


def stage_packaging() -> Count:
    build("release")
    return together(pytest_jobs("release", "tests/packaging/test_*.py", {}))


def stage_emulated() -> Count:
    build("emulated")
    reach_kernels = ("eigh", "einsum", "factorizations", "least_squares", "linear_systems",
                     "settings", "svd", "threads")  # fmt: skip
    jobs = unit_jobs("emulated", {})
    for family in reach_kernels:
        jobs += pytest_jobs("emulated", f"tests/python/test_{family}.py", {})
    return together(jobs)


def stage_asan() -> Count:
    build("asan")
    options = {"ASAN_OPTIONS": "allocator_may_return_null=1", "UBSAN_OPTIONS": "print_stacktrace=1"}
    under_python = {
        **options,
        "ASAN_OPTIONS": "detect_leaks=0:allocator_may_return_null=1",
        "LD_PRELOAD": preloaded("libasan.so", "libstdc++.so"),
        "PYTHONMALLOC": "malloc",
    }
    return together(unit_jobs("asan", options)
                    + pytest_jobs("asan", "tests/python/test_*.py", under_python))  # fmt: skip


def stage_tsan() -> Count:
    """Everything of the pool and the products; of the others what compares thread counts."""
    build("tsan")
    whole = {"unit_runtime", "unit_gemm"}
    under_python = {
        "TSAN_OPTIONS": "die_after_fork=0 ignore_noninstrumented_modules=1",
        "LD_PRELOAD": preloaded("libtsan.so"),
    }
    return together(
        unit_jobs("tsan", {"TSAN_OPTIONS": "die_after_fork=0"},
                  lambda name: "*" if name in whole else "*thread*:*64_cores*")
        + pytest_jobs("tsan", "tests/python/test_threads.py", under_python)
    )  # fmt: skip


STAGES = {
    "unit": stage_unit,
    "checks": stage_checks,
    "python": stage_python,
    "packaging": stage_packaging,
    "emulated": stage_emulated,
    "asan": stage_asan,
    "tsan": stage_tsan,
}
DEFAULT_STAGES = ["unit", "checks", "python", "packaging"]


def main() -> int:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("stages", nargs="*", help="default: " + " ".join(DEFAULT_STAGES))
    parser.add_argument("--all", action="store_true", help="every stage")
    options = parser.parse_args()
    unknown = set(options.stages) - set(STAGES)
    if unknown:
        parser.error(f"no such stage: {', '.join(sorted(unknown))}; there are {', '.join(STAGES)}")

    if shutil.which("ccache"):  # read by every configuration from here on, the wheel's too
        os.environ.setdefault("CMAKE_CXX_COMPILER_LAUNCHER", "ccache")
    total = Count()
    failed_stages = []
    for stage in STAGES if options.all else options.stages or DEFAULT_STAGES:
        start = time.monotonic()
        print(f"== {stage}", flush=True)
        try:
            count = STAGES[stage]()
        except subprocess.CalledProcessError as error:
            print(f"  could not build: {' '.join(map(str, error.cmd))}")
            count = Count(failed=1)
        total.add(count)
        if count.failed:
            failed_stages.append(stage)
        print(f"== {stage}: {count.passed} passed, {count.failed} failed, {count.skipped} skipped"
              f" ({time.monotonic() - start:.0f} s)", flush=True)  # fmt: skip
    if failed_stages:
        print("failed stages: " + ", ".join(failed_stages))
    print(f"{total.passed} passed, {total.failed} failed, {total.skipped} skipped")
    return 1 if total.failed else 0


if __name__ == "__main__":
    sys.exit(main())
