"""What several test files share."""

import subprocess
import sys

from conftest import MODULE_FOLDER

import _numerical


def error_of(function, *arguments, **keywords):
    """The class and the whole text of the exception that the call raises."""
    try:
        result = function(*arguments, **keywords)
    except Exception as error:
        return type(error), str(error)
    raise AssertionError(f"no exception, but {result!r}")


def numerical_error(text):
    return _numerical.error, text


def run_python(script, *arguments, timeout=60):
    """A fresh interpreter that has the module's folder on its path."""
    prelude = f"import sys; sys.path.insert(0, {str(MODULE_FOLDER)!r})\n"
    return subprocess.run([sys.executable, "-c", prelude + script, *map(str, arguments)],
                          capture_output=True, text=True, timeout=timeout)


def output_of(script, *arguments, timeout=60):
    done = run_python(script, *arguments, timeout=timeout)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout
