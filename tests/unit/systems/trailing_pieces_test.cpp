#include "numerical/systems/trailing_pieces.hpp"

#include "paths.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace {

using numerical::detail::strip_columns;
using numerical::detail::strip_end;
using numerical::detail::strip_piece;
using numerical::detail::trailing_pieces;

std::vector<strip_piece> in_sequence(const trailing_pieces& pieces)
{
    std::vector<strip_piece> all;
    for (std::size_t i = 0; i < pieces.shares(); ++i) {
        EXPECT_FALSE(pieces.share(i).empty());
        all.insert(all.end(), pieces.share(i).begin(), pieces.share(i).end());
    }
    return all;
}

TEST(trailing_pieces, follow_one_another_in_each_strip_on_any_number_of_threads)
{
    for (const std::size_t threads : {1UL, 2UL, 3UL, 64UL})
        for (const std::size_t n : {1UL, 63UL, 64UL, 65UL, 130UL, 700UL, 1300UL})
            for (std::size_t from = 0; from < n; from += 33) {
                const test::thread_limit limit(threads);
                trailing_pieces pieces;
                pieces.cut(from, n);
                std::size_t column = from;
                std::size_t row = from;
                std::size_t rows = 0;
                for (const strip_piece& each : in_sequence(pieces)) {
                    ASSERT_EQ(each.column, column);
                    ASSERT_EQ(each.row, row);
                    ASSERT_LT(each.row, each.last_row);
                    rows += each.last_row - each.row;
                    const bool ends_strip = each.last_row == strip_end(column, n);
                    row = ends_strip ? from : each.last_row;
                    column = ends_strip ? strip_end(column, n) : column;
                }
                EXPECT_EQ(column, n);
                EXPECT_EQ(rows, pieces.rows());
            }
}

// So that a product of any of them is summed as that of the whole strip is.
TEST(trailing_pieces, begin_at_multiples_of_64_rows_and_have_as_many)
{
    for (const std::size_t threads : {1UL, 2UL, 3UL, 64UL})
        for (const std::size_t from : {0UL, 1UL, 63UL, 64UL, 65UL}) {
            const test::thread_limit limit(threads);
            trailing_pieces pieces;
            pieces.cut(from, 1290);
            for (const strip_piece& each : in_sequence(pieces)) {
                const bool is_whole = each.row == from && each.last_row >= each.column;
                EXPECT_TRUE(each.row == from || each.row % 64 == 0);
                EXPECT_TRUE(is_whole || each.last_row - each.row >= 64 || each.row == each.column);
                EXPECT_LE(each.last_row - each.row, 512 + 2 * strip_columns);
            }
        }
}

TEST(trailing_pieces, have_their_smallest_shares_where_two_threads_meet)
{
    const test::thread_limit limit(2);
    trailing_pieces pieces;
    pieces.cut(32, 2000);
    const auto rows_of = [&](std::size_t i) {
        std::size_t rows = 0;
        for (const strip_piece& each : pieces.share(i))
            rows += each.last_row - each.row;
        return rows;
    };
    ASSERT_EQ(pieces.shares(), 8);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_GT(rows_of(i), rows_of(i + 1)) << i;
        EXPECT_GT(rows_of(7 - i), rows_of(6 - i)) << i;
    }
    EXPECT_LT(20 * rows_of(3), pieces.rows());
}

} // namespace
