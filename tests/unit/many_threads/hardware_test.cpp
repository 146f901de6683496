// This program believes in 64 cores: it defines hardware_threads() itself, in place of the
// library's, so that loops are cut as they would be on such a machine.

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/topology.hpp"

#include <gtest/gtest.h>

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

} // namespace
