"""A C++ user finds the installed core by find_package and by pkg-config."""

import os
import pathlib
import shlex
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parents[2]
CONSUMER = pathlib.Path(__file__).parent / "consumer"
BUILD = pathlib.Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release"))


def run(*command, **options):
    return subprocess.run(
        [str(word) for word in command], check=True, capture_output=True, text=True, **options
    ).stdout


@pytest.fixture(scope="module")
def prefix(tmp_path_factory):
    path = tmp_path_factory.mktemp("prefix")
    run("cmake", "--install", BUILD, "--prefix", path)
    return path


def test_find_package_leads_to_a_program_that_runs(prefix, tmp_path):
    run("cmake", "-S", CONSUMER, "-B", tmp_path, f"-DCMAKE_PREFIX_PATH={prefix}")
    run("cmake", "--build", tmp_path)
    assert run(tmp_path / "consumer") == "7 10 15 22\n"


def test_pkg_config_leads_to_a_program_that_runs(prefix, tmp_path):
    found = next(prefix.rglob("numerical.pc"))
    environment = os.environ | {"PKG_CONFIG_PATH": str(found.parent)}
    flags = run(
        "pkg-config",
        f"--define-variable=prefix={prefix}",
        "--cflags",
        "--libs",
        "numerical",
        env=environment,
    )
    program = tmp_path / "consumer"
    run("g++", "-std=c++20", CONSUMER / "main.cpp", "-o", program, *shlex.split(flags))
    assert run(program) == "7 10 15 22\n"
