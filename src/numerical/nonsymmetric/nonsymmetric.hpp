#pragma once

// Hessenberg form, Schur form, eigenvalues and eigenvectors of general square matrices. T = double
// or std::complex<double>. Matrices are passed by value, and the work is done in their storage.
//
// Every function throws dimension_error if the matrix isn't square and non_finite_error if it holds
// an infinite or NaN entry; all but hessenberg_form throw convergence_error, with the number of
// eigenvalues found, if the QR iteration reaches its limit. Matrices near the ends of the range are
// scaled; results beyond the range are infinite, as eigenvalues of a matrix full of the largest
// numbers may be.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <cstddef>
#include <vector>

namespace numerical {

// A = Q·H·Qᴴ with a unitary Q and zeros below the first subdiagonal of H.
template <class T>
struct hessenberg_factors
{
    matrix<T> h;
    matrix<T> q;
};

template <class T>
hessenberg_factors<T> hessenberg_form(matrix<T> a);

// H alone.
template <class T>
matrix<T> hessenberg_matrix(matrix<T> a);

// A = Q·T·Qᴴ. Complex: T is upper triangular. Real: T is upper quasi-triangular, with a 2 × 2 block
// [ a b ; c a ], b·c < 0, on the diagonal for each pair of complex eigenvalues a ± i·sqrt|b·c|.
template <class T>
struct schur_factors
{
    matrix<T> t;
    matrix<T> q;                                 // 0 × 0 if it wasn't requested
    aligned_vector<std::complex<double>> values; // in the order of the diagonal
};

enum class schur_vectors { none, compute };

template <class T>
schur_factors<T> schur_form(matrix<T> a, schur_vectors vectors);

// The complex Schur form from a real one, whose 2 × 2 blocks are made triangular by complex
// rotations.
schur_factors<std::complex<double>> complex_schur_form(const schur_factors<double>& real);

// Moves the eigenvalues for which `selected` is true to the top of T by unitary similarities (Bai
// and Demmel 1993), in their order on the diagonal; both of a conjugate pair of a real matrix move
// if either is selected. Returns their number. dimension_error if there are not as many flags as
// eigenvalues; convergence_error if two eigenvalues are too close to be exchanged, and then the
// factors are a valid Schur form in which some of them have been moved.
template <class T>
std::size_t order_schur_form(schur_factors<T>& factors, const std::vector<bool>& selected);

// The eigenvalues in the order of the Schur form's diagonal. Complex ones of a real matrix come in
// adjacent pairs, conjugate to the bit, the one with positive imaginary part first.
template <class T>
aligned_vector<std::complex<double>> general_eigenvalues(matrix<T> a);

enum class eigenvector_sides { right, left, both };

struct general_eigenpairs
{
    aligned_vector<std::complex<double>> values; // as general_eigenvalues has them
    bool real;                                   // no value and no vector has an imaginary part
    // Column k belongs to values[k]: A·V = V·diag(values) and Uᴴ·A = diag(values)·Uᴴ. Columns have
    // Euclidean length 1; if they are not real, the element of largest modulus is. 0 × 0 if they
    // weren't requested.
    matrix<std::complex<double>> right;
    matrix<std::complex<double>> left;
};

template <class T>
general_eigenpairs general_eigen(matrix<T> a, eigenvector_sides sides);

} // namespace numerical
