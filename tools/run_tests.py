"""Builds what the stages of the tests need, runs them, and ends with a plain count.

    unit       the core's own tests, release build
    checks     what no test program can see: structure and form of the sources, kernel objects,
               symbols, citations
    python     the module and the package, release build
    packaging  wheel, install, a C++ user's program
    intrinsics each emulated AVX-512 intrinsic against its instruction, where the processor has it
    emulated   the tests that reach the AVX-512 kernels, built on emulated intrinsics
    asan       unit tests, and what crosses the boundary to Python, under the address sanitizer
    ubsan      unit tests under clang's undefined-behaviour sanitizer
    tsan       under the thread sanitizer, what runs on several threads
    tidy       clang-tidy over the sources, by .clang-tidy

Builds follow one another in a thread of their own, each beside the tests of the builds before it.
Test programs run side by side, one on each processor, the largest of a stage first; each tells its
count and its processor time when it ends, and what it printed if it failed.

NUMERICAL_TEST_PATHS limits unit tests to the paths whose digits it has; 01 tests as on a machine
without AVX-512F. The stage emulated runs on path 2 alone, which on such a machine is all that the
stage unit lacks. NUMERICAL_TEST_SAMPLE=5 takes a fifth of the kinds of matrices (tests/support/sample.hpp).
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
import xml.etree.ElementTree as xml

from pytest_servers import Servers

ROOT = pathlib.Path(__file__).resolve().parents[1]
PROCESSORS = len(os.sched_getaffinity(0))


@dataclasses.dataclass
class Count:
    passed: int = 0
    failed: int = 0
    skipped: int = 0
    seconds: float = 0.0  # of processor time

    def __add__(self, other: "Count") -> "Count":
        return Count(
            self.passed + other.passed, self.failed + other.failed,
            self.skipped + other.skipped, self.seconds + other.seconds,
        )  # fmt: skip

    def __str__(self) -> str:
        return f"{self.passed} passed, {self.failed} failed, {self.skipped} skipped"


@dataclasses.dataclass
class Finished:
    status: int
    output: str
    seconds: float


def run(command: list[str], environment: dict[str, str], aloud: bool = False) -> Finished:
    """Processor time, as the wall clock tells more of the machine's other work than of this one."""
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(
            command, cwd=ROOT, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
            stdout=None if aloud else output, stderr=None if aloud else subprocess.STDOUT,
        )  # fmt: skip
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0)
        text = output.read().decode(errors="replace")
    return Finished(process.returncode, text, usage.ru_utime + usage.ru_stime)


# --- what is built -------------------------------------------------------------------------------
def build(preset: str, targets: tuple[str, ...], aloud: bool) -> Finished:
    """Configures, and builds if there are targets; aloud shows the progress while no test prints."""
    configured = run(
        ["cmake", "--preset", preset, "--log-level=WARNING",
         f"-DPython3_EXECUTABLE={sys.executable}"], {},
    )  # fmt: skip
    if configured.status != 0 or not targets:
        return configured
    done = run(["cmake", "--build", f"build/{preset}", "--target", *targets], {}, aloud)
    done.seconds += configured.seconds
    print(f"  built {preset}: {' '.join(targets)} ({done.seconds:.0f} s)", flush=True)
    return done


# --- what is run ---------------------------------------------------------------------------------
def counted_by_googletest(report: pathlib.Path) -> Count:
    result = json.loads(report.read_text())
    cases = [case for suite in result["testsuites"] for case in suite["testsuite"]]
    skipped = sum(case["result"] == "SKIPPED" for case in cases)
    return Count(result["tests"] - result["failures"] - skipped, result["failures"], skipped)


def counted_by_pytest(report: pathlib.Path) -> Count:
    suite = xml.parse(report).getroot().find("testsuite")
    total, skipped = int(suite.get("tests")), int(suite.get("skipped"))
    failed = int(suite.get("failures")) + int(suite.get("errors"))
    return Count(max(total - failed - skipped, 0), failed, skipped)


def report_of(name: str, done: Finished, count: Count) -> Count:
    """A program that ended badly has failed, whatever it counted; one without a count is a test."""
    if done.status != 0:
        count.failed = max(count.failed, 1)
    elif count == Count():
        count.passed = 1
    count.seconds = done.seconds
    said = "" if count.failed == 0 else "\n" + done.output[-8000:]
    print(f"  {name}: {count.passed} passed, {count.failed} failed ({done.seconds:.1f} s){said}",
          flush=True)  # fmt: skip
    return count


