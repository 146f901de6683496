"""Writes src/numerical/vector_math/coefficients.hpp: the polynomials, tables and split constants of
the elementary functions.

    vector_math_coefficients.py | clang-format > src/numerical/vector_math/coefficients.hpp

Polynomials are minimax by the exchange algorithm (Remez 1934), computed with mpmath in 80 digits
and rounded to double coefficient by coefficient. The comment above each gives the error that is
left in exact arithmetic, relative to the function that it serves.
"""

import struct

from mpmath import asin, atan, cos, exp, log, log1p, lu_solve, matrix, mp, mpf, nint, pi, sin, sqrt

mp.dps = 80


# --- fitting -------------------------------------------------------------------------------------


def solve_on(nodes, f, weight, degree):
    """The coefficients and the error that alternates on the nodes."""
    a = matrix(degree + 2, degree + 2)
    b = matrix(degree + 2, 1)
    for i, x in enumerate(nodes):
        for k in range(degree + 1):
            a[i, k] = x**k
        a[i, degree + 1] = (-1) ** i / weight(x)
        b[i] = f(x)
    solution = lu_solve(a, b)
    return list(solution[: degree + 1]), abs(solution[degree + 1])


def horner(coefficients, x):
    value = mpf(0)
    for c in reversed(coefficients):
        value = value * x + c
    return value


def remez(f, weight, low, high, degree):
    """Coefficients c[0..degree] that minimize max |weight(x) (f(x) - sum c[k] x^k)|."""
    low, high = mpf(low), mpf(high)
    points = [low + (high - low) * (1 - cos(pi * i / 400)) / 2 for i in range(401)]
    values = [f(x) for x in points]
    weights = [weight(x) for x in points]
    nodes = [points[round(400 * i / (degree + 1))] for i in range(degree + 2)]
    for _ in range(12):
        c, level = solve_on(nodes, f, weight, degree)
        errors = [w * (v - horner(c, x)) for x, v, w in zip(points, values, weights)]
        extrema = []
        for i, e in enumerate(errors):
            if extrema and (e > 0) == (errors[extrema[-1]] > 0):
                if abs(e) > abs(errors[extrema[-1]]):
                    extrema[-1] = i
            else:
                extrema.append(i)
        if len(extrema) < degree + 2:
            break
        while len(extrema) > degree + 2:
            extrema.pop(0 if abs(errors[extrema[0]]) < abs(errors[extrema[-1]]) else -1)
        nodes = [points[i] for i in extrema]
        if max(map(abs, errors)) < level * mpf("1.01"):
            break
    return c, max(abs(w * (v - horner(c, x))) for x, v, w in zip(points, values, weights))


# --- writing -------------------------------------------------------------------------------------


def double(x):
    return mpf(float(x))


def bits_of(x):
    return struct.unpack("<Q", struct.pack("<d", float(x)))[0]


def to_bits(x, bits):
    """x rounded to so many leading bits."""
    if x == 0:
        return mpf(0)
    unit = mpf(2) ** (int(mp.floor(log(abs(x), 2))) + 1 - bits)
    return nint(x / unit) * unit


def literal(x):
    return float(x).hex().replace("0x1.0000000000000p", "0x1p").replace("0x0.0p+0", "0.0")


def listed(values):
    texts = [literal(x) for x in values]
    return ",\n     ".join(", ".join(texts[i : i + 3]) for i in range(0, len(texts), 3))


def write_array(name, values, comment=None):
    if comment:
        print(f"// {comment}")
    print(f"constexpr double {name}[{len(values)}] = {{\n     {listed(values)}}};\n")


def write_polynomial(name, what, f, weight, low, high, degree):
    c, error = remez(f, weight, low, high, degree)
    write_array(name, c, f"{what}, error 2^{float(log(error, 2)):.1f}.")


def write_split(name, value, bits, comment):
    """value as a sum of constants with so many bits each."""
    parts = []
    for count in bits:
        parts.append(to_bits(value - sum(parts), count))
    print(f"// {comment}")
    for i, part in enumerate(parts, 1):
        print(f"constexpr double {name}_{i} = {literal(part)};")
    print()


def write_angle_step(name, angle, bits_of_second):
    first = double(angle)
    second = to_bits(angle - first, bits_of_second)
    parts = [1 / angle, first, second, angle - first - second]
    print(f"constexpr angle_step {name} = {{{', '.join(map(literal, parts))}}};\n")


def write_pair(name, values, comment):
    high = [double(v) for v in values]
    write_array(name, high, comment)
    write_array(name + "_low", [v - h for v, h in zip(values, high)])


# --- the functions -------------------------------------------------------------------------------


