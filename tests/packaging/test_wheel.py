"""The wheel is built offline, installed into a fresh environment, imported and used."""

import pathlib
import subprocess
import sys
import zipfile

import pytest

ROOT = pathlib.Path(__file__).parents[2]

PROGRAM = """
import numerical as nm
x = nm.solve(nm.asarray(nm.Tensor([2.0, 0.0, 0.0, 4.0], (2, 2))), nm.Tensor([2.0, 8.0]))
print(x.tolist(), nm.__file__)
"""


def run(*command, cwd=None):
    return subprocess.run(
        [str(word) for word in command], check=True, capture_output=True, text=True, cwd=cwd
    ).stdout


@pytest.fixture(scope="module")
def wheel(tmp_path_factory):
    folder = tmp_path_factory.mktemp("wheel")
    run(sys.executable, "-m", "pip", "wheel", "--no-index", "--no-deps", "--no-build-isolation",
        "--wheel-dir", folder, ROOT)  # fmt: skip
    (built,) = folder.glob("*.whl")
    return built


def test_the_wheel_serves_every_python_from_3_10_on(wheel):
    assert "-cp310-abi3-linux_x86_64" in wheel.name
    names = zipfile.ZipFile(wheel).namelist()
    assert "numerical/_numerical.abi3.so" in names
    assert "numerical/__init__.py" in names


def test_a_fresh_environment_imports_and_solves(wheel, tmp_path):
    environment = tmp_path / "environment"
    run(sys.executable, "-m", "venv", environment)
    python = environment / "bin" / "python"
    run(python, "-m", "pip", "install", "--no-index", wheel)
    said = run(python, "-c", PROGRAM, cwd=tmp_path)
    assert said.startswith("[1.0, 2.0] ")
    assert str(environment) in said
