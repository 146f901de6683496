#pragma once

// Passes over the elements of a dense operand. They are bound by memory, and each thread takes some
// of its pages.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

// Copies `count` elements to a place that overlaps none of them. T = double or
// std::complex<double>.
template <class T>
void copy_on_threads(const T* from, std::size_t count, T* to);

// The copy as a vector.
template <class T>
aligned_vector<T> copy_on_threads(const T* from, std::size_t count);

// A copy of A, of whose entries none may be infinite or NaN; the error is that of require_finite.
// Rows are checked while they come into cache.
template <class T>
void copy_finite(block_view<const T> a, block_view<T> to, const char* prefix);

// Whether a real or imaginary part is above the limit in magnitude.
template <class T>
bool any_part_above_on_threads(const T* first, std::size_t count, double limit);

// non_finite_error, prefix + ": the matrix holds an infinite or NaN entry", if any entry is.
template <class T>
void require_finite(const matrix<T>& a, const char* prefix);

// The same for `count` elements of a matrix.
template <class T>
void require_finite(const T* first, std::size_t count, const char* prefix);

// The largest magnitude of a real or imaginary part among `count` elements of a matrix, 0 for none;
// the same error if one of them isn't finite.
template <class T>
double largest_finite_part(const T* first, std::size_t count, const char* prefix);

// The error of require_finite for rows [from, to) of the lower triangle of a square matrix, on the
// calling thread; elements above the diagonal aren't read.
template <class T>
void require_finite_lower(block_view<const T> a, std::size_t from, std::size_t to,
                          const char* prefix);

} // namespace numerical::detail
