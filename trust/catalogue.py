"""A call of every public function, method and attribute, on operands of any order and either dtype.

What all classes of trust share: who fails allocations, forks, counts references or compares bits goes
through this table, so that what is added to the package and not here is noticed
(tests/package/test_trust.py). No call needs NumPy.
"""

import copy
import ctypes
import hashlib
import pickle
import random


class Operands:
    """Reproducible operands of order n; of real matrices those that every function takes."""

    def __init__(self, nm, n, is_complex=False, seed=1):
        source = random.Random(f"{n} {is_complex} {seed}")
        self.n = n
        self.dtype = "complex128" if is_complex else "float64"

        def number():
            x = source.uniform(-1, 1)
            return complex(x, source.uniform(-1, 1)) if is_complex else x

        def tensor(numbers, shape, dtype=self.dtype):
            return nm.Tensor(numbers, shape, dtype)

        general = [[number() + (2.0 if i == j else 0.0) for j in range(n)] for i in range(n)]
        hermitian = [[general[max(i, j)][min(i, j)] for j in range(n)] for i in range(n)]
        for i in range(n):
            for j in range(i, n):
                hermitian[i][j] = hermitian[j][i].conjugate() if i != j else hermitian[i][i].real
        definite = [
            [hermitian[i][j] + (2.0 * n if i == j else 0.0) for j in range(n)] for i in range(n)
        ]
        flat = lambda rows: [x for row in rows for x in row]  # noqa: E731
        self.a = tensor(flat(general), (n, n))
        self.h = tensor(flat(hermitian), (n, n))
        self.p = tensor(flat(definite), (n, n))
        self.c = tensor([number() for _ in range(n * n)], (n, n))
        self.tall = tensor([number() for _ in range(2 * n * n)], (2 * n, n))
        self.b = tensor([number() for _ in range(n)], (n,))
        self.right = tensor([number() for _ in range(3 * n)], (n, 3))
        self.stack = tensor(flat(definite) * 3, (3, n, n))
        self.box = tensor([number() for _ in range(2 * n * 3)], (2, n, 3))
        self.fourfold = nm.reshape(nm.eye(2 * n) * 2.0, (2, n, 2, n))
        # What has an order, or must lie between 0 and 1, is real whatever the others are.
        self.x = tensor([source.uniform(0.1, 0.9) for _ in range(n * n)], (n, n), "float64")
        self.v = tensor([source.uniform(0.1, 0.9) for _ in range(n)], (n,), "float64")
        self.three = tensor([number() for _ in range(3 * n)], (n, 3))
        self.mask = self.x > 0.5
        self.places = nm.argsort(self.v)
        self.lists = general
        self.lu = nm.linalg.lu(self.a)
        self.lu_factor = nm.linalg.lu_factor(self.a)
        self.cholesky = nm.linalg.cholesky_factor(self.p)
        self.ldl = nm.linalg.ldl(self.h)
        self.qr = nm.linalg.qr_factor(self.tall)
        self.qr_square = nm.linalg.qr_factor(self.a, pivoting=True)
        self.lstsq = lambda: nm.linalg.lstsq(self.tall, nm.vstack([self.right, self.right]))


def _same_names():
    """Calls f(o.x) or f(o.a) by the names of what they take."""
    table = {}
    of_numbers = (
        "abs absolute conj conjugate cos cosh exp exp2 expm1 imag isfinite isinf isnan log log10 log1p"
        " log2 logical_not negative positive real reciprocal round sign sin sinh sqrt square tan tanh"
        " atan arctan asin arcsin acos arccos asinh arcsinh acosh arccosh atanh arctanh"
        " ravel tril triu matrix_transpose trace"
        " ones_like zeros_like empty_like any all sum mean prod std var count_nonzero cumsum cumprod"
        " permute_dims transpose diag diagonal flip norm"
    ).split()
    of_reals = "ceil floor trunc signbit max min argmax argmin sort argsort".split()
    for name in of_numbers:
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.a)
    for name in of_reals:
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.x)
    for (
        name
    ) in "add subtract multiply divide power pow equal not_equal allclose isclose array_equal".split():
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.a, o.c)
    for name in (
        "floor_divide remainder less less_equal greater greater_equal maximum minimum hypot arctan2"
        " atan2 copysign nextafter logaddexp logical_and logical_or logical_xor"
    ).split():
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.x, o.v)
    for name in "cholesky determinant inverse slogdet eigh".split():
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.p)
    for name in "svd qr pinv matrix_rank".split():
        table[name] = lambda nm, o, name=name: getattr(nm, name)(o.tall)
    return table