def run_program(label: str, command: list[str], environment: dict[str, str]) -> Count:
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder) / "report.json"
        done = run(command, {**environment, "GTEST_OUTPUT": f"json:{report}"})
        count = counted_by_googletest(report) if report.exists() else Count()
    return report_of(label, done, count)


SERVERS = Servers()


def run_pytest(label: str, preset: str, test: str, environment: dict[str, str]) -> Count:
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder) / "report.xml"
        done = Finished(*SERVERS.run(
            {"NUMERICAL_BUILD": str(ROOT / "build" / preset), **environment},
            ["-q", test, f"--junitxml={report}"], ROOT,
        ))  # fmt: skip
        count = counted_by_pytest(report) if report.exists() else Count(failed=1)
    return report_of(label, done, count)


Job = collections.abc.Callable[[], Count]


def registered_tests(preset: str) -> list[tuple[str, list[str]]]:
    """Name and command of each test that CMake knows and has built the program of."""
    shown = subprocess.run(
        ["ctest", "--show-only=json-v1"], cwd=ROOT / "build" / preset, check=True,
        capture_output=True, text=True,
    ).stdout  # fmt: skip
    tests = json.loads(shown)["tests"]
    return [(test["name"], test["command"]) for test in tests if "command" in test]


def jobs_of(stage: str, preset: str, prefix: str, environment: dict[str, str] | None = None,
            filter_of=lambda name: "*") -> list[Job]:  # fmt: skip
    """The registered tests with the prefix, the largest program first."""
    tests = [test for test in registered_tests(preset) if test[0].startswith(prefix)]
    tests.sort(key=lambda test: -pathlib.Path(test[1][0]).stat().st_size)
    return [
        functools.partial(
            run_program, f"{stage} {name.removeprefix(prefix)}".rstrip(), command,
            {**(environment or {}), "GTEST_FILTER": filter_of(name)},
        )
        for name, command in tests
    ]  # fmt: skip


def pytest_jobs(stage: str, preset: str, pattern: str,
                environment: dict[str, str] | None = None, saying: str = "") -> list[Job]:  # fmt: skip
    """A process for each file that has the text: what one does to the process, another doesn't see."""
    files = [
        str(path.relative_to(ROOT)) for path in sorted(ROOT.glob(pattern))
        if saying in path.read_text()
    ]  # fmt: skip
    return [
        functools.partial(run_pytest, f"{stage} {file}", preset, file, environment or {})
        for file in files
    ]


def preloaded(*libraries: str) -> str:
    """The sanitizer's library under Python, and the C++ library whose throw it wraps."""
    found = [
        subprocess.run(["g++", f"-print-file-name={library}"], capture_output=True, text=True)
        .stdout.strip() for library in libraries
    ]  # fmt: skip
    return ":".join(found)


# --- the stages ----------------------------------------------------------------------------------
def unit() -> list[Job]:
    return jobs_of("unit", "release", "unit_")


def checks() -> list[Job]:
    return jobs_of("checks", "release", "check_")


def python() -> list[Job]:
    return (pytest_jobs("python", "release", "tests/package/test_*.py")
            + pytest_jobs("python", "release", "tests/python/test_*.py"))  # fmt: skip


def packaging() -> list[Job]:
    return pytest_jobs("packaging", "release", "tests/packaging/test_*.py")


def intrinsics() -> list[Job]:
    return jobs_of("intrinsics", "release", "emulated_intrinsics")


def emulated() -> list[Job]:
    families = ("eigh", "einsum", "factorizations", "least_squares", "linear_systems", "settings",
                "svd", "threads")  # fmt: skip
    jobs = jobs_of("emulated", "release", "emulated_", {"NUMERICAL_TEST_PATHS": "2"})
    for family in families:
        jobs += pytest_jobs("emulated", "release/emulated", f"tests/python/test_{family}.py")
    return jobs


def asan() -> list[Job]:
    """Of Python's tests the files marked as crossing the boundary; the core's values are for unit's.

    Memory comes back into use after 32 MiB more have been freed, not 256, and the sanitizer keeps the
    four innermost callers of an allocation, not thirty: both are felt where small matrices allocate
    much. Of the kinds of matrices a fifth is tried at each size, of the numbers of threads one.
    """
    always = "allocator_may_return_null=1:quarantine_size_mb=32:malloc_context_size=4"
    options = {"ASAN_OPTIONS": always, "NUMERICAL_TEST_SAMPLE": "5"}
    under_python = {
        "ASAN_OPTIONS": f"detect_leaks=0:{always}",
        "HYPOTHESIS_PROFILE": "sanitized",
        "UBSAN_OPTIONS": "print_stacktrace=1",
        "LD_PRELOAD": preloaded("libasan.so", "libstdc++.so"),
        "PYTHONMALLOC": "malloc",
    }
    marked = "pytestmark = pytest.mark.boundary"
    return (
        jobs_of("asan", "release", "asan_", options)
        + pytest_jobs("asan", "release/asan", "tests/python/test_*.py", under_python, marked)
        + pytest_jobs("asan", "release/asan", "tests/package/test_*.py", under_python, marked)
    )


