#pragma once

// Matrix equations whose coefficients are upper triangular, or upper quasi-triangular as real Schur
// forms are:
//
//     R·Y + Y·S = F      (Sylvester)
//     R·Y·S - Y = F      (Stein)
//
// Recursion by halves of the larger coefficient,
//
//     [ R11 R12 ]        rows: the lower half of Y; F1 -= R12·Y2 or R12·Y2·S; the upper half.
//     [  0  R22 ]        columns: the left half of Y; F2 -= Y1·S12 or R·Y1·S12; the right half,
//
// leaves all but the leaves' work to products (Jonsson and Kågström 2002, parts I and II). A leaf
// substitutes by blocks of order 1 and 2 of both diagonals, which make systems of one, two or four
// unknowns (Bartels and Stewart 1972).

#include "numerical/gemm/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

// The largest number of rows and columns of a leaf; a pair of eigenvalues that would be split may
// add one.
constexpr std::size_t sylvester_leaf = 32;

enum class matrix_equation { sylvester, stein };

// Replaces F by Y. A pivot that is zero, or smaller than `least` in modulus, counts as zero: if the
// right-hand side is zero as well, so are the unknowns; otherwise the equation has no solution, and
// false is returned with F undefined.
template <matrix_equation E, class T>
bool solve_triangular(block_view<const T> r, block_view<const T> s, block_view<T> f, double least);

// The first row of a block on the diagonal at about half the order; the order is 2 at least, and
// not that of a single pair.
template <class T>
std::size_t middle_of(block_view<const T> t)
{
    const std::size_t half = t.rows / 2;
    return t(half, half - 1) == T(0) ? half : half + 1;
}

} // namespace numerical::detail