def _settings(nm, context, value):
    with context(value):
        return nm.get_num_threads()


FUNCTIONS = {
    **_same_names(),
    "Positions": lambda nm, o: nm.Positions([2, 1, 0]),
    "Tensor": lambda nm, o: nm.Tensor([1.0, 2.0, 3.0, 4.0], (2, 2), o.dtype),
    "arange": lambda nm, o: nm.arange(0.5, o.n + 0.5),
    "array": lambda nm, o: nm.array(o.lists),
    "asarray": lambda nm, o: nm.asarray(o.lists, o.dtype),
    "astype": lambda nm, o: nm.astype(o.x, "complex128"),
    "block_diag": lambda nm, o: nm.block_diag(o.a, o.right),
    "broadcast_arrays": lambda nm, o: nm.broadcast_arrays(o.a, o.b),
    "broadcast_shapes": lambda nm, o: nm.broadcast_shapes((3, 1), (4,)),
    "broadcast_to": lambda nm, o: nm.broadcast_to(o.b, (3, o.n)),
    "can_cast": lambda nm, o: nm.can_cast("float64", "complex128"),
    "clip": lambda nm, o: nm.clip(o.x, 0.2, 0.8),
    "column_stack": lambda nm, o: nm.column_stack([o.a, o.b]),
    "concat": lambda nm, o: nm.concat([o.a, o.c], 1),
    "concatenate": lambda nm, o: nm.concatenate([o.a, o.c]),
    "corrcoef": lambda nm, o: nm.corrcoef(o.a),
    "cov": lambda nm, o: nm.cov(o.a),
    "cpu_quota": lambda nm, o: nm.cpu_quota(),
    "cumulative_prod": lambda nm, o: nm.cumulative_prod(o.b, include_initial=True),
    "cumulative_sum": lambda nm, o: nm.cumulative_sum(o.a, axis=0),
    "diff": lambda nm, o: nm.diff(o.a),
    "dot": lambda nm, o: nm.dot(o.a, o.b),
    "einsum": lambda nm, o: nm.einsum("ij,jk,kl->il", o.a, o.c, o.right),
    "empty": lambda nm, o: nm.empty((o.n, 3)).shape,
    "expand_dims": lambda nm, o: nm.expand_dims(o.a, 1),
    "eye": lambda nm, o: nm.eye(o.n, o.n + 1, 1, o.dtype),
    "finfo": lambda nm, o: nm.finfo("float64").eps,
    "from_dlpack": lambda nm, o: nm.from_dlpack(o.a),
    "full": lambda nm, o: nm.full((o.n, 3), 1.5),
    "full_like": lambda nm, o: nm.full_like(o.a, 2.0),
    "get_num_threads": lambda nm, o: nm.get_num_threads() > 0,
    "hstack": lambda nm, o: nm.hstack([o.a, o.right]),
    "identity": lambda nm, o: nm.identity(o.n),
    "inner": lambda nm, o: nm.inner(o.a, o.c),
    "isdtype": lambda nm, o: nm.isdtype("float64", "numeric"),
    "isin": lambda nm, o: nm.isin(o.x, o.v),
    "kron": lambda nm, o: nm.kron(o.right, [[1.0, 2.0]]),
    "limit_gemm_path": lambda nm, o: _settings(nm, nm.limit_gemm_path, 3) > 0,
    "linspace": lambda nm, o: nm.linspace(0.0, 1.0, o.n),
    "lstsq": lambda nm, o: nm.lstsq(o.a, o.b),
    "matmul": lambda nm, o: nm.matmul(o.a, o.right),
    "matrix_power": lambda nm, o: nm.matrix_power(o.a, -3),
    "meshgrid": lambda nm, o: nm.meshgrid(o.b, [1.0, 2.0]),
    "moveaxis": lambda nm, o: nm.moveaxis(o.box, 0, 2),
    "multi_dot": lambda nm, o: nm.multi_dot([o.a, o.c, o.right]),
    "nonzero": lambda nm, o: nm.nonzero(o.mask),
    "num_threads": lambda nm, o: _settings(nm, nm.num_threads, 1),
    "ones": lambda nm, o: nm.ones((o.n, 3), o.dtype),
    "outer": lambda nm, o: nm.outer(o.b, o.b),
    "repeat": lambda nm, o: nm.repeat(o.a, 2, 1),
    "reshape": lambda nm, o: nm.reshape(o.a, (-1, 1)),
    "result_type": lambda nm, o: nm.result_type(o.x, "complex128") == nm.complex128,
    "roll": lambda nm, o: nm.roll(o.a, 1, 0),
    "searchsorted": lambda nm, o: nm.searchsorted(nm.sort(o.v), o.x),
    "set_num_threads": lambda nm, o: nm.set_num_threads(0),
    "show_config": lambda nm, o: len(nm.show_config()) > 0,
    "solve": lambda nm, o: nm.solve(o.a, o.right),
    "split": lambda nm, o: nm.split(o.box, 2),
    "squeeze": lambda nm, o: nm.squeeze(o.a[None]),
    "stack": lambda nm, o: nm.stack([o.a, o.c]),
    "swapaxes": lambda nm, o: nm.swapaxes(o.box, 0, 1),
    "take": lambda nm, o: nm.take(o.a, o.places, 0),
    "take_along_axis": lambda nm, o: nm.take_along_axis(o.x, nm.argsort(o.x), -1),
    "tensordot": lambda nm, o: nm.tensordot(o.a, o.right, 1),
    "tile": lambda nm, o: nm.tile(o.a, (2, 1)),
    "toeplitz": lambda nm, o: nm.toeplitz(o.b),
    "tri": lambda nm, o: nm.tri(o.n),
    "unique_all": lambda nm, o: tuple(nm.unique_all(o.x)),
    "unique_counts": lambda nm, o: tuple(nm.unique_counts(o.x)),
    "unique_inverse": lambda nm, o: tuple(nm.unique_inverse(o.x)),
    "unique_values": lambda nm, o: nm.unique_values(o.x),
    "unstack": lambda nm, o: nm.unstack(o.box),
    "vander": lambda nm, o: nm.vander(o.b, 4),
    "vdot": lambda nm, o: nm.vdot(o.b, o.b),
    "vecdot": lambda nm, o: nm.vecdot(o.a, o.b),
    "vstack": lambda nm, o: nm.vstack([o.a, o.b]),
    "where": lambda nm, o: nm.where(o.mask, o.a, o.c),
    "zeros": lambda nm, o: nm.zeros((o.n, 3)),
    "__array_namespace_info__": lambda nm, o: nm.__array_namespace_info__().default_device(),
}

