#pragma once

// One double with the interface of the vector lanes: the algorithms are written once, over a type
// of lanes, and give each element the same bits on every path, as every operation is one of the
// correctly rounded operations of IEEE 754 and as fused products are fused on every path. Where the
// processor has no fused product the C library computes it in integers.

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace numerical::vector_math {

struct one_flag
{
    bool v;

    friend one_flag operator|(one_flag a, one_flag b) { return {a.v || b.v}; }

    friend one_flag operator&(one_flag a, one_flag b) { return {a.v && b.v}; }

    // Bit i is the flag of lane i.
    unsigned int pattern() const { return v ? 1 : 0; }
};

struct one_word
{
    std::uint64_t v;

    explicit one_word(std::uint64_t w) : v(w) {}

    friend one_word operator+(one_word a, one_word b) { return one_word(a.v + b.v); }

    friend one_word operator-(one_word a, one_word b) { return one_word(a.v - b.v); }

    friend one_word operator&(one_word a, one_word b) { return one_word(a.v & b.v); }

    friend one_word operator|(one_word a, one_word b) { return one_word(a.v | b.v); }

    friend one_word operator^(one_word a, one_word b) { return one_word(a.v ^ b.v); }

    template <unsigned int by>
    one_word left() const
    {
        return one_word(v << by);
    }

    template <unsigned int by>
    one_word right() const
    {
        return one_word(v >> by);
    }

    one_flag odd() const { return {(v & 1) != 0}; }

    // as signed integers
    friend one_flag operator>(one_word a, one_word b)
    {
        return {static_cast<std::int64_t>(a.v) > static_cast<std::int64_t>(b.v)};
    }
};

struct one
{
    using words = one_word;
    using flags = one_flag;
    static constexpr std::size_t width = 1;

    double v;

    one(double x) : v(x) {}

    static one load(const double* from) { return *from; }

    void store(double* to) const { *to = v; }

    friend one operator+(one a, one b) { return a.v + b.v; }

    friend one operator-(one a, one b) { return a.v - b.v; }

    friend one operator*(one a, one b) { return a.v * b.v; }

    friend one operator/(one a, one b) { return a.v / b.v; }

    friend one fma(one a, one b, one c) { return std::fma(a.v, b.v, c.v); } // a b + c

    friend one fms(one a, one b, one c) { return std::fma(a.v, b.v, -c.v); } // a b - c

    friend one fnma(one a, one b, one c) { return std::fma(-a.v, b.v, c.v); } // c - a b

    friend one root(one a) { return std::sqrt(a.v); }

    // The second operand where either is NaN or both are zeros.
    friend one larger(one a, one b) { return a.v > b.v ? a : b; }

    friend one smaller(one a, one b) { return a.v < b.v ? a : b; }

    friend one_flag operator<(one a, one b) { return {a.v < b.v}; }

    friend one_flag not_less(one a, one b) { return {!(a.v < b.v)}; } // or unordered

    friend one_flag not_equal(one a, one b) { return {!(a.v == b.v)}; } // or unordered

    friend one select(one_flag choice, one a, one b) { return choice.v ? a : b; }

    one_word bits() const { return one_word(std::bit_cast<std::uint64_t>(v)); }

    static one from_bits(one_word w) { return std::bit_cast<double>(w.v); }

    // The entry that the low bits of each word name.
    template <std::size_t size>
    static one lookup(const double (&table)[size], one_word index)
    {
        return table[index.v % size];
    }
};

} // namespace numerical::vector_math
