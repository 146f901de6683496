#pragma once

// arcsinh, arccosh and arctanh as logarithms of numbers of at least one, which are formed in two
// parts, so that small results keep their digits.
//     arcsinh x = log(x + sqrt(x^2 + 1)),
//     arccosh x = log(x + sqrt(x^2 - 1)),
//     arctanh x = log((1 + x) / (1 - x)) / 2.
// Below 2^-14 a few units of the low part's last place would be seen; there the first two terms of
// the series are the result: x - x^3/6 and x + x^3/3.

#include "numerical/vector_math/logarithm.hpp"

namespace numerical::vector_math {

// Of a sum of at least 1 in two parts.
template <class R>
R logarithm_of_parts(two_parts<R> x)
{
    reduced_number<R> reduced = reduced_for_logarithm(x.high);
    reduced.low = fma(x.low, reduced.scale, reduced.low);
    return logarithm_of<natural>(reduced);
}

// a^2 + one for one = 1 or -1. Beside -1 the high part may cancel down to the low one's size.
template <class R>
two_parts<R> square_and(R one, R a)
{
    const R square = a * a;
    const auto [sum, lost] = sum_of(one, square);
    return sum_of_ordered(sum, lost + fms(a, a, square));
}

// a + sqrt(u), where a is the larger for `a_first`.
template <bool a_first, class R>
two_parts<R> plus_root(R a, two_parts<R> u)
{
    const R v = root(u.high);
    const R half_inverse = R(0.5) / larger(v, R(0x1p-1000)); // of 0 too
    const R v_low = (fnma(v, v, u.high) + u.low) * half_inverse;
    const auto [sum, lost] = a_first ? sum_of_ordered(a, v) : sum_of_ordered(v, a);
    return {sum, lost + v_low};
}

// x + third x^3 where a = |x| is small, else `value`.
template <class R>
R series_if_small(R a, double third, R value)
{
    const R series = fma(a * a * a, R(third), a);
    return select(a < R(0x1p-14), series, value);
}

constexpr double root_is_argument = 0x1p500; // from here on, to far more than the last place

struct inverse_hyperbolic_sine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(root_is_argument));
    }

    template <class R>
    static R common(R x)
    {
        const R a = absolute(x);
        const R value = logarithm_of_parts(plus_root<false>(a, square_and(R(1.0), a)));
        return flip(series_if_small(a, -1.0 / 6, value), sign_of(x));
    }

    static double rare(double x);
};

struct inverse_hyperbolic_cosine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(x, R(root_is_argument)) | (x < R(1.0));
    }

    template <class R>
    static R common(R x)
    {
        return logarithm_of_parts(plus_root<true>(x, square_and(R(-1.0), x)));
    }

    static double rare(double x);
};

struct inverse_hyperbolic_tangent
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(1.0));
    }

    template <class R>
    static R common(R x)
    {
        const R a = absolute(x);
        const auto upper = sum_of_ordered(R(1.0), a);
        const auto lower = sum_of_ordered(R(1.0), flip(a, typename R::words(sign_bit)));
        const R inverse = R(1.0) / lower.high;
        const R quotient = upper.high * inverse;
        const R rest = fnma(quotient, lower.high, upper.high);
        const R low = (rest + fnma(quotient, lower.low, upper.low)) * inverse;
        const R value = R(0.5) * logarithm_of_parts(two_parts<R>{quotient, low});
        return flip(series_if_small(a, 1.0 / 3, value), sign_of(x));
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
