#pragma once

// An estimate of the 1-norm of a matrix that is given by its products alone, such as an inverse
// whose factors are known. It is the block method of Higham and Tisseur (2000, Algorithm 2.4) with
// two columns: a few products with blocks of two vectors and as many with the adjoint. The result
// is a lower bound that is seldom below a third of the norm.
//
// The method's random start is replaced by a fixed one, the constant vector and one of alternating
// signs and growing entries (Higham 1988), so that the same matrix always gets the same
// number.

#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <functional>

namespace numerical {

// X := B·X for a block X of n contiguous rows and at most two columns.
template <class T>
using block_operator_on_place = std::function<void(detail::block_view<T> x)>;

// An estimate of ‖B‖₁ for the n × n matrix B, by B·X and Bᴴ·X. NaN or infinite where such a product
// is; 0 for n = 0.
template <class T>
double estimate_one_norm(std::size_t n, const block_operator_on_place<T>& multiply,
                         const block_operator_on_place<T>& multiply_adjoint);

// ‖A‖₁, the largest sum of moduli of a column.
template <class T>
double one_norm(detail::block_view<const T> a);

// 1/(‖A‖₁·‖A⁻¹‖₁) from the two norms: 1 for an empty matrix, 0 for a singular one and if a norm or
// the product overflows.
double reciprocal_condition(std::size_t n, double norm, double norm_of_inverse);

} // namespace numerical
