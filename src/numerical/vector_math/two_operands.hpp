#pragma once

// arctan2 and hypot.

#include "numerical/vector_math/inverse_trigonometric.hpp"

namespace numerical::vector_math {

// arctan(|y| / |x|), taken from pi where x is negative, with the sign of y. The quotient chooses
// the part of the table; the tangent of what is left comes from x and y themselves.
struct arc_tangent_of_quotient
{
    template <class R>
    static value_and_rare<R> common(R y, R x)
    {
        const R a = absolute(y);
        const R b = absolute(x);
        const auto part = part_of_tangent(a / b);
        const R s = R::lookup(arctan_sine, part);
        const R c = R::lookup(arctan_cosine, part);
        // Products with c = 0 or 1 are exact: each side is rounded once, not at all where s = 0.
        const auto [high, low] = angle_plus_arctan(part, fnma(b, s, a * c), fma(a, s, b * c));
        const R value = high + low;
        const R back = R(2 * half_of_pi) - high;
        const R lost = (R(2 * half_of_pi) - back) - high;
        const R value_back = back + (lost + (R(2 * half_of_pi_low) - low));
        const R least = R(0x1p-500);
        const R greatest = R(0x1p500);
        const auto rare = (smaller(a, b) < least) | not_less(larger(a, b), greatest);
        return {flip(select(x < R(0.0), value_back, value), sign_of(y)),
                rare | not_equal(a, a) | not_equal(b, b)};
    }

    static double rare(double y, double x);
};

// 1 / (2 x) to 0.3 % for normal x: the bits of 2^k (1 + f), taken from a constant, give a number
// within 5 % of the reciprocal, and a step of Newton squares that error.
template <class R>
R half_reciprocal(R x)
{
    using words = typename R::words;
    constexpr std::uint64_t two_to_minus_one = 0x3FE0000000000000;
    constexpr std::uint64_t tenth = 0x0001999999999999; // of the exponent's unit: errors balance
    const R start = R::from_bits(words(two_to_minus_one + bits_of_one - tenth) - x.bits());
    return start * fnma(x + x, start, R(2.0));
}

// The root of x^2 + y^2 with what the rounding of squares and sum loses, and one step of Newton:
// a unit of the last place or two, for which no division is needed.
struct hypotenuse
{
    template <class R>
    static value_and_rare<R> common(R x, R y)
    {
        const R a = absolute(x);
        const R b = absolute(y);
        const R longer = larger(a, b);
        const R shorter = smaller(a, b);
        const R first = longer * longer;
        const R second = shorter * shorter;
        const auto [sum, lost] = sum_of_ordered(first, second);
        const R low = lost + (fms(longer, longer, first) + fms(shorter, shorter, second));
        const R estimate = root(sum);
        const R rest = fnma(estimate, estimate, sum) + low;
        const auto rare = (longer < R(0x1p-450)) | not_less(longer, R(0x1p500));
        return {fma(rest, half_reciprocal(estimate), estimate),
                rare | not_equal(a, a) | not_equal(b, b)};
    }

    static double rare(double x, double y);
};

} // namespace numerical::vector_math
