#pragma once

// The inner loops of reductions, in one build for every processor and one for AVX2. Both are
// compiled from reduction_loops.hpp and give the same bits. Declarations only, so that the header
// may be included from any target.

#include <cstddef>

namespace numerical::detail {

// An extreme, and whether a NaN was among the numbers; if so, the result is NaN.
struct extreme_found
{
    double value;
    bool nan;
};

// `rows` rows of `width` numbers, `stride` apart.
struct row_block
{
    const double* first;
    std::size_t rows;
    std::size_t stride;
    std::size_t width;
};

struct reduction_kernels
{
    // Pairwise sums of the columns, each with the bits of pairwise_sum. `scratch` holds
    // column_sum_scratch numbers.
    void (*column_sums)(const row_block& block, double* sums, double* scratch);

    // Extremes of n >= 1 numbers, as contiguous_extreme.
    extreme_found (*least)(const double* p, std::size_t n);
    extreme_found (*greatest)(const double* p, std::size_t n);

    // The extreme of each column, the first of equal numbers; some NaN if the column holds one.
    void (*least_of_columns)(const row_block& block, double* extremes);
    void (*greatest_of_columns)(const row_block& block, double* extremes);
};

extern const reduction_kernels portable_reduction;
extern const reduction_kernels avx2_unfused_reduction;

// Runs of at most this many numbers are summed in eight accumulators, longer ones by halves.
constexpr std::size_t pairwise_limit = 128;

// The place at which a longer run is cut in two.
constexpr std::size_t pairwise_half(std::size_t n)
{
    return n / 2 / 8 * 8;
}

// Eight rows of accumulators, and one row of sums for each level of halving: the right half is the
// longer one.
constexpr std::size_t column_sum_scratch(std::size_t rows, std::size_t width)
{
    std::size_t levels = 0;
    for (; rows > pairwise_limit; rows -= pairwise_half(rows))
        ++levels;
    return (8 + levels) * width;
}

} // namespace numerical::detail
