#pragma once

// The principal logarithm of a matrix: the one whose eigenvalues have imaginary parts in (-π, π].
// By the Schur form and inverse scaling and squaring on its triangle (Al-Mohy and Higham 2012),
// log T = 2^s·log T^(1/2^s): square roots bring the triangle near the identity, where a Padé
// approximant does. The diagonal, and the one beside it, are known in closed form.

#include "numerical/matrix.hpp"

#include <complex>
#include <cstddef>
#include <variant>
#include <vector>

namespace numerical {

// Of a Hermitian matrix by its eigenvectors, Hermitian to the bit if it is positive definite;
// eigenvalues within rounding of zero count as zero. Real for a real matrix without negative
// eigenvalues, complex for others.
//
// Throws dimension_error if A isn't square, non_finite_error if it holds an infinite or NaN entry,
// convergence_error if the eigenvalues aren't found, and singular_matrix_error if one is zero.
std::variant<matrix<double>, matrix<std::complex<double>>> logarithm(matrix<double> a);
matrix<std::complex<double>> logarithm(matrix<std::complex<double>> a);

namespace detail {

// The upper triangular n × n array becomes its logarithm. No eigenvalue is zero or, for double,
// negative. False if no square root is found, for eigenvalues on both sides of the branch cut and
// so close that roots of one another's negative come about; T then means nothing.
template <class T>
bool logarithm_of_triangle(std::vector<T>& t, std::size_t n);

} // namespace detail
} // namespace numerical
