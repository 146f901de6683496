#pragma once

// Singular values and vectors of a real upper bidiagonal matrix by divide and conquer (Gu and
// Eisenstat 1995). The matrix is torn at its middle row; what that row couples to the singular
// vectors of the two halves is an arrow: a first row z over a diagonal,
//
//     [ z₀ z₁ ... ]
//     [    d₁     ]
//     [       ... ]
//
// whose values are the roots of a secular equation, and whose vectors follow from z computed anew,
// such that the roots are exact for it (Gu and Eisenstat 1994). So they are orthogonal without
// extra precision.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// Problems below this order go to the QR iteration.
constexpr std::size_t bidiagonal_leaf_order = 33;

struct bidiagonal_svd
{
    aligned_vector<double> values; // descending
    aligned_vector<double> u;      // n × n, left vectors in columns
    aligned_vector<double> v;      // n × n, right vectors in columns
};

// d and e hold the diagonal and the superdiagonal, n entries each. convergence_error from a leaf's
// iteration, or "the secular equation did not converge".
bidiagonal_svd divide_bidiagonal(const aligned_vector<double>& d, const aligned_vector<double>& e,
                                 std::size_t n);

// All values and the vectors of the `count` largest, in the columns of n × count matrices: the last
// merge, which has three quarters of the products, is made for them only. For n from the leaf's
// order on.
bidiagonal_svd divide_bidiagonal_leading(const aligned_vector<double>& d,
                                         const aligned_vector<double>& e, std::size_t n,
                                         std::size_t count);

// The same for B between the n × n bases left and right, held by rows. On return d holds the
// singular values, and row k of either basis belongs to d[k].
template <class T>
void bidiagonal_divide_and_conquer(aligned_vector<double>& d, const aligned_vector<double>& e,
                                   aligned_vector<T>& left, aligned_vector<T>& right,
                                   std::size_t n);

// The same singular values, bit by bit, without vectors.
aligned_vector<double> bidiagonal_values(const aligned_vector<double>& d,
                                         const aligned_vector<double>& e, std::size_t n);

// b := a·b for the real n × n matrix a.
template <class T>
void multiply_real_left(const aligned_vector<double>& a, aligned_vector<T>& b, std::size_t n);

} // namespace numerical::detail
