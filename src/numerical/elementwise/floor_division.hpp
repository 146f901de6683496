#pragma once

// Division that leaves a remainder, as Python divides floats: x = y·q + r with q an integer and r
// of the sign of y, |r| < |y|. r is exact but for one rounding where the signs differ; q is the
// integer nearest to (x - r)/y. A quotient by zero is that of /, its remainder NaN.

#include "numerical/tensor.hpp"

namespace numerical {

// With broadcasting; dimension_error "operands could not be broadcast together with shapes (2, 3)
// (4,)".
tensor<double> floor_quotients(const tensor<double>& x, const tensor<double>& y);
tensor<double> remainders(const tensor<double>& x, const tensor<double>& y);

} // namespace numerical
