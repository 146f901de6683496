"""Common forms done natively give what the functions in Python give, and share what never changes."""

import copy
import inspect
import math
import pickle
import sys

import numpy as np
import pytest

import numerical as nm
from numerical._native_module import native
from oracle import normal

SHAPES = [(), (0,), (1,), (7,), (3, 4), (4, 1), (0, 3), (2, 3, 4), (1, 2, 1, 3), (2,) * 6]
DTYPES = ("float64", "complex128")


def tensors():
    return [nm.asarray(normal(shape, dtype)) for shape in SHAPES for dtype in DTYPES]


def same(ours, other):
    """The same type, dtype, shape and bits."""
    assert type(ours) is type(other)
    if isinstance(ours, nm.Tensor):
        assert (ours.dtype, ours.shape) == (other.dtype, other.shape)
        assert np.asarray(ours).tobytes() == np.asarray(other).tobytes()
    else:
        assert np.array(ours).tobytes() == np.array(other).tobytes()


def agree(function, *arguments):
    """The call by place, and by keywords, which goes to Python; the same result or the same error."""
    names = list(inspect.signature(function).parameters)
    try:
        by_name = function(**dict(zip(names, arguments)))
    except Exception as failure:
        with pytest.raises(type(failure)) as caught:
            function(*arguments)
        assert str(caught.value) == str(failure)
    else:
        same(function(*arguments), by_name)


@pytest.mark.parametrize("name", ["ravel", "squeeze", "diag", "diagonal", "trace"])
def test_functions_of_one_tensor(name):
    for t in tensors():
        agree(getattr(nm, name), t)
    agree(getattr(nm, name), [[1.0, 2.0], [3.0, 4.0]])


EXTENTS = [12, -1, 0, True, np.int64(12), 2.0, "12", None, (), (3, 4), [4, 3], (2, -1), (-1, -1), (-2, 6),
           (0, -1), (5, -1), (1,) * 9, (2**62, 2**62), (0, 2**61), (2**64,), (3.0, 4), (np.int32(3), 4)]  # fmt: skip


@pytest.mark.parametrize("shape", EXTENTS, ids=repr)
def test_reshape_of_every_kind_of_shape(shape):
    for t in (nm.arange(12), nm.zeros((3, 4)), nm.zeros(0), nm.zeros((0, 5)), [1.0] * 12):
        agree(nm.reshape, t, shape)


def test_reshape_as_a_method_takes_extents_one_by_one():
    t = nm.arange(24)
    for shape in [(24,), (2, 12), (2, -1, 4), (1,) * 7 + (24,), (2, 3, 4, 1, 1, 1, 1, 1, 1)]:
        same(t.reshape(*shape), nm.reshape(t, shape))
        same(t.reshape(shape), nm.reshape(t, shape))
    with pytest.raises(
        ValueError, match=r"^cannot reshape a tensor of size 24 into shape \(5, 5\)$"
    ):
        t.reshape(5, 5)
    with pytest.raises(ValueError, match="reads in row-major order"):
        t.reshape(2, 12, order="F")


@pytest.mark.parametrize("place", [0, 1, -1, 2, -3, 5, -6, True, 1.0, None, (0, 2)], ids=repr)
def test_expand_dims_at_every_place(place):
    for t in tensors():
        agree(nm.expand_dims, t, place)


@pytest.mark.parametrize("name", ["zeros", "ones"])
@pytest.mark.parametrize("shape", [0, 3, -1, True, (), (2, 3), [2, 0], (2, -1), 3.0, "3", 2**60, (2**30, 2**30),
                                   (2**11, 2**10), (2**64,), np.int8(3)], ids=repr)  # fmt: skip
def test_fills_of_every_kind_of_shape(name, shape):
    agree(getattr(nm, name), shape)


@pytest.mark.parametrize("n", [0, 1, 5, -1, 1024, 1025, True, 2.0, "2"], ids=repr)
def test_identities_of_every_kind_of_order(n):
    agree(nm.eye, n)


