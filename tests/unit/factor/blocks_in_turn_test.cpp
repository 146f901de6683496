#include "numerical/factor/blocks_in_turn.hpp"

#include "paths.hpp"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <vector>

namespace {

using namespace numerical::detail;
using test::thread_limit;

constexpr std::size_t slabs_of_each = 40;
constexpr std::size_t long_slab = std::size_t{1} << 20;

// What is applied, in the order in which it begins.
struct journal
{
    std::mutex lock;
    std::vector<std::size_t> blocks;
    std::multiset<std::size_t> slabs;
    std::vector<std::vector<std::size_t>> blocks_of_slab{slabs_of_each};
};

struct noted_block
{
    journal* into;
    std::size_t number;

    std::size_t count() const { return slabs_of_each; }

    std::size_t work() const { return long_slab; }

    void apply(std::size_t slab) const
    {
        const std::lock_guard guard(into->lock);
        into->blocks.push_back(number);
        into->slabs.insert(number * slabs_of_each + slab);
        into->blocks_of_slab[slab].push_back(number);
    }
};

TEST(blocks_in_turn, every_slab_is_applied_once_and_no_block_before_the_last_one_is_done)
{
    for (const std::size_t threads : {1, 2, 64})
        for (const std::size_t blocks : {0, 1, 2, 5}) {
            const thread_limit limit(threads);
            journal notes;
            std::vector<std::size_t> made;
            apply_in_turn(blocks, [&](std::size_t b) {
                made.push_back(b);
                return noted_block{&notes, b};
            });
            std::vector<std::size_t> each(blocks);
            std::multiset<std::size_t> all;
            for (std::size_t b = 0; b < blocks; ++b)
                each[b] = b;
            for (std::size_t i = 0; i < blocks * slabs_of_each; ++i)
                all.insert(i);
            EXPECT_EQ(made, each) << threads << ", " << blocks;
            EXPECT_EQ(notes.slabs, all) << threads << ", " << blocks;
            EXPECT_TRUE(std::is_sorted(notes.blocks.begin(), notes.blocks.end()))
                << threads << ", " << blocks;
        }
}

TEST(blocks_by_slabs, every_slab_goes_through_all_blocks_in_turn)
{
    for (const std::size_t threads : {1, 2, 64})
        for (const std::size_t blocks : {0, 1, 2, 5}) {
            const thread_limit limit(threads);
            journal notes;
            apply_to_each_slab(blocks, long_slab, [&](std::size_t b) {
                return noted_block{&notes, b};
            });
            std::vector<std::size_t> in_turn(blocks);
            std::iota(in_turn.begin(), in_turn.end(), std::size_t{0});
            for (const auto& seen : notes.blocks_of_slab)
                EXPECT_EQ(seen, in_turn) << threads << ", " << blocks;
        }
}

TEST(blocks_by_slabs, hand_on_the_exception_of_a_preparation)
{
    for (const std::size_t threads : {1, 2}) {
        const thread_limit limit(threads);
        journal notes;
        const auto make = [&](std::size_t b) {
            if (b == 3)
                throw std::runtime_error("no block");
            return noted_block{&notes, b};
        };
        EXPECT_THROW(apply_to_each_slab(4, long_slab, make), std::runtime_error);
        EXPECT_TRUE(notes.blocks.empty());
    }
}

TEST(blocks_in_turn, hands_on_the_exception_of_a_preparation)
{
    for (const std::size_t threads : {1, 2})
        for (const std::size_t failing : {0, 1, 3}) {
            const thread_limit limit(threads);
            journal notes;
            EXPECT_THROW(apply_in_turn(4,
                                       [&](std::size_t b) {
                                           if (b == failing)
                                               throw std::runtime_error("no block");
                                           return noted_block{&notes, b};
                                       }),
                         std::runtime_error);
        }
}

} // namespace
