#pragma once

// Sums, means and extremes of a whole tensor, or along one axis, which the result lacks. Sums are
// pairwise, so that their rounding error grows with the logarithm of the length (Higham 1993, SIAM
// Journal on Scientific Computing 14), and cut at fixed places, so that they are reproducible. If
// an element is NaN, the extreme is the quiet NaN with the bits 0x7FF8000000000000. Serial at every
// size.

#include "numerical/aligned_vector.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>
#include <functional>

namespace numerical {

// The sum of no numbers is 0 and their mean NaN, along an axis too.
template <class T>
T sum(const tensor<T>& a);

template <class T>
T mean(const tensor<T>& a);

template <class T>
tensor<T> sum_along(const tensor<T>& a, std::size_t axis);

template <class T>
tensor<T> mean_along(const tensor<T>& a, std::size_t axis);

// The minimum by std::less<double>, the maximum by std::greater<double>; dimension_error "a
// zero-size reduction to a maximum or a minimum has no identity".
template <class C>
double extreme(const tensor<double>& a, const C& compare);

namespace detail {

// The element at outer index o, position j along the axis and inner index k has the offset
// (o·extent + j)·inner + k.
struct walk_shape
{
    std::size_t outer;
    std::size_t extent;
    std::size_t inner;
};

// dimension_error "axis 3 is out of bounds for a tensor of rank 3".
walk_shape walk_along(const shape_list& shape, std::size_t axis);

// For each outer and inner index the sum, the mean or the extreme along the axis, in row-major
// order. Extremes need an extent above 0: dimension_error as for `extreme`.
template <class T>
aligned_vector<T> sums(const T* data, const walk_shape& walk);

template <class T>
aligned_vector<T> means(const T* data, const walk_shape& walk);

template <class C>
aligned_vector<double> extremes(const double* data, const walk_shape& walk, const C& compare);

// The sum of the n numbers p[i·stride]. More than 128 are cut in two halves, the left one rounded
// down to a multiple of eight. At most 128 go to eight accumulators r in turn, which are added up
// as ((r0 + r1) + (r2 + r3)) + ((r4 + r5) + (r6 + r7)); the numbers behind the last multiple of
// eight are then added in order. Fewer than eight are added in order to +0.
template <class T>
T pairwise_sum(const T* p, std::size_t n, std::size_t stride);

// The extreme of n >= 1 numbers, or NaN. Of equal numbers, which matters for the sign of a zero,
// the first one within a lane (the positions congruent modulo eight) is taken, then that of the
// first lane, before those behind the last multiple of eight.
template <class C>
double contiguous_extreme(const double* p, std::size_t n, const C& compare);

// The extremes along an axis. Of equal numbers the first is taken, but on the last axis as above.
template <class C>
tensor<double> extremes_along(const tensor<double>& a, std::size_t axis, const C& compare);

} // namespace detail
} // namespace numerical
