#pragma once

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// A block of a row-major array, named, so that a blocked algorithm reads like its picture: rows ×
// cols elements from `first`, rows `stride` apart, contiguous if no stride is given. T may be
// const. Rows that run backwards have the stride modulo 2^64, like other strided operands: places
// are counted with a sign.
template <class T>
struct block_view
{
    T* first;
    std::size_t rows;
    std::size_t cols;
    std::size_t stride = cols;

    T* row(std::size_t i) const { return first + static_cast<std::ptrdiff_t>(i * stride); }

    T& operator()(std::size_t i, std::size_t j) const { return row(i)[j]; }

    // Rows [from, to) of columns [left, right).
    block_view sub(std::size_t from, std::size_t to, std::size_t left, std::size_t right) const
    {
        return {row(from) + left, to - from, right - left, stride};
    }

    operator block_view<const T>() const requires(!std::is_const_v<T>)
    {
        return {first, rows, cols, stride};
    }
};

} // namespace numerical::detail
