"""Shapes, element-wise functions, reductions, products and einsum against NumPy."""

import itertools

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import numerical as nm
from numerical import _products
from oracle import arrays, close, equal, integers, normal


# --- shapes --------------------------------------------------------------------------------------
@settings(max_examples=200)
@given(arrays(min_rank=1), st.data())
def test_moves_and_flips_are_numpys(a, data):
    axis = data.draw(st.integers(-a.ndim, a.ndim - 1))
    other = data.draw(st.integers(-a.ndim, a.ndim - 1))
    order = data.draw(st.permutations(range(a.ndim)))
    t = nm.asarray(a)
    equal(nm.moveaxis(t, axis, other), np.moveaxis(a, axis, other))
    equal(nm.swapaxes(t, axis, other), np.swapaxes(a, axis, other))
    equal(nm.permute_dims(t, order), np.transpose(a, order))
    equal(nm.flip(t, axis), np.flip(a, axis))
    equal(nm.flip(t), np.flip(a))
    equal(nm.expand_dims(t, axis), np.expand_dims(a, axis))
    equal(nm.ravel(t), np.ravel(a))
    equal(nm.concatenate([t, t], axis), np.concatenate([a, a], axis))
    equal(nm.stack([t, t, t], axis), np.stack([a, a, a], axis))
    equal(nm.repeat(t, 3, axis), np.repeat(a, 3, axis))
    equal(nm.tile(t, (2, 1, 3)), np.tile(a, (2, 1, 3)))


def test_reshape_infers_one_extent():
    a = integers((2, 6))
    equal(nm.reshape(a, (-1, 3)), a.reshape(-1, 3))
    equal(nm.reshape(a, -1), a.reshape(-1))
    equal(nm.squeeze(nm.reshape(a, (2, 1, 6, 1))), a)
    equal(nm.squeeze(nm.reshape(a, (2, 1, 6, 1)), 1), a.reshape(2, 6, 1))
    equal(nm.broadcast_to(a, (3, 2, 6)), np.broadcast_to(a, (3, 2, 6)))
    equal(nm.concatenate([a, a], None), np.concatenate([a, a], None))
    equal(nm.concatenate([a, 1j * a]), np.concatenate([a, 1j * a]))
    equal(nm.concatenate([a]), a)
    equal(nm.stack([a]), a[None])


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_large_blocks_are_joined_and_repeated_as_numpys(dtype):
    row = np.arange(701.0).astype(dtype) * (1 + 2j if dtype == "complex128" else 1)
    for shape in [(800, 701), (3, 300, 701)]:
        equal(nm.broadcast_to(row, shape), np.broadcast_to(row, shape))
        equal(nm.broadcast_to(row[:, None], (701, 800)), np.broadcast_to(row[:, None], (701, 800)))
    large = np.broadcast_to(row, (801, 701)).copy()
    t = nm.asarray(large)
    equal(nm.concatenate([t[1:], t]), np.concatenate([large[1:], large]))
    equal(nm.concatenate([t[:, 1:], t], axis=1), np.concatenate([large[:, 1:], large], axis=1))
    equal(nm.stack([t, t]), np.stack([large, large]))
    equal(nm.tile(t, (2, 1)), np.tile(large, (2, 1)))


@pytest.mark.parametrize(
    ("call", "message"),
    [
        (lambda a: nm.reshape(a, (5, -1)), "cannot reshape a tensor of size 6 into shape (5, -1)"),
        (lambda a: nm.reshape(a, (5,)), "cannot reshape a tensor of size 6 into shape (5,)"),
        (lambda a: nm.reshape(a, (-1, -1)), "only one extent of (-1, -1) may be -1"),
        (lambda a: nm.squeeze(a, 0), "cannot squeeze axis 0 of shape (2, 3): its extent isn't 1"),
        (lambda a: nm.broadcast_to(a, (2, 4)), "shape (2, 3) cannot be broadcast to shape (2, 4)"),
        (lambda a: nm.permute_dims(a, (0, 0)), "an axis is named twice in (0, 0)"),
        (lambda a: nm.concatenate([]), "concatenate needs at least one tensor"),
        (lambda a: nm.concatenate([a, a.T]), "shapes (2, 3) and (3, 2) differ beside axis 0"),
        (lambda a: nm.stack([a, a.T]), "stack takes tensors of one shape, not (2, 3) and (3, 2)"),
        (lambda a: a @ a, "matmul: inner extents differ, 3 of (2, 3) and 2 of (2, 3)"),
        (lambda a: nm.matmul(a, 2.0), "matmul takes no tensor of rank 0; use * instead"),
    ],
)
def test_shapes_that_do_not_fit_are_value_errors(call, message):
    with pytest.raises(ValueError) as failure:
        call(nm.ones((2, 3)))
    assert str(failure.value) == message


