#pragma once

// The principal square root of a matrix: the one whose eigenvalues lie in the right half-plane. It
// is computed from the Schur form, whose triangle has a triangular root that is found by
// substitution (Björck and Hammarling 1983), in real arithmetic for real matrices (Higham 1987).
// The triangle is cut in halves,
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

// The X with X·X = A. For a Hermitian A it is computed by eigenvectors, and is Hermitian to the bit
// if no eigenvalue is negative; those that are zero up to rounding count as zero. The result is
// real for a real matrix without negative eigenvalues, complex otherwise.
//
// Throws dimension_error if A isn't square, non_finite_error if it holds an infinite or NaN entry,
// convergence_error if the eigenvalues aren't found, and singular_matrix_error if no root is found
// because eigenvalues are zero: the recursion finds the root of a singular matrix only in special
// cases.
std::variant<matrix<double>, matrix<std::complex<double>>> square_root(matrix<double> a);
matrix<std::complex<double>> square_root(matrix<std::complex<double>> a);

namespace detail {

// Replaces the upper triangular T by its root; for double T may be quasi-triangular in standard
// form and has no negative eigenvalues. Returns false, with T undefined, if no root is found.
template <class T>
bool root_of_triangle(block_view<T> t);

} // namespace detail
} // namespace numerical
