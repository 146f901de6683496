#include "numerical/vector_math/payne_hanek.hpp"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace numerical::vector_math {
namespace {

using wide = unsigned __int128;

// Highest word first.
using three_words = std::array<std::uint64_t, 3>;

// 192 digits of 2 / pi from the one of weight 2^(63 - first) on.
three_words digits_from(unsigned int first)
{
    const std::uint64_t* word = two_over_pi_words + first / 64;
    const unsigned int shift = first % 64;
    three_words digits;
    for (std::size_t i = 0; i < 3; ++i)
        digits[i] = shift == 0 ? word[i] : word[i] << shift | word[i + 1] >> (64 - shift);
    return digits;
}

// Modulo 2^192.
three_words times(const three_words& a, std::uint64_t b)
{
    const wide low = wide{a[2]} * b;
    const wide middle = wide{a[1]} * b + static_cast<std::uint64_t>(low >> 64);
    const std::uint64_t high = a[0] * b + static_cast<std::uint64_t>(middle >> 64);
    return {high, static_cast<std::uint64_t>(middle), static_cast<std::uint64_t>(low)};
}

three_words negated(const three_words& a)
{
    const std::uint64_t low = -a[2];
    const std::uint64_t middle = ~a[1] + (low == 0 ? 1 : 0);
    return {~a[0] + (low == 0 && middle == 0 ? 1 : 0), middle, low};
}

// So that the first digit isn't zero. No double comes nearer to a multiple of pi / 2 than 2^-61, so
// that the first two words aren't both zero.
three_words normalized(three_words a, int& zeros)
{
    zeros = 0;
    if (a[0] == 0) {
        zeros = 64;
        a = {a[1], a[2], 0};
    }
    if (const int shift = std::countl_zero(a[0]); shift != 0) {
        zeros += shift;
        a = {a[0] << shift | a[1] >> (64 - shift), a[1] << shift | a[2] >> (64 - shift),
             a[2] << shift};
    }
    return a;
}

// fraction * 2^-190 in two parts of 53 digits each.
two_parts<one> in_two_parts(const three_words& fraction)
{
    int zeros = 0;
    const three_words a = normalized(fraction, zeros);
    constexpr std::uint64_t last_digits = 0x7FF;
    const std::uint64_t following = (a[0] & last_digits) << 42 | a[1] >> 22;
    return {std::ldexp(static_cast<double>(a[0] >> 11), -51 - zeros),
            std::ldexp(static_cast<double>(following), -104 - zeros)};
}

} // namespace

// x = m 2^e with an integer m of 53 digits. Digits of 2 / pi of a weight above 2^(1 - e) contribute
// multiples of 4, which is a whole turn. The product of m and the 192 digits from there on, modulo
// 2^192, is x / (pi / 2) mod 4 in units of 2^-190, less than 2^-137 too small.
reduced_angle<one> reduced_large_angle(double x)
{
    const auto bits = std::bit_cast<std::uint64_t>(std::fabs(x));
    const std::uint64_t m = (bits & fraction_bits) | (fraction_bits + 1);
    const int e = static_cast<int>(bits >> 52) - 1075;
    three_words turn = times(digits_from(static_cast<unsigned int>(62 + e)), m);
    std::uint64_t quadrant = turn[0] >> 62;
    turn[0] &= ~std::uint64_t{0} >> 2;
    const bool above_half = turn[0] >> 61 != 0;
    if (above_half) { // to the nearest multiple
        ++quadrant;
        turn = negated(turn);
        turn[0] &= ~std::uint64_t{0} >> 2;
    }
    const auto [high, low] = in_two_parts(turn);
    const one product = high * one(half_of_pi);
    const one rest =
        fms(high, one(half_of_pi), product) + fma(high, one(half_of_pi_low), low * one(half_of_pi));
    const auto [r, r_low] = sum_of_ordered(product, rest);
    if (above_half)
        return {one_word(quadrant), one(-r.v), one(-r_low.v)};
    return {one_word(quadrant), r, r_low};
}

} // namespace numerical::vector_math
