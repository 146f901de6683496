"""Tensors among NumPy's arrays: operators, ufuncs, masks, and objects that want to be asked."""

import operator

import numpy as np
import pytest

import numerical as nm
from numerical import _protocols
from oracle import close, equal, integers, normal

IN_PLACE = [
    operator.iadd, operator.isub, operator.imul, operator.itruediv, operator.ipow,
    operator.ifloordiv, operator.imod,
]  # fmt: skip
OPERATORS = [operator.add, operator.sub, operator.mul, operator.truediv, operator.pow]
UFUNCS = [np.add, np.subtract, np.multiply, np.divide, np.power]


def positive(shape, seed):
    return np.abs(normal(shape, seed=seed)) + 0.5


@pytest.mark.parametrize("apply", IN_PLACE)
def test_an_array_is_changed_in_place_by_a_tensor(apply):
    array, other = positive((2, 3), 1), positive(3, 2)
    expected = apply(array.copy(), other)
    same = apply(array, nm.asarray(other))
    assert same is array
    np.testing.assert_array_equal(array, expected)


def test_a_part_of_an_array_is_changed_in_place():
    array = np.zeros((3, 2))
    array[1] += nm.array([1.0, 2.0])
    array[:, 0] *= nm.full(3, 4.0)
    assert array.tolist() == [[0.0, 0.0], [4.0, 2.0], [0.0, 0.0]]


def test_what_an_array_cannot_hold_is_no_new_array():
    array = np.arange(3)
    with pytest.raises(TypeError, match="Cannot cast ufunc 'add' output"):
        array += nm.ones(3)
    real = np.ones(3)
    with pytest.raises(TypeError, match="Cannot cast ufunc 'multiply' output"):
        real *= nm.array([1j, 1, 1])
    assert array.tolist() == [0, 1, 2] and real.tolist() == [1.0] * 3


def test_ufuncs_fill_the_array_given_as_out():
    a, b = positive((2, 3), 1), positive((2, 3), 2)
    t, u = nm.asarray(a), nm.asarray(b)
    mask = np.array([[True, False, True], [False, True, False]])
    for ufunc in UFUNCS:
        filled = np.zeros((2, 3))
        assert ufunc(a, u, out=filled) is filled
        np.testing.assert_array_equal(filled, ufunc(a, b))
        masked = np.full((2, 3), -1.0)
        assert ufunc(t, u, where=mask, out=masked) is masked
        np.testing.assert_array_equal(masked, np.where(mask, ufunc(a, b), -1.0))
    product = np.zeros((2, 2))
    assert np.matmul(t, u.T, out=product) is product
    np.testing.assert_array_equal(product, a @ b.T)
    root = np.zeros((2, 3))
    assert np.sqrt(t, root) is root
    np.testing.assert_array_equal(root, np.sqrt(a))
    fractions, wholes = np.modf(t, out=(np.zeros((2, 3)), None))
    np.testing.assert_array_equal(fractions + wholes, a)


def test_the_methods_of_ufuncs_see_tensors_as_arrays():
    a = integers((3, 4))
    t = nm.asarray(a)
    for reduced, expected in (
        (np.add.reduce(t), np.add.reduce(a)),
        (np.add.reduce(t, axis=1, keepdims=True), np.add.reduce(a, axis=1, keepdims=True)),
        (
            np.maximum.reduce(t, where=a > 0, initial=-1.0),
            np.maximum.reduce(a, where=a > 0, initial=-1.0),
        ),
        (np.multiply.accumulate(t, 1), np.multiply.accumulate(a, 1)),
        (np.add.reduceat(t, [0, 2], 1), np.add.reduceat(a, [0, 2], 1)),
        (np.subtract.outer(t, t[0]), np.subtract.outer(a, a[0])),
        (np.subtract.outer(a, t[0]), np.subtract.outer(a, a[0])),
    ):
        assert not isinstance(reduced, nm.Tensor)
        np.testing.assert_array_equal(reduced, expected)
    total = np.zeros(4)
    assert np.add.reduce(t, 0, out=total) is total
    np.testing.assert_array_equal(total, a.sum(0))
    counts = np.zeros(3)
    np.add.at(counts, [0, 0, 2], nm.array([1.0, 2.0, 3.0]))
    assert counts.tolist() == [3.0, 0.0, 3.0]


def test_a_tensor_is_no_out():
    t = nm.ones(3)
    words = (
        r"^tensors are immutable: numpy\.add can't write its result into one; give an array as out$"
    )
    for call in (
        lambda: np.add(np.ones(3), 1.0, out=t),
        lambda: np.add(t, t, out=t),
        lambda: np.add.reduce(np.ones((3, 3)), out=t),
        lambda: np.add.at(t, [0], 1.0),
    ):
        with pytest.raises(TypeError, match=words):
            call()
    assert t.tolist() == [1.0, 1.0, 1.0]


@pytest.mark.parametrize(("apply", "ufunc"), [*zip(OPERATORS, UFUNCS)])
def test_operators_and_their_ufuncs_give_tensors(apply, ufunc):
    a, b = positive((2, 3), 1), positive(3, 2)
    t, u = nm.asarray(a), nm.asarray(b)
    for result in (
        apply(a, u),
        apply(t, b),
        ufunc(a, u),
        ufunc(t, b),
        ufunc(t, u),
        ufunc(t, [1, 2, 3]),
    ):
        assert isinstance(result, nm.Tensor)
    close(apply(a, u), apply(a, b), 1e-15)
    for number in (2, 2.0, np.float64(2), np.int64(2), np.float32(2), np.array(2)):
        for result, expected in (
            (apply(t, number), apply(a, 2.0)),
            (apply(number, t), apply(2.0, a)),
        ):
            assert isinstance(result, nm.Tensor)
            close(result, expected, 1e-15)


