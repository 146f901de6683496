"""einsum from Python, with numpy.einsum as the oracle: on small integers results are exact."""

import itertools
import sys
import threading

import _numerical
import numpy as np
import pytest
from support import runs_out_of_memory
from surface import assert_same_bits, complex_product

EXTENTS = {"i": 2, "j": 3, "k": 4, "l": 5}
LABELS = "ijkl"

NO_OPERAND = "einsum(spec, *operands) needs a spec and ≥1 operand"
MIXED = "einsum operands must share one dtype"
OVERFLOW = "dimension product overflows std::size_t"


def integers(shape, dtype=float, seed=0):
    generator = np.random.default_rng(seed)
    numbers = np.asarray(generator.integers(-9, 10, shape), dtype=dtype)
    if dtype is complex:
        numbers = numbers + 1j * generator.integers(-9, 10, shape)
    return np.asarray(numbers)


def tensor(array):
    array = np.asarray(array)
    return _numerical.Tensor(array.ravel().tolist(), array.shape, str(array.dtype))


def assert_exact(spec, *arrays, expected=None):
    found = np.asarray(_numerical.einsum(spec, *map(tensor, arrays)))
    if expected is None:
        expected = np.einsum(spec, *arrays)
    assert found.shape == expected.shape, spec
    assert (found == expected).all(), spec


def label_strings(most):
    return ["".join(p) for rank in range(most + 1) for p in itertools.product(LABELS, repeat=rank)]


def outputs(used):
    labels = sorted(set(used))
    return ["".join(p) for r in range(len(labels) + 1) for p in itertools.permutations(labels, r)]


@pytest.mark.parametrize("dtype", [float, complex])
def test_all_specs_of_one_operand_up_to_rank_4_agree_with_numpy(dtype):
    for labels in label_strings(4):
        array = integers([EXTENTS[label] for label in labels], dtype)
        ours = tensor(array)
        for output in outputs(labels):
            spec = f"{labels}->{output}"
            expected = np.einsum(spec, array)
            found = np.asarray(_numerical.einsum(spec, ours))
            assert found.shape == expected.shape and (found == expected).all(), spec


def two_operand_specs(first_labels):
    for first in first_labels:
        for second in label_strings(3):
            for output in outputs(first + second):
                yield first, second, f"{first},{second}->{output}"


@pytest.mark.parametrize("rank", [0, 1, 2, 3])
def test_all_specs_of_two_operands_up_to_rank_3_agree_with_numpy(rank):
    arrays = {
        labels: integers([EXTENTS[label] for label in labels], seed=len(labels))
        for labels in label_strings(3)
    }
    ours = {labels: tensor(array) for labels, array in arrays.items()}
    firsts = [labels for labels in label_strings(3) if len(labels) == rank]
    count = 0
    for first, second, spec in two_operand_specs(firsts):
        expected = np.einsum(spec, arrays[first], arrays[second])
        found = np.asarray(_numerical.einsum(spec, ours[first], ours[second]))
        assert found.shape == expected.shape and (found == expected).all(), spec
        count += 1
    assert count > 1000 * rank


def test_complex_pairs_agree_with_numpy_and_are_not_conjugated():
    firsts = ["", "i", "ij", "ji", "ii", "ijk", "iji", "kij"]
    for first, second, spec in two_operand_specs(firsts):
        arrays = [
            integers([EXTENTS[label] for label in labels], complex, seed)
            for seed, labels in enumerate((first, second))
        ]
        assert_exact(spec, *arrays)
    assert _numerical.einsum("i,i->", tensor([1j]), tensor([1j])).tolist() == -1


@pytest.mark.parametrize("path", (0, 1, 2))
def test_complex_products_follow_the_rules_of_c_on_every_way(path):
    parts = (0.0, -0.0, 1.0, -2.5, 1e308, 5e-324, float("inf"), float("-inf"), float("nan"))
    every = [complex(x, y) for x in parts for y in parts]
    count = len(every) ** 2
    left, right = [z for z in every for _ in every], every * len(every)
    expected = [0j + complex_product(z, w) for z, w in zip(left, right)]  # sums of one term

    def found(spec, *shape):
        operands = (_numerical.Tensor(values, shape, "complex128") for values in (left, right))
        return _numerical.einsum(spec, *operands)

    _numerical._limit_gemm_path(path)
    try:
        assert_same_bits(found("i,i->i", count), expected)
        assert_same_bits(found("bi,bi->b", count, 1), expected)
        assert_same_bits(found("ij,ik->i", count, 1), expected)
        vector = _numerical.Tensor(every, (len(every),), "complex128")
        column, row = (_numerical._reshape(vector, s) for s in ((len(every), 1), (1, len(every))))
        square = np.reshape(expected, (len(every), len(every)))
        assert_same_bits(_numerical.einsum("i,j->ij", vector, vector), square)
        assert_same_bits(_numerical.einsum("ij,jk->ik", column, row), square)
        for z, w, product in zip(left, right, expected):
            dot = _numerical.einsum("i,i->", *(_numerical._full((1,), x, True) for x in (z, w)))
            assert_same_bits(dot, product)
    finally:
        _numerical._limit_gemm_path(3)