def ubsan() -> list[Job]:
    return jobs_of("ubsan", "ubsan", "unit_", {"UBSAN_OPTIONS": "print_stacktrace=1"})


def tsan() -> list[Job]:
    """Everything of the pool and the products; of the others what compares thread counts."""
    whole = {"unit_runtime", "unit_gemm"}
    under_python = {
        "TSAN_OPTIONS": "die_after_fork=0 ignore_noninstrumented_modules=1",
        "LD_PRELOAD": preloaded("libtsan.so"),
    }
    return jobs_of(
        "tsan", "tsan", "unit_", {"TSAN_OPTIONS": "die_after_fork=0"},
        lambda name: "*" if name in whole else "*thread*:*64_cores*",
    ) + pytest_jobs("tsan", "tsan", "tests/python/test_threads.py", under_python)  # fmt: skip


def run_tidy(source: str) -> Count:
    command = ["clang-tidy", "-p", "build/tidy", "--quiet", source]
    return report_of(f"tidy {source}", run(command, {}), Count())


def tidy() -> list[Job]:
    """A test for each source: what its headers hold is seen with it."""
    files = sorted(path.relative_to(ROOT) for path in (ROOT / "src").rglob("*.cpp"))
    return [functools.partial(run_tidy, str(file)) for file in files]


@dataclasses.dataclass(frozen=True)
class Stage:
    jobs: collections.abc.Callable[[], list[Job]]
    preset: str
    targets: tuple[str, ...] = ("all",)


STAGES = {
    "unit": Stage(unit, "release"),
    "checks": Stage(checks, "release"),
    "python": Stage(python, "release"),
    "packaging": Stage(packaging, "release"),
    "intrinsics": Stage(intrinsics, "release", ("all", "emulated_intrinsics")),
    "emulated": Stage(emulated, "release", ("all", "emulated")),
    "asan": Stage(asan, "release", ("all", "asan")),
    "ubsan": Stage(ubsan, "ubsan", ("unit",)),
    "tsan": Stage(tsan, "tsan"),
    "tidy": Stage(tidy, "tidy", ()),
}
DEFAULT_STAGES = ["unit", "checks", "python", "packaging"]


def run_stages(names: list[str]) -> dict[str, Count]:
    """Starts each stage's jobs when its build is done, and gives each stage's count."""
    builder = concurrent.futures.ThreadPoolExecutor(1)
    runners = concurrent.futures.ThreadPoolExecutor(PROCESSORS)
    wanted = dict.fromkeys((STAGES[name].preset, STAGES[name].targets) for name in names)
    builds = {
        (preset, targets): builder.submit(build, preset, targets, aloud=first == 0)
        for first, (preset, targets) in enumerate(wanted)
    }
    started = {}
    counts = dict.fromkeys(names, Count())
    for name in names:
        stage = STAGES[name]
        built = builds[stage.preset, stage.targets].result()
        if built.status == 0:
            started[name] = [runners.submit(job) for job in stage.jobs()]
        else:
            print(f"  {name}: could not be built\n{built.output[-8000:]}", flush=True)
            counts[name] = Count(failed=1)
    for name, jobs in started.items():
        counts[name] = sum((job.result() for job in jobs), Count())
    SERVERS.stop()
    return counts


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
        # Paths below the tree count as relative, so that the wheel, which is built in another
        # folder, finds the release build's objects.
        os.environ.setdefault("CCACHE_BASEDIR", str(ROOT))
        os.environ.setdefault("CCACHE_NOHASHDIR", "1")
        # As ccache's manual asks for where headers are precompiled.
        os.environ.setdefault("CCACHE_SLOPPINESS", "pch_defines,time_macros,include_file_mtime")
    counts = run_stages(list(STAGES) if options.all else options.stages or DEFAULT_STAGES)
    for name, count in counts.items():
        print(f"{name:<10} {count} ({count.seconds:.0f} s)")
    total = sum(counts.values(), Count())
    print(total)
    return 1 if total.failed else 0


if __name__ == "__main__":
    sys.exit(main())
