#pragma once

// P·A·Pᵀ = L·D·Lᴴ for Hermitian indefinite matrices, or = L·D·Lᵀ for symmetric ones, complex
// symmetric among them: L is unit lower triangular and D has blocks of order 1 and 2 on its
// diagonal (Bunch and Kaufman 1977). Pivots are chosen by rook pivoting, which searches columns
// until an element is the largest of its row and column, or a diagonal element is nearly as large
// (Ashcraft, Grimes and Lewis 1998). Unlike with the original choice of Bunch and Kaufman the
// elements of L are then bounded, at the price of a few more searched columns.
//
// Only the lower triangle of A enters the arithmetic, and of a Hermitian diagonal only the real
// part. T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

enum class symmetry { hermitian, symmetric };

template <class T>
struct indefinite_decomposition
{
    std::size_t order;
    symmetry kind;
    aligned_vector<T> lower;              // L, row-major, with its ones and zeros
    aligned_vector<T> diagonal;           // of D
    aligned_vector<T> below;              // D(k+1, k): not zero where a block of order 2 begins
    double one_norm = 0;                  // ‖A‖₁
    std::vector<std::size_t> permutation; // row i of P·A is row permutation[i] of A

    // dimension_error "LDL decomposition requires a square matrix", or non_finite_error for an
    // infinite or NaN entry of the lower triangle. A singular matrix has factors too: D then has a
    // zero.
    indefinite_decomposition(detail::block_view<const T> a, symmetry of_kind);

private:
    // Writes L, and sets the other members.
    void factorize(detail::block_view<const T> a, detail::block_view<T> l);
};

} // namespace numerical
