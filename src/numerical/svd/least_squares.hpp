#pragma once

// Least squares: by Householder QR where the matrix is clearly of full rank, otherwise by the
// singular values of R, of which those count that matrix_rank counts.

#include "numerical/matrix.hpp"

namespace numerical {

// The X of least norm among those that minimise each column of A·X - B. dimension_error "lstsq:
// right-hand side size differs from the matrix"; non_finite_error with the name "lstsq" for A.
// Infinities and NaN in B propagate.
template <class T>
matrix<T> lstsq(const matrix<T>& a, const matrix<T>& b);

template <class T>
vector<T> lstsq(const matrix<T>& a, const vector<T>& b);

} // namespace numerical