LINALG = {
    "LU": lambda nm, o: nm.linalg.LU(*nm.linalg.lu_factor(o.a), None).solve(o.b),
    "CholeskyFactor": lambda nm, o: nm.linalg.CholeskyFactor(o.cholesky.c, True).solve(o.b),
    "cho_factor": lambda nm, o: nm.linalg.cho_factor(o.p),
    "cho_solve": lambda nm, o: nm.linalg.cho_solve(o.cholesky, o.right),
    "cholesky": lambda nm, o: nm.linalg.cholesky(o.stack, upper=True),
    "cholesky_factor": lambda nm, o: nm.linalg.cholesky_factor(o.stack),
    "cond": lambda nm, o: nm.linalg.cond(o.a),
    "cross": lambda nm, o: nm.linalg.cross(o.three, o.three[::-1]),
    "det": lambda nm, o: nm.linalg.det(o.stack),
    "diagonal": lambda nm, o: nm.linalg.diagonal(o.box),
    "eig": lambda nm, o: nm.linalg.eig(o.a, left=True),
    "eigh": lambda nm, o: nm.linalg.eigh(o.h, b=o.p),
    "eigvals": lambda nm, o: nm.linalg.eigvals(o.stack),
    "eigvalsh": lambda nm, o: nm.linalg.eigvalsh(o.h, subset_by_index=[0, 1]),
    "expm": lambda nm, o: nm.linalg.expm(o.a),
    "hessenberg": lambda nm, o: nm.linalg.hessenberg(o.a),
    "hessenberg and Q": lambda nm, o: nm.linalg.hessenberg(o.a, True),
    "inv": lambda nm, o: nm.linalg.inv(o.stack),
    "ldl": lambda nm, o: nm.linalg.ldl(o.h),
    "logm": lambda nm, o: nm.linalg.logm(o.p),
    "lstsq": lambda nm, o: tuple(o.lstsq()),
    "lu": lambda nm, o: nm.linalg.lu(o.a, p_indices=True),
    "lu_factor": lambda nm, o: nm.linalg.lu_factor(o.a),
    "lu_solve": lambda nm, o: nm.linalg.lu_solve(o.lu_factor, o.right, 1),
    "matmul": lambda nm, o: nm.linalg.matmul(o.stack, o.b),
    "matrix_norm": lambda nm, o: nm.linalg.matrix_norm(o.a, ord=2),
    "matrix_power": lambda nm, o: nm.linalg.matrix_power(o.a, 5),
    "matrix_rank": lambda nm, o: nm.linalg.matrix_rank(o.stack),
    "matrix_transpose": lambda nm, o: nm.linalg.matrix_transpose(o.stack),
    "multi_dot": lambda nm, o: nm.linalg.multi_dot([o.b, o.a, o.right]),
    "norm": lambda nm, o: nm.linalg.norm(o.a, 1),
    "null_space": lambda nm, o: nm.linalg.null_space(nm.transpose(o.tall)),
    "orth": lambda nm, o: nm.linalg.orth(o.tall),
    "outer": lambda nm, o: nm.linalg.outer(o.b, o.v),
    "pinv": lambda nm, o: nm.linalg.pinv(o.stack),
    "polar": lambda nm, o: nm.linalg.polar(o.a),
    "qr": lambda nm, o: nm.linalg.qr(o.tall, "complete", pivoting=True),
    "qr_factor": lambda nm, o: nm.linalg.qr_factor(o.tall, True),
    "qr_multiply": lambda nm, o: nm.linalg.qr_multiply(o.a, o.c),
    "randomized_svd": lambda nm, o: nm.linalg.randomized_svd(o.tall, 1),
    "schur": lambda nm, o: nm.linalg.schur(o.a, "complex", sort="lhp"),
    "slogdet": lambda nm, o: nm.linalg.slogdet(o.stack),
    "solve": lambda nm, o: nm.linalg.solve(o.p, o.b, assume_a="positive definite"),
    "solve_continuous_lyapunov": lambda nm, o: nm.linalg.solve_continuous_lyapunov(o.p, o.h),
    "solve_discrete_lyapunov": lambda nm, o: nm.linalg.solve_discrete_lyapunov(
        o.a / (4.0 * o.n), o.h
    ),
    "solve_sylvester": lambda nm, o: nm.linalg.solve_sylvester(o.p, o.p, o.c),
    "solve_triangular": lambda nm, o: nm.linalg.solve_triangular(nm.triu(o.p), o.right),
    "sqrtm": lambda nm, o: nm.linalg.sqrtm(o.p),
    "svd": lambda nm, o: nm.linalg.svd(o.stack, full_matrices=False),
    "svd by jacobi": lambda nm, o: nm.linalg.svd(o.a, method="jacobi"),
    "svd by qr": lambda nm, o: nm.linalg.svd(o.a, method="bidiagonal_qr"),
    "svdvals": lambda nm, o: nm.linalg.svdvals(o.tall, k=1),
    "tensordot": lambda nm, o: nm.linalg.tensordot(o.box, o.a, ((1,), (0,))),
    "tensorinv": lambda nm, o: nm.linalg.tensorinv(o.fourfold),
    "tensorsolve": lambda nm, o: nm.linalg.tensorsolve(o.fourfold, nm.ones((2, o.n))),
    "trace": lambda nm, o: nm.linalg.trace(o.stack),
    "vecdot": lambda nm, o: nm.linalg.vecdot(o.stack, o.b),
    "vector_norm": lambda nm, o: nm.linalg.vector_norm(o.stack, axis=-1),
}

