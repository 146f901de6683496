"""Tensors in other libraries' hands: __array__, pickles out of band, and what Debian has installed."""

import copy
import gc
import pickle
import sys

import numpy as np
import pytest

import numerical as nm
from oracle import close, equal, normal

pytestmark = pytest.mark.boundary

A = normal((30, 4), seed=1)
Y = A @ np.array([1.0, -2.0, 0.5, 3.0])


def bits(t):
    return np.asarray(t).tobytes()


# --- NumPy ---------------------------------------------------------------------------------------
def test_array_is_a_view_unless_a_copy_is_needed():
    t = nm.asarray(A)
    for view in (
        t.__array__(),
        t.__array__(np.float64),
        t.__array__(None, copy=False),
        t.__array__(copy=None),
    ):
        assert np.shares_memory(view, np.asarray(t)) and not view.flags.writeable
    for copied in (
        t.__array__(copy=True),
        t.__array__("float32"),
        t.__array__(np.dtype("complex128"), copy=True),
    ):
        assert not np.shares_memory(copied, np.asarray(t)) and copied.flags.writeable
    assert t.__array__("float32").dtype == np.float32
    with pytest.raises(
        ValueError,
        match=r"^a float64 tensor is no array of float32 without a copy: pass copy=None$",
    ):
        t.__array__("float32", copy=False)


def test_an_array_outlives_its_tensor():
    array = nm.full(1000, 2.0).__array__()
    gc.collect()
    assert array.sum() == 2000.0


# --- pickles -------------------------------------------------------------------------------------
VALUES = [
    nm.asarray(A), nm.array([-0.0, np.nan, np.inf]), nm.array([1 + 2j, complex(-0.0, np.nan)]),
    nm.array(2.5), nm.zeros((0, 3)), nm.zeros((0,), "complex128"),
]  # fmt: skip


@pytest.mark.parametrize("protocol", range(pickle.HIGHEST_PROTOCOL + 1))
def test_a_pickle_of_every_protocol_keeps_every_bit(protocol):
    for t in VALUES:
        back = pickle.loads(pickle.dumps(t, protocol))
        assert back.shape == t.shape and back.dtype is t.dtype and bits(back) == bits(t)


@pytest.mark.parametrize("carried", [bytes, bytearray, memoryview, lambda buffer: buffer])
def test_elements_travel_beside_a_pickle(carried):
    for t in VALUES:
        buffers = []
        words = pickle.dumps(t, protocol=5, buffer_callback=buffers.append)
        assert len(words) < 300 and len(buffers) == 1
        assert buffers[0].raw().nbytes == t.nbytes and buffers[0].raw().readonly
        received = [carried(buffer.raw()) for buffer in buffers]
        back = pickle.loads(words, buffers=received)
        assert back.shape == t.shape and back.dtype is t.dtype and bits(back) == bits(t)


def test_a_buffer_beside_a_pickle_is_no_copy_and_keeps_its_tensor():
    t = nm.asarray(A)
    buffers = []
    pickle.dumps(t, protocol=5, buffer_callback=buffers.append)
    lent = np.frombuffer(buffers[0], dtype=np.uint8)
    assert np.shares_memory(lent, np.asarray(t))
    del t
    gc.collect()
    assert lent.tobytes() == A.tobytes()


def test_a_received_tensor_owns_its_elements():
    t = nm.ones(3)
    buffers = []
    words = pickle.dumps(t, protocol=5, buffer_callback=buffers.append)
    received = bytearray(buffers[0].raw())
    back = pickle.loads(words, buffers=[received])
    received[:] = bytes(24)
    assert back.tolist() == [1.0, 1.0, 1.0]


def test_a_buffer_of_another_length_is_refused():
    words = pickle.dumps(nm.ones(3), protocol=5, buffer_callback=lambda buffer: None)
    for wrong in (b"", bytes(23), bytearray(32)):
        with pytest.raises(ValueError, match=r" bytes are no array of shape \(3,\) and type <f8$"):
            pickle.loads(words, buffers=[wrong])


