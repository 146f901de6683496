"""The wheel is built offline from the sdist, installed into a fresh environment, imported and used.

From the sdist and not from the tree: so a file that the sdist lacks is missed.
"""

import pathlib
import subprocess
import sys
import tarfile
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
def sdist(tmp_path_factory):
    """The unpacked sdist. Its list of files is made anew: setuptools keeps what an old one names."""
    folder = tmp_path_factory.mktemp("sdist")
    run(sys.executable, "setup.py", "-q", "egg_info", "--egg-base", folder, "sdist",
        "--formats", "gztar", "--dist-dir", folder, cwd=ROOT)  # fmt: skip
    (packed,) = folder.glob("*.tar.gz")
    with tarfile.open(packed) as archive:
        archive.extractall(folder / "unpacked")
    (unpacked,) = (folder / "unpacked").iterdir()
    return unpacked


@pytest.fixture(scope="module")
def wheel(sdist, tmp_path_factory):
    folder = tmp_path_factory.mktemp("wheel")
    run(sys.executable, "-m", "pip", "wheel", "--no-index", "--no-deps", "--no-build-isolation",
        "--wheel-dir", folder, sdist)  # fmt: skip
    (built,) = folder.glob("*.whl")
    return built


def test_the_sdist_holds_all_that_the_build_reads(sdist):
    for folder in ("src", "cmake"):
        tracked = [path.relative_to(ROOT) for path in (ROOT / folder).rglob("*") if path.is_file()]
        assert tracked and all((sdist / path).is_file() for path in tracked)
    for name in ("CMakeLists.txt", "LICENSE", "README.md", "pyproject.toml", "setup.py"):
        assert (sdist / name).is_file()
    assert (sdist / "python" / "numerical" / "py.typed").is_file()


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
