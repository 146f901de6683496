"""Dask's arrays of tensors: our kernels run in every task, and the bits don't depend on the workers."""

import numpy as np
import pytest

import numerical as nm
from numerical import _array_functions
from oracle import close, normal

dask = pytest.importorskip("dask")
da = pytest.importorskip("dask.array")

A = normal((400, 6), seed=1)
B = A @ np.arange(1.0, 7.0) + normal(400, seed=2)


@pytest.fixture
def tall():
    with dask.config.set(scheduler="synchronous"):
        yield da.from_array(nm.asarray(A), chunks=(100, 6))


@pytest.fixture
def right():
    return da.from_array(nm.asarray(B), chunks=100)


RESULTS = {
    "sum": (lambda a, b: a.sum(axis=0), A.sum(axis=0)),
    "mean": (lambda a, b: a.mean(axis=0), A.mean(axis=0)),
    "max": (lambda a, b: a.max(axis=0), A.max(axis=0)),
    "arithmetic": (lambda a, b: (2.0 * a + 1.0) / 3.0 - a, (2.0 * A + 1.0) / 3.0 - A),
    "product": (lambda a, b: a.T @ a, A.T @ A),
    "dot": (lambda a, b: da.dot(a.T, b), A.T @ B),
    "tensordot": (lambda a, b: da.tensordot(a, a, axes=(0, 0)), A.T @ A),
    "einsum": (lambda a, b: da.einsum("ij,ik->jk", a, a), A.T @ A),
    "slice": (lambda a, b: a[10:300:3, 1:], A[10:300:3, 1:]),
    "concatenate": (lambda a, b: da.concatenate([a, a], axis=1), np.hstack([A, A])),
    "rechunk": (lambda a, b: a.rechunk((150, 3)), A),
    "R": (lambda a, b: da.linalg.qr(a)[1], nm.linalg.qr(A).R),
    "Q": (lambda a, b: da.linalg.qr(a)[0], nm.linalg.qr(A).Q),
    "singular values": (lambda a, b: da.linalg.svd(a)[1], np.linalg.svd(A)[1]),
}


@pytest.mark.parametrize("name", RESULTS)
def test_results_are_tensors(name, tall, right):
    call, expected = RESULTS[name]
    result = call(tall, right).compute()
    assert type(result) is nm.Tensor
    close(result, expected, 1e-11)


def test_figures_are_numbers(tall):
    assert tall.sum().compute() == pytest.approx(A.sum(), rel=1e-12)
    assert da.linalg.norm(tall).compute() == pytest.approx(np.linalg.norm(A), rel=1e-14)
    close(tall.std(axis=0).compute(), A.std(axis=0), 1e-12)


def test_a_decomposition_multiplies_back(tall):
    u, s, vh = dask.compute(*da.linalg.svd(tall))
    assert all(type(part) is nm.Tensor for part in (u, s, vh))
    close((u * s) @ vh, A, 1e-12)


def test_least_squares(tall, right):
    x, residuals, rank, values = dask.compute(*da.linalg.lstsq(tall, right))
    expected = np.linalg.lstsq(A, B, rcond=None)
    close(x, expected[0], 1e-11)
    close(residuals, expected[1], 1e-10)
    assert rank == 6
    close(values, expected[3], 1e-10)


def test_every_block_of_a_qr_is_ours(tall, monkeypatch):
    q, r = da.linalg.qr(tall)
    blocks = []
    plain = nm.linalg.qr
    monkeypatch.setattr(
        _array_functions.linalg, "qr", lambda a, mode: blocks.append(a.shape) or plain(a, mode)
    )
    r.compute()
    assert sorted(blocks) == [(24, 6), (100, 6), (100, 6), (100, 6), (100, 6)]


# --- processes -----------------------------------------------------------------------------------
def bits_at(workers):
    """The bits of a QR, of singular values and of a product computed by as many local processes."""
    distributed = pytest.importorskip("distributed")
    with dask.config.set({
        "distributed.worker.daemon": False, "distributed.comm.timeouts.connect": "600s",
        "distributed.comm.timeouts.tcp": "600s",
    }):  # fmt: skip
        with distributed.LocalCluster(
            n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None,
        ) as cluster, distributed.Client(cluster) as client:  # fmt: skip
            client.run(nm.set_num_threads, 1)
            tall = da.from_array(nm.asarray(A), chunks=(100, 6))
            q, r = da.linalg.qr(tall)
            results = client.compute([q, r, da.linalg.svd(tall)[1], tall.T @ tall], sync=True)
    assert all(type(result) is nm.Tensor for result in results)
    return [np.asarray(result).tobytes() for result in results]


def test_bits_are_the_same_with_one_worker_and_two():
    assert bits_at(1) == bits_at(2)
