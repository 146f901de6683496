#pragma once

// Variances by two passes, the mean first: the sum of squared distances then has no cancellation
// (Chan, Golub, LeVeque 1983, The American Statistician 37, 242-247).

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

namespace numerical::detail {

// For each outer and inner index of the walk the pairwise sum of |x - mean|², divided by
// extent - correction; NaN where that is not above 0.
template <class T>
aligned_vector<double> variances(const T* data, const walk_shape& walk, double correction);

} // namespace numerical::detail
