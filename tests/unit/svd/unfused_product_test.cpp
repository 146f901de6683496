#include "numerical/svd/unfused_product.hpp"

#include "matrices.hpp"
#include "numerical/svd/column_sums.hpp"
#include "numerical/svd/row_dots.hpp"
#include "paths.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::add_column_sums_on;
using numerical::detail::add_row_dots_on;
using numerical::detail::ascending_row_dots_on;
using numerical::detail::conjugate;
using numerical::detail::unfused_product;
using numerical::detail::unfused_product_with_adjoint;

template <class T>
class unfused_products : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(unfused_products, element_types);

constexpr double guard = 12345;

// A rows × cols block inside an array of NaN, rows two elements further apart.
template <class T>
std::vector<T> in_nan(const std::vector<T>& block, std::size_t rows, std::size_t cols)
{
    std::vector<T> out(rows * (cols + 2), T(std::numeric_limits<double>::quiet_NaN()));
    for (std::size_t i = 0; i < rows; ++i)
        std::copy_n(block.data() + i * cols, cols, out.data() + i * (cols + 2));
    return out;
}

TYPED_TEST(unfused_products, has_the_bits_of_the_plain_loop_at_every_remainder)
{
    struct sizes
    {
        std::size_t m;
        std::size_t n;
        std::size_t k;
    };

    std::vector<sizes> tried{{0, 3, 2},     {3, 0, 2},   {3, 2, 0},
                             {70, 19, 300}, {5, 9, 257}, {530, 5, 3}};
    for (std::size_t m = 1; m <= 18; ++m)
        for (std::size_t n = 1; n <= 17; ++n)
            tried.push_back({m, n, 5});
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [m, n, k] : tried) {
            const auto a = test::random_vector<TypeParam>(m * k, 1);
            const auto b = test::random_vector<TypeParam>(k * n, 2);
            std::vector<TypeParam> adjoint_b(n * k);
            for (std::size_t p = 0; p < k; ++p)
                for (std::size_t j = 0; j < n; ++j)
                    adjoint_b[j * k + p] = conjugate(b[p * n + j]);
            std::vector<TypeParam> expected(m * n);
            for (std::size_t i = 0; i < m; ++i)
                for (std::size_t p = 0; p < k; ++p)
                    for (std::size_t j = 0; j < n; ++j)
                        expected[i * n + j] += a[i * k + p] * b[p * n + j];

            const auto left = in_nan(a, m, k);
            const auto right = in_nan(b, k, n);
            const auto adjoint = in_nan(adjoint_b, n, k);
            EXPECT_EQ(
                unfused_product<TypeParam>({left.data(), m, k, k + 2}, {right.data(), k, n, n + 2}),
                expected)
                << m << ", " << n << ", " << k << " on path " << path;
            EXPECT_EQ(unfused_product_with_adjoint<TypeParam>({left.data(), m, k, k + 2},
                                                              {adjoint.data(), n, k, k + 2}),
                      expected)
                << m << ", " << n << ", " << k << " on path " << path;
        }
    }
}

TEST(complex_unfused_product, recovers_infinities)
{
    using complex = std::complex<double>;
    const double infinity = std::numeric_limits<double>::infinity();
    const complex a(infinity, 1);
    const complex b(1, 1);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const complex c = unfused_product<complex>({&a, 1, 1, 1}, {&b, 1, 1, 1}).at(0);
        const complex full = a * b;
        EXPECT_EQ(c.real(), full.real());
        EXPECT_EQ(c.imag(), full.imag());
    }
}

TYPED_TEST(unfused_products, row_dots_are_exact_on_small_integers)
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

TYPED_TEST(unfused_products, column_sums_are_exact_on_small_integers)
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

TEST(real_unfused_product, ascending_row_dots_have_the_bits_of_the_plain_loop)
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
