#include "numerical/svd/values_only.hpp"

#include "numerical/errors.hpp"
#include "numerical/svd/rank.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"
#include "value_oracles.hpp"

#include <complex>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::matrix;
using numerical::singular_values_only;
using test::text_thrown_by;

constexpr double accepted = 10; // times ε·√n·‖A‖

template <class T>
class values_only : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(values_only, element_types);

TYPED_TEST(values_only, agree_with_jacobi_in_wider_precision)
{
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 4, 8, 9, 17, 31})
            for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n)) {
                const auto values = singular_values_only(a);
                ASSERT_EQ(values.size(), n);
                EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
                const double ratio = test::value_ratio(values, test::jacobi_singular_values(a));
                EXPECT_LT(ratio, accepted) << name << ", n = " << n << ", path " << path;
                largest = test::worse(largest, ratio);
            }
    }
    std::printf("largest distance %.2f\n", largest);
}

TYPED_TEST(values_only, of_any_shape_agree_with_jacobi_in_wider_precision)
{
    struct extents
    {
        std::size_t rows;
        std::size_t cols;
    };

    for (const auto& [rows, cols] :
         {extents{1, 7}, {7, 1}, {5, 4}, {4, 5}, {40, 12}, {12, 40}, {35, 34}, {90, 33}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 3);
        const auto values = singular_values_only(a);
        ASSERT_EQ(values.size(), std::min(rows, cols));
        EXPECT_LT(test::value_ratio(values, test::jacobi_singular_values(a)), accepted)
            << rows << " x " << cols;
    }
}

TYPED_TEST(values_only, agree_with_those_of_the_decomposition)
{
    double largest = 0;
    for (const std::size_t n : {64, 65, 127, 128, 129, 200})
        for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n)) {
            const numerical::svd_decomposition<TypeParam> full(
                a, numerical::svd_method::divide_and_conquer);
            const double ratio = test::value_ratio(singular_values_only(a), full.values);
            EXPECT_LT(ratio, accepted) << name << ", n = " << n;
            largest = test::worse(largest, ratio);
        }
    std::printf("largest distance %.2f\n", largest);
}

TYPED_TEST(values_only, of_empty_matrices_are_none)
{
    EXPECT_TRUE(singular_values_only(matrix<TypeParam>(0, 0, {})).empty());
    EXPECT_TRUE(singular_values_only(matrix<TypeParam>(5, 0, {})).empty());
    EXPECT_TRUE(singular_values_only(matrix<TypeParam>(0, 5, {})).empty());
}

TYPED_TEST(values_only, count_the_rank)
{
    for (const std::size_t rank : {0, 1, 7, 20})
        for (const double factor : {1.0, 1e300, 1e-300}) {
            auto a = test::low_rank_matrix<TypeParam>(30, 20, rank, 5);
            a = test::scaled(std::move(a), factor);
            EXPECT_EQ(numerical::rank_by_values(a), rank) << factor;
            EXPECT_EQ(numerical::rank_by_values(a), numerical::matrix_rank(a));
        }
    EXPECT_EQ(numerical::rank_by_values(matrix<TypeParam>(0, 4, {})), 0U);
}

TYPED_TEST(values_only, name_what_is_not_finite)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        auto a = test::random_matrix<TypeParam>(3, 2, 1);
        a.data[5] = TypeParam(bad);
        EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] { singular_values_only(a); }),
                  "SVD: the matrix holds an infinite or NaN entry");
        EXPECT_EQ(
            text_thrown_by<numerical::non_finite_error>([&] { numerical::rank_by_values(a); }),
            "matrix_rank: the matrix holds an infinite or NaN entry");
    }
}

} // namespace
