#include "numerical/svd/band_bidiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/dqds.hpp"
#include "numerical/svd/values_only.hpp"
#include "order_one.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "value_oracles.hpp"

#include <complex>
#include <cstdio>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numerical::matrix;

constexpr double accepted = 10; // times ε·√n·‖A‖

template <class T>
class upper_bands : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(upper_bands, element_types);

template <class T>
numerical::aligned_vector<double> values_by_band(const matrix<T>& a, std::size_t width)
{
    upper_band<T> band = reduce_to_band(a.data, a.rows, width);
    const auto [d, e] = narrow_band(band);
    return dqds_values(d, e, 30 * a.rows);
}

TYPED_TEST(upper_bands, keep_the_singular_values_of_hard_matrices)
{
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t width : {16, 32})
            for (const std::size_t n : {1, 2, 3, 15, 16, 17, 18, 33, 34, 49, 65, 66, 100})
                for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n)) {
                    if (!test::is_of_order_one(a))
                        continue;
                    const auto expected = n < 20 ? test::jacobi_singular_values(a) : [&a = a] {
                        const auto values = numerical::singular_values_only(a); // in one stage
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

TYPED_TEST(upper_bands, are_as_narrow_as_asked)
{
    constexpr std::size_t n = 100;
    const auto a = test::random_matrix<TypeParam>(n, n, 3);
    for (const std::size_t width : {4, 16, 32}) {
        upper_band<TypeParam> band = reduce_to_band(a.data, n, width);
        double square = 0;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i - std::min(i, width); j < std::min(i + 2 * width, n); ++j) {
                if (j < i || j > i + width) {
                    EXPECT_EQ(band(i, j), TypeParam(0)) << i << ", " << j;
                }
                square += std::norm(band(i, j));
            }
        double expected = 0; // the Frobenius norm is kept, so nothing is lost outside
        for (const TypeParam& x : a.data)
            expected += std::norm(x);
        EXPECT_NEAR(square / expected, 1, 1e-13);
    }
}

TYPED_TEST(upper_bands, give_the_values_beyond_the_crossovers)
{
    const std::size_t first = two_stage_order<TypeParam>;
    for (const std::size_t n : {first - 1, first, first + 1, std::size_t{799}, std::size_t{800}}) {
        auto expected = test::geometric_values(n, 3);
        const auto a = test::with_values<TypeParam>(n, n, expected, 12);
        EXPECT_LT(test::value_ratio(numerical::singular_values_only(a), expected), accepted) << n;
    }
}

} // namespace
