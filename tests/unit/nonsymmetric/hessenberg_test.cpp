#include "numerical/nonsymmetric/hessenberg.hpp"

#include "general_matrices.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"
#include "paths.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

using numerical::detail::hessenberg_crossover;
using numerical::detail::most_order_of_steps;
using test::complex;
using test::matrix;

// LAPACK's own tests accept ratios below 20 to 30; what is seen here stays far below.
constexpr double accepted = 20;

template <class T>
class hessenberg : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(hessenberg, element_types);

template <class T>
void expect_form(const matrix<T>& a, const numerical::hessenberg_factors<T>& form,
                 const std::string& where)
{
    const std::size_t n = a.rows;
    const auto& [h, q] = form;
    EXPECT_LT(test::similarity_ratio(a, q, h), accepted) << where;
    EXPECT_LT(test::probed_orthogonality_ratio(q), accepted) << where;
    for (std::size_t i = 2; i < n; ++i)
        for (std::size_t j = 0; j + 1 < i; ++j)
            ASSERT_EQ(h.data[i * n + j], T(0)) << where;
}

template <class T>
numerical::hessenberg_factors<T> form_by_panels(matrix<T> a)
{
    const std::size_t n = a.rows;
    auto blocks = numerical::detail::reduce_hessenberg_by_panels<T>({a.data.data(), n, n});
    return {std::move(a),
            {n, n, numerical::detail::hessenberg_basis<T>({n, {}, std::move(blocks)})}};
}

// Below, at and above the orders where passes begin, and where they are cut in strips.
TYPED_TEST(hessenberg, form_of_hard_matrices_is_backward_stable_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {1UL, 2UL, 3UL, 4UL, 17UL, hessenberg_crossover - 1, hessenberg_crossover,
              hessenberg_crossover + 1, hessenberg_crossover + 2, 66UL, 87UL, 88UL, 90UL, 175UL,
              176UL, 178UL, 200UL, 202UL})
            for (const auto& [name, a] : test::gallery<TypeParam>(n)) {
                const std::string where =
                    name + ", n = " + std::to_string(n) + ", path " + std::to_string(path);
                const auto form = numerical::hessenberg_form(a);
                expect_form(a, form, where);
                EXPECT_EQ(numerical::hessenberg_matrix(a).data, form.h.data) << where;
            }
    }
}

TYPED_TEST(hessenberg, form_by_panels_of_hard_matrices_is_backward_stable_on_every_path)
{
    constexpr std::size_t in_one = numerical::detail::row_blocks::most_rows_in_one;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {2UL, 3UL, 24UL, 25UL, 26UL, 96UL, 113UL, in_one + 1, in_one + 2, 2 * in_one + 2})
            for (const auto& [name, a] : test::gallery<TypeParam>(n))
                expect_form(a, form_by_panels(a),
                            name + ", n = " + std::to_string(n) + ", path " + std::to_string(path));
    }
}

// Rows of whole pages are copied to others, and the blocks of rows no longer grow in number.
TYPED_TEST(hessenberg, form_by_panels_of_a_large_matrix_is_backward_stable)
{
    for (const std::size_t n : {512, 1025, 1282}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 7);
        expect_form(a, form_by_panels(a), "n = " + std::to_string(n));
    }
}

TYPED_TEST(hessenberg, form_of_a_large_matrix_is_backward_stable)
{
    constexpr std::size_t most = most_order_of_steps<TypeParam>;
    for (const std::size_t n : {std::size_t{402}, std::size_t{513}, most, most + 1}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 7);
        expect_form(a, numerical::hessenberg_form(a), "n = " + std::to_string(n));
    }
}

// What a column has below the subdiagonal is zero at once, also in the first, so that there is no
// reflector to update with.
TYPED_TEST(hessenberg, form_of_one_is_the_matrix_itself)
{
    for (const std::size_t n : {33, 130, 260}) {
        auto a = test::random_matrix<TypeParam>(n, n, 9);
        for (std::size_t i = 2; i < n; ++i)
            std::fill_n(&a.data[i * n], i - 1, TypeParam(0));
        const auto [h, q] = numerical::hessenberg_form(a);
        EXPECT_EQ(h.data, a.data);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                ASSERT_EQ(q.data[i * n + j], TypeParam(i == j ? 1 : 0));
    }
}

// Below, at and above the orders from which one thread reduces the last columns while the others
// multiply the rows above by blocks of reflectors; with last blocks of one reflector, of few and of
// all, and where a reflector is the identity.
TYPED_TEST(hessenberg, form_has_the_same_bits_at_every_number_of_threads)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {34, 66, 87, 88, 89, 98, 131, 175, 176, 177, 255, 256, 259, 420}) {
            auto a = test::random_matrix<TypeParam>(n, n, 8);
            for (std::size_t i = 21; i < n; ++i)
                a.data[i * n + 19] = TypeParam(0);
            const auto run = [&](std::size_t threads) {
                const test::thread_limit cap(threads);
                const auto form = numerical::hessenberg_form(a);
                return std::pair(form.h.data, form.q.data);
            };
            const auto serial = run(1);
            for (const std::size_t threads : test::thread_counts)
                EXPECT_TRUE(run(threads) == serial) << n << ", " << path << ", " << threads;
        }
    }
}

TYPED_TEST(hessenberg, form_by_panels_has_the_same_bits_at_every_number_of_threads)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto a = test::random_matrix<TypeParam>(420, 420, 8);
        const auto run = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            const auto form = form_by_panels(a);
            return std::pair(form.h.data, form.q.data);
        };
        const auto serial = run(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_TRUE(run(threads) == serial) << path << ", " << threads;
    }
}

} // namespace
