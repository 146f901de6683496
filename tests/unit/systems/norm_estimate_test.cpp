#include "numerical/aligned_vector.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include "matrices.hpp"
#include "ratios.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::matrix;
namespace detail = numerical::detail;

template <class T>
class norm_estimate : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(norm_estimate, element_types);

// By products with the matrix itself; counts them.
template <class T>
double estimated(const matrix<T>& a, int& products)
{
    const auto by = [&products](const matrix<T>& factor) {
        return [&factor, &products](detail::block_view<T> x) {
            ++products;
            numerical::aligned_vector<T> y(x.rows * x.cols);
            const detail::block_view<T> result{y.data(), x.rows, x.cols, x.cols};
            detail::add_product<T>(detail::view_of(factor), x, result);
            std::copy(y.begin(), y.end(), x.first);
        };
    };
    const matrix<T> adjoint = detail::adjoint(a);
    return numerical::estimate_one_norm<T>(a.rows, by(a), by(adjoint));
}

TYPED_TEST(norm_estimate, is_a_lower_bound_close_to_the_norm)
{
    for (const std::size_t n : {1UL, 2UL, 3UL, 4UL, 10UL, 50UL, 200UL})
        for (unsigned seed = 0; seed < 20; ++seed) {
            const auto a = test::random_matrix<TypeParam>(n, n, seed);
            int products = 0;
            const double norm = numerical::one_norm<TypeParam>(detail::view_of(a));
            const double found = estimated(a, products);
            EXPECT_LE(found, norm * (1 + double(n) * test::eps)) << n;
            EXPECT_GE(found, norm / 3) << n;
            EXPECT_LE(products, 12) << n;
        }
}

TYPED_TEST(norm_estimate, finds_the_one_large_column)
{
    const std::size_t n = 40;
    for (const std::size_t place : {0UL, 7UL, 39UL}) {
        matrix<TypeParam> a(n, n, numerical::aligned_vector<TypeParam>(n * n));
        for (std::size_t i = 0; i < n; ++i) {
            a.data[i * n + i] = 1;
            a.data[i * n + place] += i % 3 == 0 ? -5.0 : 4.0;
        }
        int products = 0;
        EXPECT_DOUBLE_EQ(estimated(a, products),
                         numerical::one_norm<TypeParam>(detail::view_of(a)));
    }
}

TYPED_TEST(norm_estimate, is_infinite_or_nan_where_products_are)
{
    const double inf = std::numeric_limits<double>::infinity();
    matrix<TypeParam> a(2, 2, {inf, 0, 0, 1});
    int products = 0;
    EXPECT_FALSE(std::isfinite(estimated(a, products)));
}

TYPED_TEST(norm_estimate, of_nothing_is_zero)
{
    int products = 0;
    EXPECT_EQ(estimated(matrix<TypeParam>(0, 0, {}), products), 0);
    EXPECT_EQ(products, 0);
}

TEST(reciprocal_condition, is_zero_where_a_norm_tells_nothing)
{
    using numerical::reciprocal_condition;
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(reciprocal_condition(0, 0, 0), 1);
    EXPECT_EQ(reciprocal_condition(3, 0, 1), 0);
    EXPECT_EQ(reciprocal_condition(3, 1, inf), 0);
    EXPECT_EQ(reciprocal_condition(3, inf, 1), 0);
    EXPECT_EQ(reciprocal_condition(3, 1, std::nan("")), 0);
    EXPECT_EQ(reciprocal_condition(3, 2, 4), 0.125);
    EXPECT_EQ(reciprocal_condition(3, 0x1p-1000, 0x1p1000), 1);
}

} // namespace
