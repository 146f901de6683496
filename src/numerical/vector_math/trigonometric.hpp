#pragma once

// sin, cos and tan: x = n pi/2 + r by three constants (Cody and Waite 1980), |r| <= pi/4, then
// polynomials. From 2^20 on a lane is rare and reduced as Payne and Hanek (1983) do.

#include "numerical/vector_math/coefficients.hpp"
#include "numerical/vector_math/steps.hpp"

namespace numerical::vector_math {

template <class R>
struct reduced_angle
{
    typename R::words n; // in the low bits
    R r;
    R low; // what is missing in r
};

// x = n step + r with |r| <= step / 2, for |x| < 2^20. The first difference is exact, as both terms
// are multiples of the last place of the first part or of x. The product of n and the second part
// is exact too: where the second difference cancels, it is exact as well, and the third part fills
// up its digits.
template <class R>
reduced_angle<R> reduced_by(const angle_step& step, R x)
{
    const R shifted = fma(x, R(step.reciprocal), R(rounding_shift));
    const R n = shifted - R(rounding_shift);
    const R first = fnma(n, R(step.first), x);
    const R r = fnma(n, R(step.second), first);
    const R low = fnma(n, R(step.second), first - r);
    return {shifted.bits(), r, fnma(n, R(step.third), low)};
}

// Of each lane's choice of a polynomial.
template <std::size_t k = 0, class R, std::size_t count>
R chosen_polynomial(typename R::flags choice, const double (&a)[count], const double (&b)[count],
                    R x)
{
    const R c = select(choice, R(a[k]), R(b[k]));
    if constexpr (k + 1 == count)
        return c;
    else
        return fma(chosen_polynomial<k + 1>(choice, a, b, x), x, c);
}

// The sine in quadrants 0 and 2, the cosine in 1 and 3, with signs; `n` is the quadrant's number.
// Both are base + (rest + factor * polynomial), so that each lane needs one polynomial.
template <class R>
R sine_of(typename R::words n, R r, R low)
{
    const auto by_cosine = n.odd();
    const R u = r * r;
    // 1 - r^2 / 2 in two parts, and the slope times what is missing in r
    const R half = R(0.5) * r;
    const R high = fnma(half, r, R(1.0));
    const R cosine_rest = fnma(r, low, fnma(half, r, R(1.0) - high));

    const R base = select(by_cosine, high, r);
    const R rest = select(by_cosine, cosine_rest, low);
    const R factor = select(by_cosine, u, r) * u;
    const R tail = chosen_polynomial(by_cosine, cos_tail, sin_tail, u);
    const R value = base + fma(factor, tail, rest);
    return flip(value, (n & typename R::words(2)).template left<62>());
}

// Of n pi / 16 + r. With n = 8 q + j, -4 <= j < 4, T = tan(j pi / 16) and t = tan r the result is
// (T + t) / (1 - T t) for even q, and minus the reciprocal for odd ones.
template <class R>
R tangent_of(typename R::words n, R r, R low)
{
    using words = typename R::words;
    const R table = R::lookup(tan_table, n);
    const R u = r * r;
    const auto [t, t_low] = sum_of_ordered(r, fma(r * u, polynomial(tan_tail, u), low));
    const auto [sum, lost] = sum_of_ordered(table, t);
    const R sum_low = lost + (R::lookup(tan_table_low, n) + t_low);
    const R product = fnma(table, t, R(1.0));
    const R product_low = fnma(table, t_low, fnma(table, t, R(1.0) - product));
    const words q = (n + words(4)).template right<3>();
    const auto inverted = q.odd();
    const two_parts<R> upper{select(inverted, product, sum),
                             select(inverted, product_low, sum_low)};
    const two_parts<R> lower{select(inverted, sum, product),
                             select(inverted, sum_low, product_low)};
    return flip(quotient_of(upper, lower), q.template left<63>());
}

constexpr double greatest_angle = 0x1p20;

// By |x|, so that a zero keeps its sign.
struct sine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(greatest_angle));
    }

    template <class R>
    static R common(R x)
    {
        const auto [n, r, low] = reduced_by(half_pi_step, absolute(x));
        return flip(sine_of(n, r, low), sign_of(x));
    }

    static double rare(double x);
};

struct cosine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(greatest_angle));
    }

    template <class R>
    static R common(R x)
    {
        const auto [n, r, low] = reduced_by(half_pi_step, x);
        return sine_of(n + typename R::words(1), r, low);
    }

    static double rare(double x);
};

struct tangent
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(greatest_angle));
    }

    template <class R>
    static R common(R x)
    {
        const auto [n, r, low] = reduced_by(sixteenth_pi_step, absolute(x));
        return flip(tangent_of(n, r, low), sign_of(x));
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
