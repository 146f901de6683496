#pragma once

// The secular equation of divide and conquer,
//
//     f(τ) = 1/weight + Σ zᵢ²/(gap(i, origin) - τ) = 0,
//
// whose K roots interlace with the K poles. A root is kept as its nearest pole, the origin, and the
// distance τ from it, so that no digit of the distance to any pole is lost. The eigenproblem's
// poles are d with gap(i, o) = dᵢ - d_o; the arrow matrix of the singular values has the squares of
// d, with gap(i, o) = (dᵢ - d_o)·(dᵢ + d_o). That formula is the parameter of the solver.

#include "numerical/counts.hpp"
#include "numerical/eigen/secular_kernels.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace numerical::detail {

// The poles, ascending, and their numerators z. Borrowed.
struct linear_poles
{
    const double* d;
    const double* z;
    std::size_t count;
    double weight;

    double gap(std::size_t i, std::size_t origin) const { return d[i] - d[origin]; }

    static secular_kernel kernel_on(int path)
    {
        return path == portable_path ? add_secular_terms : avx2_unfused_add_secular_terms;
    }
};

// The same with paired quotients, where other bits are free.
struct paired_linear_poles : linear_poles
{
    static secular_kernel kernel_on(int path)
    {
        return path == portable_path ? add_paired_secular_terms
                                     : avx2_unfused_add_paired_secular_terms;
    }
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

    static secular_kernel kernel_on(int path)
    {
        return path == portable_path ? add_squared_secular_terms
                                     : avx2_unfused_add_squared_secular_terms;
    }
};

// The distance of pole i from the root is gap(i, origin) - tau.
struct secular_root
{
    std::size_t origin;
    double tau;
};

constexpr int secular_iteration_limit = 100;

// The parts of f and f' left (ψ) and right (φ) of the root: poles up to j and those above.
struct secular_sums
{
    double psi = 0;
    double dpsi = 0;
    double phi = 0;
    double dphi = 0;

    double f(double constant) const { return psi + constant + phi; }

    // A bound on the rounding error of f.
    double rounding(double constant, double tau) const
    {
        return (3 * std::abs(tau) * (dpsi + dphi) + 8 * ((phi - psi) + constant)) * eps;
    }
};

// Zero of the rational function that has the two poles next to the root, and ψ's and φ's slopes at
// the present point (the Middle Way of Li, LAPACK Working Note 89, 1994).
inline double middle_way(double f, const secular_sums& at, double left, double right)
{
    const double c = f - left * at.dpsi - right * at.dphi;
    const double a = (left + right) * f - left * right * (at.dpsi + at.dphi);
    const double b = left * right * f;
    const double root = std::sqrt(std::abs(a * a - 4 * b * c));
    return a <= 0 ? (a - root) / (2 * c) : 2 * b / (a + root);
}

// The same with one pole, for the last root.
inline double one_pole_step(double f, const secular_sums& at, double left)
{
    const double c = f - left * at.dpsi;
    return (left * left * at.dpsi + left * c) / c;
}

// Consecutive roots, one in each lane, found side by side: the sums, which take nearly all the
// time, are vector operations over the lanes. A lane that has converged is left unchanged.
template <class Poles>
class secular_batch
{
public:
    // Roots first, first + 1, ...; lanes beyond the last root repeat it.
    secular_batch(const Poles& problem, std::size_t first);

    void solve();

    std::size_t size() const { return std::min(secular_lane_count, poles.count - from); }

    secular_root root(std::size_t l) const { return {lanes[l].origin, lanes[l].tau}; }

private:
    // The root lies in (low, high), measured from the origin.
    struct lane
    {
        std::size_t j;
        std::size_t origin;
        double low;
        double high;
        double tau;
        bool converged;
        secular_sums at;
    };

    const Poles& poles;
    const secular_kernel add_terms = Poles::kernel_on(gemm_path_current());
    const double constant;
    const std::size_t from;
    lane lanes[secular_lane_count];

    bool is_last(const lane& one) const { return one.j + 1 == poles.count; }

    double width_of_last() const;
    void bracket_roots();
    void choose_origin(lane& one) const;
    void take_step(lane& one) const;
    void sum_terms();
};

template <class Poles>
secular_batch<Poles>::secular_batch(const Poles& problem, std::size_t first)
    : poles(problem), constant(1 / problem.weight), from(first)
{
    for (std::size_t l = 0; l < secular_lane_count; ++l) {
        const std::size_t j = std::min(first + l, poles.count - 1);
        lanes[l] = {
            .j = j, .origin = j, .low = 0, .high = 0, .tau = 0, .converged = false, .at = {}};
    }
    bracket_roots();
}

