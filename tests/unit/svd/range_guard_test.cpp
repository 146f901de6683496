#include "numerical/svd/range_guard.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/matrix_view.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::aligned_vector;
using numerical::matrix;

template <class T>
class range_guard : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(range_guard, element_types);

double scaled(double x, int exponent)
{
    return std::scalbn(x, exponent);
}

std::complex<double> scaled(const std::complex<double>& z, int exponent)
{
    return {std::scalbn(z.real(), exponent), std::scalbn(z.imag(), exponent)};
}

// 2^-1060 and 2^1030 are no normal numbers, and are multiplied by in another way.
constexpr int exponents[] = {0, 3, -1022, 1023, -1060, 1030};

TYPED_TEST(range_guard, copies_times_a_power_of_two)
{
    for (const std::size_t n : {0UL, 1UL, 4095UL, 4096UL, 4097UL, 8191UL, 8192UL, 8193UL, 100001UL})
        for (const int exponent : exponents) {
            const auto x = test::random_vector<TypeParam>(n, 1);
            aligned_vector<TypeParam> expected = x;
            for (TypeParam& element : expected)
                element = scaled(element, exponent);
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                EXPECT_TRUE(numerical::detail::copy_times_power(x.data(), n, exponent) == expected)
                    << n << " times 2^" << exponent;
            }
        }
}

// About the edges of bands.
TYPED_TEST(range_guard, takes_an_adjoint_times_a_power_of_two)
{
    for (const std::size_t rows : {1UL, 5UL, 200UL, 513UL})
        for (const std::size_t cols : {1UL, 127UL, 128UL, 129UL, 300UL})
            for (const int exponent : exponents) {
                const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
                const auto found =
                    numerical::detail::adjoint_times_power(numerical::detail::view_of(a), exponent);
                ASSERT_EQ(found.rows, cols);
                ASSERT_EQ(found.cols, rows);
                for (std::size_t i = 0; i < rows; ++i)
                    for (std::size_t j = 0; j < cols; ++j) {
                        const TypeParam element = scaled(a.data[i * cols + j], exponent);
                        ASSERT_EQ(std::real(found.data[j * rows + i]), std::real(element));
                        ASSERT_EQ(std::imag(found.data[j * rows + i]), -std::imag(element));
                    }
            }
}

} // namespace