# Of classes the instances, through which their methods are reached. Named tuples are made by
# functions above.
FACTORS = {
    f"{kind}.{name}": lambda nm, o, held=held, call=call: call(getattr(o, held), o)
    for kind, held in (("LU", "lu"), ("LUFactor", "lu_factor"), ("CholeskyFactor", "cholesky"),
                       ("LDLFactor", "ldl"), ("QRFactor", "qr_square"))
    for name, call in {
        "solve": lambda f, o: f.solve(o.right), "inverse": lambda f, o: f.inverse(),
        "det": lambda f, o: f.det(), "slogdet": lambda f, o: f.slogdet(),
        "rcond": lambda f, o: f.rcond(), "cond_estimate": lambda f, o: f.cond_estimate(),
        "shape": lambda f, o: f.shape, "dtype": lambda f, o: str(f.dtype),
        "__iter__": lambda f, o: tuple(f), "pickled": lambda f, o: pickle.dumps(f),
    }.items()
}  # fmt: skip
for _kind, _held, _names in (
    ("LU", "lu", "l u p p_indices lu piv norm"), ("LUFactor", "lu_factor", "l u p p_indices lu piv norm"),
    ("CholeskyFactor", "cholesky", "c l lower"), ("LDLFactor", "ldl", "l d diagonal below perm norm hermitian"),
    ("QRFactor", "qr_square", "q r perm"),
):  # fmt: skip
    for _name in _names.split():
        FACTORS[f"{_kind}.{_name}"] = lambda nm, o, h=_held, name=_name: getattr(
            getattr(o, h), name
        )
