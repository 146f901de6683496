#!/usr/bin/env python3
"""Bounds of the Padé approximants of log(1 + x), for src/numerical/matrix_functions/logarithm.cpp.

With e^r_m(x) - 1 - x = Σ c_k·x^k, k from 2m + 1 on, the bound of degree m is the greatest θ with
Σ |c_k|·θ^(k-1) <= 2^-53. r_m is the quadrature of Gauss and Legendre of ∫ x/(1 + t·x) dt on [0, 1].
"""

from mpmath import cos, diff, findroot, legendre, mp, mpf, nstr, pi

TERMS = 140


def nodes(m):
    """(place, weight) on [0, 1]."""
    for i in range(m):
        guess = cos(pi * (i + mpf(3) / 4) / (m + mpf(1) / 2))
        x = findroot(lambda t: legendre(m, t), guess)
        slope = diff(lambda t: legendre(m, t), x)
        yield (1 + x) / 2, 1 / ((1 - x * x) * slope**2)


def error_moduli(m):
    """|c_k| for k < TERMS."""
    points = list(nodes(m))
    r = [mpf(0)] + [(-1) ** k * sum(w * t**k for t, w in points) for k in range(TERMS)]
    e = [mpf(1)]
    for k in range(1, TERMS):
        e.append(sum(j * r[j] * e[k - j] for j in range(1, k + 1)) / k)
    return [abs(c) if k > 2 * m else mpf(0) for k, c in enumerate(e)]


def bound(m):
    moduli = error_moduli(m)
    low, high = mpf(0), mpf("0.9")
    while high - low > mpf(10) ** -30:
        middle = (low + high) / 2
        error = sum(c * middle ** (k - 1) for k, c in enumerate(moduli) if c)
        low, high = (low, middle) if error > mpf(2) ** -53 else (middle, high)
    return low


if __name__ == "__main__":
    mp.dps = 60
    for degree in range(1, 8):
        print(degree, nstr(bound(degree), 16))
