#pragma once

// The exponential of a matrix by scaling and squaring, e^A = (e^(A/2^s))^(2^s), with a Padé
// approximant of e^x of degree 9 or 13 (Higham 2005; Al-Mohy and Higham 2009), or for small
// norms a Taylor polynomial of degree 8, 12 or 18 (Bader, Blanes and Casas 2019). The degree and s
// are chosen by the numbers ‖A^p‖^(1/p), which for matrices far from normal are much smaller than
// ‖A‖: too much scaling costs squarings and digits.

#include "numerical/matrix.hpp"

#include <cstddef>

namespace numerical {

// e^A. Throws dimension_error if A isn't square and non_finite_error if it holds an infinite or NaN
// entry. Results beyond the range are infinite or NaN. For a triangular matrix the diagonal and the
// first superdiagonal are computed from the scalar exponential. A large Hermitian matrix is
// exponentiated in less time by its eigenvectors; the result is then Hermitian to the bit, and
// convergence_error may be thrown. So is a large complex A = -Aᴴ, whose exponential is unitary. T =
// double or std::complex<double>.
template <class T>
matrix<T> matrix_exponential(matrix<T> a);

namespace detail {

// The least order at which matrices with A = Aᴴ or A = -Aᴴ are exponentiated by eigenvectors.
constexpr std::size_t hermitian_exponential_crossover = 100;

} // namespace detail

} // namespace numerical
