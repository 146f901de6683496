"""Beside its own words an error has a sentence on what was given and what to write instead."""

import sys

import numpy as np
import pytest

import numerical as nm
from numerical import _hints

LA = nm.linalg
TENSOR = (
    "Tensor takes a flat sequence of numbers, their shape and 'float64' or 'complex128';"
    " numerical.array takes nested lists, arrays and buffers"
)
CASES = [
    (lambda: nm.einsum("ij,jk->ik", nm.ones((2, 3)), nm.ones((4, 2))),
     nm.error, "einsum: inconsistent extent for a repeated label",
     "'j' is 3 in operand 0 of shape (2, 3) and 4 in operand 1 of shape (4, 2)"),
    (lambda: nm.einsum("ij,jk", [[1.0, 2.0]], nm.ones((3, 2))),
     nm.error, "einsum: inconsistent extent for a repeated label",
     "'j' is 2 in operand 0 of shape (1, 2) and 3 in operand 1 of shape (3, 2)"),
    (lambda: nm.einsum("ii->", nm.ones((2, 3))),
     nm.error, "einsum: inconsistent extent for a repeated label",
     "'i' is 2 in operand 0 of shape (2, 3) and 3 in itself"),
    (lambda: nm.einsum("...ij,...jk->...ik", nm.ones((5, 2, 3)), nm.ones((5, 4, 2))),
     nm.error, "einsum: inconsistent extent for a repeated label",
     "'j' is 3 in operand 0 of shape (5, 2, 3) and 4 in operand 1 of shape (5, 4, 2)"),
    (lambda: nm.einsum("...j,...j->...", nm.ones((2, 3)), nm.ones((4, 3))),
     nm.error, "einsum: inconsistent extent for a repeated label",
     "the axes of '...' must broadcast; the operands have shapes (2, 3) and (4, 3)"),
    (lambda: nm.einsum("ij,jk->ik", nm.ones((2, 3))),
     nm.error, "einsum: number of operands does not match the spec",
     "the subscripts 'ij,jk' are for 2 operands, and 1 are given"),
    (lambda: nm.einsum("i,jk->k", nm.ones((2, 3)), nm.ones((3, 2))),
     nm.error, "einsum: operand rank does not match its subscripts",
     "the subscripts 'i' name 1 axes, operand 0 of shape (2, 3) has 2"),
    (lambda: nm.einsum("ij,jk->il", nm.ones((2, 3)), nm.ones((3, 2))),
     nm.error, "einsum: output label not present in any input",
     "'l' of the output 'il' is no label of an operand"),
    (lambda: nm.zeros(2.0), TypeError, "shape must be an int or a sequence of ints, not float",
     "write 2 for 2.0, or int(...) around it"),
    (lambda: nm.ones((2, 3.0)), TypeError, "shape must be an int or a sequence of ints, not of float",
     "write 3 for 3.0, or int(...) around it"),
    (lambda: nm.eye(4.0), TypeError, "n must be an int, not float", "write 4 for 4.0, or int(...) around it"),
    (lambda: nm.Tensor([[1.0, 2.0]]), nm.error, "Tensor: could not read the data buffer", TENSOR),
    (lambda: nm.Tensor([1.0], (1,), "float32"), nm.error, "dtype must be 'float64' or 'complex128'", TENSOR),
    (lambda: LA.eigh(nm.eye(2), method="qr"), ValueError,
     "method is 'divide_and_conquer', 'tridiagonal_ql' or 'jacobi', not 'qr'",
     'method="tridiagonal_ql" iterates as QR does, from the other end'),
    (lambda: LA.lstsq(nm.eye(2), nm.ones(2), rcond="warn"), TypeError,
     "rcond must be a real number, not str",
     "rcond=None, the default, means max(M, N)·2^-52, and -1 means 2^-52"),
    (lambda: nm.asarray(np.array(["a"])), nm.error,
     "asarray: unsupported typestr (bool, integers, float32/64 and complex64/128 are read)",
     "the array has dtype <U1: make it one of these first, as array.astype(float) does"),
]  # fmt: skip


@pytest.mark.parametrize(("call", "kind", "message", "hint"), CASES)
def test_an_error_says_what_to_do(call, kind, message, hint):
    with pytest.raises(kind) as caught:
        call()
    assert str(caught.value) == message
    assert caught.value.hint == hint
    if sys.version_info >= (3, 11):
        assert caught.value.__notes__ == [hint]


@pytest.mark.parametrize("value", [2.5, float("nan"), float("inf"), 1e300, "2", None])
def test_what_is_no_int_in_disguise_has_no_hint(value):
    with pytest.raises(TypeError) as caught:
        nm.eye(value)
    assert not hasattr(caught.value, "hint")


def test_failures_of_decompositions_have_hints_too():
    with pytest.raises(nm.error) as caught:
        LA.solve(nm.ones((2, 2)), nm.ones(2))
    assert caught.value.hint.startswith(
        "given float64 of shape (2, 2), float64 of shape (2,); the matrix has no inverse"
    )


def test_exceptions_without_notes_have_hints_alone():
    class Old(Exception):
        add_note = property()  # as if Python lacked it

    failure = _hints.add_hint(Old("message"), "what to do")
    assert failure.hint == "what to do" and not hasattr(failure, "__notes__")


def test_types_are_named_as_programs_write_them():
    for dtype, name in (
        (np.float32, "numpy.float32"), (int, "int"), ("f4", "'f4'"), (np.dtype("f4"), "dtype('float32')"),
    ):  # fmt: skip
        with pytest.raises(TypeError) as caught:
            nm.zeros(2, dtype=dtype)
        assert str(caught.value) == f"dtype must be 'float64' or 'complex128', not {name}"
