#include "numerical/svd/bidiagonal_operations.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

using numerical::detail::bidiagonal_operations;
using numerical::detail::row_operation;
using numerical::detail::row_operation_kind;
using numerical::detail::row_operation_span;

row_operation numbered(std::size_t i)
{
    return {row_operation_kind::rotation, i, i + 1, double(i), -double(i)};
}

// The numbers of operations that are still as they were added.
std::vector<std::size_t> numbers_of(row_operation_span operations)
{
    std::vector<std::size_t> numbers;
    for (const row_operation& operation : operations) {
        const row_operation expected = numbered(operation.first);
        if (operation.kind == expected.kind && operation.second == expected.second &&
            operation.c == expected.c && operation.s == expected.s)
            numbers.push_back(operation.first);
    }
    return numbers;
}

TEST(bidiagonal_operations, keep_both_lists_when_they_grow)
{
    auto [grown, beside] = bidiagonal_operations::pair_with_room(2, 1);
    beside.add_left(numbered(100));
    beside.add_right(numbered(200));
    std::vector<std::size_t> left;
    std::vector<std::size_t> right;
    for (std::size_t i = 0; i < 9; ++i) {
        grown.make_room(1);
        left.push_back(i);
        grown.add_left(numbered(i));
        if (i % 3 == 0) {
            right.push_back(10 + i);
            grown.add_right(numbered(10 + i));
        }
    }
    EXPECT_EQ(numbers_of(grown.left_operations()), left);
    EXPECT_EQ(numbers_of(grown.right_operations()), right);
    EXPECT_EQ(numbers_of(beside.left_operations()), std::vector<std::size_t>{100});
    EXPECT_EQ(numbers_of(beside.right_operations()), std::vector<std::size_t>{200});
}

} // namespace
