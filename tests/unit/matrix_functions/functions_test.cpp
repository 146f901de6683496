#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/matrix_functions/exponential.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/logarithm.hpp"
#include "numerical/matrix_functions/norm_estimate.hpp"
#include "numerical/matrix_functions/pade_approximant.hpp"
#include "numerical/matrix_functions/scalar_logarithm.hpp"
#include "numerical/matrix_functions/square_root.hpp"
#include "numerical/matrix_functions/taylor_polynomial.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numerical::matrix;
using complex = std::complex<double>;
using test::wide;

template <class T>
class matrix_functions : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(matrix_functions, element_types);

template <class T>
matrix<T> scaled(matrix<T> a, double factor)
{
    for (T& element : a.data)
        element *= factor;
    return a;
}

template <class T>
std::vector<wide<T>> wide_identity(std::size_t n)
{
    std::vector<wide<T>> identity(n * n);
    for (std::size_t i = 0; i < n; ++i)
        identity[i * n + i] = 1;
    return identity;
}

// e^A by its series, for norms about 1.
template <class T>
std::vector<wide<T>> series(const matrix<T>& a)
{
    std::vector<wide<T>> sum = wide_identity<T>(a.rows);
    std::vector<wide<T>> term = sum;
    for (int k = 1; k < 32; ++k) {
        term = test::wide_product(a, term);
        for (std::size_t i = 0; i < sum.size(); ++i) {
            term[i] /= static_cast<long double>(k);
            sum[i] += term[i];
        }
    }
    return sum;
}

// --- functions of Hermitian matrices -------------------------------------------------------------
TYPED_TEST(matrix_functions, spectral_sum_is_hermitian_and_right_across_its_blocks)
{
    constexpr std::size_t rows = 9;
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 2UL, spectral_block - 1, spectral_block,
                                    spectral_block + 1, 2 * spectral_block + 1}) {
            const test::path_limit limit(path);
            const auto b = test::random_matrix<TypeParam>(rows, n, 5);
            const auto f = test::random_matrix<double>(1, rows, 6).data;
            const auto sum =
                spectral_sum_of_rows<TypeParam>({b.data.data(), rows, n}, f.data()).data;
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j <= i; ++j) {
                    wide<TypeParam> exact = 0;
                    long double size = 0;
                    for (std::size_t k = 0; k < rows; ++k) {
                        const wide<TypeParam> left = conjugate(b.data[k * n + i]);
                        const wide<TypeParam> right = b.data[k * n + j];
                        exact += left * right * static_cast<long double>(f[k]);
                        size += std::abs(left) * std::abs(right) * std::abs(f[k]);
                    }
                    const wide<TypeParam> found = sum[i * n + j];
                    ASSERT_LE(std::abs(found - exact), rows * 0x1p-52L * size) << n;
                    ASSERT_EQ(sum[j * n + i], conjugate(sum[i * n + j])) << n;
                }
        }
}

// --- the exponential -----------------------------------------------------------------------------
TYPED_TEST(matrix_functions, exponential_is_the_sum_of_its_series_at_every_degree_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {2UL, 7UL, estimate_crossover - 1, estimate_crossover})
            for (const double norm : {1e-3, 0.99 * taylor_theta8, 1.01 * taylor_theta8, 0.2,
                                      0.99 * taylor_theta12, 1.01 * taylor_theta12, 0.7,
                                      0.99 * taylor_theta18, 1.01 * taylor_theta18, 1.8, 3.0}) {
                auto a = test::random_matrix<TypeParam>(n, n, 1);
                const double factor = norm / one_norm(a.data.data(), n);
                a = scaled(std::move(a), factor);
                const auto x = numerical::matrix_exponential(a);
                const std::vector<wide<TypeParam>> found(x.data.begin(), x.data.end());
                const auto error = test::largest_difference<TypeParam>(found, series(a));
                // To the last place by the polynomials.
                const double units = norm < taylor_theta18 ? 1 : 8;
                EXPECT_LT(error, units * test::eps * std::exp(norm)) << n << ", norm " << norm;
            }
    }
}

