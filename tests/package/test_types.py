"""The stubs agree with the package, and strict code that uses them checks."""

import os
import pathlib
import shutil
import subprocess
import sys

import pytest

STRICT_PROGRAM = """
import numerical as nm

a: nm.Tensor = nm.array([[4.0, 1.0], [1.0, 3.0]])
x: nm.Tensor = nm.linalg.solve(a, [1.0, 2.0])
values, vectors = nm.linalg.eigh(a)
shape: tuple[int, ...] = (a @ vectors).shape
with nm.num_threads(1), nm.limit_gemm_path("portable") as limit:
    code: int = limit.path
r: nm.Tensor = nm.linalg.qr(a, "r")
q: nm.Tensor = nm.linalg.qr(a).Q
text: str = f"{(2 * a + 1).T[0]} {nm.linalg.lstsq(a, x).rank + 1}"
"""

needs_mypy = pytest.mark.skipif(shutil.which("mypy") is None, reason="mypy isn't installed")


def run(*command, **options):
    path = os.pathsep.join(sys.path)
    return subprocess.run(
        command, capture_output=True, text=True,
        env={**os.environ, "PYTHONPATH": path, "MYPYPATH": sys.path[0]}, **options,
    )  # fmt: skip


@needs_mypy
def test_strict_code_checks(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(STRICT_PROGRAM)
    said = run("mypy", "--strict", str(program), cwd=tmp_path)
    assert said.returncode == 0, said.stdout


@needs_mypy
def test_stubs_agree_with_the_package(tmp_path):
    allowed = pathlib.Path(__file__).with_name("stubtest_allowed.txt")
    said = run(
        "stubtest", "numerical", "--concise", "--ignore-missing-stub", "--allowlist", str(allowed),
        cwd=tmp_path,
    )  # fmt: skip
    assert said.returncode == 0, said.stdout + said.stderr
