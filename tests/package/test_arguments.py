"""Every public function is given every odd value in every parameter: what it says is for its user."""

import inspect
import re

import numpy as np
import pytest

import numerical as nm
from numerical import _arguments, _config

pytestmark = pytest.mark.boundary

ODD = [
    None, "x", b"x", {}, {"a": 1}, {1, 2}, 1.5, float("nan"), float("inf"), 10**5000, -(10**5000), 2**62,
    -1, -7, True, 1j, object(), int, len, [None], ["x"], [[1], [2, 3]], (), slice(1), ...,
    np.int64(1), np.float64(0.5), np.True_, np.array([1, 2]), np.array(["a"]), np.array([None, 1]), nm.ones(2),
]  # fmt: skip

# What stands for a parameter while the others are odd.
EVEN = {
    "a": nm.eye(2), "b": 2.0 * nm.eye(2), "x": nm.eye(2), "v": nm.ones(2), "obj": nm.ones(2), "shape": (2, 2),
    "n": 2, "fill_value": 1.0, "start": 0, "stop": 3, "axis": 0, "source": 0, "destination": 1,
    "first": 0, "second": 1, "tensors": [nm.eye(2), nm.eye(2)], "repetitions": 2, "count": 2,
    "dtype": "float64", "from_": "float64", "to": "float64",
    "type": "float64", "kind": "numeric",
    "path": "portable", "spec": "ij->ji", "y": nm.ones(2), "m": nm.eye(2), "mask": nm.eye(2) > 0,
    "indices": [0], "indices_or_sections": 2, "shift": 1, "c": nm.ones(2),
    "lu_and_piv": nm.linalg.lu_factor(nm.eye(2)), "c_and_lower": nm.linalg.cho_factor(nm.eye(2)),
    "x1": nm.eye(2), "x2": nm.eye(2),
}  # fmt: skip
FITTING = {
    "randomized_svd": {"k": 1}, "solve_sylvester": {"q": nm.eye(2)},
    "solve_continuous_lyapunov": {"q": nm.eye(2)}, "solve_discrete_lyapunov": {"q": nm.eye(2)},
    "tensorinv": {"a": nm.reshape(nm.eye(4), (2, 2, 2, 2))},
    "cross": {"a": nm.ones(3), "b": nm.ones(3)}, "reshape": {"shape": (4,)},
    "squeeze": {"a": nm.ones((1, 2))}, "arctan2": {"x": nm.ones(2)}, "vander": {"x": nm.ones(2)},
    "searchsorted": {"a": nm.ones(2)}, "take_along_axis": {"indices": [[0, 1]]},
    "where": {"a": nm.eye(2), "b": nm.eye(2)},
}  # fmt: skip

# Words of the interpreter, of NumPy or of the module's boundary, which name no argument.
RAW = re.compile(
    r"' object|not supported between|unsupported operand|unhashable|has no attribute|referenced before"
    r"|not iterable|not subscriptable|to unpack|must be real number|can't multiply|C ssize_t|C long"
    r"|expected \w+, got|string conversion|std::|too large to convert|cannot convert float|ufunc"
)
KINDS = (TypeError, ValueError, IndexError, OverflowError, BufferError, nm.error)


def functions():
    for place in (nm, nm.linalg):
        for name in getattr(place, "__all__", dir(place)):
            function = getattr(place, name)
            if callable(function) and not name.startswith("_") and not isinstance(function, type):
                if hasattr(function, "__module__") and "_numerical" not in str(function.__module__):
                    yield pytest.param(function, id=f"{place.__name__}.{name}")
    for kind in (nm.num_threads, nm.limit_gemm_path):
        yield pytest.param(kind, id=kind.__name__)


@pytest.fixture(autouse=True)
def limits_end_with_the_test():
    with nm.num_threads(0), nm.limit_gemm_path(3):
        yield
        nm.set_num_threads(0)
        nm.limit_gemm_path(3)


@pytest.mark.filterwarnings("error::FutureWarning", "ignore:In future:DeprecationWarning")
@pytest.mark.parametrize("function", functions())
def test_what_is_said_of_an_odd_argument_is_for_people(function):
    parameters = list(inspect.signature(function).parameters.values())
    known = {**EVEN, **FITTING.get(function.__name__, {})}
    required = [
        p.name for p in parameters if p.default is p.empty and p.kind is not p.VAR_POSITIONAL
    ]
    for parameter in parameters:
        for value in ODD:
            if parameter.name == "sort" and callable(value):
                continue  # schur calls it, and what it raises is its own
            given, more = {name: known[name] for name in required}, []
            if parameter.kind is parameter.VAR_POSITIONAL:
                given, more = {}, [*given.values(), value]
            else:
                given[parameter.name] = value
            positional = [
                p.name for p in parameters if p.kind is p.POSITIONAL_ONLY and p.name in given
            ]
            more += [given.pop(name) for name in positional]
            try:
                function(*more, **given)
            except KINDS as failure:
                said = str(failure)
                assert said and not RAW.search(said), (parameter.name, value, said)
                assert len(said) < 300


