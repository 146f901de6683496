#pragma once

// The loops behind number_kernels.hpp, plain C++ that the compiler turns into vector code for the
// target that includes them. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/elementwise/streamed_rows.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

constexpr double infinity = __builtin_huge_val();

constexpr double one_if(bool boolean)
{
    return boolean ? 1.0 : 0.0;
}

// Of the rounding functions the compiler vectorizes rint alone, since the others must not raise the
// inexact exception. ceil is therefore the nearest integer, plus one where that lies below x, with
// the sign of x for zeros; floor and trunc are alike.
constexpr auto round_of = [](double x) { return __builtin_rint(x); };
constexpr auto ceil_of = [](double x) {
    const double near = __builtin_rint(x);
    return __builtin_copysign(near + one_if(near < x), x);
};
constexpr auto floor_of = [](double x) { return -ceil_of(-x); };
constexpr auto trunc_of = [](double x) {
    return __builtin_copysign(ceil_of(-__builtin_fabs(x)), x);
};
constexpr auto sign_of = [](double x) { return x != x ? x : one_if(x > 0) - one_if(x < 0); };

// The first line compiles to the processor's max, which gives x if either operand is NaN.
constexpr auto maximum = [](double x, double y) {
    const double greater = y > x ? y : x;
    return y != y ? y : greater;
};
constexpr auto minimum = [](double x, double y) {
    const double lesser = y < x ? y : x;
    return y != y ? y : lesser;
};
constexpr auto copy_sign = [](double x, double y) { return __builtin_copysign(x, y); };

template <class F, std::size_t left_step, std::size_t right_step>
void pairs_of(const double* __restrict left, const double* __restrict right, double* __restrict out,
              std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = F()(left[j * left_step], right[j * right_step]);
}

template <class Stream, class F, std::size_t left_step, std::size_t right_step>
void each_pair(const double* left, const double* right, double* out, std::size_t n)
{
    write_row<Stream>(out, n, [=](std::size_t first, double* to, std::size_t count) {
        pairs_of<F, left_step, right_step>(left + first * left_step, right + first * right_step, to,
                                           count);
    });
}

template <class Stream, class F>
constexpr rows_by_form<arithmetic_row> pair_rows_of(F)
{
    return {{each_pair<Stream, F, 1, 1>, each_pair<Stream, F, 1, 0>, each_pair<Stream, F, 0, 1>}};
}

template <std::size_t parts, std::size_t mask_step, std::size_t left_step, std::size_t right_step>
void choices_of(const std::uint8_t* __restrict mask, const double* __restrict left,
                const double* __restrict right, double* __restrict out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        for (std::size_t part = 0; part < parts; ++part) {
            const double x = left[j * left_step + part];
            const double y = right[j * right_step + part];
            out[j * parts + part] = mask[j * mask_step] != 0 ? x : y;
        }
}

template <class Stream, std::size_t parts, std::size_t moving>
void choose(const std::uint8_t* mask, const double* left, const double* right, double* out,
            std::size_t n)
{
    constexpr std::size_t mask_step = moving / 4;
    constexpr std::size_t left_step = moving / 2 % 2 * parts;
    constexpr std::size_t right_step = moving % 2 * parts;
    write_row<Stream>(out, parts * n, [=](std::size_t first, double* to, std::size_t count) {
        const std::size_t at = first / parts;
        choices_of<parts, mask_step, left_step, right_step>(
            mask + at * mask_step, left + at * left_step, right + at * right_step, to,
            count / parts);
    });
}

// NaN propagates, from x and from either bound.
void clipped_to(const double* __restrict x, double low, double high, double* __restrict out,
                std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = minimum(maximum(x[j], low), high);
}

template <class Stream>
void clip(const double* x, double low, double high, double* out, std::size_t n)
{
    write_row<Stream>(out, n, [=](std::size_t first, double* to, std::size_t count) {
        clipped_to(x + first, low, high, to, count);
    });
}

