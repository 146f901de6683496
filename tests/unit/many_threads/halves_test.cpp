#include "numerical/eigen/halves.hpp"

#include "paths.hpp"

#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using namespace numerical::detail;
using test::thread_limit;

// Which workspaces the halves of a problem had.
struct own_workspaces
{
    const merge_workspace* upper = nullptr;
    const merge_workspace* lower = nullptr;
};

own_workspaces workspaces_of_halves(std::size_t n, merge_workspace& given)
{
    own_workspaces had;
    solve_both_halves(
        n, given, [&](merge_workspace& own) { had.upper = &own; },
        [&](merge_workspace& own) { had.lower = &own; });
    return had;
}

TEST(halves, share_a_workspace_on_one_thread_and_in_small_problems)
{
    struct setting
    {
        std::size_t threads;
        std::size_t n;
    };

    merge_workspace given;
    for (const auto [threads, n] :
         {setting{1, 91}, setting{1, 1000}, setting{2, 90}, setting{64, 90}}) {
        const thread_limit limit(threads);
        const own_workspaces had = workspaces_of_halves(n, given);
        EXPECT_EQ(had.upper, &given) << threads << ", " << n;
        EXPECT_EQ(had.lower, &given) << threads << ", " << n;
    }
}

TEST(halves, have_a_workspace_each_side_by_side)
{
    merge_workspace given;
    for (const std::size_t threads : {2, 3, 64}) {
        const thread_limit limit(threads);
        const std::size_t most = threads == 2 ? paired_order_on_two_threads : paired_order;
        for (const std::size_t n : {std::size_t{91}, most}) {
            const own_workspaces had = workspaces_of_halves(n, given);
            EXPECT_EQ(had.upper, &given) << threads << ", " << n;
            EXPECT_NE(had.lower, nullptr) << threads << ", " << n;
            EXPECT_NE(had.lower, &given) << threads << ", " << n;
        }
        EXPECT_EQ(workspaces_of_halves(most + 1, given).lower, &given) << threads;
    }
}

TEST(halves, hand_on_the_exception_of_either)
{
    merge_workspace given;
    const auto nothing = [](merge_workspace&) {};
    const auto fails = [](merge_workspace&) { throw std::runtime_error("a half fails"); };
    for (const std::size_t threads : {1, 2}) {
        const thread_limit limit(threads);
        EXPECT_THROW(solve_both_halves(200, given, fails, nothing), std::runtime_error);
        EXPECT_THROW(solve_both_halves(200, given, nothing, fails), std::runtime_error);
    }
}

} // namespace