@pytest.mark.parametrize("numbers", [(3,), (0,), (-2,), (2.5,), (1, 4), (4, 1), (0, 1, 0.1), (0.1, 0.35, 0.05),
                                     (5, 1, -2), (1, 5, 0), (0, 1, math.inf), (0, math.nan), (-math.inf, 0), (True,),
                                     (10**400,), ("3",), (np.float64(3),), (np.int8(3),), (2**20,), (2**20 - 1,), (2**60,),
                                     (0, None), (1, 4, None), (0, 3, 1, "complex128"), ()], ids=repr)  # fmt: skip
def test_sequences_of_every_kind_of_numbers(numbers):
    agree(nm.arange, *numbers)


@pytest.mark.parametrize("k", [0, 1, -1, 3, -3, 4, 2**40, -(2**40), True, 1.0], ids=repr)
def test_diagonals_at_every_offset(k):
    for t in (nm.arange(3), nm.asarray(normal((3, 4))), nm.asarray(normal((4, 3), "complex128"))):
        agree(nm.diag, t, k)


@pytest.mark.parametrize("name", ["vstack", "hstack", "column_stack"])
def test_joins_of_every_kind_of_parts(name):
    v, w, z = nm.arange(3), nm.arange(4), nm.asarray(normal(3, "complex128"))
    a, c = nm.asarray(normal((3, 3))), nm.asarray(normal((2, 3, 3)))
    for parts in ([v, v], (v, z), [v, w], [a, a], [a, v], [c, c], [a, c], [nm.sum(a[:1], 0)], [], [v], v, a,
                  [[1.0], [2.0]], iter([v, v]), [nm.reshape(v[:1], ()), v]):  # fmt: skip
        if hasattr(parts, "__next__"):
            same(getattr(nm, name)(parts), getattr(nm, name)([v, v]))
        else:
            agree(getattr(nm, name), parts)


@pytest.mark.parametrize("name", ["dot", "outer", "kron"])
def test_products_of_all_pairs(name):
    for a in tensors():
        for b in tensors():
            agree(getattr(nm, name), a, b)
    agree(getattr(nm, name), [1.0, 2.0], 3.0)


def test_chains_of_every_kind():
    sizes = [7, 2, 9, 1, 8, 3, 5]
    chain = [nm.asarray(normal(pair, seed=i)) for i, pair in enumerate(zip(sizes, sizes[1:]))]
    vector, mixed = nm.asarray(normal(7)), nm.asarray(normal((5, 4), "complex128"))
    for tensors_given in (chain, tuple(chain), chain[:1], [], [vector, *chain], [*chain, mixed], chain[::-1],
                          [chain[0], nm.zeros((2, 0)), nm.zeros((0, 3))], 3.0):  # fmt: skip
        agree(nm.linalg.multi_dot, tensors_given)


def test_methods_are_the_functions():
    for t in tensors():
        same(t.ravel(), nm.ravel(t))
        same(t.flatten(), nm.ravel(t))
        same(t.squeeze(), nm.squeeze(t))
        same(t.copy(), t)
    a = nm.asarray(normal((3, 4)))
    same(a.diagonal(), nm.diagonal(a))
    same(a.diagonal(1), nm.diagonal(a, 1))
    same(a.trace(), nm.trace(a))
    same(a.dot(a.T), a @ a.T)
    same(a[:1].squeeze(0), a[0])


def test_signatures_and_documentation_are_those_of_the_functions_in_python():
    assert str(inspect.signature(nm.zeros)) == "(shape, dtype='float64', *, device=None)"
    assert nm.zeros.__doc__.startswith("A tensor of zeros.\n\n    Parameters")
    assert str(inspect.signature(nm.Tensor.reshape)) == "(self, /, *shape, order='C')"
    assert pickle.loads(pickle.dumps(nm.kron)) is nm.kron
    with pytest.raises(ValueError, match="^no common forms of agree$"):
        native.shortcut(agree)
    with pytest.raises(ValueError, match="^no common forms of agree$"):
        native.method_shortcut(agree)


# --- sharing -------------------------------------------------------------------------------------
def address(t):
    return np.asarray(t).__array_interface__["data"][0]


@pytest.mark.parametrize("dtype", DTYPES)
def test_the_same_elements_in_the_same_order_are_shared(dtype):
    t = nm.asarray(normal((40, 50), dtype))
    for other in (
        t.reshape(50, 40),
        nm.ravel(t),
        t[None],
        t.copy(),
        nm.expand_dims(t, 1),
        nm.squeeze(t),
        t[:],
        t[...],
    ):
        assert address(other) == address(t)