// A number whose multiple isn't finite is unchanged. There are two loops over a block in L1, since
// the compiler vectorizes no loop that holds both a division and a selection.
void round_to_parts(const double* __restrict x, double power, double* __restrict out, std::size_t n)
{
    constexpr std::size_t stretch = 256;
    for (std::size_t first = 0; first < n; first += stretch) {
        const std::size_t end = first + stretch < n ? first + stretch : n;
        for (std::size_t j = first; j < end; ++j)
            out[j] = __builtin_rint(x[j] * power) / power;
        for (std::size_t j = first; j < end; ++j)
            out[j] = __builtin_fabs(x[j] * power) < infinity ? out[j] : x[j];
    }
}

void round_to_multiples(const double* __restrict x, double power, double* __restrict out,
                        std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = __builtin_rint(x[j] / power) * power;
}

bool are_equal(const double* x, const double* y, std::size_t n)
{
    std::uint64_t unequal = 0;
    for (std::size_t j = 0; j < n; ++j)
        unequal |= x[j] != y[j] ? ~std::uint64_t{0} : 0;
    return unequal == 0;
}

// The tests read sign bits of differences: every processor adds and subtracts vectors of 64-bit
// integers, but not every one compares them.
place_bounds bounds_of(const std::ptrdiff_t* places, std::size_t n, std::size_t extent)
{
    std::uint64_t outside = 0;
    std::uint64_t negative = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const auto place = static_cast<std::uint64_t>(places[j]);
        outside |= (place + extent) | (extent - 1 - place);
        negative |= place;
    }
    return {outside >> 63 != 0, negative >> 63 != 0};
}

std::size_t count_true(const double* x, std::size_t n)
{
    std::size_t count = 0;
    for (std::size_t j = 0; j < n; ++j)
        count += x[j] != 0 ? 1 : 0;
    return count;
}

// The places of the ones in a pattern of four bits; the remaining entries have no meaning.
constexpr std::ptrdiff_t places_of_bits[16][4]{
    {0, 0, 0, 0}, {0, 0, 0, 0}, {1, 0, 0, 0}, {0, 1, 0, 0}, {2, 0, 0, 0}, {0, 2, 0, 0},
    {1, 2, 0, 0}, {0, 1, 2, 0}, {3, 0, 0, 0}, {0, 3, 0, 0}, {1, 3, 0, 0}, {0, 1, 3, 0},
    {2, 3, 0, 0}, {0, 2, 3, 0}, {1, 2, 3, 0}, {0, 1, 2, 3}};

// Writes four places at a time; the next four overwrite the meaningless ones, so that no branch
// depends on the data.
template <class Stream>
std::size_t places_of_true(const double* x, std::size_t n, std::ptrdiff_t* __restrict to)
{
    std::size_t count = 0;
    std::size_t j = 0;
    for (; j + 4 <= n; j += 4) {
        const unsigned int pattern = Stream::true_of_four(x + j);
        for (std::size_t k = 0; k < 4; ++k)
            to[count + k] = static_cast<std::ptrdiff_t>(j) + places_of_bits[pattern][k];
        count += static_cast<std::size_t>(__builtin_popcount(pattern));
    }
    for (; j < n; ++j) {
        to[count] = static_cast<std::ptrdiff_t>(j);
        count += x[j] != 0 ? 1 : 0;
    }
    return count;
}

void count_true_of_columns(const row_block& block, double* __restrict counts)
{
    for (std::size_t i = 0; i < block.rows; ++i) {
        const double* __restrict row = block.first + i * block.stride;
        for (std::size_t k = 0; k < block.width; ++k)
            counts[k] += one_if(row[k] != 0);
    }
}

// Compares sixteen numbers at a time into the bits of a word, of which the first one set is the
// place.
template <class Stream>
std::size_t place_of(const double* x, std::size_t n, double value)
{
    const bool nan = value != value;
    const auto found_in_four = [nan, value](const double* at) {
        return nan ? Stream::nan_of_four(at) : Stream::equal_of_four(at, value);
    };
    std::size_t from = 0;
    for (; from + 16 <= n; from += 16) {
        unsigned int found = 0;
        for (unsigned int k = 0; k < 16; k += 4)
            found |= found_in_four(x + from + k) << k;
        if (found != 0)
            return from + static_cast<std::size_t>(__builtin_ctz(found));
    }
    while (from < n && !(x[from] == value || (nan && x[from] != x[from])))
        ++from;
    return from;
}

