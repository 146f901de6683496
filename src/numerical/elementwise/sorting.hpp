#pragma once

// Sorting of real numbers along an axis, always stable: equal numbers, both zeros among them, keep
// their order, and NaNs come last in theirs. Short runs are sorted by insertion, long ones by the
// bits of their numbers, digit by digit from the lowest (Knuth 1998, volume 3, section 5.2.5): the
// time then doesn't depend on the values, and the same bits come out on every processor.

#include "numerical/elementwise/reductions.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

enum class sort_order { ascending, descending }; // NaNs are last in both

namespace detail {

// For each outer and inner index the elements along the axis in their order.
std::vector<double> sorted(const double* data, const walk_shape& walk, sort_order order);

// The places along the axis that bring the elements in their order.
std::vector<std::ptrdiff_t> sorted_places(const double* data, const walk_shape& walk,
                                          sort_order order);

enum class search_side { left, right };

// For each of `count` values the place in the `length` ascending numbers, NaNs last, at which it
// keeps them ascending: before the equal ones, or behind them.
std::vector<std::ptrdiff_t> search_places(const double* ascending, std::size_t length,
                                          const double* values, std::size_t count,
                                          search_side side);

} // namespace detail
} // namespace numerical
