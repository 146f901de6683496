#pragma once

// The eigenvalues of a real symmetric or complex Hermitian matrix without its eigenvectors: the
// reduction is not kept, and the tridiagonal matrix is solved by a QL iteration of its squares.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// Ascending. Only the lower triangle is read. dimension_error if `a` isn't square,
// non_finite_error, convergence_error: the texts of symmetric_eigen and hermitian_eigen.
template <class T>
aligned_vector<double> eigenvalues(matrix<T> a);

// The same of the n × n elements at `a`, by rows. They are only read, and not even copied below the
// order from which the reduction has two stages.
template <class T>
aligned_vector<double> eigenvalues_of(const T* a, std::size_t n);

} // namespace numerical
