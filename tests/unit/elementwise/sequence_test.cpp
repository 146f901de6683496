#include "numerical/elementwise/sequence.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using numerical::arange;
using numerical::linspace;
using test::text_thrown_by;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(arange, has_one_rounding_to_an_element_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const double start : {0.0, 0.1, -7.3, 1e9 + 0.3}) {
            const double step = 0.1;
            const double stop = start + 100;
            const auto t = arange(start, stop, step);
            ASSERT_EQ(static_cast<double>(t.data.size()), std::ceil((stop - start) / step));
            volatile double first_sum = step + start;
            const double delta = first_sum - start;
            for (std::size_t i = 0; i < t.data.size(); ++i)
                ASSERT_EQ(t.data[i], std::fma(delta, static_cast<double>(i), start)) << i;
        }
    }
}

TEST(arange, spans_blocks_without_a_seam)
{
    const std::size_t count = (std::size_t{1} << 20) + 5;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto t = arange(0.5, static_cast<double>(count) + 0.5, 1.0);
        ASSERT_EQ(t.data.size(), count);
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(t.data[i], static_cast<double>(i) + 0.5);
    }
}

TEST(arange, takes_the_step_that_the_first_two_elements_have)
{
    const auto t = arange(1e16, 1e16 + 8, 1.5); // 1e16 + 1.5 rounds to 1e16 + 2
    ASSERT_EQ(t.data.size(), 6U);
    EXPECT_EQ(t.data[3], 1e16 + 6);
}

TEST(arange, is_empty_where_the_step_leads_away)
{
    EXPECT_EQ(arange(0, 1, 0.1).data.size(), 10U);
    EXPECT_TRUE(arange(1, 0, 1).data.empty());
    EXPECT_TRUE(arange(0, 10, -1).data.empty());
    EXPECT_TRUE(arange(3, 3, 1).data.empty());
    EXPECT_EQ(arange(3, 0, -1).data, (numerical::aligned_vector<double>{3, 2, 1}));
}

TEST(arange, refuses_what_is_not_finite_and_counts_beyond_memory)
{
    const std::string text = "arange needs finite bounds and a finite, non-zero step";
    const std::vector<numerical::aligned_vector<double>> refused{
        {0, 1, 0},   {0, inf, 1}, {-inf, 0, 1}, {0, 1, inf},
        {nan, 1, 1}, {0, nan, 1}, {0, 1, nan},  {0, 1, -0.0}};
    for (const auto& a : refused)
        EXPECT_EQ(text_thrown_by<numerical::dimension_error>([&] { arange(a[0], a[1], a[2]); }),
                  text);
    for (const double stop : {1e19, 1e30, 1e308}) // the last divided by the step is infinite
        EXPECT_EQ(text_thrown_by<std::length_error>([&] { arange(0, stop, 0.1); }),
                  "cannot create std::vector larger than max_size()");
}

TEST(linspace, rounds_product_and_sum_apart_and_ends_at_the_end)
{
    for (const std::size_t count : {2U, 3U, 7U, 50U, 1001U, (1U << 20) + 3U}) {
        const double start = 0.3;
        const double stop = -17.9;
        const auto t = linspace(start, stop, count);
        volatile double range = stop - start;
        volatile double step = range / static_cast<double>(count - 1);
        ASSERT_EQ(t.data.size(), count);
        for (std::size_t i = 0; i + 1 < count; ++i) {
            volatile double product = step * static_cast<double>(i);
            ASSERT_EQ(t.data[i], product + start) << i;
        }
        EXPECT_EQ(t.data.back(), stop);
    }
}

TEST(linspace, of_none_and_of_one)
{
    EXPECT_TRUE(linspace(0, 1, 0).data.empty());
    EXPECT_EQ(linspace(2, 9, 1).data, numerical::aligned_vector<double>{2.0});
    EXPECT_FALSE(std::signbit(linspace(-0.0, 1, 1).data[0]));
    EXPECT_EQ(linspace(0, 1, 3).data, (numerical::aligned_vector<double>{0.0, 0.5, 1.0}));
}

TEST(linspace, lets_nan_pass)
{
    const auto t = linspace(nan, 1, 3);
    EXPECT_TRUE(std::isnan(t.data[0]));
    EXPECT_TRUE(std::isnan(t.data[1]));
    EXPECT_EQ(t.data[2], 1.0);
}

} // namespace