def exponential():
    step = log(2) / 16
    write_split("ln2_16th", step, [53, 53], "ln 2 / 16.")
    print(f"constexpr double sixteen_over_ln2 = {literal(1 / step)};\n")
    r = step / 2 * mpf("1.0001")

    def tail(x):
        return (exp(x) - 1 - x) / x**2 if abs(x) > mpf(10) ** -25 else mpf(1) / 2 + x / 6

    write_polynomial(
        "exp_tail",
        "(e^r - 1 - r) / r^2 for |r| <= ln 2 / 32",
        tail,
        lambda x: abs(x) + mpf(10) ** -30,
        -r,
        r,
        5,
    )
    write_polynomial(
        "exp2_tail",
        "(2^r - 1) / r for |r| <= 1 / 32",
        lambda x: (2**x - 1) / x if x else log(2),
        lambda x: abs(x) + mpf(10) ** -30,
        -mpf(1) / 32,
        mpf(1) / 32,
        5,
    )
    write_polynomial(
        "cosh_tail",
        "(cosh r - 1) / u, u = r^2",
        lambda u: (mp.cosh(sqrt(u)) - 1) / u,
        lambda u: u,
        mpf(10) ** -20,
        r * r,
        2,
    )
    write_polynomial(
        "sinh_tail",
        "(sinh r - r) / r^3 of u = r^2",
        lambda u: (mp.sinh(sqrt(u)) / sqrt(u) - 1) / u,
        lambda u: u,
        mpf(10) ** -20,
        r * r,
        2,
    )
    bases = [
        struct.unpack("<d", struct.pack("<Q", bits_of(mpf(2) ** (mpf(j) / 16)) - (j << 48)))[0]
        for j in range(16)
    ]
    write_array(
        "power_of_two_base",
        bases,
        "2^(j/16), its bits less j 2^48: with n = 16 k + j the "
        "bits plus n 2^48\n// are those of 2^(n/16).",
    )
    high = [double(mpf(2) ** (mpf(j) / 16)) for j in range(16)]
    write_array(
        "power_of_two_rest",
        [mpf(2) ** (mpf(j) / 16) / h - 1 for j, h in enumerate(high)],
        "2^(j/16) = rounded * (1 + rest).",
    )


# The significand m lies in [first, 2 first), cut into 16 parts of equal length in the bits of m;
# 1 lies in the middle of a part, whose reciprocal is 1.
def logarithm_parts(count, below):
    first = 1 - (below + mpf(1) / 2) / (2 * count)
    edges = []
    for i in range(count + 1):
        m = first + mpf(i) / (2 * count)
        edges.append(m if m <= 1 else 1 + (m - 1) * 2)
    centres = []
    for low, high in zip(edges, edges[1:]):
        centres.append(mpf(1) if low < 1 < high else to_bits(2 / (low + high), 10))
    reach = [(low * c - 1, high * c - 1) for low, high, c in zip(edges, edges[1:], centres)]
    return first, centres, min(r[0] for r in reach), max(r[1] for r in reach)


def logarithm():
    first, centres, low, high = logarithm_parts(16, 9)
    print(f"constexpr double log_first = {literal(first)};")
    print(f"// The reduced argument lies in [{float(low):.5f}, {float(high):.5f}].")
    write_array("log_reciprocal", centres)
    print(
        """// Logarithms to a base: those of the reciprocals, less their sign, in two parts, of 2 in two parts,
// and of e in two. The high parts are multiples of 2^-42, so that sums with k log 2 are exact.
struct logarithm_base
{
    double table[16];
    double table_low[16];
    double of_2;
    double of_2_low;
    double of_e;
    double of_e_low;
};
"""
    )
    for base, name in ((None, "natural"), (2, "binary"), (10, "decimal")):
        scale = 1 if base is None else 1 / log(base)
        values = [-log(c) * scale for c in centres]
        unit = mpf(2) ** -42
        high_parts = [nint(v / unit) * unit for v in values]
        two = log(2) * scale
        two_high = nint(two / unit) * unit
        print(f"constexpr logarithm_base {name} = {{")
        print(f"    {{{listed(high_parts)}}},")
        print(f"    {{{listed([v - h for v, h in zip(values, high_parts)])}}},")
        print(f"    {literal(two_high)}, {literal(two - two_high)},")
        print(f"    {literal(mpf(scale))}, {literal(scale - double(scale))}}};\n")
    write_polynomial(
        "log_tail",
        "(log(1 + r) - r) / r^2",
        lambda x: (log1p(x) - x) / x**2 if abs(x) > mpf(10) ** -25 else -mpf(1) / 2 + x / 3,
        lambda x: abs(x) + mpf(10) ** -30,
        low,
        high,
        7,
    )


def power():
    first, centres, low, high = logarithm_parts(32, 19)
    print(f"constexpr double power_first = {literal(first)};")
    print(f"// The reduced argument lies in [{float(low):.5f}, {float(high):.5f}].")
    write_array("power_reciprocal", centres)
    unit = mpf(2) ** -42
    values = [-log(c) for c in centres]
    high_parts = [nint(v / unit) * unit for v in values]
    write_array("power_table", high_parts, "-ln of the reciprocals, to a multiple of 2^-42.")
    write_array("power_table_low", [v - h for v, h in zip(values, high_parts)])
    write_polynomial(
        "power_tail",
        "(log(1 + r) - r + r^2 / 2) / r^3",
        lambda x: (log1p(x) - x + x * x / 2) / x**3
        if abs(x) > mpf(10) ** -20
        else mpf(1) / 3 - x / 4,
        lambda x: x**2 + mpf(10) ** -30,
        low,
        high,
        6,
    )


