#include "numerical/eigen/hermitian_band.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/eigen/root_free_ql.hpp"
#include "order_one.hpp"
#include "paths.hpp"
#include "value_oracles.hpp"

#include <complex>
#include <cstdio>
#include <gtest/gtest.h>
#include <utility>

namespace {

using namespace numerical::detail;
using numerical::matrix;

constexpr double accepted = 10; // times ε·√n·‖A‖

template <class T>
class hermitian_bands : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(hermitian_bands, element_types);

template <class T>
numerical::aligned_vector<double> values_by_band(const matrix<T>& a, std::size_t width)
{
    hermitian_band<T> band = reduce_to_hermitian_band(a.data, a.rows, width);
    numerical::aligned_vector<double> d(a.rows);
    numerical::aligned_vector<double> e(a.rows);
    narrow_hermitian_band(band, d, e);
    root_free_ql(d, e, 30 * a.rows);
    return d;
}

TYPED_TEST(hermitian_bands, keep_the_eigenvalues_of_every_family)
{
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t width : {16, 32})
            for (const std::size_t n : {1, 2, 3, 15, 16, 17, 18, 33, 34, 49, 65, 66, 100})
                for (const auto& [name, a] : test::hermitian_families<TypeParam>(n)) {
                    if (!test::is_of_order_one(a))
                        continue;
                    const auto expected = n < 20 ? test::jacobi_eigenvalues(a) : [&a = a] {
                        const auto values = numerical::eigenvalues(a); // in one stage
                        return test::wide_values(values.begin(), values.end());
                    }();
                    const double ratio = test::value_ratio(values_by_band(a, width), expected);
                    EXPECT_LT(ratio, accepted)
                        << name << ", n = " << n << ", width " << width << ", path " << path;
                    largest = test::worse(largest, ratio);
                }
    }
    std::printf("largest distance %.2f\n", largest);
}

TYPED_TEST(hermitian_bands, are_as_narrow_as_asked)
{
    constexpr std::size_t n = 100;
    const auto a = test::random_hermitian<TypeParam>(n, 3);
    for (const std::size_t width : {4, 16, 32}) {
        hermitian_band<TypeParam> band = reduce_to_hermitian_band(a.data, n, width);
        double square = 0;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i - std::min(i, 2 * width); j <= i; ++j) {
                if (i - j > width) {
                    EXPECT_EQ(band(i, j), TypeParam(0)) << i << ", " << j;
                }
                square += (i == j ? 1 : 2) * std::norm(band(i, j));
            }
        double expected = 0; // the Frobenius norm is kept, so nothing is lost outside
        for (const TypeParam& x : a.data)
            expected += std::norm(x);
        EXPECT_NEAR(square / expected, 1, 1e-13);
    }
}

template <class T>
void expect_prescribed_values(std::size_t n)
{
    auto expected = test::spectrum(n, [](double x) { return std::sin(7 * x) + 0.25 * x; });
    const auto a = test::with_spectrum<T>(expected, 12);
    std::sort(expected.begin(), expected.end());
    EXPECT_LT(test::value_ratio(numerical::eigenvalues(a), expected), accepted) << n;
}

TYPED_TEST(hermitian_bands, give_the_values_beyond_the_crossovers)
{
    const std::size_t first = two_stage_eigen_order<TypeParam>;
    for (const std::size_t n : {first - 1, first, first + 1})
        expect_prescribed_values<TypeParam>(n);
}

TEST(hermitian_band, gives_the_values_where_it_becomes_wide)
{
    EXPECT_LT(hermitian_band_width(least_order_of_wide_band - 1),
              hermitian_band_width(least_order_of_wide_band));
    for (const std::size_t n : {least_order_of_wide_band - 1, least_order_of_wide_band})
        expect_prescribed_values<double>(n);
}

// The orders are those from which the product with the panel is cut into more groups, and one below
// each.
TYPED_TEST(hermitian_bands, bits_do_not_depend_on_the_number_of_threads)
{
    for (const std::size_t n : {362, 363, 443, 444, 511, 512}) {
        const auto a = test::random_hermitian<TypeParam>(n, 4);
        const auto narrowed_on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            hermitian_band<TypeParam> band = reduce_to_hermitian_band(a.data, n, 16);
            numerical::aligned_vector<double> d(n);
            numerical::aligned_vector<double> e(n);
            narrow_hermitian_band(band, d, e);
            return std::pair(d, e);
        };
        const auto one = narrowed_on(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_EQ(one, narrowed_on(threads)) << n << ", " << threads << " threads";
    }
}

} // namespace
