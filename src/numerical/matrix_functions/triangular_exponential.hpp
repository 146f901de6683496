#pragma once

// The elements of the exponential of an upper triangular matrix that are known in closed form.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

template <class T>
bool is_upper_triangular(const aligned_vector<T>& a, std::size_t n);

template <class T>
bool is_lower_triangular(const aligned_vector<T>& a, std::size_t n);

// Replaces the diagonal and the first superdiagonal of X by those of e^(2^exponent·T): the scalar
// exponential and its divided differences. T = double or std::complex<double>.
template <class T>
void restore_diagonals(aligned_vector<T>& x, const aligned_vector<T>& t, std::size_t n,
                       int exponent);

} // namespace numerical::detail
