#include "numerical/counts.hpp"

#include <complex>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using numerical::detail::ceil_div;
using numerical::detail::line_elements;
using numerical::detail::round_up;

TEST(counts, quotients_are_rounded_up)
{
    for (std::size_t d = 1; d < 9; ++d)
        for (std::size_t n = 0; n < 40; ++n) {
            const std::size_t q = ceil_div(n, d);
            EXPECT_GE(q * d, n) << n << '/' << d;
            EXPECT_LT(q * d, n + d) << n << '/' << d;
            EXPECT_EQ(round_up(n, d), q * d);
        }
}

TEST(counts, the_greatest_count_does_not_wrap)
{
    EXPECT_EQ(ceil_div(SIZE_MAX, 2), SIZE_MAX / 2 + 1);
    EXPECT_EQ(ceil_div(SIZE_MAX, SIZE_MAX), 1U);
}

TEST(counts, a_cache_line_holds_eight_doubles)
{
    EXPECT_EQ(line_elements<double>, 8U);
    EXPECT_EQ(line_elements<std::complex<double>>, 4U);
}

} // namespace
