#pragma once

// What rests on the singular values: least squares, pseudo-inverse and numerical rank. A singular
// value counts if it is above max(m, n)·2^-52 times the largest.

#include "numerical/matrix.hpp"

#include <cstddef>
#include <optional>
#include <vector>

namespace numerical {

// The X of least norm among those that minimise each column of A·X - B. dimension_error "lstsq:
// right-hand side size differs from the matrix"; non_finite_error with the name "lstsq" for A. What
// isn't finite in B goes through.
template <class T>
matrix<T> lstsq(const matrix<T>& a, const matrix<T>& b);

template <class T>
vector<T> lstsq(const matrix<T>& a, const vector<T>& b);

// The Moore-Penrose pseudo-inverse, n × m. non_finite_error with the name "pinv".
template <class T>
matrix<T> pinv(const matrix<T>& a);

// non_finite_error with the name "matrix_rank".
template <class T>
std::size_t matrix_rank(const matrix<T>& a);

namespace detail {

// The same solution by Householder QR, or nothing unless the matrix is clearly of full rank: its
// condition number, taken from R and R⁻¹, must be well below what rounding can tell from infinity.
template <class T>
std::optional<matrix<T>> lstsq_by_qr(const matrix<T>& a, const matrix<T>& b);

// How many of the singular values of an m × n matrix count; they needn't be in order.
std::size_t count_above_threshold(const std::vector<double>& values, std::size_t m, std::size_t n);

} // namespace detail
} // namespace numerical