def test_an_axis_out_of_bounds_is_an_index_error():
    with pytest.raises(IndexError, match=r"^axis 2 is out of bounds for a tensor of rank 2$"):
        nm.sum(nm.ones((2, 3)), axis=2)
    with pytest.raises(
        TypeError, match=r"^axis must be an int or a sequence of ints, not of float$"
    ):
        nm.sum(nm.ones((2, 3)), axis=(1.0,))


# --- element by element --------------------------------------------------------------------------
@pytest.mark.parametrize("dtype", ["float64", "complex128"])
@pytest.mark.parametrize("name", ["exp", "sqrt", "sin", "cos", "tan", "tanh", "log", "abs", "square", "real", "imag", "conj"])  # fmt: skip
def test_functions_are_numpys(name, dtype):
    a = np.abs(normal((3, 4))) + (0 if dtype == "float64" else 1j * normal((3, 4), seed=1))
    close(getattr(nm, name)(nm.asarray(a)), getattr(np, name)(a), 1e-14)


@pytest.mark.parametrize("name", ["add", "subtract", "multiply", "divide", "power"])
def test_named_operators_broadcast_lists(name):
    close(
        getattr(nm, name)([[1.0], [2.0]], [3.0, 4.0]), getattr(np, name)([[1.0], [2.0]], [3.0, 4.0])
    )


# --- reductions ----------------------------------------------------------------------------------
@settings(max_examples=150)
@given(arrays(min_rank=1, extents=st.sampled_from([1, 2, 3, 9])), st.data())
def test_reductions_over_any_axes_are_numpys(a, data):
    axes = data.draw(
        st.none() | st.lists(st.integers(0, a.ndim - 1), unique=True, max_size=3).map(tuple)
    )
    keep = data.draw(st.booleans())
    t = nm.asarray(a)
    equal(nm.sum(t, axes, keepdims=keep), np.sum(a, axes, keepdims=keep))
    close(nm.mean(t, axes, keepdims=keep), np.mean(a, axes, keepdims=keep))
    close(nm.var(t, axes, keepdims=keep), np.var(a, axes, keepdims=keep))
    close(nm.std(t, axes, keepdims=keep), np.std(a, axes, keepdims=keep))
    if a.dtype == "float64":
        equal(nm.max(t, axes, keepdims=keep), np.max(a, axes, keepdims=keep))
        equal(nm.min(t, axes, keepdims=keep), np.min(a, axes, keepdims=keep))


@pytest.mark.parametrize("name", ["sum", "mean", "max", "min", "var", "std"])
def test_reductions_drop_their_axes_unless_told(name):
    a = integers((3, 4))
    close(getattr(nm, name)(a), getattr(np, name)(a))
    close(getattr(nm, name)(a, 1), getattr(np, name)(a, 1))


def test_variance_corrects_for_the_mean():
    a = normal((4, 5))
    close(nm.var(a, 0, correction=1), np.var(a, 0, ddof=1))
    assert np.isnan(nm.var([1.0], correction=1))


def test_comparisons_of_whole_tensors():
    a = nm.array([1.0, 2.0])
    assert nm.array_equal(a, [1, 2])
    assert not nm.array_equal(a, [1, 2, 3])
    assert not nm.array_equal([float("nan")], [float("nan")])
    assert nm.allclose(a, [1.0 + 1e-9, 2.0])
    assert not nm.allclose(a, [1.1, 2.0])
    assert nm.allclose([float("inf")], [float("inf")])
    assert not nm.allclose([float("inf")], [1.0])
    assert not nm.allclose([float("nan")], [float("nan")])
    assert nm.allclose([float("nan")], [float("nan")], equal_nan=True)
    assert nm.allclose(nm.ones((2, 1)), nm.ones(3))


def test_complex_numbers_of_any_size_are_compared():
    parts = [0.0, 1.0, 1e308, -1e308, float("inf"), float("nan")]
    numbers = [complex(x, y) for x in parts for y in parts]
    for x, y in itertools.product(numbers, repeat=2):
        expected = x == y or (np.isfinite([x, y]).all() and np.allclose(x, y))
        assert nm.allclose([x], [y]) == expected, (x, y)
        both_nan = x != x and y != y
        assert nm.allclose([x], [y], equal_nan=True) == (expected or both_nan), (x, y)


