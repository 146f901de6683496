#pragma once

// Loops whose results, or operands too, are truths: bytes of 1 or 0. In one build for every
// processor and one for AVX2, both compiled from truth_loops.hpp. Declarations only, so that the
// header may be included from any target.

#include "numerical/elementwise/arithmetic_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical {

enum class comparison { less, less_equal, equal, not_equal, greater, greater_equal };

// What is asked of a single number.
enum class number_question {
    is_nan,
    is_infinite,
    is_finite,
    is_true, // not zero; NaN isn't
    is_zero,
    has_sign, // of zeros and NaN too
};

enum class truth_operation { logical_and, logical_or, logical_xor };

namespace detail {

// out[j] is the answer to x[j].
using question_row = void (*)(const double* x, std::uint8_t* out, std::size_t n);

using comparison_row = void (*)(const double* left, const double* right, std::uint8_t* out,
                                std::size_t n);

using truth_row = void (*)(const std::uint8_t* left, const std::uint8_t* right, std::uint8_t* out,
                           std::size_t n);

// `rows` rows of `width` truths, `stride` apart.
struct truth_block
{
    const std::uint8_t* first;
    std::size_t rows;
    std::size_t stride;
    std::size_t width;
};

struct truth_kernels
{
    question_row questions[6];
    rows_by_form<comparison_row> comparisons[6];
    rows_by_form<truth_row> operations[3];
    // Ones where x[j] is 1; false if a number is neither 0 nor 1, and what is written then means
    // nothing.
    bool (*truths_of_mask)(const double* x, std::uint8_t* out, std::size_t n);
    void (*numbers)(const std::uint8_t* x, double* out, std::size_t n); // 1.0 and 0.0
    std::size_t (*count_true)(const std::uint8_t* x, std::size_t n);
    void (*count_true_of_columns)(const truth_block& block, double* counts); // added to the counts
    // Appends the places of the true ones and returns how many; writes up to eight more.
    std::size_t (*places_of_true)(const std::uint8_t* x, std::size_t n, std::ptrdiff_t* to);
};

extern const truth_kernels portable_truths;
extern const truth_kernels avx2_unfused_truths;

const truth_kernels& truths_in_force();

} // namespace detail
} // namespace numerical
