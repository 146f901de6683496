#include "numerical/eigen/lower_triangle.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace numerical::detail;
using numerical::matrix;

template <class T>
class lower_triangle : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(lower_triangle, element_types);

// The element of modulus 2.5 has smaller parts than all others, of modulus 2.25. The orders are
// those at which a row is one stretch of 32 elements, one less or one more, or has three.
TEST(checked_scale, is_the_largest_modulus_wherever_it_stands)
{
    for (const std::size_t n : {2, 31, 32, 33, 34, 70})
        for (std::size_t i = 1; i < n; i += 1 + n / 8)
            for (std::size_t j = 0; j < i; ++j) {
                matrix<complex> a(n, n,
                                  numerical::aligned_vector<complex>(n * n, complex(0, -2.25)));
                for (std::size_t k = 0; k < n; ++k)
                    a.data[k * n + k] = -2.25;
                a.data[i * n + j] = {-1.5, 2};
                ASSERT_EQ(checked_scale(a), 2.5) << n << ": " << i << ", " << j;
            }
}

TEST(checked_scale, reads_real_parts_on_the_diagonal_and_nothing_above_it)
{
    constexpr std::size_t n = 40;
    matrix<complex> a(n, n, numerical::aligned_vector<complex>(n * n, complex(3, 4)));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            a.data[i * n + j] = i == j ? complex(0.5, 9) : complex(0.25, 0);
    EXPECT_EQ(checked_scale(a), 0.5);
}

// Strips have 64 rows; threads share them from an order of some hundreds on.
TYPED_TEST(lower_triangle, is_checked_and_scaled_alike_on_any_number_of_threads)
{
    using T = TypeParam;
    for (const std::size_t n : {63, 64, 65, 300, 1030}) {
        const auto elements = test::random_vector<T>(n * n, 3);
        for (const std::size_t at : {n / 2, n - 1})
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                matrix<T> a(n, n, elements);
                a.data[at * n + at / 2] = 1000;
                ASSERT_EQ(checked_scale(a), 1000) << n << ", " << threads;
                auto expected = a.data;
                for (std::size_t i = 0; i < n; ++i) {
                    for (std::size_t j = 0; j < i; ++j)
                        expected[i * n + j] /= 7.0;
                    expected[i * n + i] = real_part(expected[i * n + i]) / 7.0;
                }
                scale_lower(a, 7.0);
                EXPECT_EQ(a.data, expected) << n << ", " << threads;
                a.data[at * n] = std::numeric_limits<double>::quiet_NaN();
                EXPECT_THROW(checked_scale(a), numerical::non_finite_error);
            }
    }
}

} // namespace
