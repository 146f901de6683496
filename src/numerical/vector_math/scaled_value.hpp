#pragma once

#include "numerical/vector_math/portable_lanes.hpp"

#include "numerical/vector_math/exponential.hpp"

#include <bit>
#include <cstdint>

namespace numerical::vector_math {

// 2^k for -1022 <= k < 1024
inline double normal_power_of_two(int k)
{
    return std::bit_cast<double>(static_cast<std::uint64_t>(1023 + k) << 52);
}

// The number that `e` represents if it may overflow, underflow or be subnormal. The power is
// applied in halves: the first product is exact, so that one rounding is left.
inline double scaled_value(const scaled_exponential<one>& e)
{
    const auto n = static_cast<std::int64_t>(e.n.v - std::bit_cast<std::uint64_t>(rounding_shift));
    const int k = static_cast<int>(n >> 4);
    const auto within_table = static_cast<std::uint64_t>(n & 15);
    const double value = value_of(scaled_exponential<one>{one_word(within_table), e.rest}).v;
    const int half = k / 2;
    return normal_power_of_two(k - half) * (value * normal_power_of_two(half));
}

} // namespace numerical::vector_math
