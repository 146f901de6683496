#include "numerical/factor/cholesky.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"
#include "sample.hpp"
#include "thrown.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using complex = std::complex<double>;
using numerical::cholesky_decomposition;
using numerical::matrix;
using numerical::upper_cholesky_factor;
using test::text_thrown_by;
namespace detail = numerical::detail;

const char* const not_positive_definite = "Cholesky: matrix is not positive-definite";
const char* const non_finite = "Cholesky decomposition: the matrix holds an infinite or NaN entry";
constexpr double ratio_limit = 4;

template <class T>
class cholesky : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(cholesky, element_types);

template <class T>
matrix<T> factor_of(matrix<T> a)
{
    const std::size_t n = a.rows;
    return {n, n, cholesky_decomposition<T>(std::move(a)).factors};
}

// B·Bᴴ/n + I for a random B: eigenvalues between 1 and about 3.
template <class T>
matrix<T> definite_matrix(std::size_t n, unsigned seed)
{
    const auto b = test::random_matrix<T>(n, n, seed);
    auto a = b * detail::adjoint(b);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            a.data[i * n + j] = a.data[i * n + j] / double(n) + (i == j ? 1.0 : 0.0);
    return a;
}

// The lower triangle of A and its adjoint.
template <class T>
matrix<T> hermitian_to_the_bit(matrix<T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < i; ++j)
            a.data[j * a.cols + i] = detail::conjugate(a.data[i * a.cols + j]);
    return a;
}

// S·A·S with a diagonal S that falls from 1 by `decades`.
template <class T>
matrix<T> graded(matrix<T> a, double decades)
{
    const std::size_t n = a.rows;
    const auto fall = [&](std::size_t i) {
        return std::pow(10.0, -decades * double(i) / double(n));
    };
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            a.data[i * n + j] *= fall(i) * fall(j);
    return a;
}

// A lower factor of small integers with powers of two on the diagonal: L·Lᴴ and its factorization
// are free of rounding in whatever order.
template <class T>
matrix<T> integer_factor(std::size_t n, unsigned seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<int> exponent(0, 2);
    matrix<T> l{n, n, test::integer_vector<T>(n * n, seed, 2)};
    for (std::size_t i = 0; i < n; ++i) {
        l.data[i * n + i] = std::ldexp(1.0, exponent(generator));
        std::fill_n(l.data.begin() + std::ptrdiff_t(i * n + i + 1), n - i - 1, T(0));
    }
    return l;
}

template <class T>
matrix<T> square_of(const matrix<T>& l)
{
    return test::reference_product(l, detail::adjoint(l));
}

template <class T>
void expect_lower_with_real_diagonal(const matrix<T>& l)
{
    for (std::size_t i = 0; i < l.rows; ++i) {
        const T diagonal = l.data[i * l.rows + i];
        ASSERT_GT(detail::real_part(diagonal), 0);
        ASSERT_EQ(diagonal, T(detail::real_part(diagonal)));
        for (std::size_t j = i + 1; j < l.rows; ++j)
            ASSERT_EQ(l.data[i * l.rows + j], T(0));
    }
}

template <class T>
void expect_factor(const matrix<T>& a, const std::string& what)
{
    SCOPED_TRACE(testing::Message() << what << " of order " << a.rows);
    const matrix<T> l = factor_of(a);
    if (a.rows < 64)
        EXPECT_LT(test::difference_ratio(a, square_of(l)), ratio_limit);
    else
        EXPECT_LT(test::probed_product_ratio(a, l, detail::adjoint(l)), ratio_limit);
    expect_lower_with_real_diagonal(l);
}

TYPED_TEST(cholesky, recovers_an_integer_factor_exactly_on_every_path)
{
    for (const std::size_t n :
         {1u,  2u,  3u,  7u,   8u,   9u,   15u,  16u,  17u,  31u,  32u,  33u,
          63u, 64u, 65u, 127u, 128u, 129u, 160u, 161u, 256u, 257u, 320u, 321u}) {
        const auto l = integer_factor<TypeParam>(n, unsigned(n));
        const auto a = square_of(l);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            ASSERT_EQ(factor_of(a).data, l.data) << "order " << n << ", path " << path;
        }
    }
}

TYPED_TEST(cholesky, gives_back_random_graded_tiny_and_huge_matrices)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u, 127u,
                                    128u, 129u, 255u, 256u, 257u, 300u}) {
            const test::path_limit limit(path);
            const auto a = definite_matrix<TypeParam>(n, unsigned(n));
            const std::vector<std::pair<std::string, matrix<TypeParam>>> all{
                {"random", a},
                {"graded", graded(a, 100)},
                {"tiny", test::scaled(a, 1e-300)},
                {"subnormal", test::scaled(a, 1e-310)},
                {"huge", test::scaled(a, 1e300)}};
            for (const auto& [what, scaled] : test::sampled(all, n))
                expect_factor(scaled, what);
        }
}