FACTORS |= {
    "CholeskyFactor.update": lambda nm, o: o.cholesky.update(o.b),
    "CholeskyFactor.downdate": lambda nm, o: o.cholesky.downdate(o.b / (8.0 * o.n)),
    "QRFactor.q_multiply": lambda nm, o: o.qr.q_multiply(o.right),
    "QRFactor.qh_multiply": lambda nm, o: o.qr.qh_multiply(o.tall),
    "LstsqResult.rank": lambda nm, o: o.lstsq().rank,
    "LstsqResult.residuals": lambda nm, o: o.lstsq().residuals,
    "LstsqResult.singular_values": lambda nm, o: o.lstsq().singular_values,
}


def _operators():
    """Special methods of Tensor, each written as its operator."""
    unary = {"__abs__": abs, "__neg__": lambda t: -t, "__pos__": lambda t: +t, "__len__": len,
             "__repr__": repr, "__str__": str, "__iter__": list, "__copy__": copy.copy,
             "__deepcopy__": copy.deepcopy, "__reduce_ex__": pickle.dumps, "_repr_html_": lambda t: t._repr_html_(),
             "__format__": lambda t: format(t, ""), "__sizeof__": lambda t: t.__sizeof__() > 0,
             "__hash__": lambda t: isinstance(hash(t), int), "__dask_tokenize__": lambda t: t.__dask_tokenize__()}  # fmt: skip
    binary = {"add": lambda a, b: a + b, "sub": lambda a, b: a - b, "mul": lambda a, b: a * b,
              "truediv": lambda a, b: a / b, "floordiv": lambda a, b: a // b, "mod": lambda a, b: a % b,
              "pow": lambda a, b: a**b}  # fmt: skip
    compared = {"__eq__": lambda a, b: a == b, "__ne__": lambda a, b: a != b, "__lt__": lambda a, b: a < b,
                "__le__": lambda a, b: a <= b, "__gt__": lambda a, b: a > b, "__ge__": lambda a, b: a >= b,
                "__and__": lambda a, b: (a > b) & (a < b), "__or__": lambda a, b: (a > b) | (a < b),
                "__xor__": lambda a, b: (a > b) ^ (a < b)}  # fmt: skip
    table = {name: lambda nm, o, f=f: f(o.a) for name, f in unary.items()}
    for name, f in binary.items():
        held = "x" if name in ("floordiv", "mod") else "a"
        table[f"__{name}__"] = lambda nm, o, f=f, held=held: f(getattr(o, held), o.v)
        table[f"__r{name}__"] = lambda nm, o, f=f, held=held: f(2.5, getattr(o, held))
    for name, f in compared.items():
        table[name] = lambda nm, o, f=f: f(o.x, o.v)
    return table


def _number(convert, held="x"):
    return lambda nm, o: convert(getattr(o, held)[:1, :1])


