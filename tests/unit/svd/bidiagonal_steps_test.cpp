#include "numerical/svd/bidiagonal_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/bidiagonal_step_blocks.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

constexpr double accepted = 10;

template <class T>
struct stepped
{
    std::vector<numerical::aligned_vector<T>> left;
    std::vector<numerical::aligned_vector<T>> right;
    numerical::aligned_vector<T> d;
    numerical::aligned_vector<T> e;

    bool operator==(const stepped&) const = default;
};

template <class T>
stepped<T> reduce(const numerical::aligned_vector<T>& a, std::size_t n, std::size_t stride)
{
    stepped<T> found{std::vector<numerical::aligned_vector<T>>(n),
                     std::vector<numerical::aligned_vector<T>>(n), numerical::aligned_vector<T>(n),
                     numerical::aligned_vector<T>(n)};
    bidiagonalize_by_steps<T>({a.data(), n, n, stride}, found.left.data(), found.right.data(),
                              found.d.data(), found.e.data());
    return found;
}

// The bidiagonal matrix with all reflections undone, the last ones first.
template <class T>
test::matrix<T> undone(const stepped<T>& of, std::size_t n)
{
    test::matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t k = n; k-- > 0;) {
        a.data[k * n + k] = of.d[k];
        if (k + 1 < n)
            a.data[k * n + k + 1] = of.e[k];
        const auto& v = of.right[k];
        for (std::size_t i = k; i < n && !v.empty(); ++i) {
            T sum(0);
            for (std::size_t j = 0; j < v.size(); ++j)
                sum += a.data[i * n + k + 1 + j] * v[j];
            for (std::size_t j = 0; j < v.size(); ++j)
                a.data[i * n + k + 1 + j] -= 2.0 * sum * conjugate(v[j]);
        }
        const auto& u = of.left[k];
        for (std::size_t j = k; j < n && !u.empty(); ++j) {
            T sum(0);
            for (std::size_t i = 0; i < u.size(); ++i)
                sum += conjugate(u[i]) * a.data[(k + i) * n + j];
            for (std::size_t i = 0; i < u.size(); ++i)
                a.data[(k + i) * n + j] -= 2.0 * sum * u[i];
        }
    }
    return a;
}

template <class T>
class bidiagonal_steps : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(bidiagonal_steps, element_types);

TYPED_TEST(bidiagonal_steps, give_matrices_of_any_order_back_on_every_path)
{
    using T = TypeParam;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 100, 133}) {
            SCOPED_TRACE(std::to_string(n) + " on path " + std::to_string(path));
            const auto a = test::random_matrix<T>(n, n, 1);
            EXPECT_LT(test::difference_ratio(a, undone(reduce(a.data, n, n), n)), accepted);
        }
    }
}

TYPED_TEST(bidiagonal_steps, read_rows_at_any_stride)
{
    using T = TypeParam;
    constexpr std::size_t n = 37;
    constexpr std::size_t stride = n + 5;
    const auto a = test::random_matrix<T>(n, n, 2);
    numerical::aligned_vector<T> spread(n * stride, T(std::nan("")));
    for (std::size_t i = 0; i < n; ++i)
        std::copy_n(&a.data[i * n], n, &spread[i * stride]);
    EXPECT_EQ(reduce(spread, n, stride), reduce(a.data, n, n));
}

TYPED_TEST(bidiagonal_steps, leave_what_is_zero_already)
{
    using T = TypeParam;
    for (const std::size_t n : {2, 16, 40, 129}) {
        const auto a = test::filled<T>(n, n, [](std::size_t i, std::size_t j) {
            return i == j ? 2.0 : (j == i + 1 ? -3.0 : 0.0);
        });
        const stepped<T> found = reduce(a.data, n, n);
        for (std::size_t k = 0; k < n; ++k) {
            EXPECT_TRUE(found.left[k].empty());
            EXPECT_TRUE(found.right[k].empty());
            EXPECT_EQ(found.d[k], T(2));
            EXPECT_EQ(found.e[k], k + 1 < n ? T(-3) : T(0));
        }
    }
}

TYPED_TEST(bidiagonal_steps, pass_zero_rows_and_columns_by)
{
    using T = TypeParam;
    constexpr std::size_t n = 70;
    for (const std::size_t zero : {std::size_t{0}, std::size_t{1}, std::size_t{16}, n - 1}) {
        for (const bool is_row : {false, true}) {
            auto a = test::random_matrix<T>(n, n, 3);
            for (std::size_t i = 0; i < n; ++i)
                a.data[is_row ? zero * n + i : i * n + zero] = T(0);
            EXPECT_LT(test::difference_ratio(a, undone(reduce(a.data, n, n), n)), accepted) << zero;
        }
    }
}

// Row 0 after the left reflection is so small that products with it underflow.
TYPED_TEST(bidiagonal_steps, multiply_by_the_reflector_of_a_tiny_row)
{
    using T = TypeParam;
    constexpr std::size_t n = 50;
    auto a = test::random_matrix<T>(n, n, 4);
    for (std::size_t i = 1; i < n; ++i)
        a.data[i * n] = T(0);
    for (std::size_t j = 1; j < n; ++j)
        a.data[j] *= 0x1p-1050;
    const stepped<T> found = reduce(a.data, n, n);
    EXPECT_LT(test::difference_ratio(a, undone(found, n)), accepted);
    EXPECT_FALSE(found.right[0].empty());
}

TYPED_TEST(bidiagonal_steps, keep_the_columns_of_graded_matrices)
{
    using T = TypeParam;
    constexpr std::size_t n = 60;
    for (const double base : {0.5, 1e-3, 1e-5}) {
        const auto random = test::random_matrix<T>(n, n, 5);
        auto a = random;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                a.data[i * n + j] *= std::pow(base, double(j));
        EXPECT_LT(test::difference_ratio(a, undone(reduce(a.data, n, n), n)), accepted) << base;
    }
}

TYPED_TEST(bidiagonal_steps, have_the_same_bits_on_any_number_of_threads)
{
    using T = TypeParam;
    constexpr std::size_t tile =
        step_tile_columns<T>; // passes have two strips, then four and eight
    for (const std::size_t n : {tile, tile + 1, std::size_t{100}, 64 * tile + 1, 128 * tile + 1}) {
        const auto a = test::random_matrix<T>(n, n, 6);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return reduce(a.data, n, n);
        };
        const auto one = on(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_EQ(on(threads), one) << n << " on " << threads;
    }
}

} // namespace
