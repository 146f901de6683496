#pragma once

// A block of a row-major array, named, so that a blocked algorithm reads like its picture, and the
// product on it. Products only ever add; who subtracts adds a negated copy.

#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// rows × cols elements from `first`, rows `stride` apart. T may be const.
template <class T>
struct block_view
{
    T* first;
    std::size_t rows;
    std::size_t cols;
    std::size_t stride;

    T* row(std::size_t i) const { return first + i * stride; }

    T& operator()(std::size_t i, std::size_t j) const { return first[i * stride + j]; }

    // Rows [from, to) of columns [left, right).
    block_view sub(std::size_t from, std::size_t to, std::size_t left, std::size_t right) const
    {
        return {first + from * stride + left, to - from, right - left, stride};
    }

    operator block_view<const T>() const requires(!std::is_const_v<T>)
    {
        return {first, rows, cols, stride};
    }
};

// C += A·B.
template <class T>
void add_product(block_view<const std::type_identity_t<T>> a,
                 block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    gemm<T>(c.rows, c.cols, a.cols, a.first, a.stride, b.first, b.stride, c.first, c.stride);
}

// `to` := -A, contiguous by rows; the storage of `to` is reused.
template <class T>
void negate_into(std::vector<T>& to, block_view<const std::type_identity_t<T>> a)
{
    to.clear();
    if (to.capacity() < a.rows * a.cols)
        to = reserved<T>(a.rows * a.cols);
    for (std::size_t i = 0; i < a.rows; ++i) {
        const std::size_t end = to.size();
        to.insert(to.end(), a.row(i), a.row(i) + a.cols);
        for (std::size_t j = end; j < to.size(); ++j)
            to[j] = negated(to[j]);
    }
}

// -A, contiguous by rows.
template <class T>
std::vector<std::remove_const_t<T>> negated_copy(block_view<T> a)
{
    std::vector<std::remove_const_t<T>> copy;
    negate_into(copy, a);
    return copy;
}

// `to` := Aᵀ, in tiles, so that neither side walks a page for each element.
template <class T>
void transpose_into(block_view<T> to, block_view<const std::type_identity_t<T>> a)
{
    constexpr std::size_t tile = 32;
    for (std::size_t i0 = 0; i0 < a.rows; i0 += tile)
        for (std::size_t j0 = 0; j0 < a.cols; j0 += tile)
            for (std::size_t j = j0; j < std::min(j0 + tile, a.cols); ++j)
                for (std::size_t i = i0; i < std::min(i0 + tile, a.rows); ++i)
                    to(j, i) = a(i, j);
}

} // namespace numerical::detail
