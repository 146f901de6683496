#pragma once

// Strided elements gathered into a dense block: ranges, transposes, diagonals, any order of axes.
// Pure data movement on the calling thread.

#include "numerical/aligned_vector.hpp"
#include "numerical/streamed_copy.hpp"
#include "numerical/strided/axes.hpp"

#include <cstddef>
#include <span>

namespace numerical::detail {

// Writes the elements of `from` at the positions of `axes`, in row-major order, to `to`: row by row
// of the last axis. T = double, std::complex<double> or std::ptrdiff_t.
template <class T>
void copy_rows(const T* from, std::span<const strided_axis<1>> axes, const block_writer<T>& writer,
               T* to);

// The same elements, but by transposes where the source is contiguous along another axis than the
// last. T = double or std::complex<double>.
template <class T>
aligned_vector<T> strided_copy(const T* from, std::span<const strided_axis<1>> axes);

} // namespace numerical::detail