TENSOR = {
    **_operators(),
    "T": lambda nm, o: o.a.T,
    "mT": lambda nm, o: o.box.mT,
    "mH": lambda nm, o: o.box.mH,
    "real": lambda nm, o: o.a.real,
    "imag": lambda nm, o: o.a.imag,
    "shape": lambda nm, o: o.a.shape,
    "ndim": lambda nm, o: o.a.ndim,
    "size": lambda nm, o: o.a.size,
    "dtype": lambda nm, o: str(o.a.dtype),
    "device": lambda nm, o: o.a.device,
    "itemsize": lambda nm, o: o.a.itemsize,
    "nbytes": lambda nm, o: o.a.nbytes,
    "__array_interface__": lambda nm, o: o.a.__array_interface__["typestr"],
    "__array_namespace__": lambda nm, o: o.a.__array_namespace__() is nm,
    "__array_priority__": lambda nm, o: o.a.__array_priority__,
    "__rand__": lambda nm, o: True & o.mask,
    "__ror__": lambda nm, o: False | o.mask,
    "__rxor__": lambda nm, o: True ^ o.mask,
    "__invert__": lambda nm, o: ~o.mask,
    "__matmul__": lambda nm, o: o.a @ o.b,
    "__rmatmul__": lambda nm, o: [[1.0] * o.n] @ o.a,
    "__bool__": _number(bool),
    "__complex__": _number(complex),
    "__float__": _number(float),
    "__int__": _number(int),
    "__contains__": lambda nm, o: 0.25 in o.x,
    "__dlpack__": lambda nm, o: type(o.a.__dlpack__()).__name__,
    "_dlpack_versioned": lambda nm, o: type(o.a.__dlpack__(max_version=(1, 0))).__name__,
    "__dlpack_device__": lambda nm, o: o.a.__dlpack_device__(),
    "__getitem__": lambda nm, o: o.a[0, 1:],
    "__getitem__ by an int": lambda nm, o: o.a[-1],
    "__getitem__ by a step": lambda nm, o: o.a[::-2, None, ..., ::2],
    "__getitem__ by a list": lambda nm, o: o.a[[0, -1]],
    "__getitem__ by a mask": lambda nm, o: o.a[o.mask],
    "__getitem__ by a mask of rows": lambda nm, o: o.a[o.v > 0.5],
    "__mul__ of a mask": lambda nm, o: (o.x > 0.5) * o.x,
    "__invert__ of a new mask": lambda nm, o: ~(o.x > 0.5),
    "sum of a mask": lambda nm, o: (o.x > 0.5).sum(0),
    "at.set by a mask": lambda nm, o: o.a.at[o.x > 0.5].set(0.0),
    "__getitem__ by positions": lambda nm, o: o.b[o.places],
    "at": lambda nm, o: o.a.at[0].get(),
    "at.set": lambda nm, o: o.a.at[0].set(o.b),
    "at.add": lambda nm, o: o.a.at[:, 0].add(o.b),
    "at.multiply": lambda nm, o: o.a.at[[0, 1]].multiply(2.0),
    "at.max": lambda nm, o: o.x.at[0].max(0.5),
    "at.min": lambda nm, o: o.x.at[0].min(0.5),
    "matvec": lambda nm, o: o.a.matvec(o.b),
    "rmatvec": lambda nm, o: o.a.rmatvec(o.b),
    "item": lambda nm, o: o.a.item(0, 1),
    "tolist": lambda nm, o: o.a.tolist(),
    "astype": lambda nm, o: o.x.astype(complex),
    "clip": lambda nm, o: o.x.clip(0.2, 0.8),
    "dot": lambda nm, o: o.a.dot(o.b),
    "repeat": lambda nm, o: o.a.repeat(2),
    "reshape": lambda nm, o: o.a.reshape(-1, 1),
    "round": lambda nm, o: o.a.round(2),
    "searchsorted": lambda nm, o: o.v.sort().searchsorted(0.5),
    "nonzero": lambda nm, o: o.mask.nonzero(),
    "swapaxes": lambda nm, o: o.a.swapaxes(0, 1),
    "take": lambda nm, o: o.a.take([0, 1], 0),
    "to_device": lambda nm, o: o.a.to_device("cpu"),
    "transpose": lambda nm, o: o.box.transpose(2, 0, 1),
    **{
        name: lambda nm, o, name=name: getattr(o.x, name)(0)
        for name in "all any argmax argmin argsort max min mean prod std sum var cumsum cumprod sort".split()
    },
    **{
        name: lambda nm, o, name=name: getattr(o.a, name)()
        for name in "conj conjugate copy flatten ravel squeeze diagonal trace".split()
    },
}  # fmt: skip

