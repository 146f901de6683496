"""cholesky and qr: results, shapes and messages."""

import threading

import _numerical
import numpy as np
import pytest

EPS = np.finfo(float).eps
GREATEST = np.finfo(float).max
DTYPES = ["float64", "complex128"]

# 64 by 64 are 4096 elements, from which on the interpreter lock is released.
ORDERS = [1, 2, 3, 16, 17, 33, 63, 64, 65, 128, 129, 256, 257, 300]
SHAPES = [
    (1, 1),
    (1, 5),
    (5, 1),
    (3, 3),
    (33, 20),
    (20, 33),
    (64, 64),
    (65, 63),
    (300, 40),
    (40, 300),
]


def tensor(array):
    array = np.asarray(array)
    dtype = "complex128" if np.iscomplexobj(array) else "float64"
    return _numerical.Tensor(array.ravel().tolist(), array.shape, dtype)


def normal(shape, dtype="float64", seed=0):
    generator = np.random.default_rng(seed)
    numbers = generator.standard_normal(shape)
    return numbers + 1j * generator.standard_normal(shape) if dtype == "complex128" else numbers


def definite(n, dtype):
    b = normal((n, n), dtype)
    return b @ b.conj().T / n + np.eye(n)


def norm(a):
    return np.abs(a).sum(axis=1).max() if a.size else 0.0


def error_of(function, *arguments):
    with pytest.raises(Exception) as caught:
        function(*arguments)
    return caught.type, str(caught.value)


def qr(a):
    q, r = _numerical.qr(tensor(a))
    return np.asarray(q), np.asarray(r)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("n", ORDERS)
def test_cholesky_factor_is_that_of_numpy(n, dtype):
    a = definite(n, dtype)
    factor = _numerical.cholesky(tensor(a))
    assert factor.shape == (n, n)
    assert factor.dtype == dtype
    l = np.asarray(factor)
    assert norm(l @ l.conj().T - a) < 4 * n * EPS * norm(a)
    assert np.allclose(l, np.linalg.cholesky(a), rtol=0, atol=1e-12)
    assert not np.triu(l, 1).any()
    assert (np.diagonal(l).imag == 0).all()


@pytest.mark.parametrize("dtype", DTYPES)
def test_cholesky_of_an_empty_matrix(dtype):
    factor = _numerical.cholesky(tensor(np.empty((0, 0), dtype)))
    assert factor.shape == (0, 0)
    assert factor.dtype == dtype


@pytest.mark.parametrize("dtype", DTYPES)
def test_cholesky_leaves_its_argument_alone(dtype):
    a = tensor(definite(70, dtype))
    before = a.tolist()
    _numerical.cholesky(a)
    assert a.tolist() == before


def test_cholesky_reads_the_lower_triangle():
    assert _numerical.cholesky(tensor([[4.0, 99.0], [2.0, 10.0]])).tolist() == [
        [2.0, 0.0],
        [1.0, 3.0],
    ]


def test_cholesky_ignores_the_imaginary_part_of_the_diagonal():
    a = [[4 + 9j, 0], [2 + 2j, 6 - 1j]]
    assert _numerical.cholesky(tensor(a)).tolist() == [[2, 0], [1 + 1j, 2]]


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize(
    "a",
    [
        [[0.0]],
        [[-1.0]],
        [[1.0, 0.0], [0.0, -1.0]],
        [[1.0, 1.0], [1.0, 1.0]],
        np.zeros((3, 3)),
        np.diag([1.0] * 99 + [-1.0]),
    ],
)
def test_cholesky_refuses_a_matrix_that_is_not_positive_definite(a, dtype):
    assert error_of(_numerical.cholesky, tensor(np.asarray(a, dtype))) == (
        _numerical.error,
        "Cholesky: matrix is not positive-definite",
    )


@pytest.mark.parametrize("dtype", DTYPES)
def test_cholesky_refuses_what_is_no_square_matrix(dtype):
    for shape in [(), (4,), (1, 2, 2)]:
        assert error_of(_numerical.cholesky, tensor(np.ones(shape, dtype))) == (
            _numerical.error,
            "cholesky expects a matrix (rank-2 tensor)",
        )
    for shape in [(2, 3), (3, 2), (0, 1)]:
        assert error_of(_numerical.cholesky, tensor(np.full(shape, np.nan, dtype))) == (
            _numerical.error,
            "Cholesky decomposition requires a square matrix",
        )


