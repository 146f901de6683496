#pragma once

// The numerical rank. A singular value counts if it is above max(m, n)·2^-52 times the largest.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// non_finite_error "matrix_rank: the matrix holds an infinite or NaN entry". T = double or
// std::complex<double>.
template <class T>
std::size_t matrix_rank(const matrix<T>& a);

namespace detail {

// How many of the singular values of an m × n matrix count; they needn't be in order.
std::size_t count_above_threshold(const aligned_vector<double>& values, std::size_t m,
                                  std::size_t n);

} // namespace detail
} // namespace numerical
