#pragma once

// The loops behind boolean_kernels.hpp. Those that read numbers are written with vectors, as the
// compiler takes twice the instructions to pack comparisons into bytes; the others are plain C++
// that it vectorizes. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/boolean_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

constexpr double infinity = __builtin_huge_val();

// --- asked of numbers ----------------------------------------------------------------------------
// Each predicate for the lanes of a vector, and for a single number.

struct less_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::less(x, y);
    }

    static bool of(double x, double y) { return x < y; }
};

struct less_equal_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::less_equal(x, y);
    }

    static bool of(double x, double y) { return x <= y; }
};

struct equal_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Lanes::equal(x, y);
    }

    static bool of(double x, double y) { return x == y; }
};

struct not_equal_predicate
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
struct exchanged_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x, V y)
    {
        return Comparison::template of_lanes<Lanes>(y, x);
    }

    static bool of(double x, double y) { return Comparison::of(y, x); }
};

// A predicate of one number compares it, or a part of it, with a constant or with itself.
struct nan_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::not_equal(x, x);
    }

    static bool of(double x) { return x != x; }
};

struct infinite_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::equal(Lanes::magnitude(x), Lanes::all(infinity));
    }

    static bool of(double x) { return __builtin_fabs(x) == infinity; }
};

struct finite_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::less(Lanes::magnitude(x), Lanes::all(infinity));
    }

    static bool of(double x) { return __builtin_fabs(x) < infinity; }
};

struct true_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::not_equal(x, Lanes::all(0.0));
    }

    static bool of(double x) { return x != 0; }
};

struct zero_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::equal(x, Lanes::all(0.0));
    }

    static bool of(double x) { return x == 0; }
};

struct sign_predicate
{
    template <class Lanes, class V>
    static V of_lanes(V x)
    {
        return Lanes::less(Lanes::sign(x), Lanes::all(0.0));
    }

    static bool of(double x) { return __builtin_copysign(1.0, x) < 0; }
};

// eight(first, to) writes the booleans of eight vectors of numbers from place `first` on; one(j)
// returns that of number j. The last eight vectors overlap those before, so that only rows shorter
// than eight vectors are processed number by number.
template <class Lanes, class Eight, class One>
void write_booleans(std::uint8_t* out, std::size_t n, const Eight& eight, const One& one)
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
void test_numbers(const double* x, std::uint8_t* out, std::size_t n)
{
    const auto eight = [x](std::size_t first, std::uint8_t* to) {
        typename Lanes::vector booleans[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k)
            booleans[k] =
                Question::template of_lanes<Lanes>(Lanes::load(x + first + k * Lanes::width));
        Lanes::store(to, booleans);
    };
    write_booleans<Lanes>(out, n, eight, [x](std::size_t j) { return Question::of(x[j]); });
}

// The vector of a row's numbers from place j on; for a row that doesn't move, its only number in
// all lanes.
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
        typename Lanes::vector booleans[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k) {
            const std::size_t j = first + k * Lanes::width;
            booleans[k] = Comparison::template of_lanes<Lanes>(
                vector_at<Lanes, left_step>(left, j), vector_at<Lanes, right_step>(right, j));
        }
        Lanes::store(to, booleans);
    };
    write_booleans<Lanes>(out, n, eight, [=](std::size_t j) {
        return Comparison::of(left[j * left_step], right[j * right_step]);
    });
}

template <class Lanes, class Comparison>
constexpr rows_by_form<comparison_row> comparison_rows{{compare<Lanes, Comparison, 1, 1>,
                                                        compare<Lanes, Comparison, 1, 0>,
                                                        compare<Lanes, Comparison, 0, 1>}};

template <class Lanes>
bool booleans_of_mask(const double* x, std::uint8_t* out, std::size_t n)
{
    using vector = typename Lanes::vector;
    const vector one = Lanes::all(1.0);
    const vector zero = Lanes::all(0.0);
    vector known = Lanes::equal(zero, zero);
    bool tail_known = true;
    const auto eight = [&](std::size_t first, std::uint8_t* to) {
        vector booleans[8];
#pragma GCC unroll 8
        for (std::size_t k = 0; k < 8; ++k) {
            const vector v = Lanes::load(x + first + k * Lanes::width);
            booleans[k] = Lanes::equal(v, one);
            known = Lanes::both(known, Lanes::either(booleans[k], Lanes::equal(v, zero)));
        }
        Lanes::store(to, booleans);
    };
    write_booleans<Lanes>(out, n, eight, [&](std::size_t j) {
        tail_known &= x[j] == 0 || x[j] == 1;
        return x[j] == 1;
    });
    return tail_known && Lanes::all_true(known);
}

// --- of booleans ---------------------------------------------------------------------------------
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
constexpr rows_by_form<boolean_row> boolean_rows_of(F)
{
    return {{combine<F, 1, 1>, combine<F, 1, 0>, combine<F, 0, 1>}};
}

void numbers_of_booleans(const std::uint8_t* __restrict x, double* __restrict out, std::size_t n)
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

// Adds words as eight byte counters, which don't overflow within 255 words; then adds up the
// counters, in pairs of bytes.
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

// Counts some columns at a time in counters of a byte, which hold 255 rows.
void count_true_of_columns(const boolean_block& block, double* __restrict counts)
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

// The places of the ones in a pattern of four bits; the remaining entries have no meaning.
constexpr std::uint8_t places_of_pattern[16][4]{
    {0, 0, 0, 0}, {0, 0, 0, 0}, {1, 0, 0, 0}, {0, 1, 0, 0}, {2, 0, 0, 0}, {0, 2, 0, 0},
    {1, 2, 0, 0}, {0, 1, 2, 0}, {3, 0, 0, 0}, {0, 3, 0, 0}, {1, 3, 0, 0}, {0, 1, 3, 0},
    {2, 3, 0, 0}, {0, 2, 3, 0}, {1, 2, 3, 0}, {0, 1, 2, 3}};

// Writes four places at a time; the next four overwrite the meaningless ones, so that no branch
// depends on the data. The multiplication gathers the booleans of eight bytes as bits of the
// topmost byte.
std::size_t places_of_booleans(const std::uint8_t* x, std::size_t n, std::ptrdiff_t* __restrict to)
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
constexpr boolean_kernels boolean_kernels_with{
    .predicates = {test_numbers<Lanes, nan_predicate>, test_numbers<Lanes, infinite_predicate>,
                   test_numbers<Lanes, finite_predicate>, test_numbers<Lanes, true_predicate>,
                   test_numbers<Lanes, zero_predicate>, test_numbers<Lanes, sign_predicate>},
    .comparisons = {comparison_rows<Lanes, less_predicate>,
                    comparison_rows<Lanes, less_equal_predicate>,
                    comparison_rows<Lanes, equal_predicate>,
                    comparison_rows<Lanes, not_equal_predicate>,
                    comparison_rows<Lanes, exchanged_predicate<less_predicate>>,
                    comparison_rows<Lanes, exchanged_predicate<less_equal_predicate>>},
    .operations = {boolean_rows_of(both_of), boolean_rows_of(either_of), boolean_rows_of(one_of)},
    .booleans_of_mask = booleans_of_mask<Lanes>,
    .numbers = numbers_of_booleans,
    .count_true = count_true,
    .count_true_of_columns = count_true_of_columns,
    .places_of_true = places_of_booleans,
};

} // namespace
} // namespace numerical::detail
