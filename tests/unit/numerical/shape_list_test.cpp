#include "numerical/shape_list.hpp"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace {

using numerical::shape_list;
using list = std::vector<std::size_t>;

// Lengths within the object, at its end, and beyond.
constexpr std::size_t lengths[] = {0, 1, 3, 4, 5, 8, 9, 40};

list counted(std::size_t length)
{
    list numbers(length);
    for (std::size_t i = 0; i < length; ++i)
        numbers[i] = 10 * i + 1;
    return numbers;
}

TEST(shape_list, holds_what_is_pushed_at_every_length)
{
    for (const std::size_t length : lengths) {
        shape_list shape;
        for (const std::size_t number : counted(length))
            shape.push_back(number);
        EXPECT_EQ(shape, counted(length));
        EXPECT_EQ(shape.size(), length);
        list turned = counted(length);
        std::reverse(turned.begin(), turned.end());
        EXPECT_EQ(list(shape.rbegin(), shape.rend()), turned);
    }
}

TEST(shape_list, copies_are_apart_and_moves_leave_an_empty_list)
{
    for (const std::size_t length : lengths) {
        const shape_list source = counted(length);
        shape_list copy = source;
        shape_list moved = std::move(copy);
        EXPECT_TRUE(copy.empty()); // NOLINT: what a move leaves is part of the contract
        copy.push_back(7);
        EXPECT_EQ(copy, list{7});
        EXPECT_EQ(moved, counted(length));
        moved.push_back(7);
        EXPECT_EQ(source, counted(length));
        copy = moved;
        moved = std::move(copy);
        EXPECT_EQ(moved.size(), length + 1);
        EXPECT_EQ(moved.back(), 7U);
    }
}

TEST(shape_list, inserts_and_erases_as_a_vector_does)
{
    for (const std::size_t length : lengths)
        for (std::size_t place = 0; place <= length; ++place) {
            const auto at = static_cast<std::ptrdiff_t>(place);
            list expected = counted(length);
            shape_list shape = expected;
            expected.insert(expected.begin() + at, {2, 3});
            EXPECT_EQ(*shape.insert(shape.begin() + at, {2, 3}), 2U);
            EXPECT_EQ(shape, expected);
            expected.insert(expected.begin() + at, 9);
            shape.insert(shape.begin() + at, 9);
            EXPECT_EQ(shape, expected);
            expected.erase(expected.begin() + at, expected.begin() + at + 2);
            shape.erase(shape.begin() + at, shape.begin() + at + 2);
            EXPECT_EQ(shape, expected);
            expected.erase(expected.begin() + at);
            shape.erase(shape.begin() + at);
            EXPECT_EQ(shape, expected);
        }
}

TEST(shape_list, new_places_hold_zero)
{
    shape_list shape{5, 6, 7};
    shape.pop_back();
    shape.resize(6);
    EXPECT_EQ(shape, (list{5, 6, 0, 0, 0, 0}));
    shape.assign(2, 3);
    EXPECT_EQ(shape, (list{3, 3}));
    EXPECT_EQ(shape_list(7), list(7, 0));
}

TEST(shape_list, is_equal_by_length_and_numbers)
{
    EXPECT_TRUE(shape_list({1, 2}) == shape_list({1, 2}));
    EXPECT_FALSE(shape_list({1, 2}) == shape_list({1, 2, 0}));
    EXPECT_FALSE(shape_list({1, 2}) == shape_list({1, 3}));
}

} // namespace
