#include "numerical/elementwise/comparison.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"

#include "thrown.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using numerical::compare;
using numerical::comparison;
using numerical::tensor;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const numerical::aligned_vector<double> numbers{-1.0, -0.0, 0.0, 2.0, nan};

bool holds(comparison by, double x, double y)
{
    switch (by) {
    case comparison::less:
        return x < y;
    case comparison::less_equal:
        return x <= y;
    case comparison::greater:
        return x > y;
    case comparison::greater_equal:
        return x >= y;
    case comparison::not_equal:
        return x != y;
    case comparison::equal:
        break;
    }
    return x == y;
}

constexpr comparison all[] = {comparison::less,    comparison::less_equal,
                              comparison::greater, comparison::greater_equal,
                              comparison::equal,   comparison::not_equal};

TEST(comparison, every_pair_by_broadcasting_is_that_of_the_language)
{
    const tensor<double> column({5, 1}, numbers);
    const tensor<double> row({5}, numbers);
    for (const comparison by : all) {
        const numerical::booleans mask = compare(by, column, row);
        ASSERT_EQ(mask.shape, (std::vector<std::size_t>{5, 5}));
        for (std::size_t i = 0; i < 5; ++i)
            for (std::size_t j = 0; j < 5; ++j)
                EXPECT_EQ(mask.data[i * 5 + j], holds(by, numbers[i], numbers[j]));
    }
}

TEST(comparison, one_number_stands_on_either_side)
{
    const tensor<double> row({5}, numbers);
    const tensor<double> zero({}, {0.0});
    for (const comparison by : all)
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(compare(by, row, zero).data[i], holds(by, numbers[i], 0.0));
            EXPECT_EQ(compare(by, zero, row).data[i], holds(by, 0.0, numbers[i]));
        }
}

TEST(comparison, complex_numbers_are_equal_in_both_parts_or_not_equal)
{
    const tensor<complex> a({4}, {{1, 2}, {1, 3}, {0, 2}, {nan, 0}});
    const tensor<complex> b({}, {{1, 2}});
    EXPECT_EQ(compare(comparison::equal, a, b).data,
              (numerical::aligned_vector<std::uint8_t>{1, 0, 0, 0}));
    EXPECT_EQ(compare(comparison::not_equal, a, b).data,
              (numerical::aligned_vector<std::uint8_t>{0, 1, 1, 1}));
}

TEST(comparison, shapes_that_do_not_broadcast_are_refused)
{
    const auto call = [] {
        compare(comparison::less, tensor<double>({2}, {1, 2}), tensor<double>({3}, {1, 2, 3}));
    };
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(call),
              "operands could not be broadcast together with shapes (2,) (3,)");
}

} // namespace
