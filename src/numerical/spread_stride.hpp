#pragma once

#include "numerical/counts.hpp"

#include <cstddef>

namespace numerical::detail {

// The least stride, in elements, of rows of n elements that lie an odd number of cache lines apart:
// those of a tile of columns then spread over all sets of the caches.
template <class T>
constexpr std::size_t spread_stride(std::size_t n)
{
    return (ceil_div(n, line_elements<T>) | 1) * line_elements<T>;
}

} // namespace numerical::detail
