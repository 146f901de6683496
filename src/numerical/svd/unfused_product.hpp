#pragma once

// Matrix products whose every element is the sum of its terms in ascending order, each product and
// each sum rounded by itself, on the calling thread. For what must come out like a plain loop.

#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// A·B, by rows. Complex products are full ones, with the recovery of infinities.
template <class T>
std::vector<T> unfused_product(block_view<const T> a, block_view<const std::type_identity_t<T>> b);

// A·Bᴴ.
template <class T>
std::vector<T> unfused_product_with_adjoint(block_view<const T> a,
                                            block_view<const std::type_identity_t<T>> b);

} // namespace numerical::detail
