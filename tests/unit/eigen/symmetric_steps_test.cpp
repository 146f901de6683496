#include "numerical/eigen/symmetric_steps.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace numerical::detail;

template <class T>
struct stepped
{
    numerical::aligned_vector<double> d;
    std::vector<numerical::aligned_vector<T>> reflectors;
    numerical::aligned_vector<T> sub;
};

template <class T>
stepped<T> reduce(const numerical::aligned_vector<T>& a, std::size_t n, std::size_t stride,
                  double scale = 1)
{
    stepped<T> result{numerical::aligned_vector<double>(n),
                      std::vector<numerical::aligned_vector<T>>(n),
                      numerical::aligned_vector<T>(n)};
    reduce_by_steps<T>({a.data(), n, n, stride}, scale, result.reflectors.data(), result.d.data(),
                       result.sub.data());
    return result;
}

template <class T>
class symmetric_steps : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(symmetric_steps, element_types);

TYPED_TEST(symmetric_steps, read_the_lower_triangle_alone)
{
    using T = TypeParam;
    for (const std::size_t n : {1, 2, 8, 9, 31, 33, 260}) {
        const auto full = test::random_hermitian<T>(n, 4);
        const auto expected = reduce(full.data, n, n);
        const std::size_t stride = n + 5;
        numerical::aligned_vector<T> lower(n * stride, T(std::numeric_limits<double>::quiet_NaN()));
        for (std::size_t i = 0; i < n; ++i)
            std::copy_n(&full.data[i * n], i + 1, &lower[i * stride]);
        const auto found = reduce(lower, n, stride);
        EXPECT_EQ(found.sub, expected.sub) << n;
        EXPECT_EQ(found.reflectors, expected.reflectors) << n;
        EXPECT_EQ(found.d, expected.d) << n;
    }
}

TYPED_TEST(symmetric_steps, divide_by_the_scale_and_drop_imaginary_parts_on_the_diagonal)
{
    using T = TypeParam;
    constexpr double scale = 12.25;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 9, 33, 65, 260}) {
            auto given = test::random_hermitian<T>(n, 4).data;
            auto divided = given;
            for (T& element : divided)
                element /= scale;
            if constexpr (!std::is_same_v<T, double>)
                for (std::size_t i = 0; i < n; ++i)
                    given[i * n + i] += T(0, 3);
            const auto expected = reduce(divided, n, n);
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                const auto found = reduce(given, n, n, scale);
                EXPECT_EQ(found.d, expected.d) << n << ", path " << path;
                EXPECT_EQ(found.sub, expected.sub) << n << ", path " << path;
                EXPECT_EQ(found.reflectors, expected.reflectors) << n << ", path " << path;
            }
        }
    }
}

TYPED_TEST(symmetric_steps, give_the_same_without_keeping_reflectors)
{
    using T = TypeParam;
    for (const std::size_t n : {2, 9, 40, 300}) {
        const auto full = test::random_hermitian<T>(n, 8);
        const auto expected = reduce(full.data, n, n);
        numerical::aligned_vector<double> d(n);
        numerical::aligned_vector<T> sub(n);
        reduce_by_steps<T>({full.data.data(), n, n, n}, 1, nullptr, d.data(), sub.data());
        EXPECT_EQ(sub, expected.sub) << n;
        EXPECT_EQ(d, expected.d) << n;
    }
}

// A column that is zero below the subdiagonal has no reflector, and a diagonal matrix none at all.
TYPED_TEST(symmetric_steps, leave_what_is_zero_already)
{
    for (const std::size_t n : {3, 10, 40, 300}) {
        auto a = test::random_hermitian<TypeParam>(n, 6);
        const std::size_t k = n / 2;
        for (std::size_t i = k + 1; i < n; ++i)
            for (std::size_t j = 0; j <= k; ++j)
                a.data[i * n + j] = a.data[j * n + i] = 0;
        const auto found = reduce(a.data, n, n);
        EXPECT_EQ(found.sub[k], TypeParam(0));
        EXPECT_TRUE(found.reflectors[k + 1].empty());
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < i; ++j)
                a.data[i * n + j] = 0;
        const auto kept = reduce(a.data, n, n);
        for (std::size_t i = 0; i < n; ++i) {
            EXPECT_EQ(kept.d[i], real_part(a.data[i * n + i]));
            EXPECT_EQ(kept.sub[i], TypeParam(0));
            EXPECT_TRUE(kept.reflectors[i].empty());
        }
    }
}

// Columns far below and far above the others are reflected as they are.
TYPED_TEST(symmetric_steps, reflect_columns_of_any_size)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        constexpr std::size_t n = 30;
        auto a = test::random_hermitian<TypeParam>(n, 7);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                a.data[i * n + j] *= std::scalbn(1.0, -20 * int(i + j));
        const auto found = reduce(a.data, n, n);
        for (std::size_t i = 1; i + 1 < n; ++i) {
            double square = 0;
            for (const TypeParam& each : found.reflectors[i])
                square += std::norm(each);
            EXPECT_NEAR(square, found.reflectors[i].empty() ? 0.0 : 1.0, 1e-14) << i;
        }
        EXPECT_TRUE(std::isfinite(found.d[n - 1]));
    }
}

} // namespace