// e^A is then much smaller than the terms of its series.
TYPED_TEST(matrix_functions, exponential_keeps_its_digits_near_minus_the_identity)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const double mean : {-0.49, -0.51, -0.8, -1.05}) {
            constexpr std::size_t n = 24;
            auto a = scaled(test::random_matrix<TypeParam>(n, n, 1), 1e-3);
            for (std::size_t i = 0; i < n; ++i)
                a.data[i * n + i] = mean * (1 - 0.05 * double(i) / n);
            const auto x = numerical::matrix_exponential(a);
            const std::vector<wide<TypeParam>> found(x.data.begin(), x.data.end());
            const auto error = test::largest_difference<TypeParam>(found, series(a));
            EXPECT_LT(error, 8 * test::eps * std::exp(mean)) << "mean " << mean;
        }
    }
}

// Of numbers, in which every coefficient shows: at norms where the first term left out is rounding.
TYPED_TEST(matrix_functions, taylor_polynomials_have_the_coefficients_of_the_series)
{
    using T = TypeParam;
    for (const double x : {1.0 / 64, 0.25, 1.0, 2.0}) {
        const T a(x);
        const T square(x * x);
        T scratch[5];
        long double sum8 = 0;
        long double sum12 = 0;
        long double sum18 = 0;
        long double term = 1;
        for (int k = 0; k <= 18; term *= x / ++k)
            (k <= 8 ? sum8 : k <= 12 ? sum12 : sum18) += term;
        sum12 += sum8;
        sum18 += sum12;
        const T of_8 = taylor_of_degree_8(&a, &square, 1, scratch)[0];
        const T of_12 = taylor_of_degree_12(&a, &square, 1, scratch)[0];
        const T of_18 = taylor_of_degree_18(&a, &square, 1, scratch)[0];
        EXPECT_LT(std::abs(of_8 - T(double(sum8))), 4 * test::eps * double(sum8)) << x;
        EXPECT_LT(std::abs(of_12 - T(double(sum12))), 4 * test::eps * double(sum12)) << x;
        EXPECT_LT(std::abs(of_18 - T(double(sum18))), 4 * test::eps * double(sum18)) << x;
    }
}

TYPED_TEST(matrix_functions, exponential_squares_no_oftener_than_the_powers_ask_for)
{
    using T = TypeParam;
    // A norm of 2^20, but the square is zero.
    const numerical::aligned_vector<T> nilpotent{T(0), T(0x1p20), T(0), T(0)};
    int squarings = -1;
    EXPECT_EQ(pade_approximant(nilpotent, 2, squarings),
              (numerical::aligned_vector<T>{1, 0x1p20, 0, 1}));
    EXPECT_EQ(squarings, 0);
    const numerical::aligned_vector<T> large{T(64), T(0), T(0), T(-64)};
    pade_approximant(large, 2, squarings);
    EXPECT_EQ(squarings, 4); // 64 <= 4.25·2^4
}

// --- norms ---------------------------------------------------------------------------------------
TYPED_TEST(matrix_functions, norms_of_products_are_estimated_from_below)
{
    for (const std::size_t n : {1, 2, 3, 10, 40})
        for (unsigned seed = 0; seed < 20; ++seed) {
            const auto a = test::random_matrix<TypeParam>(n, n, seed);
            const auto b = test::random_matrix<TypeParam>(n, n, seed + 100);
            const auto product = test::reference_product(a, b);
            const double exact = one_norm(product.data.data(), n);
            const double found =
                estimated_product_norm<TypeParam>({a.data.data(), b.data.data()}, n);
            EXPECT_LE(found, exact * (1 + 1e-13));
            EXPECT_GE(found, exact / 3);
            const double early =
                estimated_product_norm<TypeParam>({a.data.data(), b.data.data()}, n, 0);
            EXPECT_LE(early, found);
        }
}

