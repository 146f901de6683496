#include "numerical/svd/one_sided_jacobi.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <random>
#include <type_traits>

namespace {

using numerical::convergence_error;
using numerical::detail::one_sided_jacobi;
using test::matrix;
using test::svd_decomposition;
using test::svd_method;

template <class T>
numerical::aligned_vector<T> identity(std::size_t n)
{
    numerical::aligned_vector<T> a(n * n);
    for (std::size_t i = 0; i < n; ++i)
        a[i * n + i] = T(1);
    return a;
}

template <class T>
class jacobi : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(jacobi, element_types);

TYPED_TEST(jacobi, makes_the_columns_orthogonal_by_the_rotations_it_returns)
{
    for (const std::size_t n : {0, 1, 2, 3, 7, 8, 9, 20}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 1);
        auto rotated = a.data;
        auto v = identity<TypeParam>(n);
        one_sided_jacobi(rotated, v, n, 60);
        const matrix<TypeParam> columns(n, n, rotated);
        const matrix<TypeParam> rotations(n, n, v);
        EXPECT_LT(test::orthogonality_ratio(rotations), 5);
        EXPECT_LT(test::difference_ratio(test::reference_product(a, rotations), columns), 5);
        const auto gram = test::reference_product(numerical::detail::adjoint(columns), columns);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < i; ++j)
                EXPECT_LT(std::abs(gram.data[i * n + j]), 1e-14 * double(n));
    }
}

TYPED_TEST(jacobi, out_of_sweeps_is_reported_even_when_the_last_one_would_have_done)
{
    const numerical::aligned_vector<TypeParam> a{1, 1, 0, 1};
    const auto within = [&](std::size_t sweeps) {
        auto rotated = a;
        auto v = identity<TypeParam>(2);
        one_sided_jacobi(rotated, v, 2, sweeps);
    };
    EXPECT_EQ(test::text_thrown_by<convergence_error>([&] { within(1); }),
              "SVD: one-sided Jacobi did not converge within its sweeps");
    EXPECT_NO_THROW(within(3));
}

TYPED_TEST(jacobi, orthogonal_columns_need_no_sweep)
{
    auto a = identity<TypeParam>(6);
    auto v = a;
    one_sided_jacobi(a, v, 6, 1);
    EXPECT_EQ(a, identity<TypeParam>(6));
    EXPECT_EQ(v, identity<TypeParam>(6));
}

TYPED_TEST(jacobi, dependent_columns_end_in_exact_zeros)
{
    for (const std::size_t n : {2, 4, 5, 6, 7, 8, 9, 10, 13, 14, 15, 33}) {
        const auto ones =
            test::filled<TypeParam>(n, n, [](std::size_t, std::size_t) { return 1.0; });
        const svd_decomposition<TypeParam> svd(ones, svd_method::jacobi);
        EXPECT_NEAR(svd.values[0], double(n), 1e-14 * double(n));
        EXPECT_LT(svd.values[1], 1e-15 * double(n));
        EXPECT_LT(test::ratios_of(ones, svd).largest(), 10) << test::ratios_of(ones, svd);
    }
}

TYPED_TEST(jacobi, columns_too_small_to_square_are_separated)
{
    const matrix<TypeParam> two_tiny(3, 3, {1, 0, 0, 0, 1e-200, 1e-200, 0, 0, 1e-200});
    const svd_decomposition<TypeParam> svd(two_tiny, svd_method::jacobi);
    EXPECT_LT(test::ratios_of(two_tiny, svd).largest(), 5) << test::ratios_of(two_tiny, svd);
    for (const std::size_t n : {3, 8, 21})
        for (const double factor : {1e-140, 1e-155, 1e-170, 1e-300, 1e-320}) {
            auto a = test::random_matrix<TypeParam>(n, n, 2);
            for (std::size_t i = 0; i < n; ++i)
                a.data[i * n + n / 2] *= factor;
            const svd_decomposition<TypeParam> with_tiny(a, svd_method::jacobi);
            EXPECT_LT(test::ratios_of(a, with_tiny).largest(), 5) << n << ", " << factor;
        }
}

TYPED_TEST(jacobi, ends_although_rounding_leaves_a_pair_above_one_eps)
{
    const matrix<TypeParam> a(3, 3, {1, 1, 2, 3, -3, 1, 2, -3, 3});
    const svd_decomposition<TypeParam> svd(a, svd_method::jacobi);
    EXPECT_LT(test::ratios_of(a, svd).largest(), 5) << test::ratios_of(a, svd);
}

// One of 10⁴ to 10⁵ such matrices was turned for ever; benchmarks/jacobi_trials tries a million.
TYPED_TEST(jacobi, comes_to_its_end_on_small_integer_matrices)
{
    constexpr std::size_t trials = 20000;
    std::mt19937_64 generator(1);
    for (std::size_t trial = 0; trial < trials; ++trial) {
        const std::size_t n = 2 + trial % 6;
        const int least = trial % 2 == 0 ? 0 : -3; // entries 0 and 1, or -3 to 3
        std::uniform_int_distribution<int> entry(least, least == 0 ? 1 : 3);
        const auto number = [&](std::size_t, std::size_t) { return double(entry(generator)); };
        auto a = test::filled<TypeParam>(n, n, number);
        if constexpr (!std::is_same_v<TypeParam, double>)
            for (TypeParam& x : a.data)
                x += TypeParam(0, number(0, 0));
        const svd_decomposition<TypeParam> svd(a, svd_method::jacobi);
        ASSERT_LT(test::orthogonality_ratio(svd.u), 8) << "trial " << trial;
        ASSERT_LT(test::orthogonality_ratio(svd.v), 8) << "trial " << trial;
    }
}

} // namespace
