#include "numerical/runtime/answer_gauge.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::detail::answer_gauge;

constexpr auto fast_answer = answer_gauge::slowest_fast_answer;
constexpr auto slow_answer = fast_answer + std::chrono::nanoseconds(1);

TEST(answer_gauge, takes_answers_for_fast_until_one_is_timed)
{
    answer_gauge gauge;
    EXPECT_TRUE(gauge.fast());
    EXPECT_TRUE(gauge.due_after_loop());
    EXPECT_TRUE(gauge.due_after_loop()) << "none could be timed after the first loop";
}

TEST(answer_gauge, tells_slow_from_fast)
{
    answer_gauge gauge;
    gauge.record(fast_answer);
    EXPECT_TRUE(gauge.fast());
    gauge.record(slow_answer);
    EXPECT_FALSE(gauge.fast());
    gauge.record(fast_answer);
    EXPECT_TRUE(gauge.fast());
}

TEST(answer_gauge, is_due_again_after_some_loops)
{
    answer_gauge gauge;
    ASSERT_TRUE(gauge.due_after_loop());
    gauge.record(fast_answer);
    for (std::uint32_t loop = 1; loop < answer_gauge::loops_between; ++loop)
        EXPECT_FALSE(gauge.due_after_loop()) << loop;
    EXPECT_TRUE(gauge.due_after_loop());
    EXPECT_FALSE(gauge.due_after_loop());
}

TEST(answer_gauge, lets_one_of_many_through_while_answers_are_slow)
{
    answer_gauge gauge;
    static_cast<void>(gauge.due_after_loop());
    gauge.record(slow_answer);
    for (std::uint32_t ask = 1; ask < answer_gauge::asks_between; ++ask)
        EXPECT_FALSE(gauge.fast()) << ask;
    EXPECT_TRUE(gauge.fast());
    EXPECT_TRUE(gauge.due_after_loop()) << "the next loop finds out";
    gauge.record(slow_answer);
    EXPECT_FALSE(gauge.fast());
}

} // namespace