TYPED_TEST(matrix_functions, norms_of_powers_of_moduli_are_exact)
{
    const matrix<TypeParam> a(2, 2, {TypeParam(1), TypeParam(-2), TypeParam(3), TypeParam(-4)});
    EXPECT_DOUBLE_EQ(one_norm(a.data.data(), 2), 6);
    // [1 2; 3 4]³ = [37 54; 81 118].
    const auto never = [](double, double) { return false; };
    EXPECT_DOUBLE_EQ(norm_of_modulus_power(a.data.data(), 2, 0, 3, never), 172);
    EXPECT_DOUBLE_EQ(norm_of_modulus_power(a.data.data(), 2, -1, 3, never), 172.0 / 8);
}

// A full matrix, whose ratios come close to one another, a graded one, a nilpotent and one with a
// column of zeros, after which nothing may be divided.
TYPED_TEST(matrix_functions, norms_of_powers_of_moduli_lie_between_their_bounds)
{
    constexpr std::size_t n = 70;
    const auto full = test::random_matrix<TypeParam>(n, n, 1);
    const auto graded = test::graded_matrix<TypeParam>(n, n, 8, 2);
    auto nilpotent = full;
    auto hollow = full;
    for (std::size_t i = 0; i < n; ++i) {
        std::fill_n(nilpotent.data.begin() + std::ptrdiff_t(i * n), i + 1, TypeParam(0));
        hollow.data[i * n + 5] = 0;
    }
    for (const auto& a : {full, graded, nilpotent, hollow}) {
        double greatest_lower = 0;
        double least_upper = std::numeric_limits<double>::infinity();
        const double exact =
            norm_of_modulus_power(a.data.data(), n, -5, 27, [&](double lower, double upper) {
                greatest_lower = std::max(greatest_lower, lower);
                least_upper = std::min(least_upper, upper);
                return false;
            });
        EXPECT_LE(greatest_lower, exact);
        EXPECT_GE(least_upper, exact);
        const double early =
            norm_of_modulus_power(a.data.data(), n, -5, 27,
                                  [&](double lower, double upper) { return upper < 2 * lower; });
        EXPECT_GE(early, exact);
        EXPECT_LE(early, 2 * exact);
    }
}

// --- closed forms --------------------------------------------------------------------------------
// The numerator f(x) - f(y) in wider precision loses nothing of weight for these neighbours.
TYPED_TEST(matrix_functions, divided_differences_keep_their_digits)
{
    using T = TypeParam;
    for (const double gap : {0.0, 1e-9, 1e-3, 0.3, 0.9, 3.0, 50.0}) {
        const T x = T(0.7) + T(gap);
        const T y = T(0.7);
        const wide<T> wide_x = x;
        const wide<T> wide_y = y;
        const wide<T> expected =
            x == y ? wide<T>(1) / wide_x : std::log(wide_x / wide_y) / (wide_x - wide_y);
        const double tolerance = gap < 1e-6 ? 1e-9 : 1e-14;
        EXPECT_LT(test::wide_modulus(wide<T>(logarithm_difference(x, y)) - expected),
                  tolerance * test::wide_modulus(expected));
        const double p = 0.125;
        const wide<T> wide_p = p;
        const wide<T> found = power_difference(x, y, p);
        if (gap == 0) {
            const wide<T> power = wide_p * std::exp((wide_p - 1.0L) * std::log(wide_y));
            EXPECT_LT(test::wide_modulus(found - power), 1e-15);
            continue;
        }
        const wide<T> difference =
            std::exp(wide_p * std::log(wide_x)) - std::exp(wide_p * std::log(wide_y));
        EXPECT_LT(test::wide_modulus(found * (wide_x - wide_y) - difference),
                  1e-14 * test::wide_modulus(difference) + 1e-18);
    }
}

