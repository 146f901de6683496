#pragma once

// Loops whose results, and in part operands, are booleans: bytes of 1 or 0. There is one build for
// every processor and one for AVX2, both compiled from boolean_loops.hpp. Declarations only, so
// that the header may be included from any target.

#include "numerical/elementwise/arithmetic_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical {

enum class comparison { less, less_equal, equal, not_equal, greater, greater_equal };

// Predicates of a single number.
enum class number_predicate {
    is_nan,
    is_infinite,
    is_finite,
    is_true, // not zero; NaN isn't
    is_zero,
    has_sign, // of zeros and NaN too
};

enum class boolean_operation { logical_and, logical_or, logical_xor };

namespace detail {

// out[j] is the predicate of x[j].
using predicate_row = void (*)(const double* x, std::uint8_t* out, std::size_t n);

using comparison_row = void (*)(const double* left, const double* right, std::uint8_t* out,
                                std::size_t n);

using boolean_row = void (*)(const std::uint8_t* left, const std::uint8_t* right, std::uint8_t* out,
                             std::size_t n);

// `rows` rows of `width` booleans, `stride` apart.
struct boolean_block
{
    const std::uint8_t* first;
    std::size_t rows;
    std::size_t stride;
    std::size_t width;
};

struct boolean_kernels
{
    predicate_row predicates[6];
    rows_by_form<comparison_row> comparisons[6];
    rows_by_form<boolean_row> operations[3];
    // Writes 1 where x[j] is 1; returns false, with the result undefined, if a number is neither 0
    // nor 1.
    bool (*booleans_of_mask)(const double* x, std::uint8_t* out, std::size_t n);
    void (*numbers)(const std::uint8_t* x, double* out, std::size_t n); // 1.0 and 0.0
    std::size_t (*count_true)(const std::uint8_t* x, std::size_t n);
    void (*count_true_of_columns)(const boolean_block& block,
                                  double* counts); // added to the counts
    // Writes the places of the true elements and returns their number; writes up to eight more.
    std::size_t (*places_of_true)(const std::uint8_t* x, std::size_t n, std::ptrdiff_t* to);
};

extern const boolean_kernels portable_booleans;
extern const boolean_kernels avx2_unfused_booleans;

const boolean_kernels& booleans_in_force();

} // namespace detail
} // namespace numerical
