#include "numerical/runtime/spin.hpp"

#include "numerical/runtime/computation.hpp"

#include <gtest/gtest.h>
#include <optional>

namespace {

using numerical::detail::computation_scope;
using numerical::detail::computes;
using numerical::detail::repeat_in_computation;
using numerical::detail::spells_in_computation;
using numerical::detail::spin_through_computation;
using numerical::detail::spin_until;

TEST(spin, ends_once_the_condition_holds)
{
    int polls = 0;
    const auto third = [&polls] { return ++polls == 3; };
    EXPECT_TRUE(spin_until(third));
    EXPECT_EQ(polls, 3);
    polls = 0;
    EXPECT_TRUE(spin_through_computation(third));
    EXPECT_EQ(polls, 3);
}

TEST(spin, gives_up_after_its_time)
{
    const auto never = [] { return false; };
    EXPECT_FALSE(spin_until(never));
    EXPECT_FALSE(spin_through_computation(never));
}

TEST(spin, lasts_one_spell_without_a_computation)
{
    int spells = 0;
    EXPECT_FALSE(repeat_in_computation([&spells] { return ++spells < 0; }));
    EXPECT_EQ(spells, 1);
}

TEST(spin, lasts_some_spells_in_a_computation)
{
    const computation_scope computation;
    int spells = 0;
    EXPECT_FALSE(repeat_in_computation([&spells] { return ++spells < 0; }));
    EXPECT_EQ(spells, spells_in_computation);
    spells = 0;
    EXPECT_TRUE(repeat_in_computation([&spells] { return ++spells == spells_in_computation; }));
}

TEST(spin, gives_up_when_the_computation_ends)
{
    std::optional<computation_scope> computation(std::in_place);
    int spells = 0;
    EXPECT_FALSE(repeat_in_computation([&] {
        if (++spells == 3)
            computation.reset();
        return false;
    }));
    EXPECT_EQ(spells, 3);
}

TEST(computation, is_in_progress_until_the_last_one_ends)
{
    EXPECT_FALSE(computes());
    std::optional<computation_scope> first(std::in_place);
    EXPECT_TRUE(computes());
    std::optional<computation_scope> second(std::in_place);
    first.reset();
    EXPECT_TRUE(computes());
    second.reset();
    EXPECT_FALSE(computes());
}

} // namespace
