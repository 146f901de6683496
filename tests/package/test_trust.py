"""The table of calls that ./dev trust goes through has everything that is public, and every call of it works."""

import pathlib
import re
import sys

import pytest

import numerical as nm

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "trust"))

import catalogue  # noqa: E402
import fuzz  # noqa: E402
import memory  # noqa: E402
import support  # noqa: E402

# Written by the interpreter for every class, or reached by another name only.
OF_EVERY_CLASS = {"__doc__", "__init__", "__module__", "__new__", "__delitem__", "__setitem__"}
OF_THE_PACKAGE = {"_builtins", "_module__array_interface__", "_module__dlpack__", "_module__init__"}
NUMPYS = {"__array__", "__array_function__", "__array_ufunc__"}  # called by NumPy's functions alone


def names(table):
    """The first word of each name: what follows tells calls of one function apart."""
    return {name.split()[0].split(".")[0] for name in table}


def public(place):
    return {
        name for name in dir(place) if not name.startswith("_") and callable(getattr(place, name))
    }


def test_it_has_every_function_of_the_package():
    classes = {"Tensor", "Positions"}
    aliases = {"error", "iinfo"}  # a class of exceptions; a function that always raises
    assert public(nm) - names(catalogue.FUNCTIONS) - classes - aliases == {
        "complex128",
        "float64",
    } & public(nm)


def test_it_has_every_function_and_class_of_linalg():
    results = {name for name in nm.linalg.__all__ if name.endswith("Result")}
    held = names(catalogue.LINALG) | {name.partition(".")[0] for name in catalogue.FACTORS}
    assert set(nm.linalg.__all__) - held - results == {"LinAlgError", "LinAlgWarning"}


@pytest.mark.parametrize(
    "kind", ["LU", "LUFactor", "CholeskyFactor", "LDLFactor", "QRFactor", "LstsqResult"]
)
def test_it_has_every_method_of_factors(kind):
    there = {name for name in dir(getattr(nm.linalg, kind)) if not name.startswith("_")}
    assert there <= {
        name.partition(".")[2] for name in catalogue.FACTORS if name.startswith(kind + ".")
    }


def test_it_has_every_attribute_of_tensors():
    missing = set(vars(nm.Tensor)) - names(catalogue.TENSOR)
    assert missing - OF_EVERY_CLASS - OF_THE_PACKAGE - NUMPYS == set()


def test_it_has_every_attribute_of_positions():
    assert set(vars(nm.Positions)) - names(catalogue.POSITIONS) - OF_EVERY_CLASS == set()


def test_it_has_every_function_of_the_module():
    there = {name for name in dir(nm._numerical) if not name.startswith("__") and name != "error"}
    assert there - names(catalogue.MODULE) == set()


@pytest.mark.parametrize("is_complex", [False, True])
def test_every_call_gives_the_same_twice(is_complex):
    operands = catalogue.Operands(nm, 3, is_complex)
    for name, call in catalogue.calls(nm):
        first = catalogue.result_of(call, operands)
        assert catalogue.result_of(call, operands) == first, name
        said_by_error = ": " in first
        assert said_by_error == name.startswith("fails: "), (name, first)


def test_the_digest_tells_values_shapes_and_types_apart():
    results = [nm.ones(4), nm.ones((2, 2)), nm.ones(4, "complex128"), -nm.ones(4), nm.zeros(4), -0.0 * nm.ones(4),
               (nm.ones(4),), [nm.ones(4), 1], 1, 1.0, True, None, "1", nm.Positions([1, 1, 1, 1])]  # fmt: skip
    assert len({catalogue.digest(result) for result in results}) == len(results)


@pytest.mark.parametrize("target", fuzz.SOURCES)
def test_the_fuzzers_are_made_of_sources_that_exist(target):
    sources = [support.HERE / f"fuzz_{target}.cpp"]
    sources += [support.ROOT / "src" / name for name in fuzz.SOURCES[target]]
    assert [source for source in sources if not source.is_file()] == []
    included = re.findall(r'#include "(.*)"', sources[0].read_text())
    assert [name for name in included if not (support.ROOT / "src" / name).is_file()] == []


class Recorded(list):
    """A ledger that is kept nowhere else."""

    def has(self, cell):
        return False

    def record(self, cell, tried, faults):
        self.append((tried, faults))


def test_an_import_gets_no_memory_for_what_the_module_asks():
    found = Recorded()
    cells = [memory.MODULES_IMPORT]
    support.work_through(
        memory.__file__, cells, found, support.Budget(600), memory.environment_of_workers()
    )
    [(tried, faults)] = found
    assert tried > 40 and faults == []
