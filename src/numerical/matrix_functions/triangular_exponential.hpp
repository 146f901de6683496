#pragma once

// What of the exponential of an upper triangular matrix is known in closed form.

#include <cstddef>
#include <vector>

namespace numerical::detail {

template <class T>
bool is_upper_triangular(const std::vector<T>& a, std::size_t n);

template <class T>
bool is_lower_triangular(const std::vector<T>& a, std::size_t n);

// The diagonal and the one above it in X become those of e^(2^exponent·T), by the exponential of
// numbers and its divided differences. T = double or std::complex<double>.
template <class T>
void restore_diagonals(std::vector<T>& x, const std::vector<T>& t, std::size_t n, int exponent);

} // namespace numerical::detail