def trigonometric():
    print(
        """// An angle in three parts, for the subtraction of its multiples n: n times the second is exact for
// n < 2^20 (pi / 2) or n < 2^23 (pi / 16).
struct angle_step
{
    double reciprocal;
    double first;
    double second;
    double third;
};
"""
    )
    write_angle_step("half_pi_step", pi / 2, 33)
    write_angle_step("sixteenth_pi_step", pi / 16, 30)
    u = (pi / 4 * mpf("1.0001")) ** 2
    tiny = mpf(10) ** -20
    write_polynomial(
        "sin_tail",
        "(sin r - r) / r^3 of u = r^2, |r| <= pi / 4",
        lambda u: (sin(sqrt(u)) / sqrt(u) - 1) / u,
        lambda u: u,
        tiny,
        u,
        5,
    )
    write_polynomial(
        "cos_tail",
        "(cos r - 1 + u / 2) / u^2 of u = r^2",
        lambda u: (cos(sqrt(u)) - 1 + u / 2) / u**2,
        lambda u: u * u,
        tiny,
        u,
        5,
    )
    mp.dps = 500
    words = int(mp.floor(2 / pi * mpf(2) ** (64 * 20)))
    mp.dps = 80
    small = (pi / 32 * mpf("1.0001")) ** 2
    write_polynomial(
        "tan_tail",
        "(tan r - r) / r^3 of u = r^2, |r| <= pi / 32",
        lambda u: (mp.tan(sqrt(u)) / sqrt(u) - 1) / u,
        lambda u: u,
        tiny,
        small,
        4,
    )
    tangents = [mp.tan((j if j < 4 else j - 8) * pi / 16) for j in range(8)]
    write_pair(
        "tan_table",
        [mpf(-1) if j == 4 else t for j, t in enumerate(tangents)] * 2,
        "tan(j pi / 16) for j = 0 to 3 and -4 to -1, twice.",
    )
    print("// 2 / pi = sum of word[i] * 2^(-64 i).")
    print("constexpr std::uint64_t two_over_pi_words[21] = {")
    texts = [f"0x{(words >> (64 * (20 - i))) & (2 ** 64 - 1):016X}" for i in range(21)]
    for i in range(0, 21, 4):
        print("    " + ", ".join(texts[i : i + 4]) + ",")
    print("};\n")


# Parts of the positive axis by exponent and first bit of the significand: [1/16, 3/32), ..., [12, 16).
# The entry for a is at (bits of a >> 51) & 15.
def inverse_trigonometric():
    sines, cosines, angles = [mpf(0)] * 16, [mpf(1)] * 16, [mpf(0)] * 16
    reach = mpf(0)
    for i in range(16):
        low = mpf(2) ** (i // 2 - 4) * (1 if i % 2 == 0 else mpf(3) / 2)
        high = low * 3 / 2 if i % 2 == 0 else low * 4 / 3
        where = (bits_of(low) >> 51) & 15
        if i == 0:
            reach = max(reach, high)
            continue
        if i == 15:
            sines[where], cosines[where], angles[where] = mpf(1), mpf(0), pi / 2
            reach = max(reach, 1 / low)
            continue
        c = to_bits(mp.tan((atan(low) + atan(high)) / 2), 12)
        sines[where], angles[where] = c, atan(c)
        reach = max(reach, abs((low - c) / (1 + low * c)), (high - c) / (1 + high * c))
    write_array("arctan_sine", sines, "The angle of each part has the tangent sine / cosine.")
    write_array("arctan_cosine", cosines)
    write_pair("arctan_angle", angles, "The angles.")
    print(f"// The reduced tangent is at most {float(reach):.4f}.")
    write_polynomial(
        "arctan_tail",
        "(arctan z - z) / z^3 of u = z^2",
        lambda u: (atan(sqrt(u)) / sqrt(u) - 1) / u,
        lambda u: u,
        mpf(10) ** -20,
        reach**2,
        5,
    )
    write_polynomial(
        "arcsin_tail",
        "(arcsin v - v) / v^3 of u = v^2, u <= 1/4",
        lambda u: (asin(sqrt(u)) / sqrt(u) - 1) / u,
        lambda u: u,
        mpf(10) ** -20,
        mpf(1) / 4,
        12,
    )
    print("// pi / 2.")
    print(f"constexpr double half_of_pi = {literal(pi / 2)};")
    print(f"constexpr double half_of_pi_low = {literal(pi / 2 - double(pi / 2))};\n")


def main():
    print(
        """#pragma once

// Made by tools/vector_math_coefficients.py: not to be edited. Lowest coefficient first. No variable
// is inline, as an object for one instruction set must offer no symbol of its own.

#include <cstdint>

namespace numerical::vector_math {
"""
    )
    exponential()
    logarithm()
    power()
    trigonometric()
    inverse_trigonometric()
    print("} // namespace numerical::vector_math")


if __name__ == "__main__":
    main()
