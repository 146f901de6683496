#include "numerical/runtime/loop_gauge.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::detail::loop_gauge;

constexpr std::chrono::nanoseconds on_one{1000};
constexpr std::chrono::nanoseconds least_gain{875};
constexpr std::chrono::nanoseconds too_little = least_gain + std::chrono::nanoseconds(1);

TEST(loop_gauge, takes_loops_for_paying_until_one_is_timed)
{
    loop_gauge gauge;
    EXPECT_TRUE(gauge.short_loops_pay());
    EXPECT_TRUE(gauge.due_after_loop());
    EXPECT_TRUE(gauge.due_after_loop()) << "none could be timed after the first loop";
}

TEST(loop_gauge, tells_whether_an_eighth_is_gained)
{
    loop_gauge gauge;
    gauge.record(least_gain, on_one);
    EXPECT_TRUE(gauge.short_loops_pay());
    gauge.record(too_little, on_one);
    EXPECT_FALSE(gauge.short_loops_pay());
    gauge.record(least_gain, on_one);
    EXPECT_TRUE(gauge.short_loops_pay());
}

TEST(loop_gauge, is_due_again_after_some_loops)
{
    loop_gauge gauge;
    ASSERT_TRUE(gauge.due_after_loop());
    gauge.record(least_gain, on_one);
    for (std::uint32_t loop = 1; loop < loop_gauge::loops_between; ++loop)
        EXPECT_FALSE(gauge.due_after_loop()) << loop;
    EXPECT_TRUE(gauge.due_after_loop());
    EXPECT_FALSE(gauge.due_after_loop());
}

TEST(loop_gauge, lets_one_of_many_through_while_loops_do_not_pay)
{
    loop_gauge gauge;
    static_cast<void>(gauge.due_after_loop());
    gauge.record(too_little, on_one);
    for (std::uint32_t ask = 1; ask < loop_gauge::asks_between; ++ask)
        EXPECT_FALSE(gauge.short_loops_pay()) << ask;
    EXPECT_TRUE(gauge.short_loops_pay());
    EXPECT_TRUE(gauge.due_after_loop()) << "the next loop finds out";
    gauge.record(too_little, on_one);
    EXPECT_FALSE(gauge.short_loops_pay());
}

} // namespace