# --- products ------------------------------------------------------------------------------------
def test_products_are_numpys():
    a, b = integers((3, 4), "complex128", 1), integers((3, 4), "float64", 2)
    c = integers((4, 3, 2), "float64", 3)
    equal(nm.dot(a, b.T), np.dot(a, b.T))
    equal(nm.dot(a, 2.0), a * 2.0)
    equal(
        nm.dot(b, c.transpose(0, 2, 1).reshape(2, 4, 3)),
        np.dot(b, c.transpose(0, 2, 1).reshape(2, 4, 3)),
    )
    equal(nm.vdot(a, b), np.vdot(a, b))
    equal(nm.inner(a, b), np.inner(a, b))
    equal(nm.inner(a[0], b[0]), np.inner(a[0], b[0]))
    equal(nm.outer(a, b), np.outer(a, b))
    equal(nm.kron(a, b), np.kron(a, b))
    equal(nm.kron(a[0], c), np.kron(a[0], c))
    equal(nm.tensordot(b, c, ((0, 1), (1, 0))), np.tensordot(b, c, ((0, 1), (1, 0))))
    equal(nm.tensordot(b, c, 1), np.tensordot(b, c, 1))
    equal(nm.multi_dot([b[0], b.T, b, b[0]]), np.linalg.multi_dot([b[0], b.T, b, b[0]]))
    equal(nm.trace(c), np.trace(c, 0, 1, 2))
    for offset in (-2, 0, 1, 7):
        equal(nm.trace(c, offset), np.trace(c, offset, 1, 2))
    equal(nm.matrix_power(a[:, :3], 5), np.linalg.matrix_power(a[:, :3], 5))
    equal(nm.matrix_power(a[:, :3], 0), np.eye(3, dtype=complex))
    stack = integers((2, 1, 3, 3), "complex128")
    for n in (0, 1, 3):
        equal(nm.matrix_power(stack, n), np.linalg.matrix_power(stack, n))
    with pytest.raises(
        ValueError, match=r"^matrix_power takes square matrices, not shape \(2, 3\)$"
    ):
        nm.matrix_power(nm.ones((2, 3)), 2)
    with pytest.raises(TypeError, match=r"^n must be an int, not float$"):
        nm.matrix_power(a[:, :3], 0.5)


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
def test_products_without_a_sum_keep_the_sign_of_zero(dtype):
    a, b = np.array([0.0, -0.0, 2.0], dtype), np.array([-1.0, 3.0, -0.0], dtype)
    expected = np.multiply.outer(a, b)
    for product in (
        nm.outer(a, b),
        nm.linalg.outer(a, b),
        nm.tensordot(a, b, 0),
        nm.kron(a[:, None], b),
    ):
        found = np.asarray(product)
        assert found.tobytes() == expected.tobytes()
    equal(nm.outer([], [1.0, 2.0]), np.zeros((0, 2)))


def test_a_chain_is_multiplied_in_the_cheapest_order():
    generator = np.random.default_rng(5)
    for _ in range(50):
        sizes = generator.integers(1, 9, 6).tolist()

        def cost(i, j):
            """Multiply-adds of matrices i to j in the best order, by trying all."""
            return min(
                (
                    cost(i, k) + cost(k + 1, j) + sizes[i] * sizes[k + 1] * sizes[j + 1]
                    for k in range(i, j)
                ),
                default=0,
            )

        def cost_of(splits, i, j):
            if i == j:
                return 0
            k = splits[i][j]
            here = sizes[i] * sizes[k + 1] * sizes[j + 1]
            return cost_of(splits, i, k) + cost_of(splits, k + 1, j) + here

        chain = [nm.zeros(shape) for shape in zip(sizes, sizes[1:])]
        assert cost_of(_products._best_splits(chain), 0, 4) == cost(0, 4)


SPECS = ["ij,jk", "ij", "ji", "ii", "ij,ij", "ij,jk->ki", "...ij,...jk", "...ij->...ji", "i...->...",
         "...", "...,...", "i...,i...->...", "ij...->i"]  # fmt: skip


@pytest.mark.parametrize("spec", SPECS)
def test_einsum_reads_specs_as_numpy_does(spec):
    operands = [integers((3, 3), seed=i) for i in range(spec.partition("->")[0].count(",") + 1)]
    equal(nm.einsum(spec, *operands), np.einsum(spec, *operands))


TOTALS = (
    "ab->",
    "ab,a->",
    "ab,b->",
    "a,ab->",
    "b,ab->",
    "abc,ab->",
    "abc,bc->",
    "ab,ba->",
    "abc,b->",
)


@pytest.mark.parametrize("dtype", ["float64", "complex128"])
@pytest.mark.parametrize("spec", TOTALS)
def test_einsum_over_all_labels_is_a_number_of_any_size(spec, dtype):
    for a, b, c in ((31, 11, 3), (32, 32, 1), (33, 32, 2), (341, 1, 3), (1, 1024, 5)):
        extents = {"a": a, "b": b, "c": c}
        shapes = [tuple(map(extents.get, labels)) for labels in spec[:-2].split(",")]
        operands = [integers(shape, dtype, seed=i) for i, shape in enumerate(shapes)]
        found = nm.einsum(spec, *map(nm.asarray, operands))
        assert type(found) is (float if dtype == "float64" else complex)
        assert found == np.einsum(spec, *operands)


