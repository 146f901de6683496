#pragma once

#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

namespace numerical::detail {

// The whole of a matrix as a block.
template <class T>
block_view<T> view_of(matrix<T>& a)
{
    return {a.data.data(), a.rows, a.cols};
}

template <class T>
block_view<const T> view_of(const matrix<T>& a)
{
    return {a.data.data(), a.rows, a.cols};
}

} // namespace numerical::detail
