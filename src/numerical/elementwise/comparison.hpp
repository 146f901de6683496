#pragma once

// Element-wise comparisons with broadcasting. There is no truth type: a mask is a float64 tensor of
// ones where the comparison holds and zeros elsewhere, ready for products and sums.

#include "numerical/tensor.hpp"

#include <complex>

namespace numerical {

enum class comparison { less, less_equal, equal, not_equal, greater, greater_equal };

// A comparison with NaN is false, but not_equal is true (IEEE 754-2019, 5.11).
tensor<double> compare(comparison by, const tensor<double>& a, const tensor<double>& b);

// Complex numbers have no order: `by` is equal or not_equal.
tensor<double> compare(comparison by, const tensor<std::complex<double>>& a,
                       const tensor<std::complex<double>>& b);

} // namespace numerical
