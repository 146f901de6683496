"""The processes in which ./dev test runs the files of Python's tests."""

import pathlib
import signal
import sys

import pytest

ROOT = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "tools"))

from pytest_servers import Servers  # noqa: E402


@pytest.fixture(scope="module")
def servers():
    started = Servers()
    yield started
    started.stop()


@pytest.fixture
def run(servers, tmp_path):
    """Runs a file of tests that has the text, as all of them on the one server; status and output."""

    def run(text, **environment):
        file = tmp_path / "test_given.py"
        file.write_text(text)
        status, output, seconds = servers.run(environment, ["-q", str(file)], tmp_path)
        assert seconds > 0
        return status, output

    return run


def test_a_file_sees_nothing_of_the_file_before(run):
    change = "import math, os\ndef test():\n    math.pi = 3\n    os.environ['CHANGED'] = '1'\n"
    status, output = run(change)
    assert status == 0 and "1 passed" in output, output
    look = "import math, os\ndef test():\n    assert math.pi > 3 and 'CHANGED' not in os.environ\n"
    assert run(look)[0] == 0


def test_a_failure_is_told_with_its_output(run):
    status, output = run("def test():\n    print('what it said')\n    assert 1 == 2\n")
    assert status == 1 and "what it said" in output and "assert 1 == 2" in output


def test_a_process_that_is_killed_fails_alone(run):
    status, _ = run("import os\ndef test():\n    os.abort()\n")
    assert status == -signal.SIGABRT
    assert run("def test():\n    pass\n")[0] == 0


def test_an_environment_has_a_server_of_its_own(run):
    look = "import os\ndef test():\n    assert os.environ.get('GIVEN') == {}\n"
    assert run(look.format("'1'"), GIVEN="1")[0] == 0
    assert run(look.format("None"))[0] == 0
