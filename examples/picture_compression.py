"""A picture by its largest singular values.

The picture is a matrix of brightness; the first k singular triples give the nearest matrix of rank
k (Eckart and Young 1936), and take k·(rows + columns + 1) numbers instead of rows·columns. The
picture is real: a Mandelbrot set would do, but here it is the relief that terrain.py draws, lit from
the north-west.

References
    C. Eckart and G. Young, The approximation of one matrix by another of lower rank,
        Psychometrika 1 (1936).
"""

import pathlib

import numerical as nm
import picture
import terrain

RANKS = (4, 12, 40)


def relief():
    """Brightness of the island's relief, 0 to 1, from 500 places to be quick."""
    places, coast = terrain.gather_places(500)
    count = len(places.x)
    x, y = (nm.asarray(terrain.lent(axis, (count, 1))) for axis in (places.x, places.y))
    heights = nm.asarray(terrain.lent(places.height, (count,)))
    weights = nm.solve(terrain.hyperboloids(x, y, places), heights)
    pixels = terrain.paint(terrain.surface(weights, places, coast))
    return nm.array([[sum(pixel) / 765.0 for pixel in row] for row in pixels])


def of_rank(k, u, s, vh):
    return (u[:, :k] * s[:k]) @ vh[:k]


def grey(matrix):
    return [[(min(max(int(255 * x), 0), 255),) * 3 for x in row] for row in matrix.tolist()]


def main():
    original = relief()
    rows, columns = original.shape
    u, s, vh = nm.linalg.svd(original, full_matrices=False)
    strips = [grey(original)]
    for k in RANKS:
        near = of_rank(k, u, s, vh)
        error = nm.linalg.norm(original - near) / nm.linalg.norm(original)
        kept = k * (rows + columns + 1) / (rows * columns)
        rest = nm.linalg.norm(s[k:]) / nm.linalg.norm(s)
        print(f"rank {k:3}: {100 * kept:5.1f} % of the numbers, error {100 * error:5.2f} %,"
              f" as the values left out tell ({100 * rest:5.2f} %)")  # fmt: skip
        strips.append(grey(near))
    joined = [sum((strip[i] for strip in strips), []) for i in range(rows)]
    target = pathlib.Path("build") / "gallery" / "compression.png"
    picture.write_png(target, joined)
    print(f"the original and ranks {', '.join(map(str, RANKS))}: {target}")


if __name__ == "__main__":
    main()