// The last root lies within weight·‖z‖² of the last pole.
template <class Poles>
double secular_batch<Poles>::width_of_last() const
{
    double square = 0;
    for (std::size_t i = 0; i < poles.count; ++i)
        square += poles.z[i] * poles.z[i];
    return 2 * poles.weight * square;
}

// The sign of f in the middle of the interval says which pole is nearer.
template <class Poles>
void secular_batch<Poles>::bracket_roots()
{
    for (lane& one : lanes) {
        one.high = is_last(one) ? width_of_last() : poles.gap(one.j + 1, one.j) / 2;
        one.tau = one.high;
    }
    sum_terms();
    for (lane& one : lanes) {
        choose_origin(one);
        one.tau = (one.low + one.high) / 2;
    }
}

template <class Poles>
void secular_batch<Poles>::choose_origin(lane& one) const
{
    if (is_last(one) || !(one.at.f(constant) < 0))
        return;
    one.origin = one.j + 1;
    one.low = -one.high;
    one.high = 0;
}

template <class Poles>
void secular_batch<Poles>::solve()
{
    for (int pass = 0; pass < secular_iteration_limit; ++pass) {
        sum_terms();
        bool all_converged = true;
        for (lane& one : lanes) {
            one.converged =
                one.converged || one.at.rounding(constant, one.tau) >= std::abs(one.at.f(constant));
            if (!one.converged)
                take_step(one);
            all_converged = all_converged && one.converged;
        }
        if (all_converged)
            return;
    }
    throw convergence_error("the secular equation did not converge");
}

// The bracket makes the step safe.
template <class Poles>
void secular_batch<Poles>::take_step(lane& one) const
{
    const double f = one.at.f(constant);
    (f < 0 ? one.low : one.high) = one.tau;
    const double left = poles.gap(one.j, one.origin) - one.tau;
    one.tau += is_last(one)
                   ? one_pole_step(f, one.at, left)
                   : middle_way(f, one.at, left, poles.gap(one.j + 1, one.origin) - one.tau);
    if (!(one.low < one.tau && one.tau < one.high))
        one.tau = (one.low + one.high) / 2;
}

// ψ and φ of all lanes, each in ascending order. The poles up to the first root are left of all
// lanes and those beyond the last right of all; the few between are taken lane by lane.
template <class Poles>
void secular_batch<Poles>::sum_terms()
{
    const std::size_t left = lanes[0].j + 1;
    const std::size_t right = lanes[secular_lane_count - 1].j + 1;
    secular_lanes terms{};
    for (std::size_t l = 0; l < secular_lane_count; ++l) {
        terms.origin[l] = poles.d[lanes[l].origin];
        terms.tau[l] = lanes[l].tau;
    }
    add_terms(poles.d, poles.z, 0, left, terms);
    for (std::size_t l = 0; l < secular_lane_count; ++l) {
        lane& one = lanes[l];
        one.at = {.psi = terms.value[l], .dpsi = terms.slope[l], .phi = 0, .dphi = 0};
        for (std::size_t i = left; i < right; ++i) {
            const double ratio = poles.z[i] / (poles.gap(i, one.origin) - one.tau);
            (i <= one.j ? one.at.psi : one.at.phi) += poles.z[i] * ratio;
            (i <= one.j ? one.at.dpsi : one.at.dphi) += ratio * ratio;
        }
        terms.value[l] = one.at.phi;
        terms.slope[l] = one.at.dphi;
    }
    add_terms(poles.d, poles.z, right, poles.count, terms);
    for (std::size_t l = 0; l < secular_lane_count; ++l) {
        lanes[l].at.phi = terms.value[l];
        lanes[l].at.dphi = terms.slope[l];
    }
}

// All roots, in parallel: roots[j], for j < poles.count, lies between poles j and j + 1.
template <class Poles>
void solve_secular_equation(const Poles& poles, secular_root* roots)
{
    const auto solve_batch = [&](std::size_t b) {
        const std::size_t first = b * secular_lane_count;
        secular_batch<Poles> batch(poles, first);
        batch.solve();
        for (std::size_t l = 0; l < batch.size(); ++l)
            roots[first + l] = batch.root(l);
    };
    parallel_for(ceil_div(poles.count, secular_lane_count), poles.count * 4 * secular_lane_count,
                 solve_batch);
}

} // namespace numerical::detail
