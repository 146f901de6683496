#include "numerical/elementwise/scans.hpp"

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace {

// Four rows at a time and one by one.
TEST(scans, products_of_columns_ascend_over_the_rows)
{
    for (std::size_t rows = 1; rows <= 9; ++rows) {
        constexpr std::size_t width = 5;
        numerical::aligned_vector<double> x(2 * rows * width);
        std::mt19937 source(7);
        for (double& number : x)
            number = 0.5 + 1e-9 * static_cast<double>(source());
        numerical::aligned_vector<double> expected(2 * width, 1.0);
        for (std::size_t o = 0; o < 2; ++o)
            for (std::size_t i = 0; i < rows; ++i)
                for (std::size_t k = 0; k < width; ++k)
                    expected[o * width + k] *= x[(o * rows + i) * width + k];
        EXPECT_EQ(numerical::detail::products(x.data(), {2, rows, width}), expected) << rows;
    }
}

TEST(scans, products_of_runs_use_eight_accumulators)
{
    numerical::aligned_vector<double> x(19);
    std::iota(x.begin(), x.end(), 1.5);
    double r[8];
    for (std::size_t j = 0; j < 8; ++j)
        r[j] = x[j] * x[8 + j];
    double expected = ((r[0] * r[1]) * (r[2] * r[3])) * ((r[4] * r[5]) * (r[6] * r[7]));
    for (std::size_t i = 16; i < 19; ++i)
        expected *= x[i];
    EXPECT_EQ(numerical::detail::products(x.data(), {1, 19, 1})[0], expected);
    EXPECT_EQ(numerical::detail::products(x.data(), {2, 0, 3}),
              numerical::aligned_vector<double>(6, 1.0));
    EXPECT_EQ(numerical::detail::running_sums(x.data(), {1, 3, 1}),
              (numerical::aligned_vector<double>{1.5, 4.0, 7.5}));
    EXPECT_EQ(numerical::detail::running_products(x.data(), {1, 2, 2}),
              (numerical::aligned_vector<double>{1.5, 2.5, 1.5 * 3.5, 2.5 * 4.5}));
}

} // namespace
