"""What holds for every function: arguments, their order, messages, the table, a second import."""

import gc
import sys

import _numerical
import pytest
from support import error_of, not_under_address_sanitizer, numerical_error, output_of, run_python
from conftest import MODULE_FOLDER

pytestmark = pytest.mark.boundary

Tensor = _numerical.Tensor

# All functions in the order of the table.
FUNCTIONS = [
    "_set_num_threads",
    "get_num_threads",
    "_limit_gemm_path",
    "_gemm_path",
    "_amx_probed",
    "solve",
    "inverse",
    "lstsq",
    "cholesky",
    "qr",
    "eigh",
    "matrix_rank",
    "pinv",
    "svd",
    "determinant",
    "_take",
    "_binary",
    "_negate",
    "_unary",
    "_reduce",
    "_reshape",
    "_full",
    "_eye",
    "_arange",
    "_linspace",
    "slogdet",
    "einsum",
    "asarray",
]

# Typed functions and how many arguments they take.
TYPED = {
    "_set_num_threads": 1,
    "get_num_threads": 0,
    "_limit_gemm_path": 1,
    "_gemm_path": 0,
    "_amx_probed": 0,
    "solve": 2,
    "inverse": 1,
    "lstsq": 2,
    "cholesky": 1,
    "qr": 1,
    "eigh": 2,
    "matrix_rank": 1,
    "pinv": 1,
    "svd": 2,
}

ONE_TENSOR = ["inverse", "cholesky", "qr", "matrix_rank", "pinv"]
PLAIN_ONE_TENSOR = ["determinant", "slogdet", "_negate"]

NO_TENSOR = "expected a numerical.Tensor"
UNINITIALIZED = "uninitialized numerical.Tensor"


def test_the_module_offers_its_functions_in_their_order():
    assert [name for name in vars(_numerical) if name in FUNCTIONS] == FUNCTIONS
    offered = {name for name in vars(_numerical) if not name.startswith("__")}
    assert offered == {*FUNCTIONS, "Tensor", "error"}


def test_every_function_says_how_it_is_called():
    for name in FUNCTIONS:
        first = getattr(_numerical, name).__doc__.splitlines()[0]
        assert first.startswith(name + "(")
        assert name == "_set_num_threads" or ") -> " in first


def test_the_error_is_a_plain_exception():
    assert _numerical.error.__mro__[1:] == (Exception, BaseException, object)
    assert (_numerical.error.__module__, _numerical.error.__name__) == ("numerical", "error")


@pytest.mark.parametrize("name", TYPED)
def test_typed_functions_count_their_arguments_first(name):
    wanted = TYPED[name]
    function = getattr(_numerical, name)
    for given in {0, 1, wanted + 1, 9} - {wanted}:
        expected = TypeError, f"expected {wanted} argument(s), got {given}"
        assert error_of(function, *[object()] * given) == expected


@pytest.mark.parametrize("name", TYPED)
def test_typed_functions_take_no_keywords(name):
    kind, text = error_of(getattr(_numerical, name), a=1)
    assert kind is TypeError
    assert text.endswith(f"{name}() takes no keyword arguments")


@pytest.mark.parametrize("name", ONE_TENSOR)
def test_typed_functions_refuse_what_is_no_tensor(name):
    function = getattr(_numerical, name)
    assert error_of(function, 1) == (TypeError, NO_TENSOR)
    assert error_of(function, None) == (TypeError, NO_TENSOR)
    assert error_of(function, Tensor.__new__(Tensor)) == (TypeError, UNINITIALIZED)


@pytest.mark.parametrize("name", PLAIN_ONE_TENSOR)
def test_other_functions_refuse_it_with_the_module_s_error(name):
    function = getattr(_numerical, name)
    assert error_of(function, 1) == numerical_error(NO_TENSOR)
    assert error_of(function, Tensor.__new__(Tensor)) == numerical_error(UNINITIALIZED)


@pytest.mark.parametrize("name", ["solve", "lstsq"])
def test_of_two_bad_arguments_the_last_is_reported(name):
    function = getattr(_numerical, name)
    empty = Tensor.__new__(Tensor)
    assert error_of(function, 1, 2) == (TypeError, NO_TENSOR)
    assert error_of(function, 1, empty) == (TypeError, UNINITIALIZED)
    assert error_of(function, empty, 1) == (TypeError, NO_TENSOR)
    assert error_of(function, empty, Tensor([1.0])) == (TypeError, UNINITIALIZED)


@pytest.mark.parametrize("name", ["eigh", "svd"])
def test_texts_are_converted_before_the_tensor_in_front_of_them(name):
    function = getattr(_numerical, name)
    assert error_of(function, 1, 2) == (TypeError, "expected str, got int")
    assert error_of(function, 1, b"x") == (TypeError, "expected str, got bytes")
    assert error_of(function, 1, "x") == (TypeError, NO_TENSOR)
    kind, _ = error_of(function, 1, "\udc80")
    assert kind is UnicodeEncodeError


def test_an_interrupt_while_a_type_says_its_name():
    class Meta(type):
        @property
        def __name__(cls):
            raise KeyboardInterrupt("now")

    with pytest.raises(KeyboardInterrupt, match="^now$"):
        _numerical._limit_gemm_path(Meta("Hidden", (), {})())


