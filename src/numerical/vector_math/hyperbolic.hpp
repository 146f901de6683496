#pragma once

// sinh, cosh and tanh from the table of the exponential. With A, B = 2^(+-n/16) / 2 and the short
// series of cosh r and sinh r
//     cosh x = (A + B) cosh r + (A - B) sinh r,
//     sinh x = (A - B) cosh r + (A + B) sinh r.

#include "numerical/vector_math/exponential.hpp"

namespace numerical::vector_math {

template <class R>
struct hyperbolic_terms
{
    two_parts<R> sum;        // A + B
    two_parts<R> difference; // A - B
    R r;
    R cosine_tail; // cosh r - 1
    R sine_tail;   // sinh r - r, with what is missing in r
};

// For 0 <= x < 708.
template <class R>
hyperbolic_terms<R> hyperbolic_terms_of(R x)
{
    using words = typename R::words;
    const auto [n, r, low] = reduced_by_ln2(x);
    const words minus_n = words(0) - n;
    const words halving(16);
    const R a = power_of_two<R>(n - halving);
    const R b = power_of_two<R>(minus_n - halving);
    const R a_low = a * rest_of_power<R>(n);
    const R b_rest = rest_of_power<R>(minus_n);
    const auto sum = sum_of_ordered(a, b);
    const R difference = a - b;
    const R difference_low = (a - difference) - b;
    const R u = r * r;
    return {.sum = {sum.high, sum.low + fma(b, b_rest, a_low)},
            .difference = {difference, difference_low + fnma(b, b_rest, a_low)},
            .r = r,
            .cosine_tail = u * polynomial(cosh_tail, u),
            .sine_tail = fma(r * u, polynomial(sinh_tail, u), low)};
}

// cosh x without the sum A + B.
template <class R>
R cosine_rest(const hyperbolic_terms<R>& t)
{
    const R by_sine = fma(t.difference.high, t.r + t.sine_tail, t.sum.low);
    return fma(t.sum.high, t.cosine_tail, by_sine);
}

// (A - B) + (A + B) r may cancel: its high part and the rest of sinh x.
template <class R>
two_parts<R> hyperbolic_sine_of(const hyperbolic_terms<R>& t)
{
    const R high = fma(t.sum.high, t.r, t.difference.high);
    const R lost = fma(t.sum.high, t.r, t.difference.high - high);
    const R by_lows = fma(t.sum.low, t.r, lost + t.difference.low);
    const R by_cosine = fma(t.difference.high, t.cosine_tail, by_lows);
    return {high, fma(t.sum.high, t.sine_tail, by_cosine)};
}

struct hyperbolic_sine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(708.0));
    }

    template <class R>
    static R common(R x)
    {
        const auto [high, rest] = hyperbolic_sine_of(hyperbolic_terms_of(absolute(x)));
        return flip(high + rest, sign_of(x));
    }

    static double rare(double x);
};

struct hyperbolic_cosine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(708.0));
    }

    template <class R>
    static R common(R x)
    {
        const auto terms = hyperbolic_terms_of(absolute(x));
        return terms.sum.high + cosine_rest(terms);
    }

    static double rare(double x);
};

struct hyperbolic_tangent
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_equal(x, x);
    }

    template <class R>
    static R common(R x)
    {
        const R greatest = 20.0; // where the result is 1 to the last place
        const auto terms = hyperbolic_terms_of(smaller(absolute(x), greatest));
        const auto lower = sum_of_ordered(terms.sum.high, cosine_rest(terms));
        return flip(quotient_of(hyperbolic_sine_of(terms), lower), sign_of(x));
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
