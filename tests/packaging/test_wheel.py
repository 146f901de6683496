"""The wheel is built offline from the sdist, installed into a fresh environment, imported and used.

From the sdist and not from the tree: so a file that the sdist lacks is missed.
"""

import os
import pathlib
import re
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


def run(*command, cwd=None, **environment):
    return subprocess.run(
        [str(word) for word in command], check=True, capture_output=True, text=True, cwd=cwd,
        env={**os.environ, **environment},
    ).stdout  # fmt: skip


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
        "--wheel-dir", folder, sdist, CCACHE_BASEDIR=str(sdist))  # fmt: skip
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
    assert wheel.name.endswith("-cp310-abi3-manylinux_2_28_x86_64.whl")
    names = zipfile.ZipFile(wheel).namelist()
    assert "numerical/_numerical.abi3.so" in names
    assert "numerical/__init__.py" in names


# What the policy of manylinux_2_28 (PEP 600) lets a wheel ask for, of the libraries that it may need.
NEWEST = {"GLIBC": (2, 28), "GCC": (8,)}
LIBRARIES = {"libc.so.6", "libm.so.6", "libpthread.so.0", "libgcc_s.so.1", "ld-linux-x86-64.so.2"}


@pytest.fixture(scope="module")
def module(wheel, tmp_path_factory):
    folder = tmp_path_factory.mktemp("module")
    with zipfile.ZipFile(wheel) as archive:
        return pathlib.Path(archive.extract("numerical/_numerical.abi3.so", folder))


def test_the_module_loads_on_systems_of_manylinux_2_28(module):
    versions = re.findall(
        r"Name: ([A-Z]+)_([0-9.]+) ", run("readelf", "--version-info", "-W", module)
    )
    assert {family for family, _ in versions} <= NEWEST.keys()
    for family, version in versions:
        assert tuple(map(int, version.split("."))) <= NEWEST[family], (family, version)
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "--dynamic", "-W", module))
    assert "libc.so.6" in needed and set(needed) <= LIBRARIES


def test_the_module_shows_no_symbol_but_its_two_initializations(module):
    shown = run("nm", "--dynamic", "--defined-only", "--extern-only", module).split()[2::3]
    assert sorted(shown) == ["PyInit__native", "PyInit__numerical"]


def test_the_tag_is_read_from_the_symbols(module):
    sys.path.insert(0, str(ROOT / "tools"))
    import glibc_floor

    said = run("readelf", "--version-info", "-W", module)
    listed = set(re.findall(r"Name: ([A-Z]+_[0-9.]+) ", said))
    assert set().union(*glibc_floor.needed_versions(module).values()) == listed
    assert glibc_floor.newest({"GLIBC_2.9", "GLIBC_2.14", "GCC_4.0.0"}, "GLIBC") == (2, 14)
    assert glibc_floor.platform_tag(sys.executable).startswith("manylinux_2_")


def test_a_module_that_needs_libstdcxx_is_for_its_own_system(tmp_path):
    sys.path.insert(0, str(ROOT / "tools"))
    import glibc_floor

    source = tmp_path / "shared.cpp"
    source.write_text("#include <iostream>\nvoid greet() { std::cout << 1; }\n")
    run("g++", "-shared", "-fPIC", source, "-o", tmp_path / "shared.so")
    assert glibc_floor.platform_tag(tmp_path / "shared.so") == "linux_x86_64"
    with pytest.raises(ValueError, match="is no 64-bit little-endian ELF file$"):
        glibc_floor.needed_versions(source)


def metadata_of(wheel):
    with zipfile.ZipFile(wheel) as archive:
        (name,) = [name for name in archive.namelist() if name.endswith("/METADATA")]
        return archive.read(name).decode()


def test_the_metadata_tell_what_the_package_is(wheel):
    said = metadata_of(wheel)
    for line in (
        "Requires-Python: >=3.10", "Classifier: Typing :: Typed", "License: BSD-3-Clause",
        "Classifier: Programming Language :: Python :: 3.10",
    ):  # fmt: skip
        assert f"\n{line}\n" in said
    assert "\nKeywords: linear algebra,matrix," in said
    assert "\nDescription-Content-Type: text/markdown\n" in said


def test_the_description_is_the_readme_without_links_into_the_tree(wheel):
    said = metadata_of(wheel)
    for line in ("# numerical", "## When to use it, and when not", "x = nm.linalg.solve(a, b)"):
        assert f"\n{line}" in said
    assert "1.3 to 3.6 times as long" in " ".join(said.split())
    assert re.findall(r"!?\[[^\]]*\]\((?!https?:)[^)]*\)", said) == []
    assert ".png" not in said


def test_the_readme_installs_the_wheel_by_its_name(wheel):
    assert f"\npip install {wheel.name} " in (ROOT / "README.md").read_text()


def test_a_fresh_environment_imports_and_solves(wheel, tmp_path):
    environment = tmp_path / "environment"
    run(sys.executable, "-m", "venv", environment)
    python = environment / "bin" / "python"
    run(python, "-m", "pip", "install", "--no-index", wheel)
    said = run(python, "-c", PROGRAM, cwd=tmp_path)
    assert said.startswith("[1.0, 2.0] ")
    assert str(environment) in said
