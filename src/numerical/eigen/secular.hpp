#pragma once

// The secular equation of divide and conquer,
//
//     f(τ) = 1/weight + Σ zᵢ²/(gap(i, origin) - τ) = 0,
//
// whose K roots interlace with the K poles. A root is kept as its nearest pole, the origin, and the
// distance τ from it, so that no digit of the distance to any pole is lost. The eigenproblem's
// poles are d with gap(i, o) = dᵢ - d_o; the arrow matrix of the singular values has the squares of
// d, with gap(i, o) = (dᵢ - d_o)·(dᵢ + d_o). That formula is the parameter of the solver.

#include "numerical/errors.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace numerical::detail {

// The poles, ascending, and what stands above them. Borrowed.
struct linear_poles
{
    const double* d;
    const double* z;
    std::size_t count;
    double weight;

    double gap(std::size_t i, std::size_t origin) const { return d[i] - d[origin]; }
};

struct squared_poles
{
    const double* d;
    const double* z;
    std::size_t count;
    double weight;

    double gap(std::size_t i, std::size_t origin) const
    {
        return (d[i] - d[origin]) * (d[i] + d[origin]);
    }
};

// The distance of pole i from the root is gap(i, origin) - tau.
struct secular_root
{
    std::size_t origin;
    double tau;
};

constexpr int secular_iteration_limit = 100;

namespace secular {

struct bracket
{
    std::size_t origin;
    double low;
    double high;
};

// The parts of f and f' left (ψ) and right (φ) of the root: poles up to j and those above.
struct sums
{
    double psi = 0;
    double dpsi = 0;
    double phi = 0;
    double dphi = 0;
};

template <class Poles>
sums sums_at(const Poles& poles, std::size_t j, std::size_t origin, double tau)
{
    sums at;
    for (std::size_t i = 0; i < poles.count; ++i) {
        const double ratio = poles.z[i] / (poles.gap(i, origin) - tau);
        double& value = i <= j ? at.psi : at.phi;
        double& slope = i <= j ? at.dpsi : at.dphi;
        value += poles.z[i] * ratio;
        slope += ratio * ratio;
    }
    return at;
}

// The sign of f in the middle of the interval says which pole is nearer. The last root lies within
// weight·‖z‖² of the last pole.
template <class Poles>
bracket bracket_root(const Poles& poles, std::size_t j)
{
    if (j + 1 == poles.count) {
        double square = 0;
        for (std::size_t i = 0; i < poles.count; ++i)
            square += poles.z[i] * poles.z[i];
        return {j, 0.0, 2 * poles.weight * square};
    }
    const double middle = poles.gap(j + 1, j) / 2;
    const sums at = sums_at(poles, j, j, middle);
    if (at.psi + 1 / poles.weight + at.phi < 0)
        return {j + 1, -middle, 0.0};
    return {j, 0.0, middle};
}

// Zero of the rational function that has the two poles next to the root, and ψ and φ's slopes at
// the present point (the Middle Way of Li, LAPACK Working Note 89, 1994).
inline double middle_way(double f, const sums& at, double left, double right)
{
    const double c = f - left * at.dpsi - right * at.dphi;
    const double a = (left + right) * f - left * right * (at.dpsi + at.dphi);
    const double b = left * right * f;
    const double root = std::sqrt(std::abs(a * a - 4 * b * c));
    return a <= 0 ? (a - root) / (2 * c) : 2 * b / (a + root);
}

// The same with one pole, for the last root.
inline double one_pole_step(double f, const sums& at, double left)
{
    const double c = f - left * at.dpsi;
    return (left * left * at.dpsi + left * c) / c;
}

} // namespace secular

// Root j, which lies between poles j and j + 1. A bracket makes it safe, the step fast.
template <class Poles>
secular_root solve_secular(const Poles& poles, std::size_t j)
{
    constexpr double eps = std::numeric_limits<double>::epsilon();
    const double constant = 1 / poles.weight;
    auto [origin, low, high] = secular::bracket_root(poles, j);
    double tau = (low + high) / 2;
    for (int pass = 0; pass < secular_iteration_limit; ++pass) {
        const secular::sums at = secular::sums_at(poles, j, origin, tau);
        const double f = at.psi + constant + at.phi;
        const double rounding =
            (3 * std::abs(tau) * (at.dpsi + at.dphi) + 8 * ((at.phi - at.psi) + constant)) * eps;
        if (rounding >= std::abs(f))
            return {origin, tau};
        (f < 0 ? low : high) = tau;
        const double left = poles.gap(j, origin) - tau;
        tau += j + 1 < poles.count
                   ? secular::middle_way(f, at, left, poles.gap(j + 1, origin) - tau)
                   : secular::one_pole_step(f, at, left);
        if (!(low < tau && tau < high))
            tau = (low + high) / 2;
    }
    throw convergence_error("the secular equation did not converge");
}

// All roots, in parallel: roots[j] for j < poles.count.
template <class Poles>
void solve_secular_equation(const Poles& poles, secular_root* roots)
{
    const auto solve_one = [&](std::size_t j) { roots[j] = solve_secular(poles, j); };
    parallel_for(poles.count, poles.count * 8, solve_one);
}

} // namespace numerical::detail
