#pragma once

// The elements of the exponential of an upper triangular matrix that are known in closed form.

#include <cstddef>
#include <vector>

namespace numerical::detail {

template <class T>
bool is_upper_triangular(const std::vector<T>& a, std::size_t n);

template <class T>
bool is_lower_triangular(const std::vector<T>& a, std::size_t n);

// Replaces the diagonal and the first superdiagonal of X by those of e^(2^exponent·T): the scalar
// exponential and its divided differences. T = double or std::complex<double>.
template <class T>
void restore_diagonals(std::vector<T>& x, const std::vector<T>& t, std::size_t n, int exponent);

} // namespace numerical::detail
