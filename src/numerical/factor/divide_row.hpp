#pragma once

#include "numerical/scalar.hpp"

#include <cstddef>

namespace numerical::detail {

// row[j] /= divisor on a path of path.hpp; each element has the bits of operator/, never of a
// product with the reciprocal.
void divide_row(int path, double* row, double divisor, std::size_t n);
void divide_row(int path, complex* row, complex divisor, std::size_t n);

} // namespace numerical::detail
