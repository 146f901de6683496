"""The binding framework by a module of its own: what the package's module never does with it."""

import sys

import pytest
from conftest import BUILD
from support import error_of

sys.path.append(str(BUILD.resolve() / "tests"))
import _binding_probe as probe  # noqa: E402

pytestmark = pytest.mark.boundary


def test_a_class_by_a_factory_with_keywords():
    pair = probe.Pair(-3)
    assert (pair.first, pair.second) == (-3, 5)
    pair = probe.Pair(second=2**64 - 1, first=2**31 - 1, word="any")
    assert (pair.first, pair.second) == (2**31 - 1, 2**64 - 1)
    assert (probe.Pair.__module__, probe.Pair.__name__) == ("probe", "Pair")
    assert error_of(pair.__init__, 1) == (TypeError, "probe.Pair cannot be re-initialized")
    missing = "probe.Pair() missing required argument 'first' (pos 1)"
    assert error_of(probe.Pair) == (TypeError, missing)


def test_parameters_of_a_factory_are_converted_from_the_last_on():
    assert error_of(probe.Pair, "1", -1, 3) == (TypeError, "expected str, got int")
    assert error_of(probe.Pair, "1", -1) == (TypeError, "int out of range")
    assert error_of(probe.Pair, "1") == (TypeError, "expected int, got str")
    assert error_of(probe.Pair, 1, 2, "wrong") == (probe.error, "the word is wrong")
    assert error_of(lambda: probe.Pair.__new__(probe.Pair).first) == (
        TypeError,
        "uninitialized probe.Pair",
    )


def test_methods_count_the_arguments_behind_self():
    pair = probe.Pair(1)
    assert pair.sum_with(10, 100) == 111
    for given in [(), (1,), (1, 2, 3)]:
        expected = TypeError, f"expected 2 argument(s), got {len(given)}"
        assert error_of(pair.sum_with, *given) == expected
    assert error_of(pair.sum_with, "1", "2") == (TypeError, "expected int, got str")


def test_a_getter_that_gives_nothing_keeps_its_error():
    assert error_of(lambda: probe.Pair(1).lost) == (LookupError, "nothing to give")


def test_a_class_without_a_factory_is_made_by_functions_only():
    made = probe.sealed(7)
    assert type(made) is probe.Sealed
    assert error_of(probe.Sealed) == (TypeError, "cannot create 'probe.Sealed' instances")
    assert error_of(probe.Sealed.__new__, probe.Sealed)[0] is TypeError
    assert (repr(made), hash(made)) == ("sealed 7", 7)
    assert made == probe.sealed(7) and made != probe.sealed(8)
    references = sys.getrefcount(probe.Sealed)
    many = [probe.sealed(1) for _ in range(1000)]
    assert sys.getrefcount(probe.Sealed) - references in range(990, 1010)
    del many
    assert sys.getrefcount(probe.Sealed) - references in range(-10, 10)


def test_a_value_whose_class_is_not_registered():
    expected = SystemError, "wrapped type not registered"
    assert error_of(probe.unregistered) == expected
    references = sys.getrefcount(probe.Sealed)
    for _ in range(1000):
        assert error_of(probe.three) == expected
    assert sys.getrefcount(probe.Sealed) - references in range(
        -10, 10
    )  # the tuple dropped its item


def test_a_second_registration_of_one_function_is_refused_and_changes_nothing():
    assert error_of(probe.define_pair_again) == (
        SystemError,
        "probe.Pair: a function registered with keyword arguments takes one registration per module",
    )
    assert probe.Pair(first=1, second=2).second == 2


def test_a_default_that_could_not_be_made_is_reported_by_the_call_that_needs_it():
    assert type(probe.Broken(1, None)) is probe.Broken
    assert error_of(probe.Broken, 1) == (MemoryError, "")


@pytest.mark.parametrize("what, kind, text", [
    ("bad_alloc", MemoryError, ""),
    ("length_error", probe.error, "too long"),
    ("cast_error", TypeError, "no cast"),
    ("number", probe.error, "internal error"),
    ("variant", probe.error, "std::get: wrong index for variant"),
    ("pending", KeyError, "'pending'"),
])  # fmt: skip
def test_whatever_is_thrown_becomes_an_exception(what, kind, text):
    assert error_of(probe.throw, what) == (kind, text)


def test_results_of_every_kind():
    thing = object()
    assert probe.same_object(thing) is thing
    assert probe.nothing() is None
    assert probe.is_none(None) is True and probe.is_none(0) is False
    assert probe.throw("nothing at all") is None
    for number in [0, -1, 2**31 - 1, -(2**31)]:
        assert probe.same_int(number) == number
    for number in [0, 1, 2**63, 2**64 - 1]:
        assert probe.same_unsigned(number) == number
    for number in [2**31, -(2**31) - 1, 2**63, -(2**63) - 1]:
        assert error_of(probe.same_int, number) == (TypeError, "int out of range")
    for number in [-1, 2**64]:
        assert error_of(probe.same_unsigned, number) == (TypeError, "int out of range")


def test_the_short_name_is_what_stands_behind_the_last_dot():
    names = {"numerical.Tensor": "Tensor", "a.b.c": "c", "plain": "plain", "ends.": ""}
    assert {name: probe.short_name(name) for name in names} == names
