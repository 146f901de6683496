#pragma once

// Sorting of real numbers along an axis, always stable: equal numbers, zeros of either sign among
// them, keep their order, and NaNs come last in their own order. Short runs are sorted four at a
// time by a network of comparisons (Batcher 1968), or by insertion on the portable path and where
// places are wanted; long ones by the digits of their bits, from the lowest digit up (Knuth 1998,
// volume 3, section 5.2.5), so that the time hardly depends on the values. The result is the same
// on every processor.

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"

#include <cstddef>

namespace numerical {

enum class sort_order { ascending, descending }; // NaNs are last in both

namespace detail {

// For each outer and inner index the elements along the axis, sorted.
aligned_vector<double> sorted(const double* data, const walk_shape& walk, sort_order order);

// The places along the axis of the sorted elements.
aligned_vector<std::ptrdiff_t> sorted_places(const double* data, const walk_shape& walk,
                                             sort_order order);

enum class search_side { left, right };

// For each of `count` values the place at which it can be inserted into the `length` ascending
// numbers, NaNs last: before the numbers equal to it, or behind them.
aligned_vector<std::ptrdiff_t> search_places(const double* ascending, std::size_t length,
                                             const double* values, std::size_t count,
                                             search_side side);

} // namespace detail
} // namespace numerical
