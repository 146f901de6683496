#include "numerical/factor/triangular_solve.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::block_sums;
using numerical::matrix;
using numerical::detail::block_view;
using numerical::detail::solve_lower;
using numerical::detail::solve_upper;

constexpr std::size_t block = 64;

template <class T>
class triangular_solve : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(triangular_solve, element_types);

enum class triangle { upper, upper_by_halves, lower };

constexpr triangle forms[] = {triangle::upper, triangle::upper_by_halves, triangle::lower};

template <class T>
matrix<T> triangle_over(T beyond, triangle form, std::size_t n)
{
    auto a = test::random_matrix<T>(n, n, unsigned(n));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j)
            if (form == triangle::lower ? i < j : j < i)
                a.data[i * n + j] = beyond;
        a.data[i * n + i] += a.data[i * n + i] * (2.0 + double(n) / 4);
    }
    return a;
}

// What is beyond the triangle is NaN and must not be read.
template <class T>
matrix<T> solved(triangle form, std::size_t n, const matrix<T>& b)
{
    const auto a = triangle_over<T>(T(std::nan("")), form, n);
    matrix<T> x = b;
    const block_view<const T> of{a.data.data(), n, n};
    const block_view<T> sides{x.data.data(), n, b.cols};
    if (form == triangle::lower)
        solve_lower<T>(of, block, sides);
    else
        solve_upper<T>(of, block, sides,
                       form == triangle::upper ? block_sums::in_order : block_sums::in_any_order);
    return x;
}

TYPED_TEST(triangular_solve, gives_back_the_right_sides)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 17UL, 64UL, 65UL, 128UL, 129UL, 150UL, 257UL})
            for (const std::size_t columns : {1UL, 16UL, 90UL})
                for (const triangle form : forms) {
                    const test::path_limit limit(path);
                    const auto b = test::random_matrix<TypeParam>(n, columns, 3);
                    const auto x = solved(form, n, b);
                    const auto a = triangle_over<TypeParam>(0, form, n);
                    const auto product = test::reference_product(a, x);
                    long double error = 0;
                    for (std::size_t i = 0; i < b.data.size(); ++i)
                        error =
                            test::worse<long double>(error, std::abs(product.data[i] - b.data[i]));
                    const long double scale = test::norm_inf(a) * test::norm_inf(x) * test::eps;
                    EXPECT_LT(double(error / scale), 2)
                        << n << " x " << columns << ", path " << path << ", form " << int(form);
                }
}

TYPED_TEST(triangular_solve, has_the_same_bits_on_any_number_of_threads)
{
    const auto b = test::random_matrix<TypeParam>(150, 300, 4);
    for (const triangle form : forms) {
        const auto on = [&](std::size_t threads) {
            const test::thread_limit some(threads);
            return solved(form, 150, b).data;
        };
        const auto serial = on(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_EQ(on(threads), serial) << threads;
    }
}

} // namespace
