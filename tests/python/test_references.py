"""No call keeps or loses a reference or memory, whether it succeeds or fails.

Each case is called 5,000 times. The counts of the operands and of the objects that every call
touches must come out as they were, as must the numbers of the interpreter's blocks and of the
C library's bytes in use, but for what other things do in the meantime.
"""

import gc
import sys

import _numerical as m
import pytest
from support import ADDRESS_SANITIZER, bytes_in_use

pytestmark = pytest.mark.boundary

CALLS = 1_000 if ADDRESS_SANITIZER else 5_000
DRIFT = 200  # far below one a call
BYTE_DRIFT = 40_000  # eight bytes a call; the least block takes 32

V = m.Tensor([3.0, 1.0])
A = m.Tensor([2.0, 1.0, 1.0, 3.0], (2, 2))
C = m.Tensor([2.0, 1.0, 1.0, 3.0], (2, 2), "complex128")
SINGULAR = m.Tensor([1.0, 1.0, 1.0, 1.0], (2, 2))
INFINITE = m.Tensor([float("inf"), 0.0, 0.0, 1.0], (2, 2))
EMPTY = m.Tensor.__new__(m.Tensor)
NUMBERS = [3.0, 1.0]
TEXT = "divide_and_conquer"


class Interface:
    def __init__(self, **changes):
        self.__array_interface__ = {**A.__array_interface__, **changes}


class Failing:
    def __len__(self):
        return 2

    def __getitem__(self, index):
        raise ZeroDivisionError


NATIVE = Interface()
STRIDED = Interface(strides=(8, 16))
SWAPPED = Interface(typestr=">f8")
NULL = Interface(data=(0, True))
REFUSED = Interface(typestr="<f2")
NEGATIVE = Interface(shape=(2, -1))
FAILING = Interface(shape=Failing())
FAILING_STRIDES = Interface(strides=Failing())
WRONG_STRIDES = Interface(strides=(8, "8"))
ADDRESS = Interface(data=("0", True))
OVERFLOW = Interface(shape=(2**62,))
MALFORMED = Interface(data=None)

# Function and arguments.
SUCCEEDING = {
    "Tensor": (m.Tensor, NUMBERS),
    "Tensor with all arguments": (m.Tensor, NUMBERS, (2, 1), "complex128"),
    "Tensor from tuple": (m.Tensor, (1, 2)),
    "_set_num_threads": (m._set_num_threads, 0),
    "get_num_threads": (m.get_num_threads,),
    "_limit_gemm_path": (m._limit_gemm_path, 3),
    "_gemm_path": (m._gemm_path,),
    "_amx_probed": (m._amx_probed,),
    "solve": (m.solve, A, V),
    "inverse": (m.inverse, C),
    "lstsq": (m.lstsq, A, V),
    "cholesky": (m.cholesky, A),
    "qr": (m.qr, A),
    "eigh": (m.eigh, A, TEXT),
    "matrix_rank": (m.matrix_rank, A),
    "pinv": (m.pinv, A),
    "svd": (m.svd, A, TEXT),
    "determinant": (m.determinant, A),
    "determinant of complex": (m.determinant, C),
    "slogdet": (m.slogdet, A),
    "slogdet of complex": (m.slogdet, C),
    "einsum": (m.einsum, "ij,jk->ik", A, A),
    "asarray of itself": (m.asarray, A),
    "asarray widening": (m.asarray, A, "complex128"),
    "asarray of int": (m.asarray, 7),
    "asarray of complex": (m.asarray, 1j),
    "asarray of interface": (m.asarray, NATIVE),
    "asarray of strided": (m.asarray, STRIDED),
    "asarray of swapped": (m.asarray, SWAPPED),
    "shape": (getattr, A, "shape"),
    "ndim": (getattr, A, "ndim"),
    "size": (getattr, A, "size"),
    "dtype": (getattr, A, "dtype"),
    "__array_interface__": (getattr, A, "__array_interface__"),
    "tolist": (A.tolist,),
    "tolist of complex": (C.tolist,),
    "__dlpack__": (A.__dlpack__, None),
    "__dlpack_device__": (A.__dlpack_device__,),
}

