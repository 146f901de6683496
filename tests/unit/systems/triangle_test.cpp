#include "numerical/aligned_vector.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/triangle.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::matrix;
using numerical::matrix_form;
using numerical::triangle;
using numerical::triangle_diagonal;
using numerical::triangle_half;
namespace detail = numerical::detail;

constexpr double ratio_limit = 1;

struct triangle_kind
{
    triangle_half half;
    triangle_diagonal diagonal;
    matrix_form form;
};

std::vector<triangle_kind> all_kinds()
{
    std::vector<triangle_kind> kinds;
    for (const auto half : {triangle_half::lower, triangle_half::upper})
        for (const auto diagonal : {triangle_diagonal::stored, triangle_diagonal::ones})
            for (const auto form :
                 {matrix_form::plain, matrix_form::transposed, matrix_form::adjoint})
                kinds.push_back({half, diagonal, form});
    return kinds;
}

template <class T>
matrix<T> transposed(const matrix<T>& a)
{
    matrix<T> t{a.cols, a.rows, a.data};
    detail::transpose_into<T>({t.data.data(), a.cols, a.rows, a.rows},
                              {a.data.data(), a.rows, a.cols, a.cols});
    return t;
}

template <class T>
matrix<T> in_form(const matrix<T>& a, matrix_form form)
{
    if (form == matrix_form::plain)
        return a;
    return form == matrix_form::adjoint ? detail::adjoint(a) : transposed(a);
}

// Off the diagonal numbers so small that also with a diagonal of ones the condition is modest.
template <class T>
matrix<T> triangle_over(T beyond, T diagonal_beyond, const triangle_kind& kind, std::size_t n)
{
    auto a = test::random_matrix<T>(n, n, unsigned(n));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            T& x = a.data[i * n + j];
            const bool outside = kind.half == triangle_half::upper ? j < i : i < j;
            if (outside)
                x = beyond;
            else if (i != j)
                x *= 2.0 / double(n);
            else
                x = kind.diagonal == triangle_diagonal::ones ? diagonal_beyond : x + 2.0;
        }
    return a;
}

// What isn't of the triangle is NaN and must not be used.
template <class T>
matrix<T> solved(const triangle_kind& kind, std::size_t n, const matrix<T>& b)
{
    const T nan(std::nan(""));
    const auto a = triangle_over<T>(nan, nan, kind, n);
    matrix<T> x = b;
    numerical::solve_triangle<T>({{a.data.data(), n, n, n}, kind.half, kind.diagonal}, kind.form,
                                 {x.data.data(), n, b.cols, b.cols});
    return x;
}

template <class T>
class triangle_system : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(triangle_system, element_types);

// Orders around the leaves of 64 and, for vectors, 512 and the halves; numbers of right sides
// around those that go as vectors, as a few rows and in tiles.
TYPED_TEST(triangle_system, gives_back_the_right_sides_in_every_form)
{
    using T = TypeParam;
    const std::vector<std::size_t> few{1, 3};
    const std::vector<std::size_t> few_and_many{1, 3, 4, 65};
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 2UL, 7UL, 32UL, 33UL, 64UL, 65UL, 130UL, 512UL, 517UL})
            for (const std::size_t columns : n < 512 ? few_and_many : few)
                for (const triangle_kind& kind : all_kinds()) {
                    const test::path_limit limit(path);
                    const auto b = test::random_matrix<T>(n, columns, 3);
                    const auto x = solved(kind, n, b);
                    const auto a = in_form(triangle_over<T>(0, 1, kind, n), kind.form);
                    const auto product = test::reference_product(a, x);
                    long double error = 0;
                    for (std::size_t i = 0; i < b.data.size(); ++i)
                        error =
                            test::worse<long double>(error, std::abs(product.data[i] - b.data[i]));
                    const long double scale =
                        double(n) * test::norm_inf(a) * test::norm_inf(x) * test::eps;
                    ASSERT_LT(double(error / scale), ratio_limit)
                        << n << " x " << columns << ", path " << path << ", half " << int(kind.half)
                        << ", diagonal " << int(kind.diagonal) << ", form " << int(kind.form);
                }
}

TYPED_TEST(triangle_system, has_the_same_bits_on_any_number_of_threads)
{
    for (const std::size_t columns : {1UL, 2UL, 150UL}) {
        const std::size_t n = 600;
        const auto b = test::random_matrix<TypeParam>(n, columns, 4);
        for (const triangle_kind& kind : all_kinds()) {
            const auto on = [&](std::size_t threads) {
                const test::thread_limit some(threads);
                return solved(kind, n, b).data;
            };
            const auto serial = on(1);
            for (const std::size_t threads : test::thread_counts)
                ASSERT_EQ(on(threads), serial) << columns << " columns, " << threads << " threads";
        }
    }
}

TYPED_TEST(triangle_system, is_singular_where_a_stored_diagonal_has_a_zero)
{
    const std::size_t n = 5;
    numerical::aligned_vector<TypeParam> a(n * n, TypeParam(1));
    const detail::block_view<const TypeParam> view{a.data(), n, n, n};
    EXPECT_FALSE(numerical::is_singular<TypeParam>({view, triangle_half::lower}));
    a[3 * (n + 1)] = 0;
    EXPECT_TRUE(numerical::is_singular<TypeParam>({view, triangle_half::lower}));
    EXPECT_FALSE(
        numerical::is_singular<TypeParam>({view, triangle_half::upper, triangle_diagonal::ones}));
}

TYPED_TEST(triangle_system, of_order_zero_or_without_right_sides_is_left_alone)
{
    const TypeParam one(1);
    TypeParam x(3);
    numerical::solve_triangle<TypeParam>({{&one, 0, 0, 0}, triangle_half::lower},
                                         matrix_form::adjoint, {&x, 0, 1, 1});
    numerical::solve_triangle<TypeParam>({{&one, 1, 1, 1}, triangle_half::lower},
                                         matrix_form::adjoint, {&x, 1, 0, 0});
    EXPECT_EQ(x, TypeParam(3));
}

} // namespace
