#pragma once

// Steps that the algorithms share, over any type of lanes (portable_lanes.hpp).

#include <cstddef>
#include <cstdint>

namespace numerical::vector_math {

constexpr std::uint64_t sign_bit = 0x8000000000000000;
constexpr std::uint64_t fraction_bits = 0x000FFFFFFFFFFFFF;
constexpr std::uint64_t bits_of_one = 0x3FF0000000000000;

// x + this - this is x to the nearest integer for |x| < 2^51, and the low bits of the sum hold it.
constexpr double rounding_shift = 0x1.8p52;

template <class R>
R absolute(R x)
{
    return R::from_bits(x.bits() & typename R::words(~sign_bit));
}

template <class R>
typename R::words sign_of(R x)
{
    return x.bits() & typename R::words(sign_bit);
}

// x, its sign changed where `sign` has its top bit.
template <class R>
R flip(R x, typename R::words sign)
{
    return R::from_bits(x.bits() ^ sign);
}

// c[k] + c[k + 1] x + ... by the scheme of Horner.
template <std::size_t k = 0, class R, std::size_t count>
R polynomial(const double (&c)[count], R x)
{
    if constexpr (k + 1 == count)
        return R(c[k]);
    else
        return fma(polynomial<k + 1>(c, x), x, R(c[k]));
}

// high + low is the sum without an error where |a| >= |b| or a is zero (Dekker 1971).
template <class R>
struct two_parts
{
    R high;
    R low;
};

template <class R>
two_parts<R> sum_of_ordered(R a, R b)
{
    const R high = a + b;
    return {high, b - (high - a)};
}

// The same for any a and b (Knuth 1998, section 4.2.2).
template <class R>
two_parts<R> sum_of(R a, R b)
{
    const R high = a + b;
    const R rest = high - a;
    return {high, (a - (high - rest)) + (b - rest)};
}

// The result of a function of two operands, and the lanes that its scalar function has to
// recompute.
template <class R>
struct value_and_rare
{
    R value;
    typename R::flags rare;
};

// The quotient of two sums to little more than half a unit of its last place: a quotient of the
// high parts, then one step of Newton with the remainder that fused products leave.
template <class R>
R quotient_of(two_parts<R> a, two_parts<R> b)
{
    const R inverse = R(1.0) / b.high;
    const R quotient = a.high * inverse;
    const R rest = fnma(quotient, b.high, a.high) + fnma(quotient, b.low, a.low);
    return fma(rest, inverse, quotient);
}

} // namespace numerical::vector_math
