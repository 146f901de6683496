#include "numerical/strided/axes.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

using numerical::detail::append_axis;
using numerical::detail::for_each_position;
using numerical::detail::offsets;
using numerical::detail::strided_axis;

std::vector<strided_axis<2>> joined(std::initializer_list<strided_axis<2>> outer_to_inner)
{
    std::vector<strided_axis<2>> axes;
    for (const strided_axis<2>& axis : outer_to_inner)
        append_axis<2>(axes, axis);
    return axes;
}

TEST(strided_axes, join_where_they_are_contiguous_in_every_operand)
{
    const auto dense = joined({{2, {12, 12}}, {3, {4, 4}}, {4, {1, 1}}});
    ASSERT_EQ(dense.size(), 1U);
    EXPECT_EQ(dense[0].extent, 24U);
    EXPECT_EQ(dense[0].stride, (offsets<2>{1, 1}));
    const auto repeated = joined({{2, {0, 12}}, {3, {4, 4}}, {4, {1, 1}}});
    ASSERT_EQ(repeated.size(), 2U);
    EXPECT_EQ(repeated[1].extent, 12U);
}

TEST(strided_axes, leave_out_extent_one)
{
    const auto axes = joined({{1, {7, 7}}, {2, {5, 1}}, {1, {3, 3}}});
    ASSERT_EQ(axes.size(), 1U);
    EXPECT_EQ(axes[0].extent, 2U);
    EXPECT_EQ(axes[0].stride, (offsets<2>{5, 1}));
}

TEST(strided_axes, join_axes_that_run_backwards)
{
    const std::size_t minus_one = 0 - std::size_t{1};
    std::vector<strided_axis<1>> axes;
    append_axis<1>(axes, {3, {4 * minus_one}});
    append_axis<1>(axes, {4, {minus_one}});
    ASSERT_EQ(axes.size(), 1U);
    EXPECT_EQ(axes[0].extent, 12U);
}

TEST(strided_axes, are_walked_in_row_major_order)
{
    const std::vector<strided_axis<2>> axes{{2, {100, 1}}, {2, {10, 0}}, {3, {1, 5}}};
    std::vector<offsets<2>> seen;
    for_each_position<2>(axes, {1000, 7}, [&](const offsets<2>& at) { seen.push_back(at); });
    std::vector<offsets<2>> expected;
    for (std::size_t i = 0; i < 2; ++i)
        for (std::size_t j = 0; j < 2; ++j)
            for (std::size_t k = 0; k < 3; ++k)
                expected.push_back({1000 + 100 * i + 10 * j + k, 7 + i + 5 * k});
    EXPECT_EQ(seen, expected);
}

TEST(strided_axes, of_a_number_are_walked_once)
{
    int visits = 0;
    for_each_position<1>({}, {3}, [&](const offsets<1>& at) {
        EXPECT_EQ(at[0], 3U);
        ++visits;
    });
    EXPECT_EQ(visits, 1);
}

} // namespace
