#pragma once

// The exponential of a matrix by scaling and squaring, e^A = (e^(A/2^s))^(2^s), with a Padé
// approximant of e^x of degree 3, 5, 7, 9 or 13 (Higham 2005; Al-Mohy and Higham 2009). What
// chooses degree and s are the numbers ‖A^p‖^(1/p), which for matrices far from normal are much
// less than ‖A‖: scaling more than needed costs squarings and digits.

#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// e^A. Throws dimension_error if A isn't square and non_finite_error if it holds an infinite or
// NaN entry. What lies beyond the range comes out infinite or NaN. The diagonal of a triangular
// matrix's exponential, and the one beside it, are those of the scalar function. Of a large
// Hermitian matrix it is found by the eigenvectors in less time, and Hermitian to the bit; then
// convergence_error may be thrown. T = double or std::complex<double>.
template <class T>
matrix<T> matrix_exponential(matrix<T> a);

namespace detail {

// The order from which on Hermitian matrices are exponentiated by eigenvectors.
constexpr std::size_t hermitian_exponential_crossover = 100;

} // namespace detail

} // namespace numerical
