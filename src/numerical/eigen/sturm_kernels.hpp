#pragma once

// How many eigenvalues of a symmetric tridiagonal matrix lie below a number x: as many as T - x has
// negative pivots qᵢ = (dᵢ - x) - eᵢ₋₁²/qᵢ₋₁ (Barth, Martin and Wilkinson 1967). The pivots of one
// number are a chain of quotients, so that those of several numbers take the time of one.
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t points_of_count = 12;

// squares[i] > 0 couples rows i and i + 1. The diagonal has no negative zero: the pivot 0 is then a
// positive one, and the next is negative.
struct sturm_sequence
{
    const double* diagonal;
    const double* squares;
    std::size_t order;
};

// counts[j] for points[j], of which there are points_of_count. Nothing is fused: the counts are the
// same on every path.
void count_below(const sturm_sequence& t, const double* points, std::size_t* counts);
void avx2_unfused_count_below(const sturm_sequence& t, const double* points, std::size_t* counts);

} // namespace numerical::detail
