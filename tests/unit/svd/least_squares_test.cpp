#include "numerical/svd/least_squares.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/tall_factors.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::dimension_error;
using numerical::lstsq;
using numerical::non_finite_error;
using numerical::vector;
using numerical::detail::adjoint;
using test::matrix;

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <class T>
matrix<T> difference(matrix<T> a, const matrix<T>& b)
{
    for (std::size_t i = 0; i < a.data.size(); ++i)
        a.data[i] -= b.data[i];
    return a;
}

template <class T>
bool goes_by_qr(const matrix<T>& a)
{
    const double largest = numerical::detail::largest_part(a.data);
    if (largest == 0)
        return false;
    const numerical::detail::tall_factors<T> factors(numerical::detail::view_of(a), largest);
    return numerical::detail::is_clearly_regular(factors.condition(), factors.rows);
}

// ‖A·X - B‖ / (max(m, n)·‖A‖·‖X‖·ε), residual in wider precision: small for every backward stable
// solution of a consistent system, however ill-conditioned.
template <class T>
double residual_ratio(const matrix<T>& a, const matrix<T>& x, const matrix<T>& b)
{
    const std::vector<test::wide<T>> wide_x(x.data.begin(), x.data.end());
    const std::vector<test::wide<T>> wide_b(b.data.begin(), b.data.end());
    const long double error = test::largest_difference<T>(test::wide_product(a, wide_x), wide_b);
    const long double scale = test::norm_inf(a) * test::norm_inf(x) * eps;
    return static_cast<double>(error / (scale * double(std::max(a.rows, a.cols))));
}

template <class T>
class least_squares : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(least_squares, element_types);

// x minimises |a·x - b| if the residual is orthogonal to the columns of a, and has the least norm
// if it lies in the span of the rows, that is a⁺·a·x = x.
template <class T>
void expect_least_squares(const matrix<T>& a, const matrix<T>& b, const matrix<T>& x)
{
    ASSERT_EQ(x.rows, a.cols);
    ASSERT_EQ(x.cols, b.cols);
    const auto residual = difference(test::reference_product(a, x), b);
    const auto normal = test::reference_product(adjoint(a), residual);
    EXPECT_LT(
        test::largest_difference(
            normal, matrix<T>(a.cols, b.cols, numerical::aligned_vector<T>(normal.data.size()))),
        1e-11);
    const auto projected = test::reference_product(pinv(a), test::reference_product(a, x));
    EXPECT_LT(test::largest_difference(projected, x), 1e-10);
}

TYPED_TEST(least_squares, of_full_rank_go_by_qr)
{
    for (const auto& [rows, cols] : test::wide_and_tall_shapes) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
        const auto b = test::random_matrix<TypeParam>(rows, 3, 2);
        ASSERT_TRUE(goes_by_qr(a)) << rows << " x " << cols;
        expect_least_squares(a, b, lstsq(a, b));
    }
}

TYPED_TEST(least_squares, of_deficient_rank_have_least_norm)
{
    for (const auto& [rows, cols] : {test::extents{6, 6}, {50, 20}, {20, 50}, {140, 140}}) {
        const auto a = test::low_rank_matrix<TypeParam>(rows, cols, 4, 3);
        const auto b = test::random_matrix<TypeParam>(rows, 3, 4);
        EXPECT_FALSE(goes_by_qr(a));
        expect_least_squares(a, b, lstsq(a, b));
    }
}

// Of rank 4 in units of max(m, n)·ε: what A·X leaves of a consistent B over ‖A‖·‖X‖, and the error
// of X over ‖X‖ and the condition, at orders about the leaves and blocks of the bidiagonal form.
TYPED_TEST(least_squares, of_deficient_rank_are_stable_at_every_order_of_the_method)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {test::extents{5, 5},
                                         {32, 32},
                                         {33, 33},
                                         {34, 33},
                                         {129, 127},
                                         {127, 129},
                                         {300, 128}}) {
            const test::path_limit limit(path);
            const auto a = test::low_rank_matrix<TypeParam>(rows, cols, 4, 3);
            const auto along = test::random_matrix<TypeParam>(rows, 2, 4);
            const auto of_rows = test::reference_product(adjoint(a), along);
            const auto b = test::reference_product(a, of_rows);
            const auto x = lstsq(a, b);
            EXPECT_LT(residual_ratio(a, x, b), 1) << rows << " x " << cols;
            const double unit =
                double(std::max(rows, cols)) * eps * double(test::norm_inf(of_rows));
            const auto values = numerical::singular_values(a);
            EXPECT_LT(test::largest_difference(x, of_rows) / (unit * values[0] / values[3]), 2)
                << rows << " x " << cols;
        }
}