@pytest.mark.parametrize("spec", TOTALS)
def test_einsum_over_all_labels_has_the_same_bits_on_any_number_of_threads(spec):
    extents = {"a": 300, "b": 301, "c": 2}
    shapes = [tuple(map(extents.get, labels)) for labels in spec[:-2].split(",")]
    operands = [nm.asarray(normal(shape, seed=i)) for i, shape in enumerate(shapes)]
    totals = set()
    for threads in (1, 2, 3, 64):
        nm.set_num_threads(threads)
        totals.add(nm.einsum(spec, *operands))
    nm.set_num_threads(0)
    assert len(totals) == 1
    expected = np.einsum(spec, *map(np.asarray, operands))
    size = np.einsum(spec, *(np.abs(np.asarray(operand)) for operand in operands))
    assert abs(totals.pop() - expected) <= 1e-13 * size


def test_einsum_over_all_labels_keeps_the_words_of_its_errors():
    a = nm.ones((40, 30))
    for spec, operands, words in (
        ("ij,i->", (a, nm.ones(30)), "einsum: inconsistent extent for a repeated label"),
        ("ij,j->", (a, nm.ones(40)), "einsum: inconsistent extent for a repeated label"),
        ("ij,j->", (a, nm.ones(0)), "einsum: inconsistent extent for a repeated label"),
        ("ijk->", (a,), "einsum: operand rank does not match its subscripts"),
        ("ij,i->", (a,), "einsum: number of operands does not match the spec"),
    ):
        with pytest.raises(nm.error) as caught:
            nm.einsum(spec, *operands)
        assert str(caught.value).partition("\n")[0].startswith(words)


def test_einsum_over_all_labels_keeps_nan_and_infinity():
    a = np.ones((40, 40))
    a[3, 4], b = np.inf, np.ones(40)
    assert nm.einsum("ij,i->", nm.asarray(a), nm.asarray(b)) == np.inf
    b[3] = 0
    assert np.isnan(nm.einsum("ij,i->", nm.asarray(a), nm.asarray(b)))
    assert nm.einsum("ij->", nm.asarray(a)) == np.inf


def test_vectors_meet_stacks_in_matmul():
    stack, vector = integers((2, 5, 3, 4)), integers((3,), seed=1)
    equal(nm.matmul(vector, stack), np.matmul(vector, stack))
    equal(nm.matmul(stack, integers((4,), seed=2)), np.matmul(stack, integers((4,), seed=2)))


def test_einsum_broadcasts_under_the_ellipsis():
    for left, right in itertools.product([(2, 1, 3), (1, 3), (3,), (4, 2, 5, 3)], repeat=2):
        a, b = integers(left, seed=1), integers(right, "complex128", seed=2)
        try:
            expected = np.einsum("...i,...i->...", a, b)
        except ValueError:
            with pytest.raises(
                nm.error, match=r"^einsum: inconsistent extent for a repeated label$"
            ):
                nm.einsum("...i,...i->...", a, b)
            continue
        equal(nm.einsum("...i,...i->...", a, b), expected)


def test_einsum_widens_and_takes_foreign_operands():
    found = nm.einsum("i,i->i", [1.0, 2.0], np.array([3j, 4]))
    assert found.dtype == "complex128"
    equal(found, np.array([3j, 8]))


def test_einsum_of_a_bad_call_names_the_one_fault():
    a = nm.ones((2, 3))
    faults = [
        ((a, "ij->i"), TypeError, "einsum takes the subscripts as text first"),
        (("ij->k", a), nm.error, "einsum: output label not present in any input"),
        (("ij,->i", a), nm.error, "einsum: number of operands does not match the spec"),
        (
            ("i......->i", a),
            ValueError,
            "einsum: '...' may stand once in each operand, not as in 'i......'",
        ),
        (
            ("...->...", nm.ones((1,) * 53)),
            ValueError,
            "einsum: no labels are left for the 53 axes of '...'",
        ),
        (("ijk...->i", a), nm.error, "einsum: operand rank does not match its subscripts"),
        (
            ("...,ijk...->i...", a, a),
            nm.error,
            "einsum: operand rank does not match its subscripts",
        ),
        (("i...->i", a), ValueError, "einsum: 'i' has no '...' for the 1 axes of the operands'"),
    ]
    for arguments, kind, message in faults:
        with pytest.raises(kind, match=f"^{message}") as caught:
            nm.einsum(*arguments)
        assert caught.value.__context__ is None
