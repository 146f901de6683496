"""Random array interfaces, DLPack records and indices, each judged by a model.

The memory that interfaces and records describe ends at a page that can't be read. Descriptions are
random, but for addresses within the buffer, as addresses are the caller's word by both protocols. What is
taken must have the values that NumPy reads there; what is refused must be refused by a documented error.
"""

import ctypes
import mmap
import random
import re

import numpy as np

DOCUMENTED = (TypeError, ValueError, IndexError, OverflowError, BufferError)
KINDS = {"b1", "i1", "i2", "i4", "i8", "u1", "u2", "u4", "u8", "f4", "f8", "c8", "c16"}


class Guarded:
    """Bytes that end where a page begins that can't be read, and begin behind another such page."""

    def __init__(self, pages=1):
        page = mmap.PAGESIZE
        self.memory = mmap.mmap(-1, (pages + 2) * page)
        start = ctypes.addressof(ctypes.c_char.from_buffer(self.memory))
        self.first, self.end = start + page, start + (pages + 1) * page
        source = np.random.default_rng(3).integers(0, 256, pages * page, np.uint8)
        ctypes.memmove(self.first, source.ctypes.data, pages * page)
        self.bytes = source
        protect = ctypes.CDLL(None).mprotect
        protect.argtypes = [ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int]
        assert protect(start, page, 0) == 0 and protect(self.end, page, 0) == 0

    def view(self, address, typestr, shape, strides):
        """What NumPy reads at the address; the bytes are a copy without guards."""
        return np.ndarray(shape, typestr, self.bytes, address - self.first, strides)

    def place(self, source, item, shape, strides):
        """An address at which all elements lie within, or None; at the very ends more often."""
        low = sum(min(0, (n - 1) * s) for n, s in zip(shape, strides)) if 0 not in shape else 0
        high = (
            sum(max(0, (n - 1) * s) for n, s in zip(shape, strides)) + item if 0 not in shape else 0
        )
        if high - low > self.end - self.first:
            return None
        return source.choice(
            [self.first - low, self.end - high, source.randint(self.first - low, self.end - high)]
        )


def strange(source):
    return source.choice([None, -1, 2**63, "x", 1.5, (), {}, [None], b"<f8", 2**31, True])


def shape_and_strides(source, item):
    shape = tuple(
        source.choice([0, 1, 2, 3, 7]) for _ in range(source.choice([0, 1, 1, 2, 2, 3, 5]))
    )
    strides = tuple(
        source.choice([item, -item, 0, 1, 8, 24, 2 * item, source.randint(-40, 40)]) for _ in shape
    )
    if source.random() < 0.4:
        rest, strides = item, []
        for extent in reversed(shape):
            strides.insert(0, rest)
            rest *= max(extent, 1)
        strides = tuple(strides)
    return shape, strides


def expected_array(array):
    """The tensor's elements: float64 unless complex."""
    return np.asarray(array, complex if array.dtype.kind == "c" else float)


def same(tensor, array):
    found = np.array(tensor.tolist(), complex if tensor.dtype == "complex128" else float).reshape(
        tensor.shape
    )
    return (
        found.dtype == array.dtype
        and found.shape == array.shape
        and np.array_equal(found, array, equal_nan=True)
    )


def damage(source, fields):
    """Something wrong in the description, but for what would describe other memory."""
    name = source.choice(["typestr", "shape", "strides", "data", "version"])
    if source.random() < 0.2:
        if name != "strides":  # without strides other elements would be meant
            del fields[name]
    elif name == "data":
        fields[name] = source.choice([None, "x", (), 0, (None, True), ("1", True), (0, True)])
    elif name == "shape":
        fields[name] = source.choice(
            [None, "x", 1.5, {}, [None], (-1,), (2**62, 4), (2**40, 2**40), ("1",), 3]
        )
    elif name == "strides":
        fields[name] = source.choice(["x", 1.5, {}, [None], (1.5,) * len(fields["shape"]), 3])
    else:
        fields[name] = strange(source)


class Interface:
    def __init__(self, **fields):
        self.__array_interface__ = fields


def try_interface(nm, guarded, source):
    """One description: None if all is well, else what went wrong."""
    typestr = source.choice("<>=|") + source.choice(
        sorted(KINDS) * 4 + ["f2", "f16", "i3", "V8", "O8", "U1", "c4"]
    )
    item = int(typestr[2:])
    shape, strides = shape_and_strides(source, item)
    address = guarded.place(source, item, shape, strides)
    if address is None:
        return None
    fields = {
        "version": 3,
        "typestr": typestr,
        "shape": shape,
        "data": (address, True),
        "strides": strides,
    }
    damaged = source.random() < 0.3
    if damaged:
        damage(source, fields)
    try:
        tensor = nm._numerical.asarray(Interface(**fields))
    except (*DOCUMENTED, nm.error):
        return None if damaged or not _readable(typestr) else f"refused {fields}"
    if damaged:
        return None
    if not same(
        tensor, expected_array(guarded.view(address, typestr.replace("|", "="), shape, strides))
    ):
        return f"another value of {fields}"
    return None


def _readable(typestr):
    return typestr[1:] in KINDS and (typestr[0] != "|" or typestr[2:] == "1")


