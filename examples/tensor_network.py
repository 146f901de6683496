"""The heat capacity of an Ising magnet, as a contracted network of tensors.

Every spin of a square lattice on a torus points up or down; equal neighbours are e^(1/T) as likely
as they would be, unequal ones e^(-1/T). The sum over all 2^(rows·columns) states is a network: one
matrix on each bond, joined where they share a spin. A column of bonds is one matrix W between the
states of neighbouring columns, and the sum is the trace of its power. The exact value on the infinite
lattice peaks at T = 2/log(1 + sqrt(2)) (Onsager 1944).

References
    L. Onsager, Crystal statistics I, Physical Review 65 (1944).
"""

import itertools
import math
import pathlib

import numerical as nm
import picture

ROWS = 6  # spins in a column, so that W has 64 rows
COLUMNS = 6
CRITICAL = 2 / math.log(1 + math.sqrt(2))


def bond(temperature):
    same, other = math.exp(1 / temperature), math.exp(-1 / temperature)
    return nm.array([[same, other], [other, same]])


def column_matrix(temperature, rows):
    """W[s, t]: the bonds between columns in states s and t, and half of those inside each."""
    across = bond(temperature)
    between = across
    for _ in range(rows - 1):
        between = nm.kron(between, across)
    states = list(itertools.product((1, -1), repeat=rows))
    inside = nm.array(
        [
            math.exp(sum(s[i] * s[(i + 1) % rows] for i in range(rows)) / 2 / temperature)
            for s in states
        ]
    )
    return nm.einsum("s,st,t->st", inside, between, inside)


def log_partition(temperature, rows=ROWS, columns=COLUMNS):
    """By the ring of columns; scaled, as the sum itself would overflow for larger lattices."""
    w = column_matrix(temperature, rows)
    scale = nm.max(w)
    letters = "abcdefghij"[:columns]
    ring = ",".join(a + b for a, b in zip(letters, letters[1:] + letters[0]))
    return math.log(nm.einsum(f"{ring}->", *[w / scale] * columns)) + columns * math.log(scale)


def log_partition_by_counting(temperature, rows, columns):
    total = 0.0
    for states in itertools.product((1, -1), repeat=rows * columns):
        energy = 0
        for i, j in itertools.product(range(rows), range(columns)):
            spin = states[i * columns + j]
            energy += spin * states[(i + 1) % rows * columns + j]
            energy += spin * states[i * columns + (j + 1) % columns]
        total += math.exp(energy / temperature)
    return math.log(total)


def heat_capacity(temperature, step=1e-3):
    """T·d²(T·log Z)/dT² for each spin, by differences."""
    free = [t * log_partition(t) for t in (temperature - step, temperature, temperature + step)]
    return temperature * (free[0] - 2 * free[1] + free[2]) / step**2 / (ROWS * COLUMNS)


def main():
    check = log_partition_by_counting(2.0, 3, 3) - log_partition(2.0, 3, 3)
    print(f"3 x 3 spins, all 512 states counted: log Z differs by {abs(check):.1e}")
    temperatures = [1.5 + 0.05 * i for i in range(41)]
    capacities = [heat_capacity(t) for t in temperatures]
    peak = temperatures[capacities.index(max(capacities))]
    print(f"{ROWS} x {COLUMNS} spins: the heat capacity peaks at T = {peak:.2f};"
          f" the infinite lattice's at {CRITICAL:.3f}")  # fmt: skip
    height = 120
    pixels = [[(255, 255, 255)] * (4 * len(capacities)) for _ in range(height)]
    for i, value in enumerate(capacities):
        for row in range(int(height * (1 - 0.95 * value / max(capacities))), height):
            for column in range(4 * i, 4 * i + 3):
                pixels[row][column] = (190, 90, 60) if temperatures[i] == peak else (90, 110, 150)
    target = pathlib.Path("build") / "gallery" / "ising.png"
    picture.write_png(target, pixels)
    print(f"heat capacity over temperature: {target}")


if __name__ == "__main__":
    main()