@pytest.mark.parametrize(
    ("call", "kind", "message"),
    [
        (lambda: nm.tensordot(nm.eye(2), nm.eye(2), {}), TypeError, "axes must be an int or a pair of axes, not dict"),
        (lambda: nm.tensordot(nm.eye(2), nm.eye(2), [0]), ValueError, "tensordot: axes must be an int or a pair, not 1 items"),
        (lambda: nm.allclose(1.0, 1.0, rtol=None), TypeError, "rtol must be a real number, not NoneType"),
        (lambda: nm.diag([1.0], k=None), TypeError, "k must be an int, not NoneType"),
        (lambda: nm.reshape([1.0], [None]), TypeError, "shape must be an int or a sequence of ints, not of NoneType"),
        (lambda: nm.reshape([1.0], "1"), TypeError, "shape must be an int or a sequence of ints, not str"),
        (lambda: nm.zeros({2, 3}), TypeError, "shape must be an int or a sequence of ints, not set"),
        (lambda: nm.zeros(2**60), ValueError, "a tensor has fewer than 2**60 elements, and no axis is longer"),
        (lambda: nm.eye(2**31), ValueError, "a tensor has fewer than 2**60 elements, and no axis is longer"),
        (lambda: nm.moveaxis(nm.eye(2), None, 0), TypeError, "source must be an int or a sequence of ints, not NoneType"),
        (lambda: nm.sum([1.0], 10**5000), IndexError, "axis an int of 16610 bits is out of bounds for a tensor of rank 1"),
        (lambda: nm.ones(2)[10**5000], IndexError, "index beyond 2**63 is out of bounds for axis 0 with size 2"),
        (lambda: nm.array([10**5000]), OverflowError, "too large for a Tensor's numbers: an int of 16610 bits"),
        (lambda: nm.array(10**5000), OverflowError, "too large for a Tensor's numbers: an int of 16610 bits"),
        (lambda: nm.full(2, 10**5000), OverflowError, "fill_value is too large for a float: an int of 16610 bits"),
        (lambda: nm.full(2, 1j, float), TypeError, "fill_value must be a real number, not complex"),
        (lambda: nm.linalg.eigh(nm.eye(2), method=None), TypeError, "method must be a text, not NoneType"),
        (lambda: nm.linalg.svd(nm.eye(2), method="qr"), ValueError, "method is 'divide_and_conquer', 'bidiagonal_qr' or 'jacobi', not 'qr'"),
        (lambda: nm.linalg.lstsq(nm.eye(2), nm.ones(2), "x"), TypeError, "rcond must be a real number, not str"),
        (lambda: nm.concatenate(3), TypeError, "tensors must be a sequence of tensors, not int"),
        (lambda: nm.cpu_quota(own=1), TypeError, "own must be a path, not int"),
        (lambda: nm.cpu_quota(None), TypeError, "root must be a path, not NoneType"),
    ],
)  # fmt: skip
def test_a_bad_argument_is_named(call, kind, message):
    with pytest.raises(kind) as failure:
        call()
    assert (type(failure.value), str(failure.value)) == (kind, message)


def test_a_list_that_holds_itself_is_too_deep():
    endless = []
    endless.append(endless)
    with pytest.raises(ValueError, match=r"^the lists are nested more than 128 deep$"):
        nm.array(endless)


def test_the_quota_is_read_from_paths_of_any_kind(tmp_path):
    own = tmp_path / "self"
    own.write_text("0::/\n")
    (tmp_path / "cpu.max").write_text("200000 100000\n")
    assert _config.cpu_quota(tmp_path, own) == 2


def test_long_values_are_shown_by_their_beginning():
    assert _arguments.shown("x" * 100) == "'" + "x" * 59 + "..."
    assert _arguments.shown([10**5000]) == "a list"
    assert _arguments.shown(2**127) == str(2**127)


@pytest.mark.parametrize("axes", [((),), ([],)])
def test_no_axes_are_no_order_of_a_matrix(axes):
    with pytest.raises(ValueError, match=r"^2 axes are wanted for shape \(2, 3\), not 0$"):
        nm.ones((2, 3)).transpose(*axes)
    assert nm.array(2.0).transpose(*axes).tolist() == 2.0