@pytest.mark.parametrize("bad", [np.nan, np.inf, -np.inf])
def test_factorizations_refuse_entries_that_are_not_finite(bad):
    a = np.eye(3)
    a[0, 2] = bad  # also above the diagonal
    for function, name in [(_numerical.cholesky, "Cholesky"), (_numerical.qr, "QR")]:
        message = f"{name} decomposition: the matrix holds an infinite or NaN entry"
        assert error_of(function, tensor(a)) == (_numerical.error, message)
        assert error_of(function, tensor(a.astype(complex))) == (_numerical.error, message)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", SHAPES)
def test_qr_is_that_of_numpy_with_a_positive_diagonal(shape, dtype):
    a = normal(shape, dtype)
    q, r = qr(a)
    k = min(shape)
    assert q.shape == (shape[0], k)
    assert r.shape == (k, shape[1])
    size = max(shape)
    assert norm(q @ r - a) < 8 * size * EPS * norm(a)
    assert norm(q.conj().T @ q - np.eye(k)) < 8 * size * EPS
    assert not np.tril(r, -1).any()
    assert (np.diagonal(r).real >= 0).all()
    assert (np.diagonal(r).imag == 0).all()

    theirs_q, theirs_r = np.linalg.qr(a)
    phases = np.diagonal(theirs_r) / np.abs(np.diagonal(theirs_r))
    assert np.allclose(q, theirs_q * phases, rtol=0, atol=1e-11)
    assert np.allclose(r, theirs_r * phases.conj()[:, None], rtol=0, atol=1e-11 * norm(a))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(0, 0), (3, 0), (0, 3)])
def test_qr_of_an_empty_matrix(shape, dtype):
    q, r = _numerical.qr(tensor(np.empty(shape, dtype)))
    assert (q.shape, r.shape) == ((shape[0], 0), (0, shape[1]))
    assert q.dtype == r.dtype == dtype


def test_qr_gives_a_tuple_of_two():
    result = _numerical.qr(tensor([[-3.0]]))
    assert type(result) is tuple
    assert [part.tolist() for part in result] == [[[-1.0]], [[3.0]]]
    assert [part.tolist() for part in _numerical.qr(tensor([[0.0]]))] == [[[1.0]], [[0.0]]]


def test_qr_of_zero_columns():
    a = normal((6, 4))
    a[:, [0, 2]] = 0
    q, r = qr(a)
    assert norm(q @ r - a) < 50 * EPS * norm(a)
    assert norm(q.T @ q - np.eye(4)) < 50 * EPS
    assert r[0, 0] == 0


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("scale", [1e-300, 1e-140, 1e200, GREATEST / 8])
def test_qr_of_extreme_matrices(scale, dtype):
    a = normal((40, 30), dtype)
    a /= np.abs(a).max()
    q, r = qr(a * scale)
    assert norm(q.conj().T @ q - np.eye(30)) < 8 * 40 * EPS
    assert norm(q @ (r / scale) - a) < 8 * 40 * EPS * norm(a)


def test_qr_near_the_overflow_limit():
    for a in ([[0.9 * GREATEST]], [[0.9j * GREATEST]], [[0.0], [0.9 * GREATEST]]):
        q, r = qr(a)
        assert abs(r[0, 0] / GREATEST - 0.9) < 4 * EPS
        assert abs(norm(q.conj().T @ q) - 1) < 4 * EPS


@pytest.mark.parametrize("dtype", DTYPES)
def test_qr_refuses_what_is_no_matrix(dtype):
    for shape in [(), (4,), (1, 2, 2)]:
        assert error_of(_numerical.qr, tensor(np.full(shape, np.nan, dtype))) == (
            _numerical.error,
            "qr expects a matrix (rank-2 tensor)",
        )


@pytest.mark.parametrize("function", [_numerical.cholesky, _numerical.qr])
def test_factorizations_take_one_tensor(function):
    assert error_of(function)[0] is TypeError
    assert error_of(function, tensor(np.eye(2)), tensor(np.eye(2)))[0] is TypeError
    assert error_of(function, [[1.0]])[0] is TypeError


def test_factorizations_run_beside_each_other():
    a = definite(300, "float64")
    shared = tensor(a)
    expected = [_numerical.cholesky(shared).tolist(), *(x.tolist() for x in _numerical.qr(shared))]
    wrong = []

    def work():
        for _ in range(5):
            got = [
                _numerical.cholesky(shared).tolist(),
                *(x.tolist() for x in _numerical.qr(shared)),
            ]
            if got != expected:
                wrong.append(got)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []
