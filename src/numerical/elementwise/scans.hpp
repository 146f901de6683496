#pragma once

// Products along an axis, and running sums and products. Complex products are
// (ac - bd) + (ad + bc)i, without the recovery of infinities.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

namespace numerical::detail {

// For each outer and inner index the product along the axis; the empty product is 1. If the axis is
// the last and has at least eight elements, they go to eight accumulators r in turn, which are
// multiplied as ((r0·r1)·(r2·r3))·((r4·r5)·(r6·r7)), and the elements behind the last multiple of
// eight follow in order. Other products are formed in order.
template <class T>
aligned_vector<T> products(const T* data, const walk_shape& walk);

// The running sums or products along the axis, each formed in order.
template <class T>
aligned_vector<T> running_sums(const T* data, const walk_shape& walk);

template <class T>
aligned_vector<T> running_products(const T* data, const walk_shape& walk);

} // namespace numerical::detail
