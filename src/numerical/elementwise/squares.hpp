#pragma once

// Pairwise sums of squared moduli, for norms and variances. The squares of a run are formed in L1,
// where they are summed, so that a vector is read once and nothing is written.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

#include <cstddef>

namespace numerical::detail {

// For each outer and inner index of the walk the pairwise sum of scale²·|x - centre|², where x runs
// along the axis; `centres` and `scales` hold one number for each sum, or are empty for the centre
// 0 and the scale 1.
template <class T>
aligned_vector<double> sums_of_squares(const T* data, const walk_shape& walk,
                                       const aligned_vector<T>& centres,
                                       const aligned_vector<double>& scales);

// For each outer and inner index the Euclidean norm along the axis. Where a square overflows or is
// subnormal, the elements are scaled by a power of two near the largest of them.
template <class T>
aligned_vector<double> euclidean_norms(const T* data, const walk_shape& walk);

} // namespace numerical::detail
