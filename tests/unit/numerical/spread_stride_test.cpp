#include "numerical/spread_stride.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::detail::line_bytes;
using numerical::detail::spread_stride;

template <class T>
void expect_odd_lines()
{
    for (std::size_t n = 1; n < 600; ++n) {
        const std::size_t bytes = spread_stride<T>(n) * sizeof(T);
        EXPECT_GE(bytes, n * sizeof(T));
        EXPECT_LT(bytes, n * sizeof(T) + 2 * line_bytes);
        EXPECT_EQ(bytes % (2 * line_bytes), line_bytes) << n;
    }
}

TEST(spread_stride, is_an_odd_number_of_lines_and_no_longer_than_it_must_be)
{
    expect_odd_lines<double>();
    expect_odd_lines<std::complex<double>>();
}

} // namespace
