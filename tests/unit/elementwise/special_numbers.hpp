#pragma once

// Numbers with zeros of both signs, ties, infinities, NaN and both ends of the range among them.

#include "numerical/aligned_vector.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace test {

inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline const numerical::aligned_vector<double> special{
    0.0,  -0.0,  0.3,      -0.3,      0.5, -0.5, 1.5,  -1.5,       2.5,           0.7,
    -0.7, 1e300, infinity, -infinity, nan, 3.0,  -4.0, 0x1p52 + 1, -0x1p51 - 0.5, 5e-324};

inline numerical::aligned_vector<double> drawn(std::size_t count, unsigned seed)
{
    std::mt19937 source(seed);
    numerical::aligned_vector<double> out(count);
    for (double& x : out)
        x = special[source() % special.size()];
    return out;
}

inline void expect_same_bits(const numerical::aligned_vector<double>& found,
                             const numerical::aligned_vector<double>& expected)
{
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        if (expected[i] == expected[i])
            EXPECT_EQ(std::bit_cast<std::uint64_t>(found[i]),
                      std::bit_cast<std::uint64_t>(expected[i]))
                << i;
        else
            EXPECT_TRUE(std::isnan(found[i])) << i;
}

} // namespace test
