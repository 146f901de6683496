// The measures that other tests trust: a NaN anywhere must come out as one, as then no bound holds.

#include "ratios.hpp"

#include "numerical/aligned_vector.hpp"

#include "matrices.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::matrix;

constexpr std::size_t n = 4;

TEST(ratios, of_a_nan_in_any_place_are_nan)
{
    const auto one = test::random_matrix<double>(n, n, 1);
    for (std::size_t at = 0; at < n * n; ++at) {
        auto spoilt = one;
        spoilt.data[at] = std::nan("");
        EXPECT_TRUE(std::isnan(test::norm_inf(spoilt))) << at;
        EXPECT_TRUE(std::isnan(test::difference_ratio(one, spoilt))) << at;
        EXPECT_TRUE(std::isnan(test::difference_ratio(spoilt, one))) << at;
        EXPECT_TRUE(std::isnan(test::orthogonality_ratio(spoilt))) << at;
        EXPECT_TRUE(std::isnan(test::probed_orthogonality_ratio(spoilt))) << at;
        EXPECT_TRUE(std::isnan(test::probed_product_ratio(one, spoilt, one))) << at;
        EXPECT_TRUE(std::isnan(test::probed_product_ratio(one, one, spoilt))) << at;
    }
}

TEST(ratios, of_equal_matrices_are_zero_and_of_a_digit_about_one)
{
    auto a = matrix<double>(n, n, numerical::aligned_vector<double>(n * n));
    EXPECT_EQ(test::difference_ratio(a, a), 0);
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] = 1;
    EXPECT_EQ(test::difference_ratio(a, a), 0);
    EXPECT_EQ(test::orthogonality_ratio(a), 0);
    auto b = a;
    b.data[5] += test::eps * n;
    EXPECT_EQ(test::difference_ratio(a, b), 1);
    EXPECT_EQ(test::orthogonality_ratio(b), 2);
}

TEST(worse, of_two_is_the_greater_one_and_a_nan_before_all)
{
    const double nan = std::nan("");
    EXPECT_EQ(test::worse(1.0, 2.0), 2.0);
    EXPECT_EQ(test::worse(2.0, 1.0), 2.0);
    EXPECT_TRUE(std::isnan(test::worse(1.0, nan)));
    EXPECT_TRUE(std::isnan(test::worse(nan, 1.0)));
}

} // namespace
