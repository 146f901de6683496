"""Limits from outside and from inside, and what the package tells of itself."""

import json
import os
import subprocess
import sys
import types

import pytest

import numerical as nm
from numerical import _config


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
    with pytest.raises(ValueError, match=r"^a path is 'portable', 'avx2', 'avx512' or a code, not 'sse'$"):
        nm.limit_gemm_path("sse")


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


def test_import_is_light():
    heavy = in_fresh_process(
        "import sys, numerical; print([m for m in ('numpy', 'typing', 'ctypes', 're') if m in sys.modules])"
    )
    assert heavy == "[]\n"


def test_import_takes_under_five_milliseconds():
    program = "import time; s = time.process_time(); import numerical; print(time.process_time() - s)"
    assert min(float(in_fresh_process(program)) for _ in range(10)) < 0.005
