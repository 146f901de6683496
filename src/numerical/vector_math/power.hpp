#pragma once

// x^y = e^(y log |x|), where y log |x| may be as large as 709: for the last place of the result the
// logarithm is needed to 2^-65 of itself and its product with y in two parts (Cody and Waite 1980
// on the power). The table is that of the logarithm with 32 parts.

#include "numerical/vector_math/exponential.hpp"
#include "numerical/vector_math/logarithm.hpp"

namespace numerical::vector_math {

// log x + more log 2 for normal positive x. With r = m c - 1, |r| <= 1/64, all terms up to r^2 are
// in two parts.
template <class R>
two_parts<R> logarithm_in_two_parts(R x, R more)
{
    const auto [shifted, k_of_x, m] = taken_apart(x, power_first);
    const auto part = shifted.template right<47>();
    const R c = R::lookup(power_reciprocal, part);
    const R product = m * c;
    const R r = product - R(1.0);
    const R r_low = fms(m, c, product);
    const R square = r * r;
    const R half_square = R(0.5) * square;
    const R half_square_low = fma(R(0.5), fms(r, r, square), r * r_low);

    const R r_low_cubed = fma(square, r_low, r_low); // what r^3 / 3 takes of r_low too

    const R k = k_of_x + more;
    const R high = fma(k, R(natural.of_2), R::lookup(power_table, part));
    const R high_low = fma(k, R(natural.of_2_low), R::lookup(power_table_low, part));
    const auto first = sum_of_ordered(high, r);
    const R second = first.high - half_square;
    const R lost = (first.high - second) - half_square;
    const R low = (first.low + lost) + ((r_low_cubed - half_square_low) + high_low);
    return sum_of_ordered(second, fma(r * square, polynomial(power_tail, r), low));
}

// y log x in two parts.
template <class R>
two_parts<R> exponent_of_power(two_parts<R> logarithm_of_x, R y)
{
    const R high = y * logarithm_of_x.high;
    return {high, fma(y, logarithm_of_x.low, fms(y, logarithm_of_x.high, high))};
}

// e^(x + low)
template <class R>
scaled_exponential<R> exponential_of_sum(R x, R low)
{
    reduced_exponent<R> reduced = reduced_by_ln2(x);
    reduced.r = reduced.r + low;
    return exponential_of(reduced);
}

// Negative x in the common range have an integer y below 2^51, whose parity is the sign.
struct power
{
    template <class R>
    static value_and_rare<R> common(R x, R y)
    {
        const R a = absolute(x);
        const R shifted = y + R(rounding_shift);
        const auto fractional = not_equal(shifted - R(rounding_shift), y);
        const auto [high, low] = exponent_of_power(logarithm_in_two_parts(a, R(0.0)), y);
        const R magnitude = value_of(exponential_of_sum(high, low));
        const auto sign = shifted.bits().template left<63>() & sign_of(x);
        const auto x_rare = outside_normal(a);
        const auto sign_rare = (x < R(0.0)) & (fractional | not_less(absolute(y), R(0x1p51)));
        return {flip(magnitude, sign), x_rare | sign_rare | not_less(absolute(high), R(708.0))};
    }

    static double rare(double x, double y);
};

} // namespace numerical::vector_math