// Continues with `rows` rows, the first of which is row `place`. Places are kept as doubles, exact
// below 2^53, so that one comparison selects both the number and its place. A number replaces the
// best one unless it loses to it; a NaN never loses to a number, and everything loses to a NaN.
template <class Loses, std::size_t rows>
void meet_rows(const double* __restrict first, std::size_t stride, std::size_t width,
               std::size_t place, double* __restrict best, double* __restrict places)
{
    for (std::size_t k = 0; k < width; ++k) {
        double best_yet = best[k];
        double place_yet = places[k];
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            const double x = first[r * stride + k];
            const bool stays = Loses()(x, best_yet) | (best_yet != best_yet);
            best_yet = stays ? best_yet : x;
            place_yet = stays ? place_yet : static_cast<double>(place + r);
        }
        best[k] = best_yet;
        places[k] = place_yet;
    }
}

template <class Loses>
void places_of_columns(const row_block& block, double* __restrict best, double* __restrict places)
{
    constexpr std::size_t together = 4;
    for (std::size_t k = 0; k < block.width; ++k) {
        best[k] = block.first[k];
        places[k] = 0;
    }
    const auto row = [&block](std::size_t i) { return block.first + i * block.stride; };
    std::size_t i = 1;
    for (; i + together <= block.rows; i += together)
        meet_rows<Loses, together>(row(i), block.stride, block.width, i, best, places);
    for (; i < block.rows; ++i)
        meet_rows<Loses, 1>(row(i), block.stride, block.width, i, best, places);
}

constexpr auto at_least = [](double x, double best) { return x >= best; };
constexpr auto at_most = [](double x, double best) { return x <= best; };

template <class Loses>
constexpr column_places places_where(Loses)
{
    return places_of_columns<Loses>;
}

// The integers next to numbers, without an instruction for them.
template <class Stream>
struct integers_by_rint
{
    static constexpr number_row floor = number_row_of<Stream>(floor_of);
    static constexpr number_row ceil = number_row_of<Stream>(ceil_of);
    static constexpr number_row trunc = number_row_of<Stream>(trunc_of);
};

template <class Stream, class Integers>
constexpr number_kernels number_kernels_with{
    .of_one = {Integers::floor, Integers::ceil, Integers::trunc, number_row_of<Stream>(round_of),
               number_row_of<Stream>(sign_of)},
    .of_two = {pair_rows_of<Stream>(maximum), pair_rows_of<Stream>(minimum),
               pair_rows_of<Stream>(copy_sign)},
    .choices = {choose<Stream, 1, 0>, choose<Stream, 1, 1>, choose<Stream, 1, 2>,
                choose<Stream, 1, 3>, choose<Stream, 1, 4>, choose<Stream, 1, 5>,
                choose<Stream, 1, 6>, choose<Stream, 1, 7>},
    .complex_choices = {choose<Stream, 2, 0>, choose<Stream, 2, 1>, choose<Stream, 2, 2>,
                        choose<Stream, 2, 3>, choose<Stream, 2, 4>, choose<Stream, 2, 5>,
                        choose<Stream, 2, 6>, choose<Stream, 2, 7>},
    .clip = clip<Stream>,
    .round_to_parts = round_to_parts,
    .round_to_multiples = round_to_multiples,
    .count_true = count_true,
    .places_of_true = places_of_true<Stream>,
    .count_true_of_columns = count_true_of_columns,
    .are_equal = are_equal,
    .bounds_of = bounds_of,
    .place_of = place_of<Stream>,
    .places_of_least = places_where(at_least),
    .places_of_greatest = places_where(at_most),
};

} // namespace
} // namespace numerical::detail
