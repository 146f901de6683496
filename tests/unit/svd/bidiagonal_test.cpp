#include "numerical/aligned_vector.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/bidiagonal.hpp"

#include "paths.hpp"
#include "svd_cases.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::detail::bidiagonal_bases;
using numerical::detail::bidiagonal_reduction;
using numerical::detail::bidiagonalize;
using numerical::detail::bidiagonalize_blocked;
using numerical::detail::bidiagonalize_fastest;
using numerical::detail::bidiagonalize_unblocked;
using numerical::detail::form_bidiagonal_bases;
using numerical::detail::least_order_of_bidiagonal_steps;
using numerical::detail::least_order_of_panels;
using test::matrix;

constexpr double greatest_ratio = 10;

template <class T>
struct reduced
{
    bidiagonal_reduction<T> form;
    bidiagonal_bases<T> bases;

    explicit reduced(bidiagonal_reduction<T> reduction)
        : form(std::move(reduction)), bases(form_bidiagonal_bases(form))
    {
    }

    matrix<T> left() const { return {form.order, form.order, bases.left}; }

    matrix<T> right() const { return {form.order, form.order, bases.right}; }

    // U·B·Vᴴ from the bases by rows.
    matrix<T> product() const
    {
        const std::size_t n = form.order;
        matrix<T> b(n, n, numerical::aligned_vector<T>(n * n));
        for (std::size_t i = 0; i < n; ++i) {
            b.data[i * n + i] = form.d[i];
            if (i + 1 < n)
                b.data[i * n + i + 1] = form.e[i];
        }
        matrix<T> u = left();
        numerical::detail::transpose_in_place(u.data, n);
        matrix<T> v = right();
        for (T& x : v.data)
            x = numerical::detail::conjugate(x);
        return test::reference_product(u, test::reference_product(b, v));
    }
};

template <class T>
void expect_reduction_of(const matrix<T>& a, const reduced<T>& result)
{
    EXPECT_LT(test::difference_ratio(a, result.product()), greatest_ratio);
    EXPECT_LT(test::orthogonality_ratio(result.left()), greatest_ratio);
    EXPECT_LT(test::orthogonality_ratio(result.right()), greatest_ratio);
    if (result.form.order > 0) {
        EXPECT_EQ(result.form.e.back(), 0.0);
    }
}

template <class T>
class bidiagonal : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(bidiagonal, element_types);

TYPED_TEST(bidiagonal, form_and_bases_give_the_matrix_back_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {0, 1, 2, 3, 31, 33, 63, 64, 65, 127, 128, 129, 160, 161}) {
            SCOPED_TRACE(std::to_string(n) + " on path " + std::to_string(path));
            const auto a = test::random_matrix<TypeParam>(n, n, 1);
            expect_reduction_of(a, reduced<TypeParam>(bidiagonalize(a.data, n)));
        }
    }
}

TYPED_TEST(bidiagonal, panels_give_the_matrix_back_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 31, 32, 33, 64, 65, 129, 161}) {
            SCOPED_TRACE(std::to_string(n) + " on path " + std::to_string(path));
            const auto a = test::random_matrix<TypeParam>(n, n, 1);
            expect_reduction_of(a, reduced<TypeParam>(bidiagonalize_blocked(a.data, n)));
        }
    }
}

TYPED_TEST(bidiagonal, fastest_form_gives_the_matrix_back_on_either_side_of_its_crossover)
{
    constexpr std::size_t first = least_order_of_bidiagonal_steps;
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}, first - 1, first, first + 1,
                                std::size_t{65}, std::size_t{150}}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 7);
        expect_reduction_of(a, reduced<TypeParam>(bidiagonalize_fastest(a.data, n)));
    }
}

TYPED_TEST(bidiagonal, zero_rows_and_columns_inside_a_panel_need_no_reflector)
{
    const std::size_t n = 140;
    auto a = test::random_matrix<TypeParam>(n, n, 2);
    for (std::size_t i = 0; i < n; ++i)
        for (const std::size_t zero : {0, 5, 40, 139}) {
            a.data[i * n + zero] = TypeParam(0);
            a.data[zero * n + i] = TypeParam(0);
        }
    for (const auto form : {bidiagonalize_blocked<TypeParam>, bidiagonalize_fastest<TypeParam>}) {
        const reduced<TypeParam> result(form(a.data, n));
        expect_reduction_of(a, result);
        EXPECT_TRUE(result.form.left_reflectors[0].empty());
        EXPECT_EQ(result.form.d[0], 0.0);
    }
}

