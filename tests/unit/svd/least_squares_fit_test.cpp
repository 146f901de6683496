#include "numerical/svd/least_squares_fit.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/svd/least_squares.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/values_only.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::fit_least_squares;
using numerical::least_squares_fit;
using test::matrix;

constexpr double eps = std::numeric_limits<double>::epsilon();

template <class T>
class least_squares_fits : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(least_squares_fits, element_types);

template <class T>
double default_cutoff(const matrix<T>& a)
{
    return double(std::max(a.rows, a.cols)) * eps;
}

// The singular values, whichever way the fit tells them.
template <class T>
numerical::aligned_vector<double> values_of(const least_squares_fit<T>& fit)
{
    if (!fit.values.empty())
        return fit.values;
    numerical::aligned_vector<double> values = numerical::singular_values_only(fit.triangle);
    for (double& value : values)
        value *= fit.scale;
    return values;
}

// The largest distance of the values from those of A in units of √n·‖A‖·ε.
template <class T>
double values_ratio(const least_squares_fit<T>& fit, const matrix<T>& a)
{
    const auto found = values_of(fit);
    const auto expected = numerical::singular_values_only(a);
    EXPECT_EQ(found.size(), expected.size());
    double largest = 0;
    for (std::size_t i = 0; i < found.size(); ++i)
        largest = test::worse(largest, std::abs(found[i] - expected[i]));
    return found.empty() || expected[0] == 0
               ? largest
               : largest / (std::sqrt(double(found.size())) * expected[0] * eps);
}

// ‖(A·X - B)ⱼ‖² for each column, in wider precision.
template <class T>
std::vector<long double> squared_residuals(const matrix<T>& a, const matrix<T>& x,
                                           const matrix<T>& b)
{
    const auto product =
        test::wide_product(a, std::vector<test::wide<T>>(x.data.begin(), x.data.end()));
    std::vector<long double> squares(b.cols);
    for (std::size_t i = 0; i < b.data.size(); ++i)
        squares[i % b.cols] += std::norm(product[i] - test::wide<T>(b.data[i]));
    return squares;
}

TYPED_TEST(least_squares_fits, of_full_rank_take_no_singular_values)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : test::wide_and_tall_shapes) {
            const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
            const auto b = test::random_matrix<TypeParam>(rows, 3, 2);
            const auto fit = fit_least_squares(a, b, default_cutoff(a));
            EXPECT_TRUE(fit.values.empty());
            EXPECT_LT(values_ratio(fit, a), 20) << rows << " x " << cols;
        }
    }
}

TYPED_TEST(least_squares_fits, of_deficient_rank_have_least_norm)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : {test::extents{6, 6}, {50, 20}, {20, 50}, {140, 140}}) {
            const auto a = test::low_rank_matrix<TypeParam>(rows, cols, 4, 3);
            const auto b = test::random_matrix<TypeParam>(rows, 3, 4);
            const auto fit = fit_least_squares(a, b, default_cutoff(a));
            ASSERT_EQ(fit.values.size(), std::min(rows, cols));
            const auto expected = test::reference_product(numerical::pinv(a), b);
            EXPECT_LT(test::difference_ratio(expected, fit.x), 100) << rows << " x " << cols;
            EXPECT_LT(values_ratio(fit, a), 20) << rows << " x " << cols;
        }
    }
}

TYPED_TEST(least_squares_fits, tell_what_the_solution_misses)
{
    for (const auto& [rows, cols] : {test::extents{5, 5}, {60, 30}, {200, 3}, {30, 60}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 5);
        const auto b = test::random_matrix<TypeParam>(rows, 3, 6);
        const auto fit = fit_least_squares(a, b, default_cutoff(a));
        if (rows < cols) {
            EXPECT_TRUE(fit.missed.empty());
            continue;
        }
        const auto expected = squared_residuals(a, fit.x, b);
        ASSERT_EQ(fit.missed.size(), 3U);
        for (std::size_t j = 0; j < 3; ++j)
            EXPECT_NEAR(fit.missed[j], double(expected[j]), double(rows) * 100 * eps);
    }
}

