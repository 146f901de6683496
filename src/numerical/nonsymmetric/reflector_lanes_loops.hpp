#pragma once

// Reflectors in lanes for vectors of any width. For the kernels' own sources only: unnamed, as the
// vectors are. No product is fused with a sum, as in reflector_of_three, whose formulas these are.

#include "numerical/nonsymmetric/bulge_kernels.hpp"
#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Whether a > b in all lanes.
template <class Lanes>
bool all_greater(typename Lanes::vector a, typename Lanes::vector b)
{
    return Lanes::greater_than(a, b) == (1U << Lanes::width) - 1U;
}

template <class Lanes>
bool real_reflectors(const double* x, double* made)
{
    constexpr std::size_t part = reflector_lanes;
    for (std::size_t l = 0; l < reflector_lanes; l += Lanes::width) {
        const auto x0 = Lanes::load(x + l);
        const auto x1 = Lanes::load(x + part + l);
        const auto x2 = Lanes::load(x + 2 * part + l);
        const auto head = Lanes::times(x0, x0);
        const auto tail = Lanes::plus(Lanes::times(x1, x1), Lanes::times(x2, x2));
        const auto square = Lanes::plus(head, tail);
        if (!all_greater<Lanes>(square, Lanes::all(least_safe_square)) ||
            !all_greater<Lanes>(tail, Lanes::zero()))
            return false;
        const auto norm = Lanes::root(square);
        const auto sum = Lanes::plus(Lanes::magnitude(x0), norm);
        const auto pivot = Lanes::with_sign_of(sum, x0);
        Lanes::store(made + l, Lanes::quotient(sum, norm));
        Lanes::store(made + part + l, Lanes::quotient(x1, pivot));
        Lanes::store(made + 2 * part + l, Lanes::quotient(x2, pivot));
        Lanes::store(made + 3 * part + l,
                     Lanes::times(Lanes::all(-1.0), Lanes::with_sign_of(norm, x0)));
    }
    return true;
}

// Complex numbers in lanes.
template <class Lanes>
struct complex_lanes
{
    typename Lanes::vector re;
    typename Lanes::vector im;

    static complex_lanes load(const double* x)
    {
        return {Lanes::load(x), Lanes::load(x + reflector_lanes)};
    }

    void store(double* x) const
    {
        Lanes::store(x, re);
        Lanes::store(x + reflector_lanes, im);
    }

    typename Lanes::vector square() const
    {
        return Lanes::plus(Lanes::times(re, re), Lanes::times(im, im));
    }

    complex_lanes times(typename Lanes::vector x) const
    {
        return {Lanes::times(re, x), Lanes::times(im, x)};
    }

    complex_lanes over(typename Lanes::vector x) const
    {
        return {Lanes::quotient(re, x), Lanes::quotient(im, x)};
    }

    // this·conj(y).
    complex_lanes times_conjugate(const complex_lanes& y) const
    {
        return {Lanes::plus(Lanes::times(re, y.re), Lanes::times(im, y.im)),
                Lanes::minus(Lanes::times(im, y.re), Lanes::times(re, y.im))};
    }
};

template <class Lanes>
bool complex_reflectors(const double* x, double* made)
{
    using numbers = complex_lanes<Lanes>;
    constexpr std::size_t part = reflector_lanes;
    for (std::size_t l = 0; l < reflector_lanes; l += Lanes::width) {
        const numbers x0 = numbers::load(x + l);
        const numbers x1 = numbers::load(x + 2 * part + l);
        const numbers x2 = numbers::load(x + 4 * part + l);
        const auto head = x0.square();
        const auto tail = Lanes::plus(x1.square(), x2.square());
        if (!all_greater<Lanes>(head, Lanes::all(least_safe_square)) ||
            !all_greater<Lanes>(tail, Lanes::zero()))
            return false;
        const auto norm = Lanes::root(Lanes::plus(head, tail));
        const auto modulus = Lanes::root(head);
        const auto sum = Lanes::plus(modulus, norm);
        const numbers phase = x0.over(modulus);
        const numbers pivot = phase.times(sum);
        const auto square = pivot.square();
        Lanes::store(made + l, Lanes::quotient(sum, norm));
        x1.times_conjugate(pivot).over(square).store(made + part + l);
        x2.times_conjugate(pivot).over(square).store(made + 3 * part + l);
        phase.times(Lanes::times(Lanes::all(-1.0), norm)).store(made + 5 * part + l);
    }
    return true;
}

} // namespace
} // namespace numerical::detail
