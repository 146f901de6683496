#include "numerical/gemm/vector_dispatch.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(vector_dispatch, long_dot_adds_runs_by_halves)
{
    const std::size_t run = numerical::detail::longest_run;
    const auto a = test::random_vector<double>(4 * run, 5);
    const auto b = test::random_vector<double>(4 * run, 6);
    for (const int path : test::available_paths()) {
        const auto part = [&](std::size_t from, std::size_t to) {
            return dot_on(path, a.data() + from, b.data() + from, to - from);
        };
        const auto whole = [&](std::size_t n) {
            return numerical::detail::long_dot_on(path, a.data(), b.data(), n);
        };
        EXPECT_EQ(whole(0), 0);
        EXPECT_EQ(whole(run), part(0, run));
        EXPECT_EQ(whole(run + 1), part(0, run) + part(run, run + 1));
        EXPECT_EQ(whole(2 * run + 9),
                  part(0, run) + (part(run, 2 * run) + part(2 * run, 2 * run + 9)));
        EXPECT_EQ(whole(4 * run), (part(0, run) + part(run, 2 * run)) +
                                      (part(2 * run, 3 * run) + part(3 * run, 4 * run)));
    }
}

template <class T>
class chunked : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(chunked, element_types);

TYPED_TEST(chunked, dot_adds_the_chunks_in_order_at_any_thread_count)
{
    constexpr std::size_t chunk = 16384;
    for (const std::size_t n :
         {std::size_t{0}, chunk, chunk + 1, 2 * chunk, 4 * chunk + 5, 5 * chunk + 17}) {
        const auto a = test::random_vector<TypeParam>(n, 34);
        const auto b = test::random_vector<TypeParam>(n, 35);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            TypeParam want = 0;
            for (std::size_t from = 0; from < n; from += chunk)
                want += plain_dot(a.data() + from, b.data() + from, std::min(chunk, n - from));
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit cap(threads);
                EXPECT_EQ(chunked_dot(a.data(), b.data(), n), want)
                    << "path " << path << ", n " << n;
            }
        }
    }
}

TEST(vector_dispatch, complex_dot_of_a_chunk_is_a_plain_ascending_loop)
{
    const auto a = test::random_vector<complex>(1001, 36);
    const auto b = test::random_vector<complex>(1001, 37);
    double re = 0;
    double im = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        re += a[i].real() * b[i].real() - a[i].imag() * b[i].imag();
        im += a[i].real() * b[i].imag() + a[i].imag() * b[i].real();
    }
    EXPECT_EQ(plain_dot(a.data(), b.data(), a.size()), complex(re, im));
}

TEST(vector_dispatch, complex_dot_recovers_the_infinity_of_a_product)
{
    // (inf + nan i)(1 + i) is nan in both parts by the textbook formula, and infinite by the rules.
    const complex endless(infinity, std::numeric_limits<double>::quiet_NaN());
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {std::size_t{5}, std::size_t{16384} * 2, std::size_t{16384} * 3 + 1})
            for (const std::size_t place : {std::size_t{0}, n / 2, n - 1}) {
                numerical::aligned_vector<complex> a(n, {1, 2});
                const numerical::aligned_vector<complex> b(n, {1, 1});
                a[place] = endless;
                EXPECT_EQ(chunked_dot(a.data(), b.data(), n), complex(infinity, infinity)) << n;
            }
    }
}

TEST(scaled_norm, neither_overflows_nor_underflows)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const numerical::aligned_vector<double> huge{1e200, 1e200};
        const numerical::aligned_vector<double> tiny{1e-200, 1e-200};
        EXPECT_DOUBLE_EQ(scaled_norm(huge.data(), 2), std::sqrt(2.0) * 1e200);
        EXPECT_DOUBLE_EQ(scaled_norm(tiny.data(), 2), std::sqrt(2.0) * 1e-200);
        const numerical::aligned_vector<complex> huge_complex{{3e200, 4e200}, {0, 12e200}};
        EXPECT_DOUBLE_EQ(scaled_norm(huge_complex.data(), 2), 13e200);
        const numerical::aligned_vector<complex> tiny_complex{{3e-200, 4e-200}, {0, 12e-200}};
        EXPECT_DOUBLE_EQ(scaled_norm(tiny_complex.data(), 2), 13e-200);
        const numerical::aligned_vector<double> plain{3, 4};
        EXPECT_EQ(scaled_norm(plain.data(), 2), 5.0);
    }
}

TEST(scaled_norm, of_a_very_long_vector_is_as_accurate_as_of_a_short_one)
{
    const auto x = test::random_vector<double>(3000000, 7);
    for (const double size : {1.0, 1e-300, 1e300}) {
        numerical::aligned_vector<double> scaled = x;
        long double square = 0;
        for (double& element : scaled) {
            element *= size;
            const long double ratio = element / size;
            square += ratio * ratio;
        }
        const long double exact = size * std::sqrt(square);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto error = std::abs(scaled_norm(scaled.data(), scaled.size()) - exact) / exact;
            EXPECT_LT(double(error), 2 * std::numeric_limits<double>::epsilon())
                << size << ", path " << path;
        }
    }
}

TEST(scaled_norm, of_nothing_and_of_zeros_is_zero)
{
    const numerical::aligned_vector<double> zero(40, 0.0);
    const numerical::aligned_vector<complex> complex_zero(20);
    EXPECT_EQ(scaled_norm(zero.data(), 0), 0.0);
    EXPECT_EQ(scaled_norm(zero.data(), 40), 0.0);
    EXPECT_EQ(scaled_norm(complex_zero.data(), 0), 0.0);
    EXPECT_EQ(scaled_norm(complex_zero.data(), 20), 0.0);
}

TEST(scaled_norm, of_nans_alone_is_zero_but_among_numbers_nan)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const numerical::aligned_vector<double> nans{nan, nan, nan};
        const numerical::aligned_vector<double> mixed{1.0, nan, 2.0};
        const numerical::aligned_vector<double> infinite{1.0, -infinity, 2.0};
        EXPECT_EQ(scaled_norm(nans.data(), 3), 0.0);
        EXPECT_TRUE(std::isnan(scaled_norm(mixed.data(), 3)));
        EXPECT_TRUE(std::isnan(scaled_norm(infinite.data(), 3)));
        const numerical::aligned_vector<complex> complex_nans{{nan, nan}, {nan, 1.0}};
        EXPECT_EQ(scaled_norm(complex_nans.data(), 2), 0.0);
    }
}

TEST(scaled_norm, leaves_the_plain_sum_only_outside_the_safe_range)
{
    // 2^-450 squared is 2^-900, the least safe square: its root is exact. One step below it the
    // largest modulus is divided out first, which is exact here too.
    for (const double x : {0x1p-450, 0x1p-451, 0x1p450, 0x1p451, 0x1p-1074, 0x1p1023}) {
        EXPECT_EQ(scaled_norm(&x, 1), x);
        const double negative = -x;
        EXPECT_EQ(scaled_norm(&negative, 1), x);
    }
    // Outside the range the bits are those of the divided sum: m·sqrt(Σ(x/m)²).
    const auto base = test::random_vector<double>(33, 38);
    numerical::aligned_vector<double> tiny(33);
    std::transform(base.begin(), base.end(), tiny.begin(), [](double x) { return x * 0x1p-600; });
    double largest = 0;
    for (const double x : tiny)
        largest = std::max(largest, std::abs(x));
    double sum = 0;
    for (const double x : tiny)
        sum += (x / largest) * (x / largest);
    EXPECT_EQ(scaled_norm(tiny.data(), 33), largest * std::sqrt(sum));
}

} // namespace
