"""Every public function and class says what it takes and gives, with examples that run."""

import doctest
import inspect
import re

import pytest

import numerical as nm

# The functions of the compiled module keep texts of their own.
OF_THE_MODULE = {"determinant", "inverse", "get_num_threads"}
WITHOUT_RESULT = {"set_num_threads", "iinfo"}  # the one returns None, the other always raises
# Classes made in C++, of which Python knows no signature: what their constructors take.
CONSTRUCTORS = {
    "Tensor": ["data", "shape", "dtype"], "Positions": ["places"], "error": [], "LinAlgError": [],
    "LinAlgWarning": [],
}  # fmt: skip
RESULTS = {
    "EigResult", "EighResult", "PolarResult", "QRResult", "SVDResult", "SlogdetResult", "LstsqResult",
    "LU", "LUFactor", "CholeskyFactor", "LDLFactor", "QRFactor",
}  # fmt: skip

PATHS = ["portable", "avx2", "avx512"]


def public(module):
    names = getattr(module, "__all__", None) or [n for n in dir(module) if not n.startswith("_")]
    found = {name: getattr(module, name) for name in names}
    return {name: thing for name, thing in found.items() if callable(thing)}


CALLABLES = {**public(nm.linalg), **public(nm)}
DOCUMENTED = {name: thing for name, thing in CALLABLES.items() if name not in OF_THE_MODULE}
DTYPE = type(nm.float64)


def section(thing, title):
    """The lines of a section of the docstring, without its heading; None if it has none."""
    text = inspect.getdoc(thing) or ""
    found = re.search(rf"^{title}\n-{{{len(title)}}}\n((?:.+\n?|\n(?=[ ]))*)", text, re.MULTILINE)
    return found and found[1]


def names_in(section_text):
    heads = [
        line.partition(" : ")[0] for line in section_text.splitlines() if line and line[0] != " "
    ]
    return [name.strip().lstrip("*") for head in heads for name in head.split(",")]


def parameters_of(name, thing):
    if name in CONSTRUCTORS:
        return CONSTRUCTORS[name]
    return [] if name in RESULTS else list(inspect.signature(thing).parameters)


@pytest.mark.parametrize("name", sorted(DOCUMENTED))
def test_the_first_line_is_a_sentence(name):
    first, *rest = inspect.getdoc(DOCUMENTED[name]).split("\n")
    assert first.endswith(".") and len(first) <= 100
    assert rest and rest[0] == ""


@pytest.mark.parametrize("name", sorted(DOCUMENTED))
def test_the_parameters_are_those_of_the_signature(name):
    expected = parameters_of(name, DOCUMENTED[name])
    given = section(DOCUMENTED[name], "Parameters")
    assert (names_in(given) if given else []) == expected


@pytest.mark.parametrize("name", sorted(DOCUMENTED))
def test_the_result_is_described(name):
    thing = DOCUMENTED[name]
    if inspect.isclass(thing) or name in WITHOUT_RESULT:
        return
    assert section(thing, "Returns")


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("name", [*sorted(DOCUMENTED), "dtype"])
def test_the_examples_run_on_every_path(name, path):
    thing = DTYPE if name == "dtype" else DOCUMENTED[name]
    examples = doctest.DocTestParser().get_examples(inspect.getdoc(thing))
    assert examples
    said = []
    test = doctest.DocTest(examples, {"nm": nm}, name, None, None, None)
    with nm.limit_gemm_path(path):
        doctest.DocTestRunner().run(test, out=said.append)
    assert not said, "".join(said)


def test_methods_and_properties_of_tensors_have_texts():
    for kind in (nm.Tensor, nm.Positions):
        for name, thing in vars(kind).items():
            if not name.startswith("_"):
                assert thing.__doc__, name
