#pragma once

#include "numerical/matrix.hpp"

namespace numerical {

// The Moore-Penrose pseudo-inverse, n × m, from the singular values that matrix_rank counts.
// non_finite_error "pinv: the matrix holds an infinite or NaN entry". T = double or
// std::complex<double>.
template <class T>
matrix<T> pinv(const matrix<T>& a);

} // namespace numerical
