"""The stubs agree with the package, and strict code that uses them checks."""

import os
import pathlib
import re
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
w, v = nm.linalg.eigh(a, method="jacobi")
reveal_type(w)  # numerical._numerical.Tensor
reveal_type(v)  # numerical._numerical.Tensor
u, s, vh = nm.linalg.svd(a, full_matrices=False)
reveal_type(vh)  # numerical._numerical.Tensor
reveal_type(a @ a)  # Union[numerical._numerical.Tensor, Any]
reveal_type(a[0])  # Union[numerical._numerical.Tensor, Any]
reveal_type(a.dtype.name)  # Union[Literal['float64'], Literal['complex128']]
z: nm.Tensor = nm.astype(nm.zeros(2, device="cpu"), nm.complex128)
kind: bool = nm.isdtype(z.dtype, ("real floating", nm.complex128))
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
    revealed = re.findall(r'Revealed type is "(.*)"', said.stdout)
    assert revealed == re.findall(r"^reveal_type.*# (.*)$", STRICT_PROGRAM, re.MULTILINE)


WRONG_PROGRAM = """
import numerical as nm
nm.linalg.eigh(nm.eye(2), method="qr")
nm.linalg.svd(nm.eye(2), method="tridiagonal_ql")
nm.zeros(2, dtype="float32")
nm.linalg.qr(nm.eye(2), "full")
"""


@needs_mypy
def test_methods_and_dtypes_that_are_none_are_found(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(WRONG_PROGRAM)
    said = run("mypy", "--strict", str(program), cwd=tmp_path)
    faults = {int(line) for line in re.findall(r"program\.py:(\d+): error", said.stdout)}
    assert faults == {3, 4, 5, 6}, said.stdout


@needs_mypy
def test_stubs_agree_with_the_package(tmp_path):
    allowed = pathlib.Path(__file__).with_name("stubtest_allowed.txt")
    said = run(
        "stubtest", "numerical", "--concise", "--ignore-missing-stub", "--allowlist", str(allowed),
        cwd=tmp_path,
    )  # fmt: skip
    assert said.returncode == 0, said.stdout + said.stderr
