#pragma once

// One-sided Jacobi (Hestenes 1958): rotations from the right make the columns of a matrix
// orthogonal, so that their norms are its singular values, and the product of the rotations holds
// its right singular vectors.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// Rotates the columns of the row-major n × n arrays a and v alike until those of a are orthogonal:
// a becomes a·J and v becomes v·J. convergence_error "SVD: one-sided Jacobi did not converge within
// its sweeps" unless one of the sweeps finds nothing to rotate. The largest entry of a should be of
// the order of 1: a column whose norm is below 2^-450 and which is not orthogonal to another is set
// to zero.
template <class T>
void one_sided_jacobi(aligned_vector<T>& a, aligned_vector<T>& v, std::size_t n,
                      std::size_t max_sweeps);

} // namespace numerical::detail
