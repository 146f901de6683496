// This program believes in 64 cores: it defines hardware_threads() itself, in place of the
// library's, so that loops are cut as they would be on such a machine.

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/topology.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>
#include <vector>

std::size_t numerical::detail::hardware_threads()
{
    return 64;
}

namespace {

using namespace numerical::detail;

TEST(many_threads, loops_are_cut_for_64_workers)
{
    EXPECT_EQ(allowed_threads(), 64U);
    const auto split = split_loop(1000, std::size_t{1} << 20);
    ASSERT_TRUE(split.has_value());
    EXPECT_EQ(split->helpers, 63U);
    EXPECT_EQ(split->chunks, 256U);
}

// 16 slots of 7 indices have two to spare: the 15th holds 2 indices, the last one none.
TEST(many_threads, a_slot_beyond_the_last_index_is_empty)
{
    const test::thread_limit four(4);
    const std::size_t heavy = std::size_t{1} << 20;
    const auto split = split_loop(100, heavy);
    ASSERT_TRUE(split.has_value());
    EXPECT_EQ(split->helpers, 3U);
    EXPECT_EQ(split->chunks, 16U);
    EXPECT_EQ(split->chunk, 7U);
    std::vector<int> runs(100);
    parallel_for(100, heavy, [&](std::size_t i) { ++runs[i]; });
    EXPECT_EQ(runs, std::vector<int>(100, 1));
}

} // namespace