TYPED_TEST(cholesky, gives_back_matrices_of_several_blocks)
{
    expect_factor(definite_matrix<TypeParam>(513, 1), "random");
    expect_factor(definite_matrix<TypeParam>(1000, 2), "random");
}

TYPED_TEST(cholesky, of_nearly_semidefinite_matrix_is_backward_stable)
{
    const std::size_t n = 100;
    auto a = square_of(test::low_rank_matrix<TypeParam>(n, n, 40, 3));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] += 1e-10;
    expect_factor(a, "nearly semidefinite");
}

TYPED_TEST(cholesky, has_the_same_bits_on_any_number_of_threads)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {129u, 240u, 241u, 320u, 321u, 513u}) {
            const test::path_limit limit(path);
            const auto a = definite_matrix<TypeParam>(n, unsigned(n));
            const auto serial = [&] {
                const test::thread_limit one(1);
                return factor_of(a);
            }();
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                EXPECT_EQ(factor_of(a).data, serial.data) << n << " on " << threads;
            }
        }
}

TYPED_TEST(cholesky, width_of_blocks_grows_after_orders_128_and_256)
{
    const auto width_at = [](std::size_t n) {
        return cholesky_decomposition<TypeParam>(definite_matrix<TypeParam>(n, 1)).block;
    };
    EXPECT_EQ(width_at(128), 16u);
    EXPECT_EQ(width_at(129), 32u);
    EXPECT_EQ(width_at(256), 32u);
    EXPECT_EQ(width_at(257), 64u);
}

TYPED_TEST(cholesky, of_empty_matrix_is_empty)
{
    EXPECT_TRUE(factor_of(matrix<TypeParam>(0, 0, {})).data.empty());
}

TYPED_TEST(cholesky, of_one_element_is_its_square_root)
{
    EXPECT_EQ(factor_of(matrix<TypeParam>(1, 1, {6.25})).data[0], TypeParam(2.5));
    const double least = std::numeric_limits<double>::denorm_min();
    EXPECT_EQ(factor_of(matrix<TypeParam>(1, 1, {least})).data[0], TypeParam(std::sqrt(least)));
    for (const double x : {0.0, -0.0, -least, -4.0})
        EXPECT_EQ(text_thrown_by<numerical::not_positive_definite_error>(
                      [&] { factor_of(matrix<TypeParam>(1, 1, {x})); }),
                  not_positive_definite);
}

TYPED_TEST(cholesky, refuses_a_pivot_that_is_not_above_zero_in_any_row)
{
    for (const std::size_t n : {2u, 16u, 17u, 65u, 150u, 300u}) {
        const auto l = integer_factor<TypeParam>(n, unsigned(n));
        const auto square = square_of(l);
        for (const std::size_t row : {std::size_t{0}, n / 2, n - 1})
            for (const double excess : {0.0, 1.0}) { // the pivot is exactly zero, then -1
                auto a = square;
                a.data[row * n + row] -= std::norm(l.data[row * n + row]) + excess;
                EXPECT_EQ(
                    text_thrown_by<numerical::not_positive_definite_error>([&] { factor_of(a); }),
                    not_positive_definite)
                    << "row " << row << " of " << n;
            }
    }
}

TYPED_TEST(cholesky, takes_the_least_pivot_above_zero)
{
    // [1 1; 1 1+ε]: the second pivot is ε, without any tolerance.
    const auto l = factor_of(matrix<TypeParam>(2, 2, {1.0, 1.0, 1.0, 1.0 + test::eps}));
    EXPECT_EQ(l.data[3], TypeParam(std::sqrt(test::eps)));
}

TYPED_TEST(cholesky, refuses_a_zero_matrix)
{
    EXPECT_EQ(text_thrown_by<numerical::not_positive_definite_error>([] {
                  factor_of(matrix<TypeParam>(3, 3, numerical::aligned_vector<TypeParam>(9)));
              }),
              not_positive_definite);
}

TYPED_TEST(cholesky, reads_the_lower_triangle_alone)
{
    for (const std::size_t n : {5u, 70u, 300u}) {
        const auto a = definite_matrix<TypeParam>(n, unsigned(n));
        auto lopsided = a;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j)
                lopsided.data[i * n + j] = -1e300;
        EXPECT_EQ(factor_of(lopsided).data, factor_of(a).data);
    }
}

TYPED_TEST(cholesky, refuses_a_non_finite_entry_even_above_the_diagonal)
{
    for (const double bad :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        for (const std::size_t place : {0u, 2u, 6u}) {
            auto a = definite_matrix<TypeParam>(3, 1);
            a.data[place] = bad;
            EXPECT_EQ(text_thrown_by<numerical::non_finite_error>([&] { factor_of(a); }),
                      non_finite);
        }
}

TYPED_TEST(cholesky, refuses_a_matrix_that_is_not_square_before_it_looks_for_nan)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([&] {
                  cholesky_decomposition<TypeParam>(matrix<TypeParam>(1, 2, {nan, nan}));
              }),
              "Cholesky decomposition requires a square matrix");
}