def test_all_other_ufuncs_give_arrays():
    t = nm.array([1.0, 4.0])
    for result in (
        np.sqrt(t),
        np.negative(t),
        np.equal(t, t),
        np.maximum(t, 2.0),
        np.floor_divide(t, t),
    ):
        assert type(result) is np.ndarray
    assert type(np.add(t, t, dtype="float32")) is np.ndarray
    assert np.add(t, t, dtype="float32").dtype == "float32"
    add = np.frompyfunc(operator.add, 2, 1)
    assert type(add(t, t)) is np.ndarray


MASK = [True, False, False]


@pytest.mark.parametrize("apply", [*OPERATORS, operator.matmul])
def test_a_mask_is_never_dropped(apply):
    masked = np.ma.masked_array([2.0, 3.0, 4.0], MASK)
    plain, tensor = np.array([1.0, 2.0, 3.0]), nm.array([1.0, 2.0, 3.0])
    pairs = [(masked, tensor, masked, plain), (tensor, masked, plain, masked)]
    if apply is operator.matmul:
        matrix = np.ma.masked_array([[2.0, 3.0, 4.0]] * 3, [MASK] * 3)
        pairs = [(matrix, tensor, matrix, plain), (tensor, matrix, plain, matrix)]
    for left, right, left_of_numpy, right_of_numpy in pairs:
        result, expected = apply(left, right), apply(left_of_numpy, right_of_numpy)
        assert type(result) is type(expected)
        np.testing.assert_array_equal(np.ma.getmaskarray(result), np.ma.getmaskarray(expected))
        np.testing.assert_array_equal(np.ma.getdata(result), np.ma.getdata(expected))


def test_a_masked_array_keeps_its_mask_in_ufuncs_and_in_place():
    masked = np.ma.masked_array([2.0, 3.0, 4.0], MASK)
    t = nm.array([1.0, 2.0, 3.0])
    for result in (np.add(masked, t), np.add(t, masked), np.ma.add(t, masked)):
        assert isinstance(result, np.ma.MaskedArray)
        assert result.mask.tolist() == MASK
    same = masked
    same += t
    assert same is masked and masked.mask.tolist() == MASK
    assert masked.compressed().tolist() == [5.0, 7.0]


def test_masked_elements_have_no_place_in_a_tensor():
    masked = np.ma.masked_array([2.0, 3.0, 4.0], MASK)
    words = r"^a Tensor has no masked elements: fill them first, as masked\.filled\(0\.0\) does$"
    for call in (
        nm.asarray,
        nm.array,
        nm.sqrt,
        lambda a: nm.multiply(nm.ones(3), a),
        lambda a: nm.array([a]),
    ):
        with pytest.raises(ValueError, match=words):
            call(masked)
    equal(nm.asarray(masked[1:]), [3.0, 4.0])
    equal(nm.asarray(np.ma.masked_array([1.0, 2.0])), [1.0, 2.0])
    equal(nm.asarray(masked.filled(0.0)), [0.0, 3.0, 4.0])


class Asked:
    """Answers every operator with its own name, by the means that a subclass adds."""

    __array_interface__ = np.ones(3).__array_interface__

    def _answer(self, other):
        return "asked"

    __radd__ = __rsub__ = __rmul__ = __rtruediv__ = __rpow__ = __rmatmul__ = _answer


class Above(Asked):
    __array_priority__ = 1000.5


class Below(Asked):
    __array_priority__ = 1000


class Odd(Asked):
    __array_priority__ = "high"


class Refusing(Asked):
    __array_ufunc__ = None


class Unit(np.ndarray):
    """An array that carries more than numbers, and so has its own ufuncs."""

    def __array_ufunc__(self, ufunc, method, *inputs, **options):
        return f"unit of {ufunc.__name__}"


class Plain(np.ndarray):
    pass


@pytest.mark.parametrize("apply", [*OPERATORS, operator.matmul])
def test_others_are_asked_when_they_want_to_be(apply):
    t = nm.ones(3)
    assert apply(t, Above()) == "asked"
    assert apply(t, Refusing()) == "asked"
    for operand in (Below(), Odd(), np.ones(3).view(Plain)):
        assert not isinstance(apply(t, operand), str)
    unit = np.ones(3).view(Unit)
    assert apply(t, unit).startswith("unit of ") and apply(unit, t).startswith("unit of ")


def test_whom_operators_defer_to():
    for other in (
        Above(),
        Refusing(),
        np.ones(2).view(Unit),
        np.ma.masked_array([1.0]),
        np.ma.masked,
    ):
        assert _protocols.defers_to(other)
    for other in (nm.ones(2), 1, 2.0, 1j, True, np.float64(1), np.ones(2), np.ones(2).view(Plain),
                  Below(), Odd(), None, "text", [1.0], object()):  # fmt: skip
        assert not _protocols.defers_to(other)


def test_ufuncs_leave_the_result_to_an_operand_with_its_own():
    t = nm.ones(3)
    unit = np.ones(3).view(Unit)
    assert np.sqrt(unit) == "unit of sqrt"
    assert np.hypot(t, unit) == "unit of hypot"
    assert np.add(t, 1.0, out=unit) == "unit of add"
    with pytest.raises(TypeError):
        np.add(t, Refusing())