@pytest.mark.parametrize("dtype", [float, complex])
@pytest.mark.parametrize("length", range(3, 9))
def test_chains_agree_with_numpy(length, dtype):
    letters = "abcdefghi"
    generator = np.random.default_rng(length)
    for _ in range(3):
        extents = {label: int(generator.integers(1, 5)) for label in letters}
        inputs = [letters[i : i + 2] for i in range(length)]
        arrays = [
            integers([extents[label] for label in labels], dtype, i)
            for i, labels in enumerate(inputs)
        ]
        for output in ("ab", letters[length] + "a", ""):
            spec = ",".join(inputs) + "->" + output
            assert_exact(spec, *arrays, expected=np.einsum(spec, *arrays, optimize="greedy"))


def test_operands_of_many_kinds_in_one_spec():
    spec = "iij,jk,lk,,l->ki"
    shapes = [(2, 2, 3), (3, 4), (5, 4), (), (5,)]
    assert_exact(spec, *(integers(shape, seed=i) for i, shape in enumerate(shapes)))


@pytest.mark.parametrize("zero", LABELS)
@pytest.mark.parametrize(
    "spec", ["ij,jk->ik", "ij,kj->ik", "ij,jk,kl->il", "ijkl->lj", "ij,ij->", "i,j->ij", "iij->j"]
)
def test_zero_extents_give_zeros_or_nothing(spec, zero):
    extents = {**EXTENTS, zero: 0}
    inputs = spec.split("->")[0].split(",")
    assert_exact(spec, *(integers([extents[label] for label in labels]) for labels in inputs))


def test_white_space_may_stand_anywhere():
    a, b = integers((2, 3)), integers((3, 4))
    assert_exact(" i j , j k -\n>\t i k ", a, b, expected=a @ b)


@pytest.mark.parametrize(
    "spec, shapes, message",
    [
        ("ij,jk", [(2, 3), (3, 4)], "einsum: spec must contain '->'"),
        ("i1,j->ij", [(2, 2), (2,)], "einsum: invalid character in input subscripts"),
        ("i.->i", [(2,)], "einsum: invalid character in input subscripts"),
        ("é->", [(2,)], "einsum: invalid character in input subscripts"),
        ("i\0->i", [(2,)], "einsum: invalid character in input subscripts"),
        ("i,j->ij", [(2,)], "einsum: number of operands does not match the spec"),
        ("ij->i", [(2,)], "einsum: operand rank does not match its subscripts"),
        ("ii->i", [(2, 3)], "einsum: inconsistent extent for a repeated label"),
        ("ij,jk->ik", [(2, 3), (1, 4)], "einsum: inconsistent extent for a repeated label"),
        ("ij->i1", [(2, 3)], "einsum: invalid character in output subscripts"),
        ("ij->k", [(2, 3)], "einsum: output label not present in any input"),
        ("ij,jk->ii", [(2, 3), (3, 4)], "einsum: repeated output label"),
    ],
)
def test_a_bad_spec_is_named(spec, shapes, message):
    with pytest.raises(_numerical.error) as caught:
        _numerical.einsum(spec, *(tensor(np.ones(shape)) for shape in shapes))
    assert type(caught.value) is _numerical.error
    assert str(caught.value) == message


def error_of(*arguments):
    with pytest.raises(_numerical.error) as caught:
        _numerical.einsum(*arguments)
    return str(caught.value)


def test_arguments_are_checked_in_their_order():
    real, other = tensor([1.0]), tensor([1j])
    assert error_of() == NO_OPERAND
    assert error_of("->") == NO_OPERAND
    assert error_of(3) == NO_OPERAND
    assert error_of("", 3) == "expected a numerical.Tensor"
    assert error_of("", real, None) == "expected a numerical.Tensor"
    uninitialized = _numerical.Tensor.__new__(_numerical.Tensor)
    assert error_of("", uninitialized) == "uninitialized numerical.Tensor"
    assert error_of("no arrow", real, other) == MIXED  # before the text is looked at
    assert error_of("no arrow", other, real) == MIXED
    with pytest.raises(TypeError):
        _numerical.einsum(3, real)
    with pytest.raises(UnicodeEncodeError):
        _numerical.einsum("\ud800->", real)
    with pytest.raises(TypeError):
        _numerical.einsum("i->i", operand=real)


