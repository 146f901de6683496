"""The island of Hawaii, interpolated from its known heights and its coast.

Hardy's multiquadric method (Hardy 1971): the surface is a sum of hyperboloids, one over each
place, whose weights solve a dense symmetric system of as many unknowns as there are places. The
inverse gives the error that each height would have if it were left out (Rippa 1999), and the
determinant's sign is known beforehand: such a matrix has one positive eigenvalue and no zero one
(Micchelli 1986).

References
    R. L. Hardy, Multiquadric equations of topography and other irregular surfaces, Journal of
        Geophysical Research 76 (1971).
    C. A. Micchelli, Interpolation of scattered data: distance matrices and conditionally positive
        definite functions, Constructive Approximation 2 (1986).
    S. Rippa, An algorithm for selecting a good value for the parameter c in radial basis function
        interpolation, Advances in Computational Mathematics 11 (1999).
"""

import array
import dataclasses
import math
import pathlib
import statistics
import sys
import time

import numerical as nm
import picture

HERE = pathlib.Path(__file__).parent
UNKNOWNS = 2000
ROUNDING = 1.0  # km: the radius within which a hyperboloid is blunt
KM_PER_DEGREE = 111.2
WEST, EAST, SOUTH, NORTH = -156.12, -154.76, 18.86, 20.32
COLUMNS, ROWS = 300, 340


@dataclasses.dataclass
class Places:
    x: array.array  # km east of Greenwich along the island's middle parallel
    y: array.array  # km north of the equator
    height: array.array  # m
    names: list[str]  # of the first places; those of the coast have none


class lent:
    """An array of doubles, lent under a shape through the array interface."""

    def __init__(self, numbers: array.array, shape: tuple[int, ...]):
        self.numbers = numbers
        self.__array_interface__ = {
            "version": 3,
            "typestr": "<f8",
            "shape": shape,
            "data": (numbers.buffer_info()[0], True),
        }


def east(longitude: float) -> float:
    return longitude * KM_PER_DEGREE * math.cos(math.radians((SOUTH + NORTH) / 2))


def north(latitude: float) -> float:
    return latitude * KM_PER_DEGREE


def read_island() -> tuple[list[tuple[float, float, float, str]], list[tuple[float, float]]]:
    heights, coast = [], []
    text = (HERE / "data" / "hawaii.txt").read_text()
    inland, _, outline = text.partition("\ncoast\n")
    for line in inland.splitlines():
        if line and not line.startswith("#"):
            longitude, latitude, height, name = line.split(maxsplit=3)
            heights.append((east(float(longitude)), north(float(latitude)), float(height), name))
    for line in outline.splitlines():
        longitude, latitude = line.split()
        coast.append((east(float(longitude)), north(float(latitude))))
    return heights, coast


def along(outline: list[tuple[float, float]], count: int) -> list[tuple[float, float]]:
    """`count` points at equal distances along the closed outline."""
    corners = [*outline, outline[0]]
    lengths = [math.dist(a, b) for a, b in zip(corners, corners[1:])]
    step = sum(lengths) / count
    points, corner, walked = [], 0, 0.0
    for index in range(count):
        while index * step > walked + lengths[corner]:
            walked += lengths[corner]
            corner += 1
        part = (index * step - walked) / lengths[corner]
        (ax, ay), (bx, by) = corners[corner], corners[corner + 1]
        points.append((ax + part * (bx - ax), ay + part * (by - ay)))
    return points


def gather_places(unknowns: int) -> tuple[Places, list[tuple[float, float]]]:
    heights, coast = read_island()
    shore = along(coast, unknowns - len(heights))
    places = Places(
        array.array("d", [place[0] for place in heights] + [point[0] for point in shore]),
        array.array("d", [place[1] for place in heights] + [point[1] for point in shore]),
        array.array("d", [place[2] for place in heights] + [0.0] * len(shore)),
        [place[3] for place in heights],
    )
    return places, coast


def hyperboloids(x: nm.Tensor, y: nm.Tensor, places: Places) -> nm.Tensor:
    """Row i: the value at point i, given as columns x and y, of the hyperboloid over each place."""
    count = len(places.x)
    dx = x - nm.asarray(lent(places.x, (1, count)))
    dy = y - nm.asarray(lent(places.y, (1, count)))
    return (dx * dx + dy * dy + ROUNDING**2) ** 0.5


def timed(what: str, call):
    print(f"  {what:<34}", end="", flush=True)
    start = time.perf_counter()
    result = call()
    seconds = time.perf_counter() - start
    print(f"{seconds:7.3f} s", flush=True)
    return result, seconds


def compare_with_numpy(matrix: nm.Tensor, heights: nm.Tensor, seconds: float) -> None:
    try:
        import numpy
    except ImportError:
        print("  NumPy isn't installed: nothing to compare with")
        return
    a, b = numpy.array(matrix), numpy.array(heights)
    theirs, theirs_seconds = [], []
    ours_seconds = [seconds]
    for _ in range(3):
        theirs, spent = timed("NumPy: solve", lambda: numpy.linalg.solve(a, b))
        theirs_seconds.append(spent)
        ours_seconds.append(timed("ours:  solve", lambda: nm.solve(matrix, heights))[1])
    ratio = statistics.median(theirs_seconds) / statistics.median(ours_seconds)
    print(f"  solve, NumPy's time over ours      {ratio:7.2f}")