TYPED_TEST(least_squares_fits, leave_out_values_up_to_the_cutoff)
{
    matrix<TypeParam> a(4, 3, numerical::aligned_vector<TypeParam>(12));
    a.data[0] = 8;
    a.data[4] = 2;
    a.data[8] = 1;
    const matrix<TypeParam> b(4, 1, {8, 2, 1, 5});
    const auto rank_of = [&](double cutoff) {
        const auto fit = fit_least_squares(a, b, cutoff);
        double sum = 0;
        for (const TypeParam& x : fit.x.data)
            sum += std::abs(x);
        return sum;
    };
    EXPECT_DOUBLE_EQ(rank_of(0.1), 3);
    EXPECT_DOUBLE_EQ(rank_of(0.2), 2);
    EXPECT_DOUBLE_EQ(rank_of(0.5), 1);
    EXPECT_DOUBLE_EQ(rank_of(2.0), 0);
}

TYPED_TEST(least_squares_fits, of_zero_and_empty_matrices_are_zero)
{
    for (const auto& [rows, cols] : {test::extents{3, 2}, {2, 3}, {0, 2}, {2, 0}, {0, 0}}) {
        const matrix<TypeParam> a(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols));
        const matrix<TypeParam> b(rows, 2,
                                  numerical::aligned_vector<TypeParam>(rows * 2, TypeParam(2)));
        const auto fit = fit_least_squares(a, b, eps);
        EXPECT_EQ(fit.x.data, numerical::aligned_vector<TypeParam>(cols * 2));
        EXPECT_EQ(values_of(fit), numerical::aligned_vector<double>(std::min(rows, cols), 0.0));
        if (cols == 0) {
            EXPECT_EQ(fit.missed, numerical::aligned_vector<double>(2, 4.0 * double(rows)));
        }
    }
}

TYPED_TEST(least_squares_fits, keep_their_digits_at_both_ends_of_the_range)
{
    const auto a = test::random_matrix<TypeParam>(30, 12, 7);
    const auto b = test::random_matrix<TypeParam>(30, 2, 8);
    const auto plain = fit_least_squares(a, b, default_cutoff(a));
    for (const int exponent : {-990, 990}) {
        auto scaled = a;
        for (TypeParam& x : scaled.data)
            x *= std::ldexp(1.0, exponent);
        const auto fit = fit_least_squares(scaled, b, default_cutoff(a));
        EXPECT_EQ(fit.triangle.data, plain.triangle.data);
        EXPECT_EQ(fit.missed, plain.missed);
        EXPECT_EQ(fit.scale, std::ldexp(plain.scale, exponent));
        for (std::size_t i = 0; i < fit.x.data.size(); ++i)
            EXPECT_EQ(fit.x.data[i] * std::ldexp(1.0, exponent), plain.x.data[i]);
    }
}

TYPED_TEST(least_squares_fits, name_what_is_wrong_with_the_operands)
{
    const auto a = test::random_matrix<TypeParam>(4, 2, 9);
    const auto b = test::random_matrix<TypeParam>(3, 1, 9);
    EXPECT_EQ(
        test::text_thrown_by<numerical::dimension_error>([&] { fit_least_squares(a, b, eps); }),
        "lstsq: right-hand side size differs from the matrix");
    auto bad = a;
    bad.data[3] = std::numeric_limits<double>::infinity();
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(
                  [&] { fit_least_squares(bad, test::random_matrix<TypeParam>(4, 1, 9), eps); }),
              "lstsq: the matrix holds an infinite or NaN entry");
}

TYPED_TEST(least_squares_fits, bits_do_not_depend_on_the_number_of_threads)
{
    for (const bool deficient : {false, true}) {
        const auto a = deficient ? test::low_rank_matrix<TypeParam>(220, 160, 40, 10)
                                 : test::random_matrix<TypeParam>(220, 160, 10);
        const auto b = test::random_matrix<TypeParam>(220, 3, 11);
        const auto one = [&] {
            const test::thread_limit limit(1);
            return fit_least_squares(a, b, default_cutoff(a));
        }();
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            const auto many = fit_least_squares(a, b, default_cutoff(a));
            EXPECT_EQ(many.x.data, one.x.data);
            EXPECT_EQ(many.missed, one.missed);
            EXPECT_EQ(many.values, one.values);
            EXPECT_EQ(many.triangle.data, one.triangle.data);
        }
    }
}

} // namespace