def test_a_result_that_no_size_can_count_is_refused():
    huge = 2**32
    wide, tall = _numerical.Tensor([], (huge, 0)), _numerical.Tensor([], (0, huge))
    assert error_of("az,zb->ab", wide, tall) == OVERFLOW
    assert error_of("az,zb->ba", wide, tall) == OVERFLOW


def test_a_result_beyond_the_address_space_is_a_memory_error():
    long = _numerical.asarray(np.ones(1 << 22))
    assert runs_out_of_memory(_numerical.einsum, "i,j->ij", long, long)


def test_an_operand_may_stand_twice():
    a = tensor(integers((3, 3)))
    expected = np.asarray(a) @ np.asarray(a)
    assert np.array_equal(np.asarray(_numerical.einsum("ij,jk->ik", a, a)), expected)


@pytest.mark.parametrize("dtype", [float, complex])
def test_bits_do_not_depend_on_the_number_of_threads(dtype):
    generator = np.random.default_rng(3)
    extents = dict(zip("bijkl", (5, 150, 140, 130, 120)))
    for spec in ("ij,jk->ik", "bij,bjk->bki", "ij,jk,kl->il", "ij,j->i", "bij,bij->"):
        arrays = [
            generator.standard_normal([extents[label] for label in labels]).astype(dtype)
            for labels in spec.split("->")[0].split(",")
        ]
        operands = [tensor(array) for array in arrays]
        seen = set()
        try:
            for threads in (1, 2, 3, 64):
                _numerical._set_num_threads(threads)
                seen.add(np.asarray(_numerical.einsum(spec, *operands)).tobytes())
        finally:
            _numerical._set_num_threads(0)
        assert len(seen) == 1, spec


def lets_another_thread_in(call):
    """Whether a thread that waits for the interpreter lock gets it before the call is over."""
    gate, ran = threading.Lock(), []
    gate.acquire()

    def wait():
        with gate:
            ran.append(True)

    interval = sys.getswitchinterval()
    thread = threading.Thread(target=wait)
    thread.start()
    try:
        sys.setswitchinterval(1000)  # the lock changes hands only where it is given up
        gate.release()
        call()
        return bool(ran)
    finally:
        sys.setswitchinterval(interval)
        thread.join()


@pytest.mark.parametrize("elements, released", [(4095, False), (4096, True)])
def test_the_lock_is_released_from_4096_elements_in_all(elements, released):
    operands = [tensor(np.ones(n)) for n in (200, 200, 200, elements - 600)]
    runs = [
        lets_another_thread_in(lambda: _numerical.einsum("a,b,c,d->abc", *operands))
        for _ in range(5)
    ]
    assert any(runs) == released, runs


def test_operands_may_be_shared_by_threads():
    a = integers((60, 60))
    ours, expected = tensor(a), np.einsum("ij,jk->ki", a, a)
    faults = []

    def multiply():
        for _ in range(50):
            if not np.array_equal(np.asarray(_numerical.einsum("ij,jk->ki", ours, ours)), expected):
                faults.append("differs")

    threads = [threading.Thread(target=multiply) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not faults


def test_references_are_balanced_on_success_and_on_each_error():
    a, b, z = tensor(integers((3, 4))), tensor(integers((4, 2))), tensor([1j])
    uninitialized = _numerical.Tensor.__new__(_numerical.Tensor)
    calls = [
        ("ij,jk->ik", a, b), ("ij,jk->ki", a, b), ("ij->ji", a), ("ij,jk,lm->", a, b, b),
        (), ("->",), ("ij,jk", a, b), ("ij->k", a), ("i->i", a), ("i,i->", a, z),
        ("i->", None), ("i->", uninitialized), (3, a), ("\ud800->", a),
    ]  # fmt: skip
    watched = [a, b, z, uninitialized, None, _numerical.Tensor, _numerical.error]
    watched += [argument for call in calls for argument in call]

    def run():
        for arguments in calls:
            try:
                _numerical.einsum(*arguments)
            except (_numerical.error, TypeError, UnicodeEncodeError):
                pass

    run()
    before = [sys.getrefcount(x) for x in watched]
    for _ in range(1000):
        run()
    after = [sys.getrefcount(x) for x in watched]
    assert all(abs(x - y) < 50 for x, y in zip(before, after)), list(zip(before, after))
