#pragma once

// Plane rotations of two rows and columns of a Schur form, and the standard form of its real 2 × 2
// blocks.

#include "numerical/nonsymmetric/schur_views.hpp"
#include "numerical/scalar.hpp"

#include <cstddef>

namespace numerical::detail {

// G = [ c s ; -conj(s) c ].
template <class T>
struct rotation
{
    double c;
    T s;
};

// The rotation that takes (x, y) to (r, 0), and (1, 0) for zeros.
template <class T>
rotation<T> rotation_onto(const T& x, const T& y);

// H := G·H·Gᴴ and Zᴴ := G·Zᴴ in rows and columns k and k + 1. Rows of h are multiplied in columns
// [col_from, reach.col_to), columns in rows [reach.row_from, row_to).
template <class T>
void rotate(const schur_views<T>& s, std::size_t k, const rotation<T>& g, std::size_t col_from,
            std::size_t row_to, const similarity_reach& reach);

struct real_block
{
    double a, b, c, d; // [ a b ; c d ]
};

// The rotation that brings the block to standard form, and that form: upper triangular if the
// eigenvalues are real, else with equal diagonal elements and b·c < 0, so that they are
// a ± i·sqrt|b|·sqrt|c| (Bai and Demmel 1993).
rotation<double> standardize(real_block& m);

// The same as a similarity of rows and columns k and k + 1 of a Schur form.
void standardize_block(const schur_views<double>& s, std::size_t k, const similarity_reach& reach);

// The eigenvalues of a block in standard form, the one with positive imaginary part first.
struct eigenvalue_pair
{
    complex first;
    complex second;
};

eigenvalue_pair eigenvalues_of_standard(const real_block& m);

// The eigenvalues of [ a b ; c d ].
eigenvalue_pair eigenvalues_of_two(double a, double b, double c, double d);
eigenvalue_pair eigenvalues_of_two(const complex& a, const complex& b, const complex& c,
                                   const complex& d);

} // namespace numerical::detail