POSITIONS = {
    "dtype": lambda nm, o: o.places.dtype,
    "ndim": lambda nm, o: o.places.ndim,
    "shape": lambda nm, o: o.places.shape,
    "size": lambda nm, o: o.places.size,
    "tolist": lambda nm, o: o.places.tolist(),
    "__array_interface__": lambda nm, o: o.places.__array_interface__["typestr"],
    "__bool__": lambda nm, o: bool(o.places[:1]),
    "__int__": lambda nm, o: int(o.places[:1]),
    "__getitem__": lambda nm, o: o.places[::-1],
    **{
        name: lambda nm, o, f=f: f(o.places)
        for name, f in {"__len__": len, "__iter__": list, "__repr__": repr, "__str__": str, "__neg__": lambda p: -p,
                        "__copy__": copy.copy, "__deepcopy__": copy.deepcopy, "__reduce__": pickle.dumps,
                        "__hash__": lambda p: isinstance(hash(p), int)}.items()
    },
    **{
        f"__{name}__": lambda nm, o, f=f: f(o.places, 2)
        for name, f in {"add": lambda a, b: a + b, "sub": lambda a, b: a - b, "mul": lambda a, b: a * b,
                        "truediv": lambda a, b: a / b, "floordiv": lambda a, b: a // b, "mod": lambda a, b: a % b,
                        "pow": lambda a, b: a**b, "eq": lambda a, b: a == b, "ne": lambda a, b: a != b,
                        "lt": lambda a, b: a < b, "le": lambda a, b: a <= b, "gt": lambda a, b: a > b,
                        "ge": lambda a, b: a >= b}.items()
    },
    **{
        f"__r{name}__": lambda nm, o, f=f: f(7, o.places + 1)
        for name, f in {"add": lambda a, b: a + b, "sub": lambda a, b: a - b, "mul": lambda a, b: a * b,
                        "truediv": lambda a, b: a / b, "floordiv": lambda a, b: a // b, "mod": lambda a, b: a % b,
                        "pow": lambda a, b: a**b}.items()
    },
}  # fmt: skip

MODULE = {
    "Tensor": lambda m, o: m.Tensor([1.0, 2.0], (2,), "complex128"),
    "_set_num_threads": lambda m, o: m._set_num_threads(0),
    "get_num_threads": lambda m, o: m.get_num_threads() > 0,
    "_limit_gemm_path": lambda m, o: m._limit_gemm_path(3) >= 0,
    "_gemm_path": lambda m, o: m._gemm_path() >= 0,
    "_amx_probed": lambda m, o: m._amx_probed(),
    "solve": lambda m, o: m.solve(o.a, o.right),
    "inverse": lambda m, o: m.inverse(o.a),
    "lstsq": lambda m, o: m.lstsq(o.a, o.b),
    "cholesky": lambda m, o: m.cholesky(o.p),
    "qr": lambda m, o: m.qr(o.tall),
    **{f"eigh by {method}": lambda m, o, method=method: m.eigh(o.h.real, method)
       for method in ("tridiagonal_ql", "divide_and_conquer", "jacobi")},
    "matrix_rank": lambda m, o: m.matrix_rank(o.a),
    "pinv": lambda m, o: m.pinv(o.tall),
    **{f"svd by {method}": lambda m, o, method=method: m.svd(o.tall, method)
       for method in ("bidiagonal_qr", "divide_and_conquer", "jacobi")},
    "determinant": lambda m, o: m.determinant(o.a),
    "slogdet": lambda m, o: m.slogdet(o.a),
    "einsum": lambda m, o: m.einsum("ij,jk->ki", o.a, o.c),
    "einsum of one": lambda m, o: m.einsum("ii->i", o.a),
    "asarray": lambda m, o: m.asarray(o.a),
    "asarray of an interface": lambda m, o: m.asarray(Exposed(o.a)),
    "asarray that widens": lambda m, o: m.asarray(o.x, "complex128"),
    "asarray of a number": lambda m, o: m.asarray(7),
    "_take": lambda m, o: m._take(o.a, (0, 0), (1, 1), (o.n, 1), (1, 0)),
    **{f"_binary {sign}": lambda m, o, sign=sign: m._binary(sign, o.a, o.c) for sign in "+-*/^"},
    "_negate": lambda m, o: m._negate(o.a),
    **{f"_unary {name}": lambda m, o, name=name: m._unary(name, o.a)
       for name in "exp log sqrt sin cos tan tanh abs".split()},
    **{f"_reduce {name}": lambda m, o, name=name: m._reduce(name, o.x, 0) for name in "sum mean max min".split()},
    "_reshape": lambda m, o: m._reshape(o.a, (o.n * o.n,)),
    "_full": lambda m, o: m._full((o.n, 2), 1.5, False),
    "_eye": lambda m, o: m._eye(o.n, True),
    "_arange": lambda m, o: m._arange(0.0, 5.0, 1.0),
    "_linspace": lambda m, o: m._linspace(0.0, 1.0, o.n),
}  # fmt: skip


