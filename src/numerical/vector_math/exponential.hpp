#pragma once

// e^x, 2^x and e^x - 1 by a table of 2^(j/16) (Tang 1989): x = n ln 2 / 16 + r with n = 16 k + j,
// so that e^x = 2^k 2^(j/16) e^r with |r| <= ln 2 / 32.

#include "numerical/vector_math/coefficients.hpp"
#include "numerical/vector_math/steps.hpp"

namespace numerical::vector_math {

template <class R>
struct reduced_exponent
{
    typename R::words n; // in the low bits
    R r;
    R low; // what is missing in r
};

// The first product is subtracted without an error, as both terms are multiples of 2^-57 or of the
// last place of x, and the difference is below 2^-5.
template <class R>
reduced_exponent<R> reduced_by_ln2(R x)
{
    const R shifted = fma(x, R(sixteen_over_ln2), R(rounding_shift));
    const R n = shifted - R(rounding_shift);
    const R first = fnma(n, R(ln2_16th_1), x);
    const R r = fnma(n, R(ln2_16th_2), first);
    return {shifted.bits(), r, fnma(n, R(ln2_16th_2), first - r)};
}

// 2^(n/16) rounded, where that is a normal number.
template <class R>
R power_of_two(typename R::words n)
{
    const R base = R::lookup(power_of_two_base, n);
    return R::from_bits(base.bits() + n.template left<48>());
}

// The relative correction of a power: 2^(n/16) = power (1 + rest) in full precision.
template <class R>
R rest_of_power(typename R::words n)
{
    return R::lookup(power_of_two_rest, n);
}

// 2^(n/16) (1 + rest) with the power rounded, which may lie beyond the range of numbers.
template <class R>
struct scaled_exponential
{
    typename R::words n;
    R rest;
};

template <class R>
scaled_exponential<R> exponential_of(const reduced_exponent<R>& x)
{
    return {x.n, fma(x.r * x.r, polynomial(exp_tail, x.r), x.r + rest_of_power<R>(x.n))};
}

template <class R>
scaled_exponential<R> binary_exponential_of(R x)
{
    const R shifted = fma(x, R(16.0), R(rounding_shift));
    const R r = fnma(shifted - R(rounding_shift), R(1.0 / 16), x);
    return {shifted.bits(), fma(r, polynomial(exp2_tail, r), rest_of_power<R>(shifted.bits()))};
}

template <class R>
R value_of(const scaled_exponential<R>& e)
{
    const R scale = power_of_two<R>(e.n);
    return fma(scale, e.rest, scale);
}

struct exponential
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(708.0));
    }

    template <class R>
    static R common(R x)
    {
        return value_of(exponential_of(reduced_by_ln2(x)));
    }

    static double rare(double x);
};

struct binary_exponential
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(absolute(x), R(1021.0));
    }

    template <class R>
    static R common(R x)
    {
        return value_of(binary_exponential_of(x));
    }

    static double rare(double x);
};

// With s = 2^(n/16) the result is (s - 1) + s (e^r - 1). The first difference and the sum with s r
// keep what their rounding leaves, so that nothing is lost where they cancel.
struct exponential_minus_one
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(x, R(709.0));
    }

    template <class R>
    static R common(R x)
    {
        const R least = -40.0; // where the result is -1 to the last place
        const auto [n, r, low] = reduced_by_ln2(larger(x, least));
        const R scale = power_of_two<R>(n);
        const R rest = rest_of_power<R>(n);
        const R tail = fma(r * r, polynomial(exp_tail, r), low + fma(rest, r, rest));
        const auto [difference, lost] = sum_of(scale, R(-1.0));
        const R high = fma(scale, r, difference);
        const R lost_again = fma(scale, r, difference - high);
        const R value = high + fma(scale, tail, lost_again + lost);
        return R::from_bits(value.bits() | sign_of(x)); // -0 for -0
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