def test_results_and_copies_survive():
    result = nm.linalg.svd(A)
    back = pickle.loads(pickle.dumps(result, protocol=5))
    assert type(back) is type(result) and all(map(nm.array_equal, back, result))
    t = nm.asarray(A)
    assert copy.copy(t) is t and copy.deepcopy({"t": t})["t"] is t


def test_sizes_count_the_elements():
    t = nm.asarray(A)
    assert (t.nbytes, t.itemsize) == (A.nbytes, A.itemsize)
    assert A.nbytes < sys.getsizeof(t) < A.nbytes + 1000


def test_equal_values_have_one_token():
    t = nm.asarray(A)
    assert t.__dask_tokenize__() == nm.array(A).__dask_tokenize__()
    others = [
        nm.asarray(A, "complex128"),
        nm.asarray(A.reshape(4, 30)),
        nm.asarray(-A),
        nm.asarray(A[1:]),
    ]
    others += [nm.array([0.0]), nm.array([-0.0])]
    tokens = {repr(each.__dask_tokenize__()) for each in [t, *others]}
    assert len(tokens) == 1 + len(others)


# --- SciPy ---------------------------------------------------------------------------------------
def test_scipys_iterations_take_a_tensor_for_a_matrix():
    linalg = pytest.importorskip("scipy.sparse.linalg")
    matrix = A.T @ A + np.eye(4)
    t = nm.asarray(matrix)
    right = nm.ones(4)
    operator = linalg.aslinearoperator(t)
    close(operator.matvec(np.ones(4)), matrix @ np.ones(4), 1e-12)
    tall = linalg.aslinearoperator(nm.asarray(A + 1j))
    close(tall.rmatvec(np.ones(30)), (A - 1j).T @ np.ones(30), 1e-12)
    close(
        linalg.lsqr(nm.asarray(A), nm.asarray(Y), atol=1e-12, btol=1e-12)[0],
        [1.0, -2.0, 0.5, 3.0],
        1e-8,
    )
    ours = linalg.LinearOperator((4, 4), matvec=lambda x: t @ x, dtype=t.dtype)
    for solver in (linalg.cg, linalg.gmres):
        for given in (t, ours):
            found, status = solver(given, right)
            assert status == 0
            close(found, np.linalg.solve(matrix, np.ones(4)), 1e-4)
    close(linalg.eigsh(ours, k=1)[0], np.linalg.eigvalsh(matrix)[-1:], 1e-8)


def test_sparse_matrices_meet_tensors():
    sparse = pytest.importorskip("scipy.sparse")
    linalg = pytest.importorskip("scipy.sparse.linalg")
    matrix = sparse.csc_matrix(np.diag([1.0, 2.0, 4.0]))
    close(linalg.spsolve(matrix, nm.ones(3)), [1.0, 0.5, 0.25])
    close(matrix @ nm.ones(3), [1.0, 2.0, 4.0])
    close(sparse.csr_matrix(nm.eye(3)).toarray(), np.eye(3))
    scipy_linalg = pytest.importorskip("scipy.linalg")
    close(scipy_linalg.expm(nm.zeros((2, 2))), np.eye(2))


def test_optimization_starts_from_a_tensor():
    optimize = pytest.importorskip("scipy.optimize")
    t, y = nm.asarray(A), nm.asarray(Y)
    found = optimize.least_squares(lambda x: t @ x - y, nm.zeros(4))
    close(found.x, [1.0, -2.0, 0.5, 3.0], 1e-6)


# --- tables, symbols, files, figures -------------------------------------------------------------
def test_pandas_takes_tensors_and_gives_them():
    pandas = pytest.importorskip("pandas")
    frame = pandas.DataFrame(nm.asarray(A), columns=list("abcd"))
    assert frame.shape == A.shape and (frame.dtypes == np.float64).all()
    frame["y"] = nm.asarray(Y)
    np.testing.assert_array_equal(frame["y"].to_numpy(), Y)
    equal(nm.asarray(frame[["a", "b"]]), A[:, :2])
    equal(nm.asarray(frame["y"]), Y)
    series = pandas.Series(nm.array([1.0, 2.0]))
    assert (series * nm.array([3.0, 4.0])).tolist() == [3.0, 8.0]
    close(nm.linalg.lstsq(frame[list("abcd")], frame["y"]).x, [1.0, -2.0, 0.5, 3.0])


