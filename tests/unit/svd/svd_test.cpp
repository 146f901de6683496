#include "numerical/svd/svd.hpp"

#include "numerical/errors.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::svd_blocks;
using test::matrix;
using test::svd_decomposition;
using test::svd_method;

// No family reaches this at any order tried; what is seen is printed.
constexpr double greatest_ratio = 30;

double worst = 0;

template <class T>
void expect_accurate(const matrix<T>& a, svd_method method, const std::string& name,
                     svd_blocks blocks = svd_blocks::fixed)
{
    SCOPED_TRACE(name + ", " + std::to_string(a.rows) + " x " + std::to_string(a.cols) + ", " +
                 test::name_of(method) + (sizeof(T) == sizeof(double) ? "" : ", complex"));
    const svd_decomposition<T> svd(a, method, blocks);
    const std::size_t k = std::min(a.rows, a.cols);
    ASSERT_EQ(svd.values.size(), k);
    EXPECT_TRUE(std::is_sorted(svd.values.rbegin(), svd.values.rend()));
    EXPECT_TRUE(k == 0 || svd.values.back() >= 0);
    const test::svd_ratios ratios = test::ratios_of(a, svd);
    EXPECT_TRUE(ratios.largest() < greatest_ratio) << ratios;
    if (ratios.largest() > worst) {
        worst = ratios.largest();
        std::cout << "largest so far: " << name << " " << a.rows << " " << test::name_of(method)
                  << ": " << ratios << "\n";
    }
}

template <class T>
class decomposition : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(decomposition, element_types);

TYPED_TEST(decomposition, is_accurate_on_hard_square_matrices_of_every_method)
{
    for (const std::size_t n : {1, 2, 3, 8, 31, 32, 33, 34, 63, 64, 65})
        for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n))
            for (const svd_method method : test::svd_methods)
                expect_accurate(a, method, name);
}

TYPED_TEST(decomposition, is_accurate_on_both_sides_of_each_crossover)
{
    for (const std::size_t n : {127, 128, 129, 200, 257}) {
        const auto random = test::random_matrix<TypeParam>(n, n, 11);
        const auto falling = test::with_values<TypeParam>(n, n, test::geometric_values(n, 15), 12);
        const auto low = test::low_rank_matrix<TypeParam>(n, n, n / 3, 13);
        for (const svd_method method :
             {svd_method::bidiagonal_qr, svd_method::divide_and_conquer}) {
            expect_accurate(random, method, "random");
            expect_accurate(falling, method, "geometric");
            expect_accurate(low, method, "low rank");
        }
    }
    expect_accurate(test::random_matrix<TypeParam>(513, 513, 14), svd_method::divide_and_conquer,
                    "random");
}

TYPED_TEST(decomposition, is_accurate_on_tall_and_wide_matrices)
{
    struct extents
    {
        std::size_t rows;
        std::size_t cols;
    };

    for (const auto& [rows, cols] : {extents{2000, 50},
                                     {50, 2000},
                                     {1, 7},
                                     {7, 1},
                                     {300, 129},
                                     {129, 300},
                                     {34, 33},
                                     {33, 34}})
        for (const svd_method method : test::svd_methods)
            expect_accurate(test::random_matrix<TypeParam>(rows, cols, 15), method, "random");
    for (const svd_method method : test::svd_methods) {
        expect_accurate(test::low_rank_matrix<TypeParam>(200, 60, 7, 16), method, "low rank");
        expect_accurate(test::low_rank_matrix<TypeParam>(60, 200, 7, 16), method, "low rank");
    }
}

TYPED_TEST(decomposition, is_accurate_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {20, 70, 150})
            for (const svd_method method : test::svd_methods)
                expect_accurate(test::random_matrix<TypeParam>(n, n, 17), method, "random");
    }
}

TYPED_TEST(decomposition, is_accurate_in_the_fastest_blocks_on_both_sides_of_each_crossover)
{
    for (const std::size_t n : {15, 16, 17, 33, 144, 145})
        for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n))
            expect_accurate(a, svd_method::divide_and_conquer, name, svd_blocks::fastest);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        expect_accurate(test::random_matrix<TypeParam>(230, 210, 18), svd_method::bidiagonal_qr,
                        "random", svd_blocks::fastest);
    }
}

// The last shape has the aspect of tall factors (tall_qr.hpp).
TYPED_TEST(decomposition, is_accurate_in_the_fastest_blocks_for_tall_and_wide_matrices)
{
    for (const auto& [rows, cols] : {test::extents{18, 17}, test::extents{300, 61},
                                     test::extents{61, 300}, test::extents{5000, 60}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 19);
        expect_accurate(a, svd_method::divide_and_conquer, "random", svd_blocks::fastest);
        expect_accurate(a, svd_method::bidiagonal_qr, "random", svd_blocks::fastest);
        auto deficient = a;
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < cols; j += 3)
                deficient.data[i * cols + j] = TypeParam(0);
        expect_accurate(deficient, svd_method::divide_and_conquer, "zero columns",
                        svd_blocks::fastest);
    }
}

