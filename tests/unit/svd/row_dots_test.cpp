#include "numerical/svd/row_dots.hpp"

#include "matrices.hpp"
#include "numerical/svd/column_sums.hpp"
#include "paths.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::add_column_sums_on;
using numerical::detail::add_row_dots_on;
using numerical::detail::ascending_row_dots_on;

template <class T>
class products_with_vectors : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(products_with_vectors, element_types);

constexpr double guard = 12345;

TYPED_TEST(products_with_vectors, row_dots_are_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 6; ++count)
            for (std::size_t n = 0; n <= 40; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::integer_vector<TypeParam>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::integer_vector<TypeParam>(n, 5);
                std::vector<TypeParam> w(count + 1, TypeParam(guard));
                auto expected = w;
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i] += rows[i * stride + j] * x[j];
                add_row_dots_on(path, w.data(), rows.data(), stride, count, x.data(), n);
                EXPECT_EQ(w, expected) << count << ", " << n << " on path " << path;
            }
}

TYPED_TEST(products_with_vectors, column_sums_are_exact_on_small_integers)
{
    constexpr std::size_t tile =
        numerical::detail::column_tile * sizeof(double) / sizeof(TypeParam);
    for (const int path : test::available_paths())
        for (const std::size_t count : {0, 1, 2, 17})
            for (std::size_t n = 0; n <= tile; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::integer_vector<TypeParam>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::integer_vector<TypeParam>(count, 5);
                std::vector<TypeParam> sums(n + 1, TypeParam(guard));
                auto expected = sums;
                for (std::size_t i = 0; i < count; ++i)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[j] += x[i] * rows[i * stride + j];
                add_column_sums_on(path, sums.data(), x.data(), rows.data(), stride, count, n);
                EXPECT_EQ(sums, expected) << count << ", " << n << " on path " << path;
            }
}

TEST(ascending_row_dots, have_the_bits_of_the_plain_loop)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count <= 25; ++count)
            for (std::size_t n = 0; n <= 9; ++n) {
                const std::size_t stride = n + 1;
                auto rows = test::random_vector<double>(count * stride, 4);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = std::numeric_limits<double>::quiet_NaN();
                const auto x = test::random_vector<double>(n, 5);
                std::vector<double> w(count + 1, guard);
                auto expected = w;
                for (std::size_t i = 0; i < count; ++i) {
                    expected[i] = 0;
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i] += rows[i * stride + j] * x[j];
                }
                ascending_row_dots_on(path, w.data(), rows.data(), stride, count, x.data(), n);
                EXPECT_EQ(w, expected) << count << ", " << n << " on path " << path;
            }
}

} // namespace
