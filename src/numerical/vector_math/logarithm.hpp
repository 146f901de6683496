#pragma once

// Logarithms by a table of reciprocals (Tang 1990): x = 2^k m, c is near 1 / m and of ten bits, and
// log x = k log 2 - log c + log(1 + r) with r = m c - 1, |r| <= 1/32. The part of the table that
// holds m = 1 has c = 1: near 1 nothing is added to log(1 + r), and no digit is lost.

#include "numerical/vector_math/coefficients.hpp"
#include "numerical/vector_math/steps.hpp"

#include <bit>

namespace numerical::vector_math {

// x = 2^k m with m in [first, 2 first); the words are the exponent's field of k and, in their bits
// from 48 on, the part of the table.
template <class R>
struct parts_of_number
{
    typename R::words shifted;
    R k;
    R m;
};

template <class R>
parts_of_number<R> taken_apart(R x, double first)
{
    using words = typename R::words;
    constexpr std::uint64_t bits_of_2_to_52 = 0x4330000000000000;
    const auto start = words(std::bit_cast<std::uint64_t>(first));
    const words shifted = x.bits() + (words(bits_of_one) - start);
    const words k = shifted.template right<52>() | words(bits_of_2_to_52);
    const words m = (shifted & words(fraction_bits)) + start;
    return {shifted, R::from_bits(k) - R(0x1p52 + 1023), R::from_bits(m)};
}

// The parts from which the logarithm of a number is computed.
template <class R>
struct reduced_number
{
    typename R::words part; // of the table, in the low bits
    R k;
    R r;
    R low;   // what is missing in r
    R scale; // 2^-k c: what is added to x is to be multiplied by it and added to low
};

template <class R>
reduced_number<R> reduced_for_logarithm(R x)
{
    using words = typename R::words;
    const auto [shifted, k, m] = taken_apart(x, log_first);
    const words part = shifted.template right<48>();
    const R c = R::lookup(log_reciprocal, part);
    const R product = m * c;
    const words two_to_minus_k = words(2046ull << 52) - (shifted & words(~fraction_bits));
    return {.part = part,
            .k = k,
            .r = product - R(1.0),
            .low = fms(m, c, product),
            .scale = R::from_bits(two_to_minus_k) * c};
}

template <const logarithm_base& base, class R>
R logarithm_of(const reduced_number<R>& x)
{
    const R r = x.r;
    const R r_low = fnma(x.low, r, x.low); // as the logarithm has the slope 1 / (1 + r) there
    R t = r;
    R t_low = r_low;
    if constexpr (base.of_e != 1) {
        t = r * R(base.of_e);
        t_low = fma(r_low, R(base.of_e), fma(r, R(base.of_e_low), fms(r, R(base.of_e), t)));
    }
    const R high = fma(x.k, R(base.of_2), R::lookup(base.table, x.part));
    const R high_low = fma(x.k, R(base.of_2_low), R::lookup(base.table_low, x.part));
    const auto [sum, lost] = sum_of_ordered(high, t);
    return sum + fma(r * t, polynomial(log_tail, r), lost + (high_low + t_low));
}

// Whether x is no normal positive number, by one comparison: after subtraction of the bits of the
// smallest normal number, the bits of all other numbers, as unsigned integers, are larger than
// those of the normal ones.
template <class R>
typename R::flags outside_normal(R x)
{
    using words = typename R::words;
    constexpr std::uint64_t least = 0x0010000000000000;
    constexpr std::uint64_t count = 0x7FE0000000000000;
    return x.bits() + words(sign_bit - least) > words(sign_bit + count - 1);
}

struct rare_outside_normal
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return outside_normal(x);
    }
};

struct natural_logarithm : rare_outside_normal
{
    template <class R>
    static R common(R x)
    {
        return logarithm_of<natural>(reduced_for_logarithm(x));
    }

    static double rare(double x);
};

struct binary_logarithm : rare_outside_normal
{
    template <class R>
    static R common(R x)
    {
        return logarithm_of<binary>(reduced_for_logarithm(x));
    }

    static double rare(double x);
};

struct decimal_logarithm : rare_outside_normal
{
    template <class R>
    static R common(R x)
    {
        return logarithm_of<decimal>(reduced_for_logarithm(x));
    }

    static double rare(double x);
};

// Of the sum 1 + x with what its rounding loses.
struct logarithm_of_one_plus
{
    template <class R>
    static typename R::flags is_rare(R x)
    {
        return not_less(x, R(0x1p1000)) | (x < R(-0x1.fffffffffffffp-1));
    }

    template <class R>
    static R common(R x)
    {
        const auto [sum, lost] = sum_of(R(1.0), x);
        reduced_number<R> reduced = reduced_for_logarithm(sum);
        reduced.low = fma(lost, reduced.scale, reduced.low);
        const R value = logarithm_of<natural>(reduced);
        return R::from_bits(value.bits() | sign_of(x)); // -0 for -0
    }

    static double rare(double x);
};

} // namespace numerical::vector_math
