"""Two drums of different shape that sound the same.

Gordon, Webb and Wolpert answered Kac's question, whether one can hear the shape of a drum, by two
polygons whose vibrations have the same frequencies. Here both are laid on a square grid; the five
point Laplacian on the inner points is a symmetric matrix, whose eigenvalues are the squared
frequencies. As the grid shares the polygons' symmetries, the discrete spectra agree to rounding.

References
    C. Gordon, D. Webb and S. Wolpert, One cannot hear the shape of a drum, Bulletin of the American
        Mathematical Society 27 (1992).
"""

import pathlib

import numerical as nm
import picture

FIRST = [(0, 0), (0, 1), (2, 3), (2, 2), (3, 2), (2, 1), (1, 1), (1, 0)]
SECOND = [(1, 0), (0, 1), (0, 2), (2, 2), (2, 3), (3, 2), (2, 1), (1, 1)]
STEPS = 16  # grid steps in a unit


def inner_points(polygon, steps):
    """Grid points strictly inside, in units of a step."""
    corners = [(x * steps, y * steps) for x, y in polygon]
    edges = list(zip(corners, corners[1:] + corners[:1]))

    def inside(x, y):
        crossings = 0
        for (ax, ay), (bx, by) in edges:
            cross = (bx - ax) * (y - ay) - (by - ay) * (x - ax)
            between = min(ax, bx) <= x <= max(ax, bx) and min(ay, by) <= y <= max(ay, by)
            if cross == 0 and between:
                return False  # on the rim, which doesn't move
            if (ay <= y) != (by <= y) and ax + (y - ay) * (bx - ax) / (by - ay) > x:
                crossings += 1
        return crossings % 2 == 1

    return [(x, y) for y in range(3 * steps + 1) for x in range(3 * steps + 1) if inside(x, y)]


def laplacian(points, steps):
    index = {point: i for i, point in enumerate(points)}
    n = len(points)
    flat = [0.0] * (n * n)
    for (x, y), i in index.items():
        flat[i * n + i] = 4.0 * steps * steps
        for neighbour in ((x - 1, y), (x + 1, y), (x, y - 1), (x, y + 1)):
            if neighbour in index:
                flat[i * n + index[neighbour]] = -1.0 * steps * steps
    return nm.Tensor(flat, (n, n))


def draw(points, mode, steps):
    """A vibration: red where it is up, blue where it is down."""
    size = 3 * steps + 1
    pixels = [[(235, 235, 235)] * size for _ in range(size)]
    largest = max(map(abs, mode))
    for (x, y), value in zip(points, mode):
        part = value / largest
        fade = int(255 * (1 - abs(part)))
        pixels[size - 1 - y][x] = (255, fade, fade) if part > 0 else (fade, fade, 255)
    return [[pixel for pixel in row for _ in range(4)] for row in pixels for _ in range(4)]


def main():
    spectra, pictures = [], []
    for polygon in (FIRST, SECOND):
        points = inner_points(polygon, STEPS)
        values, vectors = nm.linalg.eigh(laplacian(points, STEPS))
        spectra.append(values)
        pictures.append(draw(points, vectors[:, 2].tolist(), STEPS))
        print(f"{len(points)} points, squared frequencies"
              f" {', '.join(f'{v:.6f}' for v in values[:5].tolist())}, ...")  # fmt: skip
    difference = nm.max(nm.abs(spectra[0] - spectra[1])) / nm.max(spectra[0])
    print(f"largest difference of the {spectra[0].size} values: {difference:.1e} of the largest")
    target = pathlib.Path("build") / "gallery" / "drums.png"
    picture.write_png(target, [a + b for a, b in zip(*pictures)])
    print(f"the third vibration of both: {target}")


if __name__ == "__main__":
    main()