TYPED_TEST(decomposition, of_an_empty_matrix_is_empty)
{
    for (const svd_method method : test::svd_methods)
        for (const std::size_t n : {0, 3}) {
            const svd_decomposition<TypeParam> tall(matrix<TypeParam>(n, 0, {}), method);
            EXPECT_TRUE(tall.values.empty());
            EXPECT_EQ(tall.u.rows, n);
            EXPECT_EQ(tall.u.cols, 0U);
            EXPECT_EQ(tall.v.rows, 0U);
            const svd_decomposition<TypeParam> wide(matrix<TypeParam>(0, n, {}), method);
            EXPECT_TRUE(wide.values.empty());
            EXPECT_EQ(wide.v.rows, n);
            EXPECT_EQ(wide.v.cols, 0U);
        }
}

TYPED_TEST(decomposition, non_finite_entries_are_refused)
{
    for (const double bad :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        for (const svd_method method : test::svd_methods) {
            auto a = test::random_matrix<TypeParam>(3, 2, 1);
            a.data[5] = TypeParam(bad);
            EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(
                          [&] { svd_decomposition<TypeParam>(a, method); }),
                      "SVD: the matrix holds an infinite or NaN entry");
        }
}

TYPED_TEST(decomposition, values_alone_are_the_same_bits)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] :
             {std::pair<std::size_t, std::size_t>{1, 1}, {40, 40}, {150, 150}, {90, 40}, {40, 90}})
            for (const auto& a : {test::random_matrix<TypeParam>(rows, cols, 18),
                                  test::low_rank_matrix<TypeParam>(rows, cols, 5, 19)})
                EXPECT_EQ(numerical::singular_values(a),
                          svd_decomposition<TypeParam>(a, svd_method::divide_and_conquer).values);
    }
}

TYPED_TEST(decomposition, bits_do_not_depend_on_the_number_of_threads)
{
    const auto a = test::random_matrix<TypeParam>(230, 200, 20);
    for (const svd_method method : {svd_method::bidiagonal_qr, svd_method::divide_and_conquer}) {
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return svd_decomposition<TypeParam>(a, method);
        };
        const auto one = on(1);
        for (const std::size_t threads : test::thread_counts) {
            const auto many = on(threads);
            EXPECT_EQ(one.values, many.values) << threads;
            EXPECT_EQ(one.u.data, many.u.data) << threads;
            EXPECT_EQ(one.v.data, many.v.data) << threads;
        }
    }
}

// Where the vectors of both sides are taken back at once, and where one after the other.
TYPED_TEST(decomposition, bits_beside_the_order_of_sides_do_not_depend_on_the_threads)
{
    using numerical::detail::side_by_side_order;
    for (const std::size_t n : {91UL, 128UL, side_by_side_order - 1, side_by_side_order}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 21);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return svd_decomposition<TypeParam>(a, svd_method::divide_and_conquer);
        };
        const auto one = on(1);
        for (const std::size_t threads : test::thread_counts) {
            const auto many = on(threads);
            EXPECT_TRUE(one.u.data == many.u.data) << n << ", " << threads;
            EXPECT_TRUE(one.v.data == many.v.data) << n << ", " << threads;
        }
    }
}

TYPED_TEST(decomposition, bits_of_tall_matrices_in_the_fastest_blocks_do_not_depend_on_the_threads)
{
    for (const auto& [rows, cols] : {test::extents{400, 150}, test::extents{5000, 60}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 22);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return svd_decomposition<TypeParam>(a, svd_method::divide_and_conquer,
                                                svd_blocks::fastest);
        };
        const auto one = on(1);
        for (const std::size_t threads : test::thread_counts) {
            const auto many = on(threads);
            EXPECT_TRUE(one.u.data == many.u.data) << rows << ", " << threads;
            EXPECT_TRUE(one.v.data == many.v.data) << rows << ", " << threads;
        }
    }
}

TEST(complex_svd, takes_entries_whose_modulus_overflows)
{
    const std::complex<double> greatest(1.7e308, 1.7e308);
    const matrix<std::complex<double>> a(1, 1, {greatest});
    for (const svd_method method : test::svd_methods) {
        const svd_decomposition<std::complex<double>> svd(a, method);
        EXPECT_NEAR(std::abs(svd.u.data[0]), 1, 1e-15);
        EXPECT_NEAR(std::abs(svd.v.data[0]), 1, 1e-15);
    }
}

} // namespace
