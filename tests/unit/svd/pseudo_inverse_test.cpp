#include "numerical/svd/pseudo_inverse.hpp"

#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::non_finite_error;
using numerical::pinv;
using numerical::detail::adjoint;
using test::matrix;

template <class T>
class pseudo_inverse : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(pseudo_inverse, element_types);

TYPED_TEST(pseudo_inverse, meets_the_four_conditions)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : test::wide_and_tall_shapes)
            for (const auto& a : {test::random_matrix<TypeParam>(rows, cols, 11),
                                  test::low_rank_matrix<TypeParam>(rows, cols, 2, 12)}) {
                const auto p = pinv(a);
                ASSERT_EQ(p.rows, cols);
                ASSERT_EQ(p.cols, rows);
                const auto ap = test::reference_product(a, p);
                const auto pa = test::reference_product(p, a);
                EXPECT_LT(test::difference_ratio(a, test::reference_product(ap, a)), 300);
                EXPECT_LT(test::difference_ratio(p, test::reference_product(pa, p)), 300);
                EXPECT_LT(test::largest_difference(ap, adjoint(ap)), 1e-11);
                EXPECT_LT(test::largest_difference(pa, adjoint(pa)), 1e-11);
            }
    }
}

TYPED_TEST(pseudo_inverse, of_zero_is_zero)
{
    const auto p = pinv(matrix<TypeParam>(3, 2, std::vector<TypeParam>(6)));
    EXPECT_EQ(p.rows, 2U);
    EXPECT_EQ(p.cols, 3U);
    EXPECT_EQ(p.data, std::vector<TypeParam>(6));
    EXPECT_EQ(pinv(matrix<TypeParam>(0, 3, {})).rows, 3U);
}

TYPED_TEST(pseudo_inverse, of_matrices_whose_singular_values_overflow)
{
    const double big = 1.7e308; // orthogonal columns of length 2.4e308
    for (const TypeParam& element : pinv(matrix<TypeParam>(2, 2, {big, big, -big, big})).data)
        EXPECT_NEAR(std::abs(element) * big, 0.5, 1e-13);
}

TYPED_TEST(pseudo_inverse, of_matrices_whose_reciprocals_overflow)
{
    // Both singular values are 2^-1024, whose reciprocal is beyond the range; A⁺ is not.
    const double tiny = 0x1p-1024 / std::sqrt(2.0);
    for (const TypeParam& element : pinv(matrix<TypeParam>(2, 2, {tiny, tiny, -tiny, tiny})).data)
        EXPECT_NEAR(std::abs(element) * tiny, 0.5, 1e-12);
    const double least = std::numeric_limits<double>::denorm_min();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(pinv(matrix<TypeParam>(2, 2, {least, 0, 0, 2 * least})).data,
              (std::vector<TypeParam>{infinity, 0, 0, infinity}));
}

TEST(complex_pseudo_inverse, of_an_entry_whose_modulus_overflows)
{
    const std::complex<double> big(1.7e308, 1.7e308);
    const matrix<std::complex<double>> a(1, 1, {big});
    EXPECT_NEAR(std::abs(pinv(a).data[0] * big - 1.0), 0, 1e-14);
}

TYPED_TEST(pseudo_inverse, non_finite_entries_are_refused)
{
    const matrix<TypeParam> a(1, 2, {1, std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(test::text_thrown_by<non_finite_error>([&] { pinv(a); }),
              "pinv: the matrix holds an infinite or NaN entry");
}

TYPED_TEST(pseudo_inverse, bits_do_not_depend_on_the_number_of_threads)
{
    const auto a = test::random_matrix<TypeParam>(160, 150, 14);
    const auto inverse = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        return pinv(a).data;
    };
    const auto one = inverse(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(one, inverse(threads)) << threads;
}

} // namespace
