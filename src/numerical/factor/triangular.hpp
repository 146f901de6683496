#pragma once

// Inverses of triangles.

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Columns that one index of a triangular loop takes.
constexpr std::size_t triangular_tile = 64;

// The inverse of the upper triangle of the row-major n × n array `r`, with zeros below the
// diagonal. Nothing is checked: a zero on r's diagonal gives infinities or NaN. T = double or
// std::complex<double>.
template <class T>
std::vector<T> upper_inverse(const std::vector<T>& r, std::size_t n);

// row[j] /= divisor, a true division of every element.
template <class T>
void divide_row(T* row, T divisor, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        row[j] /= divisor;
}

// Rows of a power-of-two stride fall into the same few sets of the cache. Work that walks down such
// columns again and again does better on a private contiguous copy.
template <class T>
bool stride_crowds_cache_sets(std::size_t stride)
{
    return stride * sizeof(T) % 2048 == 0;
}

} // namespace numerical::detail
