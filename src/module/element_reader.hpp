#pragma once

// Items of a foreign array, read at any address and converted.

#include "module/typestr.hpp"
#include "numerical/counts.hpp"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>

namespace numerical::boundary {

// Byte addresses are kept as integers: the stride of an axis that is never stepped along may be
// anything, and wrap.
using address = std::uintptr_t;

// How far a stride goes, forwards or backwards.
inline std::size_t magnitude(std::size_t stride)
{
    return std::min(stride, 0 - stride);
}

// Items in rows and columns of any strides, in bytes and modulo 2^64.
struct item_block
{
    address from;
    std::size_t rows;
    std::size_t cols;
    std::size_t row_stride;
    std::size_t col_stride;
};

// How many columns are read together if they are farther apart than the rows: as many as fill a
// cache line of the copy.
template <class T>
constexpr std::size_t tile_cols = detail::line_elements<T>;

// Writes row i of the block to out[i * step] and on; in tiles of tile_cols columns, if rows are
// closer together than columns are.
template <class T>
using block_reader = void (*)(const item_block& block, T* out, std::size_t step);

// The reader that makes items of the type a T: double, or std::complex<double>, and only the latter
// of complex items.
template <class T>
block_reader<T> reader_for(const element_type& type);

} // namespace numerical::boundary
