#pragma once

// arcsin and arccos by one polynomial on [0, 1/2] and the half-angle formula beyond; arctan by a
// table of angles and the addition theorem of the tangent.

#include "numerical/vector_math/coefficients.hpp"
#include "numerical/vector_math/steps.hpp"

namespace numerical::vector_math {

// The angle v + rest whose sine is |x|, or for |x| > 1/2 half the angle whose cosine is |x|:
// its sine is the root v of (1 - |x|) / 2.
template <class R>
struct half_angle
{
    typename R::flags beyond; // |x| > 1/2
    R v;
    R rest;
};

template <class R>
half_angle<R> half_angle_of(R a)
{
    using words = typename R::words;
    const auto beyond = R(0.5) < a;
    const R u = select(beyond, fnma(R(0.5), a, R(0.5)), a * a);
    const R v_beyond = root(u);
    // What the rounding of the root loses is (u - v^2) / (2 v). It needs few digits, and the
    // exponent's complement gives the reciprocal to an eighth.
    const words complement = words(0x7FD6000000000000) - v_beyond.bits();
    const R lost = fnma(v_beyond, v_beyond, u) * R::from_bits(complement);
    const R v = select(beyond, v_beyond, a);
    const R v_low = select(beyond, lost, R(0.0));
    return {beyond, v, fma(v * u, polynomial(arcsin_tail, u), v_low)};
}

struct arc_sine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(0x1.0000000000001p0));
    }

    template <class R>
    static R common(R x)
    {
        const auto [beyond, v, rest] = half_angle_of(absolute(x));
        const R twice = v + v;
        const R base = R(half_of_pi) - twice;
        const R lost = (R(half_of_pi) - base) - twice;
        const R value = base + (lost + fnma(R(2.0), rest, R(half_of_pi_low)));
        return flip(select(beyond, value, v + rest), sign_of(x));
    }

    static double rare(double x);
};

// base - turn, where turn is the angle or minus twice it, with the sign of x.
struct arc_cosine
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(0x1.0000000000001p0));
    }

    template <class R>
    static R common(R x)
    {
        const auto sign = sign_of(x);
        const auto [beyond, v, rest] = half_angle_of(absolute(x));
        const auto negative = x < R(0.0);
        const R multiple = flip(select(beyond, R(-2.0), R(1.0)), sign);
        const R base = select(beyond, select(negative, R(2 * half_of_pi), R(0.0)), R(half_of_pi));
        const R base_low =
            select(beyond, select(negative, R(2 * half_of_pi_low), R(0.0)), R(half_of_pi_low));
        const R turn = multiple * v;
        const R high = base - turn;
        const R lost = (base - high) - turn;
        return high + (lost + fnma(multiple, rest, base_low));
    }

    static double rare(double x);
};

// The angle of the part of the positive axis that `a` lies in, and the tangent z of what is left:
// with the angle's tangent s / c, z = (a c - s) / (c + a s) = tan(arctan a - angle).
template <class R>
typename R::words part_of_tangent(R a)
{
    return smaller(larger(a, R(1.0 / 16)), R(15.0)).bits().template right<51>();
}

// angle + arctan(upper / lower) in two parts. What the rounding of the quotient loses is made good.
template <class R>
two_parts<R> angle_plus_arctan(typename R::words part, R upper, R lower)
{
    const R inverse = R(1.0) / lower;
    const R z = upper * inverse;
    const R z_low = fnma(z, lower, upper) * inverse;
    const R u = z * z;
    const auto [high, lost] = sum_of_ordered(R::lookup(arctan_angle, part), z);
    const R low = z_low + (lost + R::lookup(arctan_angle_low, part));
    return {high, fma(z * u, polynomial(arctan_tail, u), low)};
}

struct arc_tangent
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_equal(x, x);
    }

    template <class R>
    static R common(R x)
    {
        const R a = smaller(absolute(x), R(0x1p60)); // pi / 2 to the last place
        const auto part = part_of_tangent(a);
        const R s = R::lookup(arctan_sine, part);
        const R c = R::lookup(arctan_cosine, part);
        const auto [high, low] = angle_plus_arctan(part, fms(a, c, s), fma(a, s, c));
        return flip(high + low, sign_of(x));
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