def test_sympy_takes_tensors_and_gives_them():
    sympy = pytest.importorskip("sympy")
    x = sympy.symbols("x")
    matrix = sympy.Matrix(nm.array([[1.0, 2.0], [3.0, 4.0]]))
    assert matrix.det() == -2
    equal(nm.asarray(np.array(matrix.tolist(), dtype=float)), [[1.0, 2.0], [3.0, 4.0]])
    close(sympy.lambdify(x, x**2 + 1, "numpy")(nm.array([1.0, 2.0])), [2.0, 5.0])
    function = sympy.lambdify(x, sympy.sin(x) + x, "numpy")
    close(function(nm.asarray(Y)), np.sin(Y) + Y)


def test_h5py_keeps_tensors(tmp_path):
    h5py = pytest.importorskip("h5py")
    with h5py.File(tmp_path / "kept.h5", "w") as file:
        file["t"] = nm.asarray(A)
        file.create_dataset("z", data=nm.array([1j]))
        file.create_dataset("part", (4, 4), dtype=nm.float64)[:2] = nm.asarray(A[:2])
    with h5py.File(tmp_path / "kept.h5") as file:
        equal(nm.asarray(file["t"]), A)
        equal(nm.asarray(file["z"]), [1j])
        equal(nm.asarray(file["part"][:2]), A[:2])


def test_joblib_hands_tensors_to_processes_and_files(tmp_path):
    joblib = pytest.importorskip("joblib")
    t = nm.asarray(A)
    joblib.dump({"t": t}, tmp_path / "kept.joblib")
    assert bits(joblib.load(tmp_path / "kept.joblib")["t"]) == A.tobytes()
    assert joblib.hash(t) == joblib.hash(nm.array(A)) != joblib.hash(nm.asarray(-A))
    doubled = joblib.Parallel(n_jobs=2, prefer="threads")(
        joblib.delayed(nm.multiply)(t, factor) for factor in (1.0, 2.0)
    )
    equal(doubled[1], 2 * A)


def test_matplotlib_draws_tensors():
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    pyplot = pytest.importorskip("matplotlib.pyplot")
    figure, axes = pyplot.subplots()
    (line,) = axes.plot(nm.linspace(0, 1, 5), nm.array([0.0, 1.0, 4.0, 9.0, 16.0]))
    equal(line.get_ydata(), [0.0, 1.0, 4.0, 9.0, 16.0])
    image = axes.imshow(nm.asarray(A))
    equal(image.get_array().data, A)
    axes.scatter(nm.asarray(A[:, 0]), nm.asarray(A[:, 1]), c=nm.asarray(Y))
    axes.contour(nm.asarray(A[:4]))
    figure.canvas.draw()
    pyplot.close(figure)


# --- scikit-learn --------------------------------------------------------------------------------
def test_scikit_learn_splits_and_fits_tensors():
    selection = pytest.importorskip("sklearn.model_selection")
    linear = pytest.importorskip("sklearn.linear_model")
    preprocessing = pytest.importorskip("sklearn.preprocessing")
    pipeline = pytest.importorskip("sklearn.pipeline")
    t, y = nm.asarray(A), nm.asarray(Y)
    train, test, y_train, y_test = selection.train_test_split(t, y, random_state=0)
    assert train.shape == (22, 4) and test.shape == (8, 4)
    ours = selection.train_test_split(A, Y, random_state=0)
    equal(test, ours[1])
    equal(y_train, ours[2])
    model = pipeline.make_pipeline(preprocessing.StandardScaler(), linear.LinearRegression())
    model.fit(train, y_train)
    close(model.predict(test), y_test, 1e-10)
    assert model.score(test, y_test) > 1 - 1e-12
    assert min(selection.cross_val_score(model, t, y, cv=selection.KFold(3))) > 1 - 1e-12