def test_large_stretches_are_shared_and_small_ones_do_not_hold_the_rest():
    t = nm.asarray(normal((40, 50)))
    assert address(t[10:]) == address(t) + 10 * 50 * 8
    assert address(t[21:]) != address(t) + 21 * 50 * 8
    assert address(t[3]) != address(t) + 3 * 50 * 8
    half = t[20:]
    assert address(half[10:]) != address(half) + 10 * 50 * 8  # a quarter of what is held
    assert address(nm.ravel(half)) == address(half)


def test_shared_elements_outlive_the_tensor_they_were_made_with():
    source = normal((40, 50))
    t = nm.asarray(source)
    parts = [t.reshape(-1), t[10:], t[None]]
    array = np.asarray(parts[1])
    del t
    np.testing.assert_array_equal(np.asarray(parts[0]), source.ravel())
    del parts
    np.testing.assert_array_equal(array, source[10:])


def test_copies_that_may_be_written_to_are_apart():
    t = nm.asarray(normal((4, 5)))
    for other in (
        nm.asarray(t, copy=True),
        nm.from_dlpack(t),
        np.array(t),
        np.from_dlpack(t.copy()).copy(),
    ):
        assert not np.shares_memory(np.asarray(other), np.asarray(t))
    capsule_of_copy = t.__dlpack__()  # a consumer that knows no read-only mark
    assert "dltensor" in repr(capsule_of_copy)
    assert copy.copy(t) is t
    assert np.asarray(pickle.loads(pickle.dumps(t[1:]))).tobytes() == np.asarray(t)[1:].tobytes()


@pytest.mark.parametrize("key", [
    0, -1, slice(1, 3), slice(0, 0), slice(None), None, ..., (1, slice(1, 2)), (slice(1, 2), slice(1, 3)),
    (slice(0, 1), slice(0, 2)), (slice(None), 1), (1, slice(None), 0), (slice(2, 3), 0), (slice(3, 0, -1),),
    (slice(3, 4, 5), slice(0, 2)), (None, 1, slice(1, 3)), (slice(0, 2), None), (slice(1, 1), slice(0, 3)),
], ids=repr)  # fmt: skip
@pytest.mark.parametrize("shape", [(4, 5, 3), (4, 1, 3), (4, 5, 1), (4, 300, 3)])
def test_stretches_are_numpys(shape, key):
    if shape[1] == 1 and isinstance(key, tuple) and 1 in key[1:]:
        pytest.skip("there is no second place")
    for dtype in DTYPES:
        a = normal(shape, dtype)
        np.testing.assert_array_equal(np.asarray(nm.asarray(a)[key]), a[key])


def test_sizes_are_of_the_own_elements():
    t = nm.asarray(normal((40, 50)))
    assert sys.getsizeof(t[10:]) - sys.getsizeof(nm.zeros(0)) == 30 * 50 * 8
    assert t[10:].nbytes == 30 * 50 * 8


def test_calls_leave_no_objects_behind():
    t, v, a = nm.asarray(normal((6, 4))), nm.arange(3), nm.eye(3)

    def calls():
        t.reshape(4, 6), nm.reshape(t, (-1, 2)), t.ravel(), t.copy(), nm.squeeze(t), nm.expand_dims(
            t, 0
        )
        nm.zeros((2, 2)), nm.eye(3), nm.diag(v), nm.diag(a, 1), nm.trace(a), nm.vstack(
            [v, v]
        ), nm.hstack((v, v))
        nm.dot(a, v), nm.outer(v, v), nm.kron(a, a), nm.linalg.multi_dot([a, a, a]), t[1:], t[2], t[
            None
        ]
        nm.reshape(t, shape=(4, 6)), nm.zeros(2, dtype="complex128"), t.reshape([4, 6], order="C")
        for wrong in (
            (nm.reshape, t, 5),
            (nm.zeros, -1),
            (nm.kron, "a", t),
            (nm.linalg.multi_dot, [a]),
        ):
            with pytest.raises((ValueError, TypeError)):
                wrong[0](*wrong[1:])

    for _ in range(20):
        calls()
    before = sys.getallocatedblocks()
    for _ in range(50):
        calls()
    assert sys.getallocatedblocks() - before < 40
