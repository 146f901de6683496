#pragma once

// The strided copy behind indexing.

#include "numerical/tensor.hpp"

#include <cstddef>
#include <span>

namespace numerical {

// The elements start, start + step, ... of an axis, `count` of them. A dropped axis, of
// count 1, is left out of the shape of the result.
struct axis_range
{
    long start;
    long step;
    long count;
    bool kept;
};

// Whether every element of the range lies on an axis of that extent.
bool lies_within(const axis_range& range, std::size_t extent);

// From one element of a range to the next, in elements of a buffer in which neighbours on the axis
// are `stride` apart. The step of a range of a single element may be any number, and counts as 0.
inline std::ptrdiff_t distance_in(const axis_range& range, std::size_t stride)
{
    return range.count < 2 ? 0 : range.step * static_cast<std::ptrdiff_t>(stride);
}

// A copy of the elements that the ranges select, one range for each axis, each within its axis.
template <class T>
tensor<T> take(const tensor<T>& a, std::span<const axis_range> ranges);

// The first of them.
template <class T>
T take_first(const tensor<T>& a, std::span<const axis_range> ranges);

} // namespace numerical
