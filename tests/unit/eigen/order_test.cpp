#include "numerical/eigen/order.hpp"

#include "numerical/aligned_vector.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::detail::ascending_order;
using numerical::detail::in_order;
using places = std::vector<std::size_t>;

TEST(order, ascends_by_value_and_by_index_among_equal_ones)
{
    EXPECT_EQ(ascending_order({3, 1, 2, 1, -4, 3}), (places{4, 1, 3, 2, 0, 5}));
}

TEST(order, treats_zeros_of_both_signs_as_equal)
{
    EXPECT_EQ(ascending_order({0.0, -0.0, -1.0, 0.0}), (places{2, 0, 1, 3}));
}

TEST(order, puts_values_into_it)
{
    EXPECT_EQ(in_order({3, 1, 2}, {1, 2, 0}), (numerical::aligned_vector<double>{1, 2, 3}));
    EXPECT_EQ(in_order({3, 1, 2}, {2}), (numerical::aligned_vector<double>{2}));
}

TEST(order, of_nothing_is_nothing)
{
    EXPECT_TRUE(ascending_order({}).empty());
}

} // namespace