class Exposed:
    """An array of another library: nothing but its interface."""

    def __init__(self, tensor):
        self.kept = tensor
        self.__array_interface__ = tensor.__array_interface__


# Calls that raise a documented error.
FAILURES = {
    "iinfo": lambda nm, o: nm.iinfo("int64"),
    "a singular matrix": lambda nm, o: nm.linalg.solve(nm.zeros((o.n, o.n)), o.b),
    "a singular matrix of a stack": lambda nm, o: nm.linalg.inv(
        nm.stack([o.a, nm.zeros((o.n, o.n))])
    ),
    "a matrix that isn't definite": lambda nm, o: nm.linalg.cholesky(-o.p),
    "an infinite entry": lambda nm, o: nm.linalg.svd(o.a * float("inf")),
    "shapes that don't broadcast": lambda nm, o: nm.ones((2, 3)) + nm.ones((4, 5)),
    "a wrong subscript": lambda nm, o: nm.einsum("ij,jk", nm.ones((2, 3)), nm.ones((4, 5))),
    "an index out of bounds": lambda nm, o: o.a[10 * o.n],
    "a ragged list": lambda nm, o: nm.array([[1.0], [1.0, 2.0]]),
    "a text for numbers": lambda nm, o: nm.array(["x"]),
    "a wrong keyword": lambda nm, o: nm.sum(o.a, axes=0),
    "an unknown method": lambda nm, o: nm.linalg.eigh(o.h, method="x"),
    "a write": lambda nm, o: o.a.__setitem__(0, 1.0),
    "a shape of too many elements": lambda nm, o: nm.zeros((2**40, 2**40)),
}


def result_of(call, operands):
    """The digest of a call's result, or the class and text of its error; MemoryError passes."""
    try:
        return digest(call(operands))
    except MemoryError:
        raise
    except Exception as failure:
        return f"{type(failure).__name__}: {failure}"


def calls(nm):
    """Name and call(operands) of everything, for an imported package."""
    for prefix, table, place in (
        ("", FUNCTIONS, nm), ("linalg.", LINALG, nm), ("linalg.", FACTORS, nm), ("Tensor.", TENSOR, nm),
        ("Positions.", POSITIONS, nm), ("_numerical.", MODULE, nm._numerical), ("fails: ", FAILURES, nm),
    ):  # fmt: skip
        for name, call in table.items():
            yield prefix + name, lambda o, call=call, place=place: call(place, o)


def digest(result, into=None):
    """The bytes of a result and of all it holds, as a short text."""
    outermost = into is None
    into = into or hashlib.sha256()
    if result is None or isinstance(result, (str, bytes, bool, int, float, complex)):
        into.update(repr(result).encode())
    elif hasattr(result, "__array_interface__"):
        interface = result.__array_interface__
        into.update(f"{interface['shape']} {interface['typestr']}".encode())
        width = int(interface["typestr"][2:])
        into.update(
            ctypes.string_at(interface["data"][0], result.size * width) if result.size else b""
        )
    elif isinstance(result, dict):
        digest(sorted(result.items()), into)
    else:
        items = list(result)
        into.update(f"{len(items)} items".encode())
        for item in items:
            digest(item, into)
    return into.hexdigest()[:16] if outermost else None
