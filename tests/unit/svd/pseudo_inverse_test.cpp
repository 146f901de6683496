#include "numerical/svd/pseudo_inverse.hpp"

#include "numerical/aligned_vector.hpp"
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
using numerical::pseudo_inverse;
using numerical::detail::adjoint;
using test::matrix;

// What both functions do.
template <class T>
class pseudo_inverses : public testing::Test
{
protected:
    using inverter = matrix<T> (*)(const matrix<T>&);
    static constexpr inverter both[] = {pinv<T>, pseudo_inverse<T>};
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(pseudo_inverses, element_types);

template <class T>
void expect_four_conditions(const matrix<T>& a, const matrix<T>& p)
{
    ASSERT_EQ(p.rows, a.cols);
    ASSERT_EQ(p.cols, a.rows);
    const auto ap = test::reference_product(a, p);
    const auto pa = test::reference_product(p, a);
    EXPECT_LT(test::difference_ratio(a, test::reference_product(ap, a)), 300);
    EXPECT_LT(test::difference_ratio(p, test::reference_product(pa, p)), 300);
    EXPECT_LT(test::largest_difference(ap, adjoint(ap)), 1e-11);
    EXPECT_LT(test::largest_difference(pa, adjoint(pa)), 1e-11);
}

TYPED_TEST(pseudo_inverses, meet_the_four_conditions)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : test::wide_and_tall_shapes)
            for (const auto& a : {test::random_matrix<TypeParam>(rows, cols, 11),
                                  test::low_rank_matrix<TypeParam>(rows, cols, 2, 12)}) {
                for (const auto invert : TestFixture::both)
                    expect_four_conditions(a, invert(a));
            }
    }
}

TYPED_TEST(pseudo_inverses, of_zero_are_zero)
{
    for (const auto invert : TestFixture::both) {
        const auto p = invert(matrix<TypeParam>(3, 2, numerical::aligned_vector<TypeParam>(6)));
        EXPECT_EQ(p.rows, 2U);
        EXPECT_EQ(p.cols, 3U);
        EXPECT_EQ(p.data, numerical::aligned_vector<TypeParam>(6));
        EXPECT_EQ(invert(matrix<TypeParam>(0, 3, {})).rows, 3U);
    }
}

TYPED_TEST(pseudo_inverses, of_matrices_whose_singular_values_overflow)
{
    const double big = 1.7e308; // orthogonal columns of length 2.4e308
    for (const auto invert : TestFixture::both)
        for (const TypeParam& element : invert(matrix<TypeParam>(2, 2, {big, big, -big, big})).data)
            EXPECT_NEAR(std::abs(element) * big, 0.5, 1e-13);
}

TYPED_TEST(pseudo_inverses, of_matrices_whose_reciprocals_overflow)
{
    // Both singular values are 2^-1024, whose reciprocal is beyond the range; A⁺ is not.
    const double tiny = 0x1p-1024 / std::sqrt(2.0);
    const double least = std::numeric_limits<double>::denorm_min();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const auto invert : TestFixture::both) {
        const matrix<TypeParam> a(2, 2, {tiny, tiny, -tiny, tiny});
        for (const TypeParam& element : invert(a).data)
            EXPECT_NEAR(std::abs(element) * tiny, 0.5, 1e-12);
        EXPECT_EQ(invert(matrix<TypeParam>(2, 2, {least, 0, 0, 2 * least})).data,
                  (numerical::aligned_vector<TypeParam>{infinity, 0, 0, infinity}));
    }
}

TEST(complex_pseudo_inverse, of_an_entry_whose_modulus_overflows)
{
    const std::complex<double> big(1.7e308, 1.7e308);
    const matrix<std::complex<double>> a(1, 1, {big});
    EXPECT_NEAR(std::abs(pinv(a).data[0] * big - 1.0), 0, 1e-14);
    EXPECT_NEAR(std::abs(pseudo_inverse(a).data[0] * big - 1.0), 0, 1e-14);
}

TYPED_TEST(pseudo_inverses, non_finite_entries_are_refused)
{
    const matrix<TypeParam> a(1, 2, {1, std::numeric_limits<double>::quiet_NaN()});
    for (const auto invert : TestFixture::both)
        EXPECT_EQ(test::text_thrown_by<non_finite_error>([&] { invert(a); }),
                  "pinv: the matrix holds an infinite or NaN entry");
}

// Conditions from which R is regular beyond doubt to those where a value counts as zero. A⁺ itself
// is only as certain as the condition allows, but no residual of it is worse for that.
TYPED_TEST(pseudo_inverses, of_ill_conditioned_matrices_leave_small_residuals)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {test::extents{40, 40}, {50, 20}, {20, 50}})
            for (const double decades : {2.0, 8.0, 11.0, 12.0, 13.0, 14.0, 17.0}) {
                const test::path_limit limit(path);
                const std::size_t k = std::min(rows, cols);
                const auto a = test::with_values<TypeParam>(rows, cols,
                                                            test::geometric_values(k, decades), 15);
                for (const auto invert : TestFixture::both) {
                    const auto p = invert(a);
                    const auto apa = test::reference_product(test::reference_product(a, p), a);
                    const double unit = double(rows) * test::eps * double(test::norm_inf(p));
                    EXPECT_LT(test::largest_difference(a, apa), 8 * unit) << rows << " " << decades;
                }
            }
}

TYPED_TEST(pseudo_inverses, of_a_matrix_next_to_one_of_lower_rank_have_its_rank)
{
    numerical::aligned_vector<double> values = test::geometric_values(20, 1);
    values.back() = 1e-17;
    for (const auto& [rows, cols] : {test::extents{20, 20}, {50, 20}, {20, 50}}) {
        const auto a = test::with_values<TypeParam>(rows, cols, values, 16);
        for (const auto invert : TestFixture::both) // 1 over the least value that counts
            EXPECT_LT(double(test::norm_inf(invert(a))), 50) << rows;
    }
}

TYPED_TEST(pseudo_inverses, bits_do_not_depend_on_the_number_of_threads)
{
    const auto a = test::random_matrix<TypeParam>(160, 150, 14);
    const auto deficient = test::low_rank_matrix<TypeParam>(160, 150, 90, 17);
    const auto inverse = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        auto found = pinv(a).data;
        for (const auto& each : {pseudo_inverse(a), pseudo_inverse(deficient)})
            found.insert(found.end(), each.data.begin(), each.data.end());
        return found;
    };
    const auto one = inverse(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(one, inverse(threads)) << threads;
}

} // namespace
