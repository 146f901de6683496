#pragma once

// Leading singular triplets from a random sample of the range of A (Halko, Martinsson and Tropp
// 2011): an orthonormal basis Q of the range of A·(Aᴴ·A)^q·Ω, Ω having few random columns, takes in
// what belongs to the large singular values, and the decomposition of the small matrix Qᴴ·A is
// nearly that of A. Each product with A or Aᴴ is followed by a QR factorization, without which
// rounding would lose all directions but the first (their algorithm 4.4).

#include "numerical/matrix.hpp"
#include "numerical/svd/leading_triplets.hpp"

#include <cstddef>

namespace numerical {

// The k leading triplets of the sample; Ω is n × l, k <= l <= min(m, n). dimension_error
// "randomized SVD: the sample has as many rows as the matrix has columns"; non_finite_error "SVD:
// the matrix holds an infinite or NaN entry"; convergence_error. T = double or
// std::complex<double>.
template <class T>
singular_triplets<T> randomized_triplets(const matrix<T>& a, const matrix<T>& omega, std::size_t k,
                                         std::size_t power_iterations);

} // namespace numerical
