"""The cost of coming in and going out of the module: asarray, Tensor, tolist and attributes.

Copies are against numpy.array with the dtype that a tensor has, C order and a copy, which is what
asarray does.
"""

import functools

import numpy
from numerical import _numerical

from alternate import Case

SMALL = {
    "number": 2.5,
    "0-d": numpy.array(2.5),
    "3": numpy.arange(3.0),
    "3x3": numpy.arange(9.0).reshape(3, 3),
    "3x3 transposed": numpy.arange(9.0).reshape(3, 3).T,
    "3x3 complex": numpy.arange(9.0).reshape(3, 3) + 1j,
}

SIDES = [100, 1000, 2000, 2048]
TYPES = ["?", "u1", "i4", "i8", "u8", "f4", ">i4", ">f8", "c8", "c16", ">c16"]


def dtype_of(array):
    return complex if numpy.asarray(array).dtype.kind == "c" else float


def equal(ours, theirs):
    numpy.testing.assert_array_equal(numpy.asarray(ours), theirs)


def copy_case(name, array):
    dtype = dtype_of(array)
    moved = numpy.asarray(array).nbytes + numpy.asarray(array).size * numpy.dtype(dtype).itemsize
    return Case(
        f"asarray {name}",
        functools.partial(_numerical.asarray, array),
        functools.partial(numpy.array, array, dtype=dtype, order="C", copy=True),
        moved if moved > 10_000 else 0,
        "byte",
        check=equal,
    )


def small_cases():
    for name, thing in SMALL.items():
        yield "small arrays in", copy_case(name, thing)
    tensor, array = _numerical.asarray(SMALL["3x3"]), SMALL["3x3"]
    for name, ours, theirs in (
        ("asarray of what it is", lambda: _numerical.asarray(tensor), lambda: numpy.asarray(array)),
        ("shape", lambda: tensor.shape, lambda: array.shape),
        ("ndim", lambda: tensor.ndim, lambda: array.ndim),
        ("dtype", lambda: tensor.dtype, lambda: array.dtype),
    ):
        yield "attributes", Case(name, ours, theirs)


def list_cases():
    for count in (3, 1000, 100_000):
        numbers = [float(i) for i in range(count)]
        tensor, array = _numerical.Tensor(numbers), numpy.array(numbers)
        yield "lists", Case(
            f"Tensor of a list of {count}",
            functools.partial(_numerical.Tensor, numbers),
            functools.partial(numpy.array, numbers),
            check=equal,
        )
        yield "lists", Case(f"tolist of {count}", tensor.tolist, array.tolist)


def large_cases():
    generator = numpy.random.default_rng(1)
    for side in SIDES:
        array = generator.standard_normal((side, side))
        yield "large arrays in", copy_case(f"{side}x{side}", array)
        yield "large arrays in", copy_case(f"{side}x{side} transposed", array.T)
    numbers = generator.integers(0, 2, (1000, 1000))
    for type_name in TYPES:
        array = numbers.astype(type_name)
        yield "other types in", copy_case(f"1000x1000 {type_name}", array)
        yield "other types in", copy_case(f"1000x1000 {type_name} transposed", array.T)
    yield "strided in", copy_case("every second, reversed", array[::2, ::-2])
    block = generator.standard_normal((100, 100, 100))
    for axes in ((0, 2, 1), (1, 0, 2), (1, 2, 0), (2, 0, 1), (2, 1, 0)):
        yield "strided in", copy_case(f"100x100x100 {axes}", block.transpose(axes))


def cases():
    yield from small_cases()
    yield from list_cases()
    yield from large_cases()
