"""Limits from outside and from inside, and what the package tells of itself."""

import itertools
import json
import os
import subprocess
import sys
import threading
import types

import pytest

import numerical as nm
from numerical import _config, _settings


def in_fresh_process(program, **environment):
    path = os.pathsep.join(sys.path)
    return subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True,
        env={"PYTHONPATH": path, "PATH": os.environ["PATH"], **environment},
    ).stdout  # fmt: skip


def test_threads_are_limited_for_a_block():
    nm.set_num_threads(0)
    all_threads = nm.get_num_threads()
    with nm.num_threads(1):
        assert nm.get_num_threads() == 1
    assert nm.get_num_threads() == all_threads
    with pytest.raises(KeyError):
        with nm.num_threads(1):
            raise KeyError
    assert nm.get_num_threads() == all_threads


@pytest.mark.parametrize(("name", "code"), [("portable", 0), ("avx2", 1), ("avx512", 2), (0, 0)])
def test_the_path_is_limited_for_a_block_by_name_or_code(name, code):
    best = nm.show_config()["path"]
    with nm.limit_gemm_path(name) as limit:
        assert limit.path <= code
    assert nm.show_config()["path"] == best
    with pytest.raises(
        ValueError, match=r"^a path is 'portable', 'avx2', 'avx512' or a code, not 'sse'$"
    ):
        nm.limit_gemm_path("sse")


THREADS = pytest.param(nm.num_threads, nm.get_num_threads, (1, 2, 3), id="num_threads")
PATHS = pytest.param(
    nm.limit_gemm_path, lambda: _config.PATHS.index(nm.show_config()["path"]), (0, 1, 0), id="path"
)


@pytest.fixture
def three_cores(monkeypatch):
    """The module's cap on a machine of at least three cores, however many this one has."""
    state = [0]
    monkeypatch.setattr(_settings._threads, "_apply", lambda n: state.__setitem__(0, n))
    monkeypatch.setattr(_settings._threads, "_read", lambda: state[0] or 64)
    return lambda: state[0] or 64


@pytest.mark.parametrize("order", [*itertools.permutations(range(3))])
def test_blocks_that_overlap_leave_no_cap_behind(three_cores, order):
    blocks = [nm.num_threads(n) for n in (1, 2, 3)]
    for n, block in enumerate(blocks, 1):
        block.__enter__()
        assert three_cores() == n
    inside = [1, 2, 3]
    for which in order:
        blocks[which].__exit__(None, None, None)
        inside.remove(which + 1)
        assert three_cores() == (inside[-1] if inside else 64)


@pytest.mark.parametrize(("limit", "read", "values"), [THREADS, PATHS])
def test_overlapping_limits_of_the_module_end_with_the_last_block(limit, read, values):
    before = read()
    first, second = limit(values[0]), limit(values[1])
    first.__enter__()
    second.__enter__()
    assert read() == min(values[1], before)
    first.__exit__(None, None, None)
    assert read() == min(values[1], before)
    second.__exit__(None, None, None)
    assert read() == before


@pytest.mark.parametrize(("limit", "read", "values"), [THREADS, PATHS])
def test_one_object_limits_a_block_within_its_block(limit, read, values):
    before = read()
    block = limit(values[0])
    with block:
        with block:
            assert read() == values[0]
        assert read() == values[0]
    assert read() == before
    with block:
        assert read() == values[0]
    assert read() == before


def test_a_path_is_limited_anew_by_a_block_entered_later():
    best = nm.show_config()["path"]
    kept = nm.limit_gemm_path("portable")
    with nm.limit_gemm_path(3):
        assert nm.show_config()["path"] == best
        with kept:
            assert nm.show_config()["path"] == "portable"
        assert nm.show_config()["path"] == best
    assert nm.show_config()["path"] == best


def test_a_path_limited_by_a_call_stays_also_after_the_block_of_the_call():
    best = nm.show_config()["path"]
    with nm.limit_gemm_path(3):
        assert nm.limit_gemm_path("portable").path == 0
        with nm.limit_gemm_path(3):
            assert nm.show_config()["path"] == best
        assert nm.show_config()["path"] == "portable"
    assert nm.show_config()["path"] == "portable"
    nm.limit_gemm_path(3)
    assert nm.show_config()["path"] == best


def test_a_cap_set_in_a_block_stays(three_cores):
    with nm.num_threads(1):
        nm.set_num_threads(3)
        with nm.num_threads(2):
            assert three_cores() == 2
        assert three_cores() == 3
    assert three_cores() == 3


def test_a_refused_limit_changes_nothing(three_cores):
    with nm.num_threads(2):
        for bad in (-1, 1.5, None, "2"):
            with pytest.raises((TypeError, ValueError), match=r"^n must"):
                nm.num_threads(bad)
        assert three_cores() == 2
    assert three_cores() == 64


