#pragma once

// What holds of the truths along an axis: whether any or all are, and how many. All that isn't zero
// is true, NaN too. Results come for each outer and inner index of the walk in row-major order; any
// and all look no further than they have to.

#include "numerical/elementwise/reductions.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

enum class truth_question { any, all };

// Ones and zeros. Of no truths at all none is true, and all are.
template <class T>
std::vector<double> truths_along(truth_question question, const T* data, const walk_shape& walk);

template <class T>
std::vector<std::ptrdiff_t> true_counts(const T* data, const walk_shape& walk);

} // namespace numerical::detail
