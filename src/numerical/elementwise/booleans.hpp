#pragma once

// Reductions of the elements along an axis as booleans: whether any or all are true, and how many.
// Every number except zero is true, NaN included; the elements may also be booleans. There is a
// result for each outer and inner index of the walk, in row-major order; any and all stop as soon
// as the result is decided.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {

enum class boolean_reduction { any, all };

// Along an empty axis `any` is false and `all` is true.
template <class T>
aligned_vector<std::uint8_t> booleans_along(boolean_reduction reduction, const T* data,
                                            const walk_shape& walk);

template <class T>
aligned_vector<std::ptrdiff_t> true_counts(const T* data, const walk_shape& walk);

// The sums and means of booleans as numbers; the sums are counts, hence exact.
aligned_vector<double> sums(const std::uint8_t* data, const walk_shape& walk);
aligned_vector<double> means(const std::uint8_t* data, const walk_shape& walk);

} // namespace numerical::detail
