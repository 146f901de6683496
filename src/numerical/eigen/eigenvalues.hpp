#pragma once

// The eigenvalues of a real symmetric or complex Hermitian matrix without its eigenvectors: the
// reduction is not kept, and the tridiagonal matrix is solved by a QL iteration of its squares.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

namespace numerical {

// Ascending. Only the lower triangle is read. dimension_error if `a` isn't square,
// non_finite_error, convergence_error: the texts of symmetric_eigen and hermitian_eigen.
template <class T>
aligned_vector<double> eigenvalues(matrix<T> a);

} // namespace numerical
