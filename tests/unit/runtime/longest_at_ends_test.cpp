#include "numerical/runtime/longest_at_ends.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

using numerical::detail::longest_at_ends;

TEST(longest_at_ends, is_a_permutation_that_falls_from_both_ends)
{
    for (std::size_t count = 0; count < 40; ++count) {
        std::vector<std::size_t> order(count);
        for (std::size_t i = 0; i < count; ++i)
            order[i] = longest_at_ends(i, count);
        const auto shortest = std::min_element(order.begin(), order.end());
        EXPECT_TRUE(std::is_sorted(order.begin(), shortest, std::greater<>())) << count;
        EXPECT_TRUE(std::is_sorted(shortest, order.end())) << count;
        std::sort(order.begin(), order.end());
        std::vector<std::size_t> all(count);
        std::iota(all.begin(), all.end(), std::size_t{0});
        EXPECT_EQ(order, all);
    }
}

} // namespace