def test_many_threads_that_enter_and_leave_restore_the_base(three_cores):
    def enter_and_leave(n):
        for _ in range(200):
            with nm.num_threads(n):
                pass

    workers = [threading.Thread(target=enter_and_leave, args=(n,)) for n in (1, 2, 3, 4)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    assert three_cores() == 64


def test_a_child_of_a_fork_sets_limits_though_another_thread_held_the_lock():
    program = """
import os, threading, numerical as nm
from numerical import _settings
held, forked = threading.Event(), threading.Event()
def hold():
    with _settings._threads._lock:
        held.set()
        forked.wait()
worker = threading.Thread(target=hold)
worker.start()
held.wait()
child = os.fork()
if child == 0:
    with nm.num_threads(1):
        os._exit(7)
forked.set()
worker.join()
print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
"""
    assert in_fresh_process(program) == "7\n"


PRINT_CAP = "import numerical as nm; print(nm.get_num_threads(), nm.show_config()['cap from'])"


@pytest.mark.parametrize(
    ("variables", "said"),
    [
        ({"NUMERICAL_NUM_THREADS": "1"}, "1 NUMERICAL_NUM_THREADS\n"),
        ({"OMP_NUM_THREADS": "1,4"}, "1 OMP_NUM_THREADS\n"),
        ({"NUMERICAL_NUM_THREADS": "1", "OMP_NUM_THREADS": "7"}, "1 NUMERICAL_NUM_THREADS\n"),
        ({"NUMERICAL_NUM_THREADS": "many", "OMP_NUM_THREADS": "1"}, "1 OMP_NUM_THREADS\n"),
    ],
)
def test_variables_cap_the_threads_at_import(variables, said):
    assert in_fresh_process(PRINT_CAP, **variables) == said


@pytest.mark.parametrize(
    "digits", ["9" * 30, "9" * 5000, "0" * 30 + "64000"], ids=["30", "5000", "leading zeros"]
)
def test_a_variable_beyond_all_processors_is_no_cap(digits):
    count, source = in_fresh_process(PRINT_CAP, NUMERICAL_NUM_THREADS=digits).split()
    with nm.num_threads(0):
        assert (int(count), source) == (nm.get_num_threads(), "NUMERICAL_NUM_THREADS")


@pytest.fixture
def cgroups(tmp_path):
    def write(membership, files):
        own = tmp_path / "self"
        own.write_text(membership)
        for name, text in files.items():
            path = tmp_path / "fs" / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        return _config.cpu_quota(str(tmp_path / "fs"), str(own))

    return write


@pytest.mark.parametrize(
    ("membership", "files", "quota"),
    [
        ("0::/\n", {"cpu.max": "200000 100000\n"}, 2),
        ("0::/\n", {"cpu.max": "150000 100000\n"}, 2),
        ("0::/\n", {"cpu.max": "150000 25000\n"}, 6),
        ("0::/\n", {"cpu.max": "300000\n"}, 3),
        ("0::/\n", {"cpu.max": "max 100000\n"}, None),
        ("0::/a/b\n", {"cpu.max": "800000 100000\n", "a/cpu.max": "300000 100000\n"}, 3),
        ("0::/a\n", {}, None),
        ("4:cpu,cpuacct:/x\n", {"cpu,cpuacct/x/cpu.cfs_quota_us": "50000\n", "cpu,cpuacct/x/cpu.cfs_period_us": "100000\n"}, 1),
        ("4:cpu:/\n", {"cpu/cpu.cfs_quota_us": "-1\n", "cpu/cpu.cfs_period_us": "100000\n"}, None),
        ("nonsense\n", {"cpu.max": "1 1"}, None),
    ],
)  # fmt: skip
def test_the_quota_of_a_container_is_read(cgroups, membership, files, quota):
    assert cgroups(membership, files) == quota


def test_the_module_prints_its_configuration():
    text = subprocess.run(
        [sys.executable, "-m", "numerical", "--json"], capture_output=True, text=True, check=True,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)},
    ).stdout  # fmt: skip
    config = json.loads(text)
    assert config["path"] in ("portable", "avx2", "avx512")
    assert config["threads"] >= 1
    assert set(config) == set(nm.show_config())


def test_threadpoolctl_is_told_of_us_if_it_can_be(monkeypatch):
    registered = []
    package = types.SimpleNamespace(LibController=object, register=registered.append)
    monkeypatch.setitem(sys.modules, "threadpoolctl", package)
    assert _config.register_with_threadpoolctl()
    controller = registered[0]()
    assert controller.get_num_threads() == nm.get_num_threads()
    monkeypatch.setitem(sys.modules, "threadpoolctl", types.SimpleNamespace())
    assert not _config.register_with_threadpoolctl()


IMPORTED = """
import sys
before = set(sys.modules)
import numerical
print(*sorted(name for name in set(sys.modules) - before if not name.startswith("numerical")))
"""


def test_import_loads_little_beside_the_package():
    imported = {name.split(".")[0] for name in in_fresh_process(IMPORTED).split()}
    assert imported <= {"_operator", "importlib", "math", "operator", "warnings"}
