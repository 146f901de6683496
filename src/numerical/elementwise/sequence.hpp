#pragma once

// Evenly spaced numbers, with the rounding of NumPy's functions of the same names.

#include "numerical/tensor.hpp"

#include <cstddef>

namespace numerical {

// start + i·delta for i from 0 up to below (stop - start)/step, where delta = (step + start) -
// start and each element is one fused multiply-add. dimension_error "arange needs finite bounds and
// a finite, non-zero step".
tensor<double> arange(double start, double stop, double step);

// i·step + start for 0 <= i < count, product and sum each rounded, with the last element exactly
// `stop`; step = (stop - start)/(count - 1).
tensor<double> linspace(double start, double stop, std::size_t count);

} // namespace numerical
