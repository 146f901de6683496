"""The package where modules are loaded again, or by a second interpreter of the process."""

import subprocess
import sys

import pytest
from conftest import BUILD

ELSEWHERE = (
    "numerical is loaded in another interpreter of this process; its state is the process's, so that"
    " one interpreter alone can have it"
)

PRELUDE = f"""
import sys
folder = {str(BUILD.resolve() / "python")!r}
sys.path.insert(0, folder)
second = '''
import sys
sys.path.insert(0, %r)
try:
    import numerical
except ImportError as failure:
    print(failure)
else:
    print((numerical.ones(2) + 1.0).tolist())
''' % folder
def in_another_interpreter():
    import _testcapi
    sys.stdout.flush()
    assert _testcapi.run_in_subinterp(second) == 0
"""


def lines_of(script):
    done = subprocess.run([sys.executable, "-c", PRELUDE + script], capture_output=True, text=True)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout.splitlines()


def test_a_second_interpreter_is_refused_and_the_first_works_on():
    pytest.importorskip("_testcapi")
    script = """
import numerical as nm
t = nm.array([[1.0, 2.0], [3.0, 4.0]])
in_another_interpreter()
in_another_interpreter()
print((t + t)[1].tolist(), (t @ t).tolist(), repr(t[0]), t.__array_interface__["shape"])
"""
    used = "[6.0, 8.0] [[7.0, 10.0], [15.0, 22.0]] Tensor([1.0, 2.0]) (2, 2)"
    assert lines_of(script) == [ELSEWHERE, ELSEWHERE, used]


def test_the_first_interpreter_to_load_it_keeps_it_beyond_its_end():
    pytest.importorskip("_testcapi")
    script = """
in_another_interpreter()
try:
    import numerical
except ImportError as failure:
    print(failure)
"""
    assert lines_of(script) == ["[2.0, 2.0]", ELSEWHERE]


def test_modules_that_are_loaded_again_work_as_before():
    script = """
import importlib
import numerical as nm

def used():
    t = nm.array([[1.0, 2.0], [3.0, 4.0]])
    assert nm.from_dlpack(t).tolist() == t.tolist()
    assert t.__array_interface__["shape"] == (2, 2)
    return t.__dlpack__(), t.__dlpack__(max_version=(1, 0)), (t + 1)[0].tolist()

for _ in range(2):
    for name in sorted(sys.modules):
        if name.startswith("numerical.") and not name.endswith(("._numerical", "._native")):
            importlib.reload(sys.modules[name])
            used()
    importlib.reload(nm)
    used()
for name in [name for name in sys.modules if name.partition(".")[0] == "numerical"]:
    del sys.modules[name]
import numerical as nm
print(used()[2])
"""
    assert lines_of(script) == ["[2.0, 3.0]"]
