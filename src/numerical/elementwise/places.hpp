#pragma once

// Places of elements: of the first extremes along an axis, and of all elements that aren't zero.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

// For each axis of the tensor the places of the elements that aren't zero, in row-major order.
template <class T>
std::vector<aligned_vector<std::ptrdiff_t>> true_places(const tensor<T>& a);

namespace detail {

// For each outer and inner index the first place along the axis of the minimum (std::less<double>)
// or the maximum (std::greater<double>), of the first NaN if there is one. dimension_error as for
// extremes.
template <class C>
aligned_vector<std::ptrdiff_t> extreme_places(const double* data, const walk_shape& walk,
                                              const C& compare);

} // namespace detail
} // namespace numerical