TYPED_TEST(least_squares, without_right_sides_have_no_columns)
{
    const matrix<TypeParam> none(6, 0, {});
    for (const auto& a :
         {test::random_matrix<TypeParam>(6, 4, 1), test::low_rank_matrix<TypeParam>(6, 4, 2, 1)}) {
        EXPECT_EQ(lstsq(a, none).rows, 4u);
        EXPECT_EQ(lstsq(a, none).cols, 0u);
    }
}

TYPED_TEST(least_squares, of_a_zero_or_empty_matrix_are_zero)
{
    for (const auto& [rows, cols] : {test::extents{3, 2}, {2, 3}, {0, 2}, {2, 0}, {0, 0}}) {
        const matrix<TypeParam> a(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols));
        const auto b = test::random_matrix<TypeParam>(rows, 4, 5);
        EXPECT_FALSE(goes_by_qr(a));
        const auto x = lstsq(a, b);
        EXPECT_EQ(x.rows, cols);
        EXPECT_EQ(x.data, numerical::aligned_vector<TypeParam>(cols * 4));
    }
}

TYPED_TEST(least_squares, keep_their_digits_at_both_ends_of_the_range)
{
    for (const auto& [rows, cols] : {test::extents{20, 20}, {30, 12}, {12, 30}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 6);
        const auto b = test::random_matrix<TypeParam>(rows, 2, 7);
        const auto plain = lstsq(a, b);
        for (const int exponent : {-990, 990}) {
            auto scaled = a;
            for (TypeParam& x : scaled.data)
                x *= std::ldexp(1.0, exponent);
            ASSERT_TRUE(goes_by_qr(scaled));
            auto x = lstsq(scaled, b);
            for (TypeParam& element : x.data)
                element *= std::ldexp(1.0, exponent);
            EXPECT_EQ(x.data, plain.data);
        }
    }
}

// Clearly of full rank, but conditions of 10⁸ to 10¹⁰.
template <class T>
std::vector<matrix<T>> ill_conditioned_matrices()
{
    const auto vandermonde = test::filled<T>(60, 12, [](std::size_t i, std::size_t j) {
        return std::pow(double(i) / 59, 11 - double(j));
    });
    const auto two_above_one = test::filled<T>(30, 30, [](std::size_t i, std::size_t j) {
        return i == j ? 1.0 : j == i + 1 ? 2.0 : 0.0;
    });
    const auto minus_one_above_one = test::filled<T>(30, 30, [](std::size_t i, std::size_t j) {
        return i == j ? 1.0 : i < j ? -1.0 : 0.0;
    });
    return {vandermonde, two_above_one, minus_one_above_one, adjoint(vandermonde)};
}

TYPED_TEST(least_squares, leave_residuals_of_rounding_size_in_ill_conditioned_systems)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& a : ill_conditioned_matrices<TypeParam>()) {
            const auto b = test::reference_product(a, test::random_matrix<TypeParam>(a.cols, 2, 8));
            ASSERT_TRUE(goes_by_qr(a));
            EXPECT_LT(residual_ratio(a, lstsq(a, b), b), 1) << a.rows << " x " << a.cols;
        }
    }
}

TYPED_TEST(least_squares, keep_the_digits_of_right_sides_at_both_ends_of_the_range)
{
    const auto regular = test::random_matrix<TypeParam>(20, 8, 6);
    const auto deficient = test::low_rank_matrix<TypeParam>(20, 8, 3, 6);
    for (const auto& a : {regular, adjoint(regular), deficient})
        for (const int exponent : {-1060, 1022}) {
            auto scaled = a; // so that the solution is of the order of 1
            for (TypeParam& x : scaled.data)
                x *= std::ldexp(1.0, exponent / 2);
            auto b = test::random_matrix<TypeParam>(a.rows, 2, 7);
            for (TypeParam& x : b.data) // few bits, which subnormal numbers can hold
                x = numerical::detail::scaled_by_power(x, exponent);
            auto plain_b = b;
            for (TypeParam& x : plain_b.data)
                x = numerical::detail::scaled_by_power(x, -exponent);
            auto plain = lstsq(a, plain_b);
            for (TypeParam& x : plain.data)
                x = numerical::detail::scaled_by_power(x, exponent - exponent / 2);
            EXPECT_EQ(lstsq(scaled, b).data, plain.data) << a.rows << ", 2^" << exponent;
        }
}

