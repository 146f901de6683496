#pragma once

// Substitution with small triangles, and the inverse of a large one. All of it works on tiles of 64
// columns of the right-hand sides, so that the rows, which are used repeatedly, stay in cache.
// Sums ascend over the terms of a row, and a quotient is a true division of each element. T =
// double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t triangular_tile = 64;

constexpr std::size_t triangular_tiles(std::size_t columns)
{
    return ceil_div(columns, triangular_tile);
}

// The work of substituting a tile with a triangle of so many rows, on the scale of parallel_for.
template <class T>
constexpr std::size_t substitution_work(std::size_t rows)
{
    constexpr std::size_t elements_per_unit = sizeof(T) == sizeof(double) ? 16 : 4;
    return rows * rows * triangular_tile / elements_per_unit;
}

// X := L⁻¹·X, L the unit lower triangle of `l`.
template <class T>
void substitute_unit_lower(int path, block_view<const T> l, block_view<T> x);

// X := L⁻¹·X, L the lower triangle of `l`.
template <class T>
void substitute_lower(int path, block_view<const T> l, block_view<T> x);

// X := U⁻¹·X, U the upper triangle of `u`.
template <class T>
void substitute_upper(int path, block_view<const T> u, block_view<T> x);

// The inverse of the upper triangle of the row-major n × n array `r`, with zeros below the
// diagonal. Nothing is checked: a zero on r's diagonal gives infinities or NaN.
template <class T>
aligned_vector<T> upper_inverse(const aligned_vector<T>& r, std::size_t n);

template <class T>
void copy_block(block_view<const std::type_identity_t<T>> from, block_view<T> to)
{
    for (std::size_t i = 0; i < to.rows; ++i)
        std::copy(from.row(i), from.row(i) + to.cols, to.row(i));
}

// Rows a multiple of 2 KiB apart fall into the same few cache sets: repeated work on such rows is
// faster on a contiguous copy.
template <class T>
bool stride_crowds_cache_sets(std::size_t stride)
{
    return stride * sizeof(T) % 2048 == 0;
}

// body(tile), for a tile of at most 64 × 64; on a private copy if the tile's stride is such a one.
template <class T, class F>
void on_well_strided(block_view<T> tile, const F& body)
{
    if (!stride_crowds_cache_sets<T>(tile.stride)) {
        body(tile);
        return;
    }
    thread_scratch<T> store(triangular_tile * triangular_tile);
    const block_view<T> copy{store.data(), tile.rows, tile.cols};
    copy_block(tile, copy);
    body(copy);
    copy_block(copy, tile);
}

} // namespace numerical::detail
