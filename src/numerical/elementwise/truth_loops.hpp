#pragma once

// The loops behind truth_kernels.hpp. What reads numbers is written over vectors, as the compiler
// packs comparisons to bytes in twice the instructions; the others are plain C++ of which it makes
// vectors. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/truth_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

constexpr double infinity = __builtin_huge_val();

// --- asked of numbers ----------------------------------------------------------------------------
// Each question for a vector's lanes and for a number.

struct asks_less
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::less(x, y);
    }

    static bool of(double x, double y) { return x < y; }
};

struct asks_less_equal
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::less_equal(x, y);
    }

    static bool of(double x, double y) { return x <= y; }
};

struct asks_equal
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::equal(x, y);
    }

    static bool of(double x, double y) { return x == y; }
};

struct asks_not_equal
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::not_equal(x, y);
    }

    static bool of(double x, double y) { return x != y; }
};

// A comparison with its operands exchanged: x > y is y < x.
template <class Comparison>
struct asks_exchanged
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Comparison::template of_lanes<Lanes>(y, x);
    }

    static bool of(double x, double y) { return Comparison::of(y, x); }
};

// A question of a number is a comparison of something of it with a constant, or with itself.
struct asks_is_nan
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::not_equal(x, x);
    }

    static bool of(double x) { return x != x; }
};

struct asks_is_infinite
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::equal(Lanes::magnitude(x), Lanes::all(infinity));
    }

    static bool of(double x) { return __builtin_fabs(x) == infinity; }
};

struct asks_is_finite
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::less(Lanes::magnitude(x), Lanes::all(infinity));
    }

    static bool of(double x) { return __builtin_fabs(x) < infinity; }
};

struct asks_is_true
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::not_equal(x, Lanes::all(0.0));
    }

    static bool of(double x) { return x != 0; }
};

struct asks_is_zero
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::equal(x, Lanes::all(0.0));
    }

    static bool of(double x) { return x == 0; }
};

struct asks_has_sign
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::less(Lanes::sign(x), Lanes::all(0.0));
    }

    static bool of(double x) { return __builtin_copysign(1.0, x) < 0; }
};

// eight(first, to) writes the truths of the numbers from place `first` on, as many as eight vectors
// hold; one(j) gives that of number j. The last vectors overlap those before, so that only rows
// shorter than they are go number by number.
template <class Lanes, class Eight, class One>
void write_truths(std::uint8_t* out, std::size_t n, const Eight& eight, const One& one)
{
    constexpr std::size_t block = 8 * Lanes::width;
    if (n < block) {
        for (std::size_t j = 0; j < n; ++j)
            out[j] = one(j) ? 1 : 0;
        return;
    }
    for (std::size_t j = 0; j + block <= n; j += block)
        eight(j, out + j);
    if (n % block != 0)
        eight(n - block, out + n - block);
}

template <class Lanes, class Question>
void ask(const double* x, std::uint8_t* out, std::size_t n)
{
    const auto eight = [x](std::size_t first, std::uint8_t* to) {
        typename Lanes::vector truths[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k)
            truths[k] =
                Question::template of_lanes<Lanes>(Lanes::load(x + first + k * Lanes::width));
        Lanes::store(to, truths);
    };
    write_truths<Lanes>(out, n, eight, [x](std::size_t j) { return Question::of(x[j]); });
}

// The vector of a row's numbers from place j on; of a row that doesn't move its only number.
template <class Lanes, std::size_t step>
typename Lanes::vector vector_at(const double* row, std::size_t j)
{
    if constexpr (step == 0)
        return Lanes::all(*row);
    else
        return Lanes::load(row + j);
}

template <class Lanes, class Comparison, std::size_t left_step, std::size_t right_step>
void compare(const double* left, const double* right, std::uint8_t* out, std::size_t n)
{
    const auto eight = [=](std::size_t first, std::uint8_t* to) {
        typename Lanes::vector truths[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k) {
            const std::size_t j = first + k * Lanes::width;
            truths[k] = Comparison::template of_lanes<Lanes>(
                vector_at<Lanes, left_step>(left, j), vector_at<Lanes, right_step>(right, j));
        }
        Lanes::store(to, truths);
    };
    write_truths<Lanes>(out, n, eight, [=](std::size_t j) {
        return Comparison::of(left[j * left_step], right[j * right_step]);
    });
}

template <class Lanes, class Comparison>
constexpr rows_by_form<comparison_row> comparison_rows{{compare<Lanes, Comparison, 1, 1>,
                                                        compare<Lanes, Comparison, 1, 0>,
                                                        compare<Lanes, Comparison, 0, 1>}};

template <class Lanes>
bool truths_of_mask(const double* x, std::uint8_t* out, std::size_t n)
{
    using vector = typename Lanes::vector;
    const vector one = Lanes::all(1.0);
    const vector zero = Lanes::all(0.0);
    vector known = Lanes::equal(zero, zero);
    bool tail_known = true;
    const auto eight = [&](std::size_t first, std::uint8_t* to) {
        vector truths[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k) {
            const vector v = Lanes::load(x + first + k * Lanes::width);
            truths[k] = Lanes::equal(v, one);
            known = Lanes::both(known, Lanes::either(truths[k], Lanes::equal(v, zero)));
        }
        Lanes::store(to, truths);
    };
    write_truths<Lanes>(out, n, eight, [&](std::size_t j) {
        tail_known &= x[j] == 0 || x[j] == 1;
        return x[j] == 1;
    });
    return tail_known && Lanes::all_true(known);
}

