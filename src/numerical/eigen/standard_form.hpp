#pragma once

// Congruences with a triangle L that keep a matrix Hermitian, C = L⁻¹·A·L⁻ᴴ and C = Lᴴ·A·L: with
// B = L·Lᴴ they turn an eigenproblem of the pair A, B into one of C alone (Martin and Wilkinson
// 1968). They go by halves, so that nearly all of the work is in products and in solves with
// triangles of half the order, and half of it is spared by symmetry.

#include "numerical/gemm/block_view.hpp"

namespace numerical::detail {

// Triangles up to this order are applied to the whole of a small matrix.
constexpr std::size_t congruence_leaf_order = 64;

// The lower triangle of A := that of L⁻¹·A·L⁻ᴴ. Only lower triangles are read; A's diagonal counts
// as real. T = double or std::complex<double>. A zero on L's diagonal gives infinities or NaN.
template <class T>
void divide_congruently(block_view<const T> l, block_view<T> a);

// The lower triangle of A := that of Lᴴ·A·L, under the same terms.
template <class T>
void multiply_congruently(block_view<const T> l, block_view<T> a);

} // namespace numerical::detail
