"""The script that people meet first: what it says, and how it ends where something is missing."""

import os
import pathlib
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parents[2]


def dev(*words, **environment):
    return subprocess.run(
        [ROOT / "dev", *words], capture_output=True, text=True, env={**os.environ, **environment}
    )


@pytest.fixture
def bare_machine(tmp_path):
    """Tools first on PATH that play a machine without packages, for a user without rights."""

    def tool(name, text):
        path = tmp_path / name
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    tool("dpkg-query", "exit 1")
    tool("sudo", "exit 1")
    tool("id", "echo 1000")
    return f"{tmp_path}:{os.environ['PATH']}"


def test_without_a_command_it_tells_its_commands():
    said = dev()
    assert said.returncode == 0
    for command in ("demo", "test", "trust", "bench", "format", "build", "wheel", "doctor"):
        assert f"  {command} " in said.stdout


def test_an_unknown_command_is_an_error():
    said = dev("dance")
    assert said.returncode == 2
    assert said.stderr.startswith("usage: ./dev COMMAND\n")


def test_doctor_fits_one_screen_and_names_the_rival():
    said = dev("doctor")
    assert said.returncode == 0
    assert len(said.stdout.splitlines()) <= 24
    assert "on OpenBLAS" in said.stdout


@pytest.mark.parametrize("command", ["demo", "test", "build", "bench", "wheel"])
def test_without_rights_it_prints_the_one_line_to_run_and_stops(command, bare_machine):
    said = dev(command, PATH=bare_machine)
    assert said.returncode == 3
    first, second = said.stderr.splitlines()
    assert first == "These packages are missing. Install them and run the command again:"
    assert second.startswith("  sudo apt-get install -y --no-install-recommends g++ cmake ")


def test_a_chosen_python_that_will_not_do_is_named():
    said = dev("demo", NUMERICAL_PYTHON="/bin/false")
    assert said.returncode == 1
    assert said.stderr == "NUMERICAL_PYTHON=/bin/false is no Python 3.10 or later\n"
