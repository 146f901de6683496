#include "numerical/random/normal.hpp"

#include "numerical/random/philox.hpp"
#include "paths.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace {

using numerical::random::philox;
using numerical::random::philox_block;
using numerical::random::philox_key;
using numerical::random::standard_normal;

// Published answers: zeros, ones, and the digits of pi.
TEST(philox_numbers, agree_with_known_answers)
{
    constexpr std::uint32_t ones = 0xffffffff;
    EXPECT_EQ(philox({0, 0, 0, 0}, {0, 0}),
              (philox_block{0x6627e8d5, 0xe169c58d, 0xbc57ac4c, 0x9b00dbd8}));
    EXPECT_EQ(philox({ones, ones, ones, ones}, {ones, ones}),
              (philox_block{0x408f276d, 0x41c83b0e, 0xa20bc7c6, 0x6d5451fd}));
    EXPECT_EQ(philox({0x243f6a88, 0x85a308d3, 0x13198a2e, 0x03707344}, {0xa4093822, 0x299f31d0}),
              (philox_block{0xd16cfe09, 0x94fdcceb, 0x5001e420, 0x24126ea1}));
}

// Each pair from its own block, by the C library.
TEST(normal_numbers, are_the_transformation_of_uniform_ones)
{
    constexpr std::uint64_t seed = 0x123456789abcdef0;
    const auto numbers = standard_normal(seed, 1000);
    const philox_key key{0x9abcdef0, 0x12345678};
    const auto uniform = [](std::uint32_t high, std::uint32_t low) {
        return (std::ldexp(double(high), 21) + double(low >> 11) + 1) * 0x1p-53;
    };
    for (std::uint32_t pair = 0; pair < 500; ++pair) {
        const philox_block bits = philox({pair, 0, 0, 0}, key);
        const double length = std::sqrt(-2 * std::log(uniform(bits[0], bits[1])));
        const double angle = 2 * std::numbers::pi * uniform(bits[2], bits[3]);
        EXPECT_NEAR(numbers[2 * pair], length * std::cos(angle), 1e-14);
        EXPECT_NEAR(numbers[2 * pair + 1], length * std::sin(angle), 1e-14);
    }
}

TEST(normal_numbers, have_the_bits_of_the_seed_on_every_path_and_number_of_threads)
{
    const auto expected = standard_normal(7, 100001);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit cap(threads);
            EXPECT_EQ(standard_normal(7, 100001), expected);
        }
    }
}

TEST(normal_numbers, of_a_shorter_sequence_begin_the_longer_one)
{
    const auto longest = standard_normal(3, 1500);
    for (const std::size_t count : {0, 1, 2, 3, 511, 512, 513, 1025}) {
        const auto some = standard_normal(3, count);
        ASSERT_EQ(some.size(), count);
        EXPECT_TRUE(std::equal(some.begin(), some.end(), longest.begin()));
    }
    EXPECT_NE(standard_normal(4, 1500), longest);
}

// Kolmogorov's statistic and the first moments; the seed is fixed, so that chance has no say.
TEST(normal_numbers, are_distributed_normally)
{
    constexpr std::size_t count = 200000;
    auto numbers = standard_normal(0, count);
    double mean = 0;
    double square = 0;
    double neighbours = 0;
    for (std::size_t i = 0; i < count; ++i) {
        mean += numbers[i] / count;
        square += numbers[i] * numbers[i] / count;
        neighbours += numbers[i] * numbers[(i + 1) % count] / count;
    }
    const double deviation = 1 / std::sqrt(double(count));
    EXPECT_LT(std::abs(mean), 4 * deviation);
    EXPECT_LT(std::abs(square - 1), 4 * std::numbers::sqrt2 * deviation);
    EXPECT_LT(std::abs(neighbours), 4 * deviation);

    std::sort(numbers.begin(), numbers.end());
    double distance = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double below = std::erfc(-numbers[i] / std::numbers::sqrt2) / 2;
        distance = std::max({distance, std::abs(below - double(i) / count),
                             std::abs(below - double(i + 1) / count)});
    }
    EXPECT_LT(distance, 1.63 * deviation); // reached by chance once in a hundred seeds
}

} // namespace
