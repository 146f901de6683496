#pragma once

// Eigenproblems of a pair of Hermitian matrices of which B is positive definite:
//
//     A·x = λ·B·x,   A·B·x = λ·x   or   B·A·x = λ·x.
//
// With B = L·Lᴴ they become C·y = λ·y, C = L⁻¹·A·L⁻ᴴ for the first and C = Lᴴ·A·L for the others
// (Martin and Wilkinson 1968). The eigenvalues are as accurate as B is well conditioned: errors of
// the order of eps·‖A‖·‖B⁻¹‖ (Davies, Higham and Tisseur 2001).

#include "numerical/matrix.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical {

enum class pencil_form : std::uint32_t {
    a_and_b = 1,   // A·x = λ·B·x
    a_times_b = 2, // A·B·x = λ·x
    b_times_a = 3  // B·A·x = λ·x
};

// The pair in standard form, and the way back. T = double or std::complex<double>.
template <class T>
class definite_pencil
{
public:
    // Of both matrices only the lower triangle is read. dimension_error "generalized
    // eigendecomposition requires square matrices of one order"; non_finite_error "generalized
    // eigendecomposition: the matrix holds an infinite or NaN entry"; not_positive_definite_error
    // "generalized eigendecomposition: b is not positive-definite".
    definite_pencil(matrix<T> a, matrix<T> b, pencil_form of);

    matrix<T> standard; // C by its lower triangle, for A and B divided by powers of two
    int exponent;       // the pair's eigenvalues are those of C times 2^exponent

    // Unit eigenvectors of C, in the columns of an n × k matrix, become those of the pair, with
    // xᴴ·B·x = 1, or xᴴ·B⁻¹·x = 1 for B·A·x = λ·x.
    void restore(matrix<T>& vectors) const;

private:
    pencil_form form;
    matrix<T> factor; // L
};

} // namespace numerical
