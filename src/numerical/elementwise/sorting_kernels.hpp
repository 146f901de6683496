#pragma once

// The kernel that sorts short runs of numbers. Declarations only, so that the header may be
// included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t runs_side_by_side = 4;

// Four runs of n numbers, `stride` apart, and where they go; runs may be the same one.
struct four_runs
{
    std::size_t n;
    std::size_t stride;
    double* lanes; // scratch, 4·n numbers from a boundary of 32 bytes on
    const double* from[runs_side_by_side];
    double* to[runs_side_by_side];
};

// Sorts them, ascending or descending. All zeros come out as +0, and the NaNs as infinities at the
// end. Returns whether there were any NaNs or negative zeros.
bool avx2_unfused_sort_ascending(const four_runs& runs);
bool avx2_unfused_sort_descending(const four_runs& runs);

} // namespace numerical::detail
