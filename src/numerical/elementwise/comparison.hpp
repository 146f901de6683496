#pragma once

// Element-wise comparisons with broadcasting.

#include "numerical/elementwise/boolean_kernels.hpp"
#include "numerical/tensor.hpp"

#include <complex>

namespace numerical {

// A comparison with NaN is false, but not_equal is true (IEEE 754-2019, 5.11).
booleans compare(comparison by, const tensor<double>& a, const tensor<double>& b);

// Complex numbers have no order: `by` is equal or not_equal.
booleans compare(comparison by, const tensor<std::complex<double>>& a,
                 const tensor<std::complex<double>>& b);

} // namespace numerical
