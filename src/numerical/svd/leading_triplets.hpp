#pragma once

// The largest singular values of a matrix and their vectors, exactly: by the reductions of the
// whole problem, of which the last merge and the ways back are made for the wanted vectors only.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// A·V = U·diag(S) for orthonormal columns.
template <class T>
struct singular_triplets
{
    matrix<T> u;                   // m × k
    aligned_vector<double> values; // k, descending
    matrix<T> v;                   // n × k
};

// The k leading ones, k at most min(m, n). The values are those of svd_decomposition by divide and
// conquer to a few units of rounding. non_finite_error "SVD: the matrix holds an infinite or NaN
// entry"; convergence_error. T = double or std::complex<double>.
template <class T>
singular_triplets<T> leading_triplets(const matrix<T>& a, std::size_t k);

} // namespace numerical
