#pragma once

// What holds of the elements along an axis: whether any or all are true, and how many. All that
// isn't zero is true, NaN too; elements may be truths themselves. Results come for each outer and
// inner index of the walk in row-major order; any and all look no further than they have to.

#include "numerical/elementwise/reductions.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical::detail {

enum class truth_question { any, all };

// Of no elements at all none is true, and all are.
template <class T>
std::vector<std::uint8_t> truths_along(truth_question question, const T* data,
                                       const walk_shape& walk);

template <class T>
std::vector<std::ptrdiff_t> true_counts(const T* data, const walk_shape& walk);

// The sums and means of truths as numbers: exact sums, as counts are.
std::vector<double> sums(const std::uint8_t* data, const walk_shape& walk);
std::vector<double> means(const std::uint8_t* data, const walk_shape& walk);

} // namespace numerical::detail
