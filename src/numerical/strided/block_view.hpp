#pragma once

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// A block of a row-major array, named, so that a blocked algorithm reads like its picture: rows ×
// cols elements from `first`, rows `stride` apart. T may be const.
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

} // namespace numerical::detail
