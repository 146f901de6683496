#pragma once

// The singular value decomposition of a square matrix by the one-sided Jacobi method.

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/square_svd.hpp"

#include <cstddef>

namespace numerical::detail {

// Of the row-major n × n matrix a, whose largest entry is of the order of 1. Equal values keep the
// order of their columns. Left vectors of zero values complete the others to an orthonormal set.
// convergence_error from one_sided_jacobi after 60 sweeps. T = double or std::complex<double>.
template <class T>
square_svd<T> jacobi_svd(aligned_vector<T> a, std::size_t n);

} // namespace numerical::detail
