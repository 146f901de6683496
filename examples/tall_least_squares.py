"""A least-squares problem larger than the memory that it may use, solved out of core with Dask.

A curve is fitted by cosines to samples of it: a row of the matrix for each sample, a column for each
cosine, and the samples as one more column. A triangular factor is all that is needed of it:

    [ A  b ] = Q·R,   R = [ T  c ]       T·x = c gives the coefficients,
                          [ 0  ρ ]       |ρ| is the norm of the residual.

Dask makes a block of rows when a worker has room for it, factors it by our QR, keeps its triangle and
forgets the block; one more QR factors the triangles below each other (Demmel, Grigori, Hoemmen and
Langou 2012). The system refuses memory beyond the limit: a program that held the whole matrix would
end in a MemoryError.

References
    J. Demmel, L. Grigori, M. Hoemmen and J. Langou, Communication-optimal parallel and sequential QR
        and LU factorizations, SIAM Journal on Scientific Computing 34 (2012).
"""

import argparse
import math
import resource

import dask
import dask.array as da
from dask.diagnostics import ProgressBar

import numerical as nm

MIB = 2**20


def samples(first, count, rows, cosines):
    """Rows of [A b]: cosines at `count` places of [0, 1), and the curve there."""
    places = nm.arange(first, first + count) / rows
    columns = [nm.cos((math.pi * k) * places) for k in range(cosines)]
    curve = nm.exp(nm.sin(6.0 * places)) + 0.01 * nm.cos(1e6 * places)
    return nm.stack([*columns, curve], axis=1)


def blocks(rows, cosines, block_rows):
    """The same rows as an array of Dask, of which nothing is computed yet."""
    make = dask.delayed(samples)
    empty = nm.zeros((0, 0))
    return da.concatenate([
        da.from_delayed(make(first, count, rows, cosines), (count, cosines + 1), meta=empty)
        for first in range(0, rows, block_rows)
        for count in [min(block_rows, rows - first)]
    ])  # fmt: skip


def fit(rows, cosines, block_rows):
    """The coefficients and the norm of the residual, by blocks of rows."""
    _, r = da.linalg.qr(blocks(rows, cosines, block_rows))
    with ProgressBar():
        r = r.compute(scheduler="threads")
    x = nm.linalg.solve(r[:cosines, :cosines], r[:cosines, cosines])
    return x, abs(r[cosines, cosines])


def data_in_use():
    """Bytes of the process's data segments, the ones that RLIMIT_DATA counts."""
    with open("/proc/self/status") as status:
        line = next(line for line in status if line.startswith("VmData:"))
    return int(line.split()[1]) * 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rows", type=int, default=1_500_000)
    parser.add_argument("--cosines", type=int, default=63)
    parser.add_argument("--block-rows", type=int, default=25_000)
    parser.add_argument("--memory", type=int, default=256, help="MiB beside what Python has taken")
    given = parser.parse_args()
    nm.set_num_threads(1)  # Dask runs a block on each processor already

    few = 4 * given.block_rows
    whole = samples(0, few, few, given.cosines)
    expected = nm.linalg.lstsq(whole[:, :-1], whole[:, -1]).x
    x, _ = fit(few, given.cosines, given.block_rows)
    difference = nm.linalg.norm(x - expected) / nm.linalg.norm(expected)
    print(f"{few} rows fit: by blocks and as a whole the coefficients differ by {difference:.1e}")
    del whole

    size = 8 * given.rows * (given.cosines + 1) / MIB
    limit = data_in_use() + given.memory * MIB
    resource.setrlimit(resource.RLIMIT_DATA, (limit, limit))
    print(f"{given.rows} rows are {size:.0f} MiB, the limit is {given.memory} MiB")
    x, residual = fit(given.rows, given.cosines, given.block_rows)
    deviation = residual / math.sqrt(given.rows)
    print(
        f"root mean square of the residual: {deviation:.6f}, of the ripple: {0.01 / math.sqrt(2):.6f}"
    )


if __name__ == "__main__":
    main()