// --- of truths -----------------------------------------------------------------------------------
constexpr auto both_of = [](unsigned int x, unsigned int y) { return x & y; };
constexpr auto either_of = [](unsigned int x, unsigned int y) { return x | y; };
constexpr auto one_of = [](unsigned int x, unsigned int y) { return x ^ y; };

template <class F, std::size_t left_step, std::size_t right_step>
void combine(const std::uint8_t* __restrict left, const std::uint8_t* __restrict right,
             std::uint8_t* __restrict out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = static_cast<std::uint8_t>(F()(left[j * left_step], right[j * right_step]));
}

template <class F>
constexpr rows_by_form<truth_row> truth_rows_of(F)
{
    return {{combine<F, 1, 1>, combine<F, 1, 0>, combine<F, 0, 1>}};
}

void numbers_of_truths(const std::uint8_t* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = x[j];
}

std::uint64_t word_at(const std::uint8_t* x)
{
    std::uint64_t word = 0;
    __builtin_memcpy(&word, x, sizeof word);
    return word;
}

// Eight counters in a word, which no carry leaves for 255 words; then their sum, in pairs of bytes.
std::size_t count_true(const std::uint8_t* x, std::size_t n)
{
    constexpr std::size_t most = 255;
    constexpr std::uint64_t even_bytes = 0x00ff00ff00ff00ff;
    constexpr std::uint64_t ones = 0x0001000100010001;
    std::size_t count = 0;
    std::size_t j = 0;
    while (n - j >= 8) {
        const std::size_t left = (n - j) / 8;
        const std::size_t words = left < most ? left : most;
        std::uint64_t counters = 0;
        for (std::size_t k = 0; k < words; ++k)
            counters += word_at(x + j + 8 * k);
        const std::uint64_t pairs = (counters & even_bytes) + (counters >> 8 & even_bytes);
        count += pairs * ones >> 48;
        j += 8 * words;
    }
    for (; j < n; ++j)
        count += x[j];
    return count;
}

// By counters of a byte for some columns, which hold 255 rows.
void count_true_of_columns(const truth_block& block, double* __restrict counts)
{
    constexpr std::size_t most = 255;
    constexpr std::size_t columns = 128;
    for (std::size_t k = 0; k < block.width; k += columns) {
        const std::size_t width = block.width - k < columns ? block.width - k : columns;
        for (std::size_t i = 0; i < block.rows; i += most) {
            const std::size_t end = block.rows - i < most ? block.rows : i + most;
            std::uint8_t counters[columns] = {};
            for (std::size_t row = i; row < end; ++row) {
                const std::uint8_t* __restrict x = block.first + row * block.stride + k;
                for (std::size_t c = 0; c < width; ++c)
                    counters[c] = static_cast<std::uint8_t>(counters[c] + x[c]);
            }
            for (std::size_t c = 0; c < width; ++c)
                counts[k + c] += counters[c];
        }
    }
}

// The places of the ones in a pattern of four bits, then any.
constexpr std::uint8_t places_of_pattern[16][4]{
    {0, 0, 0, 0}, {0, 0, 0, 0}, {1, 0, 0, 0}, {0, 1, 0, 0}, {2, 0, 0, 0}, {0, 2, 0, 0},
    {1, 2, 0, 0}, {0, 1, 2, 0}, {3, 0, 0, 0}, {0, 3, 0, 0}, {1, 3, 0, 0}, {0, 1, 3, 0},
    {2, 3, 0, 0}, {0, 2, 3, 0}, {1, 2, 3, 0}, {0, 1, 2, 3}};

// Four at a time, and the next over those that meant nothing, so that no branch depends on the
// data. The product brings the truths of eight bytes, one bit each, into the topmost byte.
std::size_t places_of_truths(const std::uint8_t* x, std::size_t n, std::ptrdiff_t* __restrict to)
{
    std::size_t count = 0;
    std::size_t j = 0;
    const auto append = [&](std::size_t from, std::uint64_t pattern) {
        for (std::size_t k = 0; k < 4; ++k)
            to[count + k] = static_cast<std::ptrdiff_t>(from + places_of_pattern[pattern][k]);
        count += static_cast<std::size_t>(__builtin_popcountll(pattern));
    };
    for (; j + 8 <= n; j += 8) {
        const std::uint64_t bits = word_at(x + j) * 0x0102040810204080 >> 56;
        append(j, bits & 15);
        append(j + 4, bits >> 4);
    }
    for (; j < n; ++j) {
        to[count] = static_cast<std::ptrdiff_t>(j);
        count += x[j];
    }
    return count;
}

template <class Lanes>
constexpr truth_kernels truth_kernels_with{
    {ask<Lanes, asks_is_nan>, ask<Lanes, asks_is_infinite>, ask<Lanes, asks_is_finite>,
     ask<Lanes, asks_is_true>, ask<Lanes, asks_is_zero>, ask<Lanes, asks_has_sign>},
    {comparison_rows<Lanes, asks_less>, comparison_rows<Lanes, asks_less_equal>,
     comparison_rows<Lanes, asks_equal>, comparison_rows<Lanes, asks_not_equal>,
     comparison_rows<Lanes, asks_exchanged<asks_less>>,
     comparison_rows<Lanes, asks_exchanged<asks_less_equal>>},
    {truth_rows_of(both_of), truth_rows_of(either_of), truth_rows_of(one_of)},
    truths_of_mask<Lanes>,
    numbers_of_truths,
    count_true,
    count_true_of_columns,
    places_of_truths};

} // namespace
} // namespace numerical::detail
