#pragma once

// A block of a row-major array, named, so that a blocked algorithm reads like its picture, and the
// product on it. Products only ever add; who subtracts adds a negated copy.

#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

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

    operator block_view<const T>() const
        requires(!std::is_const_v<T>)
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

// -A, contiguous by rows.
template <class T>
std::vector<std::remove_const_t<T>> negated_copy(block_view<T> a)
{
    auto copy = reserved<std::remove_const_t<T>>(a.rows * a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            copy.push_back(negated(a(i, j)));
    return copy;
}

} // namespace numerical::detail
