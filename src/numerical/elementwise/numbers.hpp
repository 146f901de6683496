#pragma once

// Functions of real numbers that round, choose and search (number_kernels.hpp), with broadcasting.
// Serial at every size: memory, not arithmetic, sets their speed.

#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/tensor.hpp"

#include <complex>

namespace numerical {

tensor<double> number_by(number_function function, const tensor<double>& a);

tensor<double> pair_by(pair_function function, const tensor<double>& a, const tensor<double>& b);

// min(max(x, low), high); NaN propagates.
tensor<double> clipped(const tensor<double>& a, double low, double high);

// The number of elements that aren't zero.
std::size_t count_of_true(const tensor<double>& a);

// Whether the shapes and all elements are equal; NaN equals nothing.
bool are_equal(const tensor<double>& a, const tensor<double>& b);
bool are_equal(const tensor<std::complex<double>>& a, const tensor<std::complex<double>>& b);

// The elements of `a` where the mask is true, of `b` elsewhere; all three broadcast,
// dimension_error "operands could not be broadcast together with shapes (2, 3) (4,)".
template <class T>
tensor<T> chosen(const booleans& mask, const tensor<T>& a, const tensor<T>& b);

// The differences of neighbouring elements along an axis, which becomes shorter by one.
// dimension_error "axis 3 is out of bounds for a tensor of rank 3".
template <class T>
tensor<T> differences(const tensor<T>& a, std::size_t axis);

} // namespace numerical