TYPED_TEST(cholesky, of_a_matrix_that_stays_has_the_bits_of_one_that_is_taken)
{
    for (const std::size_t n : {0u, 1u, 7u, 8u, 9u, 128u, 129u, 256u, 257u, 321u}) {
        const auto a = definite_matrix<TypeParam>(n, 3);
        const auto before = a.data;
        const cholesky_decomposition<TypeParam> factored(a.data.data(), n, n);
        EXPECT_EQ(factored.factors, factor_of(a).data) << "order " << n;
        EXPECT_EQ(a.data, before) << "order " << n;
    }
}

TYPED_TEST(cholesky, of_a_matrix_that_stays_refuses_what_it_refuses_of_others)
{
    constexpr std::size_t n = 20;
    using decomposition = cholesky_decomposition<TypeParam>;
    for (const auto& [row, column] : {std::pair{0u, 19u}, std::pair{19u, 0u}, std::pair{9u, 9u}}) {
        auto a = definite_matrix<TypeParam>(n, 3);
        a.data[row * n + column] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                      [&] { decomposition(a.data.data(), n, n); }),
                  non_finite);
        EXPECT_EQ(text_thrown_by<numerical::dimension_error>(
                      [&] { decomposition(a.data.data(), n, n - 1); }),
                  "Cholesky decomposition requires a square matrix");
    }
    const numerical::aligned_vector<TypeParam> nothing(n * n);
    EXPECT_EQ(text_thrown_by<numerical::not_positive_definite_error>(
                  [&] { decomposition(nothing.data(), n, n); }),
              not_positive_definite);
}

TYPED_TEST(cholesky, upper_factor_is_the_adjoint_of_the_lower_one)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {0u, 1u, 7u, 63u, 64u, 65u, 128u, 129u, 257u, 321u}) {
            const auto a = hermitian_to_the_bit(definite_matrix<TypeParam>(n, 3));
            const auto expected = detail::adjoint(factor_of(a));
            auto lopsided = a;
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j < i; ++j)
                    lopsided.data[i * n + j] = -1e300;
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                EXPECT_EQ(upper_cholesky_factor(lopsided.data.data(), n, n), expected.data)
                    << "order " << n << " on " << threads;
            }
        }
    }
}

TYPED_TEST(cholesky, upper_factor_refuses_what_the_decomposition_refuses)
{
    constexpr std::size_t n = 70;
    for (const auto& [row, column] : {std::pair{0u, 69u}, std::pair{69u, 0u}, std::pair{9u, 9u}}) {
        auto a = definite_matrix<TypeParam>(n, 3);
        a.data[row * n + column] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                      [&] { upper_cholesky_factor(a.data.data(), n, n); }),
                  non_finite);
        EXPECT_EQ(text_thrown_by<numerical::dimension_error>(
                      [&] { upper_cholesky_factor(a.data.data(), n, n - 1); }),
                  "Cholesky decomposition requires a square matrix");
    }
    const numerical::aligned_vector<TypeParam> nothing(n * n);
    EXPECT_EQ(text_thrown_by<numerical::not_positive_definite_error>(
                  [&] { upper_cholesky_factor(nothing.data(), n, n); }),
              not_positive_definite);
}

TYPED_TEST(cholesky, lets_a_nan_from_overflow_pass)
{
    // L[2][0] overflows, L[2][1] is 1 - inf·0, and so is the last pivot: not at or below zero.
    const auto l = factor_of(matrix<TypeParam>(3, 3,
                                               {1e-300, 0.0, 0.0, //
                                                0.0, 1.0, 0.0,    //
                                                1e300, 1.0, 1.0}));
    EXPECT_TRUE(std::isnan(detail::real_part(l.data[8])));
}

TEST(complex_cholesky, looks_at_the_real_part_of_the_diagonal_alone)
{
    const complex i(0, 1);
    const matrix<complex> plain(2, 2, {4.0, 0.0, 2.0 + 2.0 * i, 6.0});
    const matrix<complex> odd(2, 2, {4.0 + 7.0 * i, 0.0, 2.0 + 2.0 * i, 6.0 - 3.0 * i});
    EXPECT_EQ(factor_of(plain).data, (numerical::aligned_vector<complex>{2.0, 0.0, 1.0 + i, 2.0}));
    EXPECT_EQ(factor_of(odd).data[3], factor_of(plain).data[3]);
    EXPECT_EQ(factor_of(odd).data[0], complex(2));
}

} // namespace
