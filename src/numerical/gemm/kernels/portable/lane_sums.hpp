#pragma once

// The order of the portable sums: eight lanes, added in order at the end. As four vectors of two
// they become vector code without permission to reassociate. For the portable sources only.

#include <cstddef>

namespace numerical::detail {
namespace {

constexpr std::size_t portable_lanes = 8;

template <class T>
T sum_in_order(const T (&lane)[portable_lanes])
{
    T sum = 0;
    for (const T& part : lane)
        sum += part;
    return sum;
}

} // namespace
} // namespace numerical::detail