TYPED_TEST(least_squares, do_not_overflow_with_sums_of_right_sides)
{
    const double big = 1e308;
    const matrix<TypeParam> ones(2, 1, {1, 1});
    EXPECT_NEAR(std::abs(lstsq(ones, matrix<TypeParam>(2, 1, {big, big})).data[0]) / big, 1, 1e-15);
    const matrix<TypeParam> deficient(4, 2, numerical::aligned_vector<TypeParam>(8, 1));
    const auto x =
        lstsq(deficient, matrix<TypeParam>(4, 1, numerical::aligned_vector<TypeParam>(4, big)));
    for (const TypeParam& element : x.data)
        EXPECT_NEAR(std::abs(element) / big, 0.5, 1e-15);
}

// Otherwise one at one end of the range would cost the others their digits.
TYPED_TEST(least_squares, treat_each_right_side_by_itself)
{
    const auto a = test::random_matrix<TypeParam>(9, 4, 8);
    const auto plain_b = test::random_matrix<TypeParam>(9, 3, 9);
    const int exponents[] = {1022, 0, -1000};
    auto b = plain_b;
    for (std::size_t i = 0; i < b.data.size(); ++i)
        b.data[i] = numerical::detail::scaled_by_power(b.data[i], exponents[i % 3]);
    const auto x = lstsq(a, b);
    const auto plain = lstsq(a, plain_b);
    for (std::size_t i = 0; i < x.data.size(); ++i)
        EXPECT_EQ(x.data[i], numerical::detail::scaled_by_power(plain.data[i], exponents[i % 3]));
}

TYPED_TEST(least_squares, of_matrices_whose_singular_values_overflow)
{
    const double big = 1.7e308; // orthogonal columns of length 2.4e308
    const matrix<TypeParam> a(2, 2, {big, big, -big, big});
    const auto of_full_rank = lstsq(a, matrix<TypeParam>(2, 1, {8.0, 4.0}));
    EXPECT_NEAR(std::real(of_full_rank.data[0]) * big, 2, 1e-13);
    EXPECT_NEAR(std::real(of_full_rank.data[1]) * big, 6, 1e-13);
    const matrix<TypeParam> deficient(2, 2, {big, big, big, big});
    const auto x = lstsq(deficient, matrix<TypeParam>(2, 1, {4.0, 8.0}));
    EXPECT_NEAR(std::real(x.data[0]) * big, 3, 1e-13);
    EXPECT_NEAR(std::real(x.data[1]) * big, 3, 1e-13);
}

TYPED_TEST(least_squares, of_matrices_whose_reciprocals_overflow)
{
    const double least = std::numeric_limits<double>::denorm_min();
    const matrix<TypeParam> diagonal(2, 2, {least, 0, 0, 2 * least});
    const auto x = lstsq(diagonal, matrix<TypeParam>(2, 1, {6 * least, 6 * least}));
    EXPECT_EQ(x.data, (numerical::aligned_vector<TypeParam>{6, 3}));
}

TEST(complex_least_squares, of_entries_whose_modulus_overflows)
{
    const std::complex<double> big(1.7e308, 1.7e308);
    const matrix<std::complex<double>> a(1, 1, {big});
    const matrix<std::complex<double>> b(1, 1, {1e10});
    EXPECT_NEAR(std::abs(lstsq(a, b).data[0] * (big / 1e10) - 1.0), 0, 1e-14);
}

TYPED_TEST(least_squares, of_one_vector_are_those_of_one_column)
{
    const auto a = test::random_matrix<TypeParam>(9, 4, 8);
    const auto b = test::random_vector<TypeParam>(9, 9);
    EXPECT_EQ(lstsq(a, vector<TypeParam>{b}).data, lstsq(a, matrix<TypeParam>(9, 1, b)).data);
}