def try_record(nm, guarded, source):
    from numerical._dlpack import _DLTensor, _Versioned

    code, bits = source.choice([(0, 64), (1, 8), (2, 64), (2, 32), (5, 128), (5, 64), (6, 8), (0, 16), (2, 16),
                                (3, 64), (4, 16), (source.randint(0, 255), source.choice([0, 7, 8, 64, 255]))])  # fmt: skip
    lanes = source.choice([1, 1, 1, 1, 2, 0, 65535])
    item = max(bits // 8, 1)
    shape, strides = shape_and_strides(source, item)
    strides = tuple(stride // item for stride in strides)
    address = guarded.place(source, item, shape, tuple(stride * item for stride in strides))
    if address is None:
        return None
    offset = source.choice([0, 0, 8])
    device = source.choice([1, 1, 1, 1, 3, 2, -1])
    record = _DLTensor(address - offset, device, 0, len(shape), code, bits, lanes,
                       (ctypes.c_int64 * len(shape))(*shape), (ctypes.c_int64 * len(shape))(*strides), offset)  # fmt: skip
    major = source.choice([1, 1, 0, 2])
    versioned = source.random() < 0.5
    holder = _Versioned(major, 0, None, None, 0, record) if versioned else record
    name = b"dltensor_versioned" if versioned else b"dltensor"
    capsule = _new_capsule(ctypes.addressof(holder), name, None)
    kind = {0: "i", 1: "u", 2: "f", 5: "c", 6: "b"}.get(code)
    readable = (kind is not None and f"{kind}{bits // 8}" in KINDS and bits % 8 == 0 and lanes == 1
                and device in (1, 3) and (not versioned or major == 1))  # fmt: skip
    exporter = type("Exporter", (), {"__dlpack__": lambda self, **options: capsule,
                                     "__dlpack_device__": lambda self: (device, 0)})()  # fmt: skip
    try:
        tensor = nm.from_dlpack(exporter)
    except (*DOCUMENTED, nm.error):
        return f"refused {shape} {strides} {code} {bits}" if readable else None
    if not readable:
        return f"took {code} {bits} {lanes} {device} {major}"
    view = guarded.view(
        address, f"={kind}{bits // 8}", shape, tuple(stride * item for stride in strides)
    )
    return (
        None
        if same(tensor, expected_array(view))
        else f"another value of {shape} {strides} {code} {bits}"
    )


_new_capsule = ctypes.pythonapi.PyCapsule_New
_new_capsule.restype = ctypes.py_object
_new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]


def random_key(source, shape):
    """A key and whether NumPy's basic indexing covers it."""

    def part():
        kind = source.random()
        if kind < 0.35:
            return source.randint(-8, 8)
        if kind < 0.75:
            return slice(*(source.choice([None, source.randint(-9, 9), source.choice([-(2**63), 2**63, 10**30])])
                           for _ in range(2)), source.choice([None, None, 1, 2, -1, -3, 0, 2**62]))  # fmt: skip
        if kind < 0.85:
            return None
        return Ellipsis

    if source.random() < 0.8:
        parts = tuple(part() for _ in range(source.choice([0, 1, 1, 2, 2, 3, 4])))
        return (parts[0] if len(parts) == 1 and source.random() < 0.5 else parts), True
    if source.random() < 0.5:
        return [source.randint(-8, 8) for _ in range(source.randint(0, 4))], False
    parts = [part() for _ in range(source.randint(1, 3))]
    parts[source.randrange(len(parts))] = [
        source.randint(-3, 3) for _ in range(source.randint(1, 3))
    ]
    return tuple(parts), False


SHAPES = [(), (1,), (5,), (0,), (3, 4), (0, 3), (2, 3, 4), (7, 1), (2, 1, 3, 2)]


class Indexed:
    """Tensors of some shapes, and their arrays."""

    def __init__(self, nm):
        self.pairs = []
        for shape in SHAPES:
            array = np.arange(float(np.prod(shape))).reshape(shape)
            for model in (array, array + 1j):
                self.pairs.append((nm.asarray(model), model))

    def try_key(self, nm, guarded, source):
        tensor, model = source.choice(self.pairs)
        key, basic = random_key(source, model.shape)
        try:
            expected = model[key]
        except (IndexError, ValueError, TypeError):
            expected = None
        try:
            found = tensor[key]
        except DOCUMENTED:
            return f"refused {key!r} of {model.shape}" if expected is not None and basic else None
        if expected is None:
            return f"took {key!r} of {model.shape}"
        found = np.asarray(found)
        if found.shape != np.shape(expected) or not np.array_equal(found, expected):
            return f"another value of {key!r} of {model.shape}"
        return None


def tries_of(kind, nm):
    if kind == "interfaces":
        return try_interface
    if kind == "records":
        return try_record
    return Indexed(nm).try_key


def fuzz(nm, kind, seed, count):
    """What went wrong in so many tries of a seed."""
    guarded, source, faults = Guarded(), random.Random(f"{kind} {seed}"), []
    attempt = tries_of(kind, nm)
    for i in range(count):
        try:
            fault = attempt(nm, guarded, source)
        except Exception as error:  # an error that isn't documented
            fault = f"{type(error).__name__}: {error}"
        if fault is not None:
            faults.append(
                f"{kind}, seed {seed}, try {i}: {re.sub(' at 0x[0-9a-f]+', '', fault)[:300]}"
            )
            if len(faults) == 5:
                break
    return faults