def residual(matrix: nm.Tensor, weights: nm.Tensor, heights: nm.Tensor) -> float:
    """The largest error of an equation, in units of the largest height."""
    difference = (nm.einsum("ij,j->i", matrix, weights) - heights).tolist()
    return max(map(abs, difference)) / max(map(abs, heights.tolist()))


def report_left_out(weights: nm.Tensor, inverse: nm.Tensor, places: Places) -> None:
    """Each height's error if it were predicted from all the others: weight over diagonal."""
    diagonal = nm.einsum("ii->i", inverse).tolist()
    errors = [w / d for w, d in zip(weights.tolist(), diagonal)][: len(places.names)]
    typical = statistics.median(map(abs, errors))
    print(f"  a place left out is missed by {typical:.0f} m (median of {len(errors)}); the worst:")
    for index in sorted(range(len(errors)), key=lambda i: -abs(errors[i]))[:3]:
        predicted = places.height[index] - errors[index]
        print(f"    {places.names[index]}: {places.height[index]:.0f} m,"
              f" from the others {predicted:.0f} m")  # fmt: skip


def land_of_row(y: float, coast: list[tuple[float, float]], xs: array.array) -> list[bool]:
    """Which points of a row lie inside the coast: those with an odd number of crossings west."""
    crossings = sorted(
        ax + (y - ay) * (bx - ax) / (by - ay)
        for (ax, ay), (bx, by) in zip(coast, coast[1:] + coast[:1])
        if (ay <= y) != (by <= y)
    )
    return [sum(crossing < x for crossing in crossings) % 2 == 1 for x in xs]


def surface(weights: nm.Tensor, places: Places, coast) -> list[list[float | None]]:
    """Heights over a regular grid, from the north downwards; None at sea."""
    xs = array.array("d", [east(WEST + (EAST - WEST) * i / (COLUMNS - 1)) for i in range(COLUMNS)])
    x = nm.asarray(lent(xs, (COLUMNS, 1)))
    rows = []
    start = time.perf_counter()
    for j in range(ROWS):
        y = north(NORTH - (NORTH - SOUTH) * j / (ROWS - 1))
        ys = nm.asarray(lent(array.array("d", [y] * COLUMNS), (COLUMNS, 1)))
        heights = nm.einsum("ij,j->i", hyperboloids(x, ys, places), weights).tolist()
        land = land_of_row(y, coast, xs)
        rows.append([h if inside else None for h, inside in zip(heights, land)])
        if sys.stdout.isatty():
            print(f"\r  drawing, {100 * (j + 1) // ROWS} %", end="", flush=True)
    print(f"\r  {'heights on a grid of 102000':<34}{time.perf_counter() - start:7.3f} s")
    return rows


SHADES = [
    (0, (84, 130, 84)), (400, (126, 160, 92)), (1000, (176, 176, 112)), (2000, (166, 134, 100)),
    (3000, (136, 108, 92)), (3800, (190, 184, 180)), (4300, (255, 255, 255)),
]  # fmt: skip
SEA = (58, 96, 140)


def colour_of(height: float, light: float) -> picture.Pixel:
    (low, a), (high, b) = next(
        (pair for pair in zip(SHADES, SHADES[1:]) if height < pair[1][0]), (SHADES[-2], SHADES[-1])
    )
    part = min(max((height - low) / (high - low), 0.0), 1.0)
    return tuple(min(255, int(light * (p + part * (q - p)))) for p, q in zip(a, b))


def paint(rows: list[list[float | None]]) -> list[list[picture.Pixel]]:
    """Colours by height, lit from the north-west."""
    painted = []
    for j, row in enumerate(rows):
        above = rows[max(j - 1, 0)]
        line = []
        for i, height in enumerate(row):
            if height is None:
                line.append(SEA)
                continue
            slope = height - (above[max(i - 1, 0)] or 0.0)
            line.append(colour_of(height, min(max(1.0 + slope / 400.0, 0.55), 1.35)))
        painted.append(line)
    return painted


def main() -> None:
    places, coast = gather_places(UNKNOWNS)
    count = len(places.x)
    print(f"The island of Hawaii from {len(places.names)} heights and {count - len(places.names)}"
          f" points of its coast: {count} unknowns, {nm.get_num_threads()} threads")  # fmt: skip
    x, y = (nm.asarray(lent(axis, (count, 1))) for axis in (places.x, places.y))
    heights = nm.asarray(lent(places.height, (count,)))
    matrix, _ = timed("the matrix", lambda: hyperboloids(x, y, places))
    weights, seconds = timed("solve", lambda: nm.solve(matrix, heights))
    (sign, log_determinant), _ = timed("slogdet", lambda: nm.slogdet(matrix))
    inverse, _ = timed("inverse", lambda: nm.inverse(matrix))
    print(
        f"  largest error of an equation      {residual(matrix, weights, heights):8.1e} of the largest height"
    )
    expected = 1.0 if count % 2 == 1 else -1.0
    print(f"  determinant                        {'+' if sign > 0 else '-'}10^{log_determinant / math.log(10):.0f},"
          f" the sign {'as' if sign == expected else 'NOT as'} theory tells")  # fmt: skip
    report_left_out(weights, inverse, places)
    compare_with_numpy(matrix, heights, seconds)
    pixels = paint(surface(weights, places, coast))
    target = pathlib.Path("build") / "demo" / "hawaii.png"
    picture.write_png(target, pixels)
    picture.show_in_terminal(pixels)
    print(f"The picture is {target}")


if __name__ == "__main__":
    main()