TYPED_TEST(least_squares, check_sizes_before_finiteness)
{
    matrix<TypeParam> a = test::random_matrix<TypeParam>(3, 2, 10);
    a.data[0] = nan;
    EXPECT_EQ(test::text_thrown_by<dimension_error>(
                  [&] { lstsq(a, vector<TypeParam>{numerical::aligned_vector<TypeParam>(2)}); }),
              "lstsq: right-hand side size differs from the matrix");
    EXPECT_EQ(test::text_thrown_by<non_finite_error>(
                  [&] { lstsq(a, vector<TypeParam>{numerical::aligned_vector<TypeParam>(3)}); }),
              "lstsq: the matrix holds an infinite or NaN entry");
}

TYPED_TEST(least_squares, let_non_finite_right_sides_through)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const matrix<TypeParam> deficient(2, 2, {1, 1, 1, 1});
    const matrix<TypeParam> b(2, 2, {1, infinity, 1, 1});
    const auto x = lstsq(deficient, b);
    EXPECT_NEAR(std::abs(x.data[0]), 0.5, 1e-15);
    EXPECT_FALSE(std::isfinite(std::abs(x.data[1])));
}

TYPED_TEST(least_squares, bits_do_not_depend_on_the_number_of_threads)
{
    const auto a = test::random_matrix<TypeParam>(160, 150, 14);
    const auto deficient = test::low_rank_matrix<TypeParam>(160, 150, 20, 15);
    const auto b = test::random_matrix<TypeParam>(160, 5, 16);
    const auto all = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        return std::vector<numerical::aligned_vector<TypeParam>>{lstsq(a, b).data,
                                                                 lstsq(deficient, b).data};
    };
    const auto one = all(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(one, all(threads)) << threads;
}

TEST(least_squares_by_qr, stand_only_below_the_condition_that_rounding_leaves)
{
    // Diagonal, so that the estimate is known: (1 + s²)^(1/2)·(1 + 1/s²)^(1/2), near 1/s.
    const auto declines = [](double s) { return !goes_by_qr(matrix<double>(2, 2, {1, 0, 0, s})); };
    const double least = 200 * eps;
    EXPECT_TRUE(declines(least));
    EXPECT_TRUE(declines(least * 0.999));
    EXPECT_FALSE(declines(least * 1.001));
}

// Conditions on both sides of the limit, of orders on both sides of the estimate's.
TYPED_TEST(least_squares, decides_by_the_estimate_as_by_the_inverse)
{
    constexpr std::size_t least = numerical::detail::least_estimated_order;
    for (const std::size_t order : {least - 1, least, least + 1, 2 * least})
        for (const double decades : {0.0, 4.0, 8.0, 9.0, 9.5, 10.0, 10.5, 11.0, 11.5, 12.0, 16.0}) {
            const auto a = test::graded_matrix<TypeParam>(order + 3, order, decades, 1);
            const numerical::detail::tall_factors<TypeParam> factors(
                numerical::detail::view_of(std::as_const(a)),
                numerical::detail::largest_part(a.data));
            const double condition = factors.condition();
            for (const double cutoff : {eps, 1e-9, 1e-4})
                EXPECT_EQ(factors.has_condition_below(cutoff),
                          numerical::detail::is_clearly_regular(condition, factors.rows) &&
                              1 > condition * cutoff)
                    << order << " with condition " << condition << " and cutoff " << cutoff;
        }
}

// Two equal columns, and a column of zeros.
TYPED_TEST(least_squares, finds_no_estimate_of_a_singular_triangle)
{
    constexpr std::size_t order = numerical::detail::least_estimated_order + 1;
    for (const bool zero : {false, true}) {
        auto a = test::random_matrix<TypeParam>(order, order, 1);
        for (std::size_t i = 0; i < order; ++i)
            a.data[i * order + 7] = zero ? TypeParam(0) : a.data[i * order + 3];
        const numerical::detail::tall_factors<TypeParam> factors(
            numerical::detail::view_of(std::as_const(a)), numerical::detail::largest_part(a.data));
        EXPECT_FALSE(factors.has_condition_below(eps));
    }
}

} // namespace
