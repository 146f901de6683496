#include "numerical/eigen/plane_rotation.hpp"

#include "numerical/eps.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace numerical::detail;

constexpr double tiny = std::numeric_limits<double>::denorm_min();
constexpr double normal = std::numeric_limits<double>::min();
constexpr double huge = 0x1p1022;

// Near zero, each end of the range, and both limits between which squares are safe.
constexpr double numbers[] = {0,        tiny,       3 * tiny,  normal / 4, normal, 0x1p-501,
                              0x1p-500, 0x1.8p-500, 1e-8,      0.3,        1,      7,
                              0x1p499,  0x1p500,    0x1.8p500, 0x1p900,    huge};

TEST(plane_rotation, maps_every_pair_onto_its_length)
{
    for (const double x : numbers)
        for (const double y : numbers)
            for (const double sign : {1.0, -1.0}) {
                const auto [length, c, s] = rotation_onto_first(x, sign * y);
                const long double exact = std::hypot(static_cast<long double>(x), y);
                const long double rounding = 4 * eps * exact + tiny;
                const auto wide = [](double z) { return static_cast<long double>(z); };
                EXPECT_LE(std::abs(length - exact), rounding) << x << ", " << y;
                EXPECT_LE(std::abs(c * wide(x) + s * wide(sign * y) - exact), rounding);
                EXPECT_LE(std::abs(c * wide(sign * y) - s * wide(x)), rounding);
                EXPECT_NEAR(c * c + s * s, 1, 4 * eps) << x << ", " << y;
            }
}

TEST(plane_rotation, of_zeros_is_the_identity)
{
    const auto [length, c, s] = rotation_onto_first(0, 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(c, 1);
    EXPECT_EQ(s, 0);
}

TEST(rotation_length, neither_overflows_nor_underflows)
{
    EXPECT_EQ(rotation_length(3, 4), 5);
    EXPECT_EQ(rotation_length(-3, 4), 5);
    EXPECT_EQ(rotation_length(0, 0), 0);
    EXPECT_EQ(rotation_length(3e300, 4e300), 5e300);
    EXPECT_EQ(rotation_length(3e-300, -4e-300), 5e-300);
    EXPECT_EQ(rotation_length(1e300, 1), 1e300);
    EXPECT_EQ(rotation_length(3 * tiny, 4 * tiny), 5 * tiny);
    for (const double at : {0x1p-500, 0x1p500}) // either side of both limits
        for (const double x : {at * (1 - 0x1p-52), at, at * (1 + 0x1p-52)})
            EXPECT_NEAR(rotation_length(x, x) / x, std::sqrt(2.0), 5e-16) << x;
}

TEST(plane_rotation, of_subnormal_numbers_is_a_rotation)
{
    for (const double x : {-3.0, 0.0, 1.0, 2.0, 1e9})
        for (const double y : {-1.0, 1.0, 2.0, 7.0}) {
            const plane_rotation turn =
                rotation_of(x * tiny, y * tiny, rotation_length(x * tiny, y * tiny));
            EXPECT_NEAR(turn.c, x / std::hypot(x, y), 5e-16) << x << ' ' << y;
            EXPECT_NEAR(turn.s, y / std::hypot(x, y), 5e-16) << x << ' ' << y;
        }
    const plane_rotation none = rotation_of(0, 0, 0);
    EXPECT_TRUE(none.length == 0 && none.c == 1 && none.s == 0);
}

} // namespace