TYPED_TEST(bidiagonal, upper_bidiagonal_matrix_is_its_own_form)
{
    for (const std::size_t n : {std::size_t{5}, least_order_of_panels<TypeParam> + 3}) {
        const auto a = test::filled<TypeParam>(n, n, [](std::size_t i, std::size_t j) {
            return i == j ? 2.0 : (j == i + 1 ? 3.0 : 0.0);
        });
        const reduced<TypeParam> result(bidiagonalize(a.data, n));
        EXPECT_EQ(result.form.d, numerical::aligned_vector<double>(n, 2.0));
        numerical::aligned_vector<double> e(n, 3.0);
        e.back() = 0;
        EXPECT_EQ(result.form.e, e);
        for (std::size_t k = 0; k < n; ++k) {
            EXPECT_TRUE(result.form.left_reflectors[k].empty());
            EXPECT_TRUE(result.form.right_reflectors[k].empty());
        }
    }
}

TYPED_TEST(bidiagonal, unblocked_form_has_no_negative_entries)
{
    const std::size_t n = least_order_of_panels<TypeParam> - 1;
    const auto a = test::random_matrix<TypeParam>(n, n, 3);
    const auto form = bidiagonalize(a.data, n);
    EXPECT_GE(*std::min_element(form.d.begin(), form.d.end()), 0);
    EXPECT_GE(*std::min_element(form.e.begin(), form.e.end()), 0);
}

TYPED_TEST(bidiagonal, negative_diagonal_turns_positive_by_the_left_phase)
{
    const auto a = test::filled<TypeParam>(
        3, 3, [](std::size_t i, std::size_t j) { return i == j ? -double(i + 1) : 0.0; });
    const reduced<TypeParam> result(bidiagonalize(a.data, 3));
    EXPECT_EQ(result.form.d, (numerical::aligned_vector<double>{1, 2, 3}));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(result.bases.left[i * 3 + i], TypeParam(-1));
        EXPECT_EQ(result.bases.right[i * 3 + i], TypeParam(1));
    }
}

TYPED_TEST(bidiagonal, blocked_and_unblocked_forms_agree_but_for_signs)
{
    const std::size_t n = 133;
    const auto a = test::random_matrix<TypeParam>(n, n, 4);
    const auto blocked = bidiagonalize_blocked(a.data, n);
    const auto unblocked = bidiagonalize_unblocked(a.data, n);
    for (std::size_t i = 0; i < n; ++i) {
        EXPECT_NEAR(std::abs(blocked.d[i]), unblocked.d[i], 1e-11);
        EXPECT_NEAR(std::abs(blocked.e[i]), unblocked.e[i], 1e-11);
    }
}

TYPED_TEST(bidiagonal, bits_do_not_depend_on_the_number_of_threads)
{
    for (const std::size_t n : {100, 410}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 5);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return reduced<TypeParam>(bidiagonalize(a.data, n));
        };
        const auto one = on(1);
        for (const std::size_t threads : test::thread_counts) {
            const auto many = on(threads);
            EXPECT_EQ(one.form.d, many.form.d) << threads;
            EXPECT_EQ(one.form.e, many.form.e) << threads;
            EXPECT_EQ(one.bases.left, many.bases.left) << threads;
            EXPECT_EQ(one.bases.right, many.bases.right) << threads;
        }
    }
}

TEST(bidiagonal_of_order_one, has_the_modulus_and_the_phase)
{
    const reduced<double> real(bidiagonalize(numerical::aligned_vector<double>{-3}, 1));
    EXPECT_EQ(real.form.d[0], 3);
    EXPECT_EQ(real.bases.left[0], -1);
    EXPECT_EQ(real.bases.right[0], 1);

    using complex = std::complex<double>;
    const reduced<complex> turned(bidiagonalize(numerical::aligned_vector<complex>{{0, 2}}, 1));
    EXPECT_EQ(turned.form.d[0], 2);
    EXPECT_EQ(turned.bases.left[0], complex(0, 1));
    EXPECT_EQ(turned.bases.right[0], complex(1));
}

TEST(bidiagonal_of_blocked_order, keeps_the_signs_of_real_reflections)
{
    const std::size_t n = least_order_of_panels<double>;
    const auto form = bidiagonalize(test::random_vector<double>(n * n, 6), n);
    EXPECT_LT(*std::min_element(form.d.begin(), form.d.end()), 0);
    EXPECT_EQ(form.left_phases, numerical::aligned_vector<double>(n, 1.0));
}

} // namespace
