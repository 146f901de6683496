#include "numerical/runtime/interruption.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/stacks/stack_error.hpp"

#include <atomic>
#include <cstddef>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace numerical::detail;

struct stopped : interruption
{
};

void stop(void*)
{
    throw stopped();
}

void count(void* checks)
{
    ++*static_cast<int*>(checks);
}

// Loops until the check has been called; forever if it never is.
void loop_until_checked(const int& checks, std::size_t indices, std::size_t work)
{
    std::atomic<std::size_t> runs{0};
    while (checks == 0)
        parallel_for(indices, work, [&](std::size_t) { ++runs; });
}

TEST(interruption, ends_serial_and_pooled_loops)
{
    for (const std::size_t work : {std::size_t{0}, std::size_t{1}, std::size_t{1} << 20})
        EXPECT_THROW(
            {
                const interruption_scope scope(stop, nullptr);
                for (;;)
                    parallel_for(100, work, [](std::size_t) {});
            },
            stopped);
}

TEST(interruption, ends_a_loop_between_its_rounds)
{
    const interruption_scope scope(stop, nullptr);
    std::atomic<std::size_t> runs{0};
    EXPECT_THROW(parallel_for(~std::size_t{0}, std::size_t{1} << 26, [&](std::size_t) { ++runs; }),
                 stopped);
    EXPECT_GT(runs, 0u);
}

TEST(interruption, leaves_a_loop_that_goes_on_with_each_index_once)
{
    int checks = 0;
    const interruption_scope scope(count, &checks);
    std::vector<std::atomic<int>> runs(1000);
    parallel_for(runs.size(), std::size_t{1} << 24, [&](std::size_t i) { ++runs[i]; });
    for (const std::atomic<int>& each : runs)
        ASSERT_EQ(each, 1);
}

TEST(interruption, ends_loops_with_something_beside)
{
    EXPECT_THROW(
        {
            const interruption_scope scope(stop, nullptr);
            for (;;)
                parallel_for_beside(
                    10, std::size_t{1} << 20, [](std::size_t) {}, [] {});
        },
        stopped);
}

TEST(interruption, isnt_checked_inside_a_job_of_the_pool)
{
    const interruption_scope scope(stop, nullptr);
    parallel_for(64, std::size_t{1} << 18, [](std::size_t) {
        for (int i = 0; i < 1000; ++i)
            EXPECT_TRUE(allowed_threads() < 2 || !may_be_interrupted());
    });
}

TEST(interruption, is_checked_on_the_thread_of_the_scope_alone)
{
    int checks = 0;
    const interruption_scope scope(count, &checks);
    std::thread([] { EXPECT_FALSE(may_be_interrupted()); }).join();
    loop_until_checked(checks, 8, 1);
    EXPECT_TRUE(may_be_interrupted());
}

TEST(interruption, is_suspended_during_a_check_and_returns_to_the_outer_scope)
{
    static int inner_checks = 0;
    const auto nested = [](void* outer_checks) {
        ++*static_cast<int*>(outer_checks);
        EXPECT_FALSE(may_be_interrupted());
        const interruption_scope inner(count, &inner_checks);
        loop_until_checked(inner_checks, 8, 1);
    };
    int checks = 0;
    const interruption_scope scope(nested, &checks);
    loop_until_checked(checks, 8, 1);
    EXPECT_EQ(checks, 1);
    EXPECT_EQ(inner_checks, 1);
    EXPECT_TRUE(may_be_interrupted());
}

TEST(interruption, ends_with_its_scope)
{
    {
        const interruption_scope scope(stop, nullptr);
    }
    EXPECT_FALSE(may_be_interrupted());
}

TEST(interruption, is_no_failure_of_a_matrix_of_a_stack)
{
    first_failure failures;
    EXPECT_THROW(failures.attempt(3, [] { throw stopped(); }), stopped);
    EXPECT_NO_THROW(failures.rethrow());
}

} // namespace