def test_a_type_that_hides_its_name():
    class Meta(type):
        @property
        def __name__(cls):
            raise RuntimeError("no name")

    class Nameless(metaclass=Meta):
        pass

    class Misnamed(metaclass=type("M", (type,), {"__name__": property(lambda cls: 3)})):
        pass

    assert error_of(_numerical._limit_gemm_path, Nameless()) == (TypeError, "expected int, got ?")
    assert error_of(_numerical._limit_gemm_path, Misnamed()) == (TypeError, "expected int, got ?")


def test_subclasses_of_int_and_str_convert():
    class Count(int):
        pass

    class Text(str):
        pass

    assert _numerical._limit_gemm_path(Count(0)) == 0
    _numerical._limit_gemm_path(3)
    assert Tensor([1.0], (1,), Text("float64")).shape == (1,)


def test_what_only_has_an_index_is_no_int():
    class Index:
        def __index__(self):
            return 1

    assert error_of(_numerical._limit_gemm_path, Index()) == (TypeError, "expected int, got Index")


def test_a_second_import_gives_a_second_module_with_the_same_class():
    first = sys.modules.pop("_numerical")
    try:
        import _numerical as second

        assert second is not first
        assert second.Tensor is first.Tensor
        assert second.solve(Tensor([2.0], (1, 1)), Tensor([4.0])).tolist() == [2.0]
        assert error_of(second.determinant, 1) == (second.error, NO_TENSOR)
        assert first.solve(Tensor([2.0], (1, 1)), Tensor([4.0])).tolist() == [2.0]
    finally:
        sys.modules["_numerical"] = first


# Under another name the interpreter runs the initialization function again.
SECOND_INITIALIZATION = """
import importlib.util
import _numerical as first

def load(name):
    spec = importlib.util.spec_from_file_location(name, first.__file__)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module

for second in [load("numerical._numerical"), load("other._numerical")]:
    assert second is not first and second.solve is not first.solve
    assert second.Tensor is first.Tensor and second.error is first.error
    for module in [first, second]:
        tensor = module.Tensor(data=[1, 2], shape=(2, 1), dtype="complex128")
        assert tensor.tolist() == [[1], [2]]
        assert module.asarray(2.5, dtype="float64").tolist() == 2.5
        names = [name for name in vars(module) if callable(getattr(module, name))]
        assert [getattr(module, name).__name__ for name in names] == names
    try:
        second.determinant(1)
    except second.error as error:
        assert str(error) == "expected a numerical.Tensor"
print("done")
"""


def test_a_second_initialization_works_beside_the_first():
    assert output_of(SECOND_INITIALIZATION) == "done\n"


def test_an_import_without_memory_fails_or_is_whole():
    script = """
import importlib.util, os
import _imp, _testcapi
spec = importlib.util.find_spec("_numerical")
statuses = []
for allocation in range(1, 400):
    child = os.fork()
    if child == 0:
        _testcapi.set_nomemory(allocation, allocation + 1)
        try:
            module = _imp.create_dynamic(spec)
        except MemoryError:
            os._exit(3)
        _testcapi.remove_mem_hooks()
        os._exit(0 if hasattr(module, "Tensor") and hasattr(module, "error") else 1)
    statuses.append(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
print(set(statuses), [n for n, status in enumerate(statuses, 1) if status not in (0, 3)])
"""
    pytest.importorskip("_testcapi")
    assert output_of(script) == "{0, 3} []\n"


SECOND_INTERPRETER = """
import _testcapi
attempt = '''
import sys
sys.path.insert(0, %r)
try:
    import _numerical
except ImportError as failure:
    print(failure)
else:
    print("loaded")
'''
assert _testcapi.run_in_subinterp(attempt) == 0
exec(attempt)
"""
ELSEWHERE = (
    "numerical is loaded in another interpreter of this process; its state is the process's, "
    "so that one interpreter alone can have it\n"
)


def test_the_module_stays_with_the_interpreter_that_initialized_it():
    pytest.importorskip("_testcapi")
    assert output_of(SECOND_INTERPRETER % str(MODULE_FOLDER)) == "loaded\n" + ELSEWHERE


def test_tensors_are_no_part_of_garbage_collection_and_leave_at_once():
    tensor = Tensor([1.0])
    assert not gc.is_tracked(tensor)
    references = sys.getrefcount(Tensor)
    many = [Tensor([1.0]) for _ in range(1000)]
    assert sys.getrefcount(Tensor) == references + 1000
    del many
    assert sys.getrefcount(Tensor) == references


def test_the_interpreter_ends_cleanly_with_tensors_alive():
    script = "import _numerical as m; kept = [m.Tensor([1.0])]; m.kept = m.asarray(2); print('end')"
    assert output_of(script) == "end\n"


def test_numpy_is_not_imported():
    script = """
import _numerical as m
m.solve(m.Tensor([2.0], (1, 1)), m.Tensor([1.0])).tolist()
print([name for name in sys.modules if 'numpy' in name])
"""
    assert output_of(script) == "[]\n"


@not_under_address_sanitizer("its shadow needs the whole address space")
def test_memory_exhaustion_is_a_memory_error():
    script = """
import resource
import _numerical as m
t = m.asarray(3.0)
limit = 600 << 20
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
class Broadcast:
    __array_interface__ = {"shape": (1 << 27,), "typestr": "<f8", "strides": (0,),
                           "data": (t.__array_interface__["data"][0], True)}
for _ in range(3):
    try:
        m.asarray(Broadcast())
    except MemoryError:
        print("refused")
print(m.asarray(2.0).tolist())
"""
    done = run_python(script)
    assert (done.returncode, done.stdout) == (0, "refused\n" * 3 + "2.0\n"), done.stderr
