#pragma once

// Loops over plain numbers that round, choose and search, in one build for every processor and one
// for AVX2. Both are compiled from number_loops.hpp and give the same bits. Every number except
// zero counts as true, NaN included. Declarations only, so that the header may be included from any
// target.

#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/reduction_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical {

enum class number_function {
    floor,
    ceil,
    trunc,
    round, // to the nearest integer, halves to the even one
    sign,  // 1, 0 or -1, and NaN of NaN; 0 of both zeros
};

enum class pair_function {
    maximum, // NaN if one is; the left of two equal numbers
    minimum,
    copy_sign, // the left one with the sign of the right
};

namespace detail {

using number_row = void (*)(const double* x, double* out, std::size_t n);

// out[j] is left[j] where mask[j] is 1 and right[j] where it is 0, for n elements of one or two
// doubles; an operand that doesn't move is a single element for all j.
using choice_row = void (*)(const std::uint8_t* mask, const double* left, const double* right,
                            double* out, std::size_t n);

// For each column the place of its first extreme, or of its first NaN if it has one; `best` is
// scratch of the block's width.
using column_places = void (*)(const row_block& block, double* best, double* places);

// Whether any of the places on an axis is outside of it, and whether any is negative.
struct place_bounds
{
    bool outside;  // of [-extent, extent)
    bool negative; // counted from the end
};

struct number_kernels
{
    number_row of_one[5];
    rows_by_form<arithmetic_row> of_two[3];
    choice_row choices[8];         // of reals: 4, 2 and 1 for a mask, left and right that move
    choice_row complex_choices[8]; // of complex numbers
    void (*clip)(const double* x, double low, double high, double* out, std::size_t n);
    // Rounds to a multiple of 1/power, or of power; a number whose scaled value overflows is
    // unchanged.
    void (*round_to_parts)(const double* x, double power, double* out, std::size_t n);
    void (*round_to_multiples)(const double* x, double power, double* out, std::size_t n);
    std::size_t (*count_true)(const double* x, std::size_t n);
    // Writes the places of the true elements and returns their number; writes up to four more.
    std::size_t (*places_of_true)(const double* x, std::size_t n, std::ptrdiff_t* to);
    void (*count_true_of_columns)(const row_block& block, double* counts); // added to the counts
    bool (*are_equal)(const double* x, const double* y, std::size_t n);
    place_bounds (*bounds_of)(const std::ptrdiff_t* places, std::size_t n, std::size_t extent);
    // The first place of the value, of any NaN if it is one; n if there is none.
    std::size_t (*place_of)(const double* x, std::size_t n, double value);
    column_places places_of_least;
    column_places places_of_greatest;
};

extern const number_kernels portable_numbers;
extern const number_kernels avx2_unfused_numbers;

const number_kernels& numbers_in_force();

} // namespace detail
} // namespace numerical
