#pragma once

// Products along an axis, and running sums and products. Complex products are
// (ac - bd) + (ad + bc)i, without the recovery of infinities.

#include "numerical/elementwise/reductions.hpp"

#include <vector>

namespace numerical::detail {

// For each outer and inner index the product along the axis; 1 over nothing. Where the axis is the
// last and has at least eight elements they go to eight accumulators r in turn, which are
// multiplied as ((r0·r1)·(r2·r3))·((r4·r5)·(r6·r7)), and what fills no eight follows in order.
// Other products are made in order.
template <class T>
std::vector<T> products(const T* data, const walk_shape& walk);

// Each element with all before it along the axis added or multiplied, in their order.
template <class T>
std::vector<T> running_sums(const T* data, const walk_shape& walk);

template <class T>
std::vector<T> running_products(const T* data, const walk_shape& walk);

} // namespace numerical::detail