FAILING_CALLS = {
    "Tensor of nothing": (m.Tensor,),
    "Tensor of number": (m.Tensor, 5.0),
    "Tensor of text": (m.Tensor, ["x"]),
    "Tensor of complex text": (m.Tensor, ["x"], None, "complex128"),
    "Tensor of failing": (m.Tensor, Failing()),
    "Tensor of wrong shape": (m.Tensor, NUMBERS, (3,)),
    "Tensor of negative shape": (m.Tensor, NUMBERS, (-1,)),
    "Tensor of failing shape": (m.Tensor, NUMBERS, Failing()),
    "Tensor of huge shape": (m.Tensor, NUMBERS, (2**40, 2**40)),
    "Tensor of wrong dtype": (m.Tensor, NUMBERS, None, "float32"),
    "Tensor of dtype that is no text": (m.Tensor, NUMBERS, None, 3),
    "Tensor.__init__ again": (A.__init__, NUMBERS),
    "Tensor.tolist uninitialized": (EMPTY.tolist,),
    "Tensor.shape uninitialized": (getattr, EMPTY, "shape"),
    "Tensor.__dlpack__ uninitialized": (EMPTY.__dlpack__,),
    "int of text": (m._limit_gemm_path, TEXT),
    "int out of range": (m._limit_gemm_path, 2**40),
    "int out of any range": (m._set_num_threads, 2**80),
    "negative count": (m._set_num_threads, -1),
    "argument count": (m.solve, A),
    "solve of number": (m.solve, A, 2),
    "solve of singular": (m.solve, SINGULAR, V),
    "solve of mixed": (m.solve, A, C),
    "inverse of vector": (m.inverse, V),
    "inverse of singular": (m.inverse, SINGULAR),
    "inverse of uninitialized": (m.inverse, EMPTY),
    "lstsq of vector": (m.lstsq, V, V),
    "cholesky of indefinite": (m.cholesky, m._negate(A)),
    "qr of vector": (m.qr, V),
    "qr of infinite": (m.qr, INFINITE),
    "eigh by unknown": (m.eigh, A, "unknown"),
    "eigh by number": (m.eigh, A, 3),
    "matrix_rank of infinite": (m.matrix_rank, INFINITE),
    "pinv of vector": (m.pinv, V),
    "svd by unknown": (m.svd, A, "unknown"),
    "determinant of vector": (m.determinant, V),
    "determinant of number": (m.determinant, 2),
    "slogdet of vector": (m.slogdet, V),
    "einsum of nothing": (m.einsum,),
    "einsum of wrong spec": (m.einsum, "ij->", V),
    "einsum of number": (m.einsum, "i->", 1),
    "asarray of nothing": (m.asarray,),
    "asarray of list": (m.asarray, NUMBERS),
    "asarray of huge int": (m.asarray, 10**400),
    "asarray narrowing tensor": (m.asarray, C, "float64"),
    "asarray narrowing number": (m.asarray, 1j, "float64"),
    "asarray of wrong dtype": (m.asarray, A, "float32"),
    "asarray of uninitialized": (m.asarray, EMPTY),
    "asarray of null": (m.asarray, NULL),
    "asarray of refused": (m.asarray, REFUSED),
    "asarray of negative": (m.asarray, NEGATIVE),
    "asarray of failing": (m.asarray, FAILING),
    "asarray of failing strides": (m.asarray, FAILING_STRIDES),
    "asarray of wrong strides": (m.asarray, WRONG_STRIDES),
    "asarray of wrong address": (m.asarray, ADDRESS),
    "asarray of overflow": (m.asarray, OVERFLOW),
    "asarray of malformed": (m.asarray, MALFORMED),
}


def counts(watched):
    gc.collect()
    return [sys.getrefcount(thing) for thing in watched], sys.getallocatedblocks(), bytes_in_use()


def call_often(function, arguments, calls):
    for _ in range(calls):
        function(*arguments)


def fail_often(function, arguments, calls):
    for _ in range(calls):
        try:
            function(*arguments)
        except Exception:
            pass
        else:
            raise AssertionError("no exception")


def assert_balanced(often, function, arguments):
    watched = [None, True, False, m.Tensor, m.error, function, *arguments]
    watched += [
        item
        for thing in arguments
        if isinstance(thing, Interface)
        for item in (thing.__array_interface__, *thing.__array_interface__.values())
    ]
    often(function, arguments, CALLS // 100)  # what is made once is made here
    references, blocks, used = counts(watched)
    often(function, arguments, CALLS)
    references_after, blocks_after, used_after = counts(watched)
    drifts = [after - before for before, after in zip(references, references_after)]
    assert max(map(abs, drifts)) < DRIFT, list(zip(watched, drifts))
    assert abs(blocks_after - blocks) < DRIFT
    assert abs(used_after - used) < BYTE_DRIFT


@pytest.mark.parametrize("name", SUCCEEDING)
def test_success_keeps_no_references(name):
    function, *arguments = SUCCEEDING[name]
    assert_balanced(call_often, function, arguments)


@pytest.mark.parametrize("name", FAILING_CALLS)
def test_failure_keeps_no_references(name):
    function, *arguments = FAILING_CALLS[name]
    assert_balanced(fail_often, function, arguments)
