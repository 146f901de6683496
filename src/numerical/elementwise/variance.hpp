#pragma once

// Variances by two passes, the mean first: the sum of squared distances then has no cancellation
// (Chan, Golub, LeVeque 1983, The American Statistician 37, 242-247).

#include "numerical/elementwise/reductions.hpp"

#include <vector>

namespace numerical::detail {

// For each outer and inner index of the walk the pairwise sum of |x - mean|², divided by
// extent - correction; NaN where that is not above 0.
template <class T>
std::vector<double> variances(const T* data, const walk_shape& walk, double correction);

} // namespace numerical::detail
