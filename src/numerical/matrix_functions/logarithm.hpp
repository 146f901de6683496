#pragma once

// The principal logarithm of a matrix: the one whose eigenvalues have imaginary parts in (-π, π].
// It is computed by the Schur form and inverse scaling and squaring of the triangle (Al-Mohy and
// Higham 2012), log T = 2^s·log T^(1/2^s): square roots bring the triangle near the identity, where
// a Padé approximant is accurate. The diagonal and the first superdiagonal are known in closed
// form.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <cstddef>
#include <variant>

namespace numerical {

// The logarithm of A. For a Hermitian A it is computed by eigenvectors, and is Hermitian to the bit
// if A is positive definite; eigenvalues that are zero up to rounding count as zero. The result is
// real for a real matrix without negative eigenvalues, complex otherwise.
//
// Throws dimension_error if A isn't square, non_finite_error if it holds an infinite or NaN entry,
// convergence_error if the eigenvalues aren't found, and singular_matrix_error if one is zero.
std::variant<matrix<double>, matrix<std::complex<double>>> logarithm(matrix<double> a);
matrix<std::complex<double>> logarithm(matrix<std::complex<double>> a);

namespace detail {

// Replaces the upper triangular n × n array by its logarithm. No eigenvalue may be zero or, for
// double, negative. Returns false, with T undefined, if no square root is found: then eigenvalues
// lie on both sides of the branch cut, so close that their roots are nearly each other's negatives.
template <class T>
bool logarithm_of_triangle(aligned_vector<T>& t, std::size_t n);

} // namespace detail
} // namespace numerical
