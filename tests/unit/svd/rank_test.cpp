#include "numerical/svd/rank.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::matrix_rank;
using numerical::non_finite_error;
using numerical::detail::count_above_threshold;
using test::matrix;

constexpr double eps = std::numeric_limits<double>::epsilon();

template <class T>
class numerical_rank : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(numerical_rank, element_types);

TYPED_TEST(numerical_rank, counts_what_is_above_the_threshold)
{
    EXPECT_EQ(matrix_rank(matrix<TypeParam>(0, 4, {})), 0U);
    EXPECT_EQ(matrix_rank(matrix<TypeParam>(3, 3, numerical::aligned_vector<TypeParam>(9))), 0U);
    for (const std::size_t rank : {1, 7, 40})
        for (const auto& [rows, cols] : {test::extents{40, 40}, {90, 40}, {40, 90}})
            EXPECT_EQ(matrix_rank(test::low_rank_matrix<TypeParam>(rows, cols, rank, 13)), rank);
}

TYPED_TEST(numerical_rank, value_exactly_at_the_threshold_does_not_count)
{
    // Powers of two, so that every step of the decomposition is exact.
    const double threshold = 4 * eps;
    for (const double factor : {1.0, 2.0}) {
        const auto a = test::filled<TypeParam>(4, 4, [=](std::size_t i, std::size_t j) {
            return i != j ? 0.0 : (i == 3 ? threshold * factor : 1.0);
        });
        EXPECT_EQ(matrix_rank(a), factor > 1 ? 4U : 3U);
    }
}

TYPED_TEST(numerical_rank, of_matrices_at_both_ends_of_the_range)
{
    const double big = 1.7e308; // orthogonal columns of length 2.4e308
    const double least = std::numeric_limits<double>::denorm_min();
    EXPECT_EQ(matrix_rank(matrix<TypeParam>(2, 2, {big, big, -big, big})), 2U);
    EXPECT_EQ(matrix_rank(matrix<TypeParam>(2, 2, {big, big, big, big})), 1U);
    EXPECT_EQ(matrix_rank(matrix<TypeParam>(2, 2, {least, 0, 0, 2 * least})), 2U);
}

TEST(complex_numerical_rank, of_an_entry_whose_modulus_overflows)
{
    EXPECT_EQ(matrix_rank(matrix<std::complex<double>>(1, 1, {{1.7e308, 1.7e308}})), 1U);
}

TYPED_TEST(numerical_rank, non_finite_entries_are_refused)
{
    const matrix<TypeParam> a(1, 2, {1, std::numeric_limits<double>::infinity()});
    EXPECT_EQ(test::text_thrown_by<non_finite_error>([&] { matrix_rank(a); }),
              "matrix_rank: the matrix holds an infinite or NaN entry");
}

TEST(count_above_threshold, is_strict)
{
    EXPECT_EQ(count_above_threshold({}, 0, 0), 0U);
    EXPECT_EQ(count_above_threshold({0, 0}, 2, 2), 0U);
    EXPECT_EQ(count_above_threshold({1, 3 * eps}, 3, 2), 1U);
    EXPECT_EQ(count_above_threshold({1, std::nextafter(3 * eps, 1)}, 3, 2), 2U);
    EXPECT_EQ(count_above_threshold({1, 3 * eps}, 2, 2), 2U);
}

} // namespace
