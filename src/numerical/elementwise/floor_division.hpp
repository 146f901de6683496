#pragma once

// Division with remainder, as Python divides floats: x = y·q + r with an integer q and |r| < |y|, r
// having the sign of y. r is exact if x and y have the same sign, otherwise it is rounded once; q
// is the integer nearest to (x - r)/y. A quotient by zero is that of /, and its remainder is NaN.

#include "numerical/tensor.hpp"

namespace numerical {

// With broadcasting; dimension_error "operands could not be broadcast together with shapes (2, 3)
// (4,)".
tensor<double> floor_quotients(const tensor<double>& x, const tensor<double>& y);
tensor<double> remainders(const tensor<double>& x, const tensor<double>& y);

} // namespace numerical