TEST(closed_forms, cross_the_branch_cut)
{
    const complex above(-1, 1e-3);
    const complex below(-1, -1e-3);
    const complex expected = (std::log(above) - std::log(below)) / (above - below);
    EXPECT_LT(std::abs(logarithm_difference(above, below) - expected), 1e-12 * std::abs(expected));
    const auto root = [](const complex& z) { return std::exp(0.25 * std::log(z)); };
    const complex power = (root(above) - root(below)) / (above - below);
    EXPECT_LT(std::abs(power_difference(above, below, 0.25) - power), 1e-12 * std::abs(power));
}

TYPED_TEST(matrix_functions, roots_near_one_keep_the_digits_of_their_distance)
{
    using T = TypeParam;
    for (const double distance : {1e-12, 1e-6, 0.1, 30.0})
        for (const int k : {0, 1, 2, 10, 40}) {
            const wide<T> a = T(1 + distance);
            const wide<T> l = std::log(a) / static_cast<long double>(std::ldexp(1.0, k));
            // e^l - 1 = 2·e^(l/2)·sinh(l/2)
            const wide<T> half = l / 2.0L;
            const wide<T> expected = 2.0L * std::exp(half) * std::sinh(half);
            EXPECT_LT(test::wide_modulus(wide<T>(root_less_one(T(1 + distance), k)) - expected),
                      1e-15L * (k + 4) * test::wide_modulus(expected) +
                          1e-19L * test::wide_modulus(a));
        }
}

// --- roots of triangles --------------------------------------------------------------------------
TYPED_TEST(matrix_functions, roots_of_triangles_are_triangles_whose_square_is_the_matrix)
{
    using T = TypeParam;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 31, 32, 33, 65, 100}) {
            matrix<T> t = test::random_matrix<T>(n, n, 1);
            for (std::size_t i = 0; i < n; ++i) {
                std::fill_n(t.data.begin() + std::ptrdiff_t(i * n), i, T(0));
                t.data[i * n + i] += 2.0;
            }
            if constexpr (std::is_same_v<T, double>)
                for (std::size_t i = 1; i + 1 < n; i += 3) {
                    t.data[(i + 1) * n + i + 1] = t.data[i * n + i];
                    t.data[i * n + i + 1] = 2;
                    t.data[(i + 1) * n + i] = -0.3;
                }
            matrix<T> r = t;
            ASSERT_TRUE(root_of_triangle<T>({r.data.data(), n, n, n}));
            const std::vector<wide<T>> wide_r(r.data.begin(), r.data.end());
            const std::vector<wide<T>> wide_t(t.data.begin(), t.data.end());
            const auto error = test::largest_difference<T>(test::wide_product(r, wide_r), wide_t);
            const auto norm = test::norm_inf(r);
            EXPECT_LT(error, 2 * double(n) * test::eps * norm * norm) << n;
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j + 1 < i; ++j)
                    EXPECT_EQ(r.data[i * n + j], T(0));
        }
    }
}

TYPED_TEST(matrix_functions, say_what_they_refuse)
{
    using T = TypeParam;
    const matrix<T> flat(1, 2, {T(1), T(2)});
    const auto text = [](const auto& action) {
        return test::text_thrown_by<numerical::dimension_error>(action);
    };
    EXPECT_EQ(text([&] { numerical::matrix_exponential(flat); }), "expm requires a square matrix");
    EXPECT_EQ(text([&] { numerical::square_root(flat); }), "sqrtm requires a square matrix");
    EXPECT_EQ(text([&] { numerical::logarithm(flat); }), "logm requires a square matrix");
}

// ±2i are roots of neighbours that the branch cut parts: their sum is zero.
TEST(logarithm, fails_where_eigenvalues_on_either_side_of_the_cut_leave_no_root)
{
    numerical::aligned_vector<complex> t{complex(-4, 0.0), 1, 0, complex(-4, -0.0)};
    EXPECT_FALSE(logarithm_of_triangle(t, 2));
}

} // namespace
