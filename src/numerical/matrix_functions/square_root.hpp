#pragma once

// The principal square root of a matrix: the one whose eigenvalues lie in the right half-plane. By
// the Schur form, whose triangle has a triangular root that is found by substitution (Björck and
// Hammarling 1983); a real matrix stays real (Higham 1987). The triangle goes by halves,
//
//     [ T11 T12 ]   R11 = √T11, R22 = √T22, and X from R11·X + X·R22 = T12,
//     [  0  T22 ]
//
// so that nearly all work is in products (Deadman, Higham and Ralha 2013).

#include "numerical/gemm/block_view.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <variant>

namespace numerical {

// X with X·X = A. Of a Hermitian matrix by its eigenvectors, Hermitian to the bit if it has no
// negative eigenvalue; those within rounding of zero count as zero. Real for a real matrix without
// negative eigenvalues, complex for others.
//
// Throws dimension_error if A isn't square, non_finite_error if it holds an infinite or NaN entry,
// convergence_error if the eigenvalues aren't found, and singular_matrix_error if eigenvalues of
// zero leave no root to be found: a singular matrix has one only if zero is a semisimple eigenvalue
// in certain ways.
std::variant<matrix<double>, matrix<std::complex<double>>> square_root(matrix<double> a);
matrix<std::complex<double>> square_root(matrix<std::complex<double>> a);

namespace detail {

// T becomes its root, within the upper (quasi-)triangle; quasi-triangular in standard form, without
// negative eigenvalues, for double. False if there is none to be found; T then means nothing.
template <class T>
bool root_of_triangle(block_view<T> t);

} // namespace detail
} // namespace numerical
