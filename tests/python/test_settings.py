"""The settings of the process: thread cap and path cap."""

import os

import _numerical
import pytest
from support import error_of

pytestmark = pytest.mark.boundary


@pytest.fixture(autouse=True)
def settings_restored():
    yield
    _numerical._set_num_threads(0)
    _numerical._limit_gemm_path(3)


def hardware_threads():
    _numerical._set_num_threads(0)
    return _numerical.get_num_threads()


def best_path():
    return _numerical._limit_gemm_path(3)


def test_default_is_the_number_of_allowed_cores_at_most():
    assert 1 <= hardware_threads() <= len(os.sched_getaffinity(0))


def test_a_cap_below_the_hardware_holds():
    assert _numerical._set_num_threads(1) is None
    assert _numerical.get_num_threads() == 1


@pytest.mark.parametrize("cap", [10**6, 2**63, 2**64 - 1])
def test_a_cap_above_the_hardware_changes_nothing(cap):
    count = hardware_threads()
    _numerical._set_num_threads(cap)
    assert _numerical.get_num_threads() == count


def test_cap_zero_removes_the_cap():
    count = hardware_threads()
    _numerical._set_num_threads(1)
    _numerical._set_num_threads(0)
    assert _numerical.get_num_threads() == count


@pytest.mark.parametrize("cap", [-1, -(2**70), 2**64, 2**200])
def test_a_cap_outside_of_64_bits_is_refused_and_leaves_the_old_one(cap):
    _numerical._set_num_threads(1)
    assert error_of(_numerical._set_num_threads, cap) == (TypeError, "int out of range")
    assert _numerical.get_num_threads() == 1


@pytest.mark.parametrize("cap, name", [("2", "str"), (2.0, "float"), (None, "NoneType")])
def test_a_cap_that_is_no_int_is_refused(cap, name):
    expected = TypeError, "expected int, got " + name
    assert error_of(_numerical._set_num_threads, cap) == expected
    assert error_of(_numerical._limit_gemm_path, cap) == expected


def test_a_bool_is_an_int():
    _numerical._set_num_threads(True)
    assert _numerical.get_num_threads() == 1
    assert _numerical._limit_gemm_path(False) == 0


def test_paths_up_to_the_best_can_be_chosen():
    best = best_path()
    for code in range(4):
        assert _numerical._limit_gemm_path(code) == min(code, best)
        assert _numerical._gemm_path() == min(code, best)


@pytest.mark.parametrize("code", [-1, -5, -(2**31)])
def test_a_negative_path_code_is_the_portable_one(code):
    assert _numerical._limit_gemm_path(code) == 0
    assert _numerical._gemm_path() == 0


@pytest.mark.parametrize("code", [4, 99, 2**31 - 1])
def test_a_path_code_above_the_scale_is_its_top(code):
    best = best_path()
    _numerical._limit_gemm_path(0)
    assert _numerical._limit_gemm_path(code) == best


@pytest.mark.parametrize("code", [2**31, -(2**31) - 1, 2**40, 2**64, -(2**100)])
def test_a_path_code_outside_of_32_bits_is_refused_and_leaves_the_old_one(code):
    _numerical._limit_gemm_path(0)
    assert error_of(_numerical._limit_gemm_path, code) == (TypeError, "int out of range")
    assert _numerical._gemm_path() == 0


def test_there_is_no_amx_to_probe():
    assert _numerical._amx_probed() is False
