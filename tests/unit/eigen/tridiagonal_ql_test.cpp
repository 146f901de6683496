#include "numerical/eigen/tridiagonal_ql.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::tridiagonal_ql;
using values = numerical::aligned_vector<double>;

template <class T>
numerical::aligned_vector<T> identity(std::size_t n)
{
    numerical::aligned_vector<T> rows(n * n);
    for (std::size_t i = 0; i < n; ++i)
        rows[i * n + i] = 1;
    return rows;
}

// The eigenvalues, ascending; rows of vectors are not looked at.
values values_of(values d, values e)
{
    const std::size_t n = d.size();
    auto basis = identity<double>(n);
    tridiagonal_ql(d, e, basis, n, 30 * n);
    EXPECT_EQ(e, values(n, 0.0));
    std::sort(d.begin(), d.end());
    return d;
}

void expect_near(const values& found, const values& expected, double tolerance)
{
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(found[i], expected[i], tolerance + 0x1p-52 * std::abs(expected[i]));
}

TEST(tridiagonal_ql, of_order_0_and_1_does_nothing)
{
    values none;
    numerical::aligned_vector<double> no_basis;
    tridiagonal_ql(none, none, no_basis, 0, 0);
    values d{-4.0};
    values e{0.0};
    numerical::aligned_vector<double> basis{1.0};
    tridiagonal_ql(d, e, basis, 1, 0);
    EXPECT_EQ(d, values{-4.0});
    EXPECT_EQ(basis, numerical::aligned_vector<double>{1.0});
}

TEST(tridiagonal_ql, of_a_diagonal_matrix_takes_no_step)
{
    values d{3, -1, 2};
    values e{0, 0, 0};
    auto basis = test::random_vector<std::complex<double>>(9, 1);
    const auto before = basis;
    tridiagonal_ql(d, e, basis, 3, 0);
    EXPECT_EQ(d, (values{3, -1, 2}));
    EXPECT_EQ(basis, before);
}

TEST(tridiagonal_ql, out_of_steps_leaves_the_basis_alone)
{
    values d{1, 2, 3};
    values e{1, 1, 0};
    auto basis = test::random_vector<double>(9, 1);
    const auto before = basis;
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>(
                  [&] { tridiagonal_ql(d, e, basis, 3, 0); }),
              "symmetric eigendecomposition: QL did not converge within its steps");
    EXPECT_EQ(basis, before);
    d = {1, 2, 3};
    e = {1, 1, 0};
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>(
                  [&] { tridiagonal_ql(d, e, basis, 3, 2); }),
              "symmetric eigendecomposition: QL did not converge within its steps");
}

TEST(tridiagonal_ql, parts_split_by_a_zero_do_not_mix)
{
    values d{1, 2, 5, 7};
    values e{0.5, 0, 0.25, 0};
    auto basis = identity<double>(4);
    tridiagonal_ql(d, e, basis, 4, 120);
    for (std::size_t k = 0; k < 4; ++k)
        for (std::size_t j = 0; j < 4; ++j)
            if ((k < 2) != (j < 2)) {
                EXPECT_EQ(basis[k * 4 + j], 0.0);
            }
}

TEST(tridiagonal_ql, with_equal_diagonal_entries_takes_the_shift_upwards)
{
    // p = 0 in the shift.
    const values found = values_of({1, 1}, {1, 0});
    EXPECT_NEAR(found[0], 0, 1e-16);
    EXPECT_NEAR(found[1], 2, 1e-15);
}

TEST(tridiagonal_ql, of_values_below_every_safe_square)
{
    const double tiny = 0x1p-1000;
    const values found = values_of({tiny, tiny}, {2 * tiny, 0});
    EXPECT_NEAR(found[0] / tiny, -1, 1e-15);
    EXPECT_NEAR(found[1] / tiny, 3, 1e-15);
    const double least = std::numeric_limits<double>::denorm_min();
    for (const values& d : {values{0, 0, 0}, values{1, 1, 1}, values{1, 2, 3}, values{0, 0, 1}})
        for (const double coupling : {1.0, 2.0, 5.0}) {
            const values of_least =
                values_of({d[0] * least, d[1] * least, d[2] * least}, {coupling * least, least, 0});
            EXPECT_LE(
                std::abs(of_least[0] + of_least[1] + of_least[2] - (d[0] + d[1] + d[2]) * least),
                6 * least);
        }
}

TEST(tridiagonal_ql, of_a_coupling_far_below_the_difference_of_its_neighbours)
{
    for (const double small : {1e-160, 1e-200, 1e-300, 1e-320}) {
        expect_near(values_of({small, 1}, {small, 0}), {small, 1}, small);
        expect_near(values_of({0, 1}, {small, 0}), {0, 1}, small);
        expect_near(values_of({small, 1, small}, {small, small, 0}), {small, small, 1}, small);
    }
}

// A rotation of subnormal numbers whose length has a few bits only must be a rotation all the same.
TEST(tridiagonal_ql, turns_the_basis_by_true_rotations_where_the_entries_are_subnormal)
{
    constexpr std::size_t n = 6;
    const double least = std::numeric_limits<double>::denorm_min();
    for (unsigned seed = 0; seed < 20; ++seed) {
        values d = test::integer_vector<double>(n, seed, 5);
        values e = test::integer_vector<double>(n, seed + 100, 5);
        for (std::size_t i = 0; i < n; ++i) {
            d[i] *= least;
            e[i] *= i + 1 < n ? least : 0;
        }
        auto basis = identity<double>(n);
        tridiagonal_ql(d, e, basis, n, 30 * n);
        EXPECT_LT(test::orthogonality_ratio(numerical::matrix<double>(n, n, basis)), 4) << seed;
    }
}

TEST(tridiagonal_ql, finds_the_values_of_the_second_difference)
{
    constexpr std::size_t n = 100;
    values e(n, -1.0);
    e[n - 1] = 0;
    const values found = values_of(values(n, 2.0), e);
    for (std::size_t k = 0; k < n; ++k) {
        const double half_angle = double(k + 1) * 3.14159265358979323846 / (2 * (n + 1));
        EXPECT_NEAR(found[k], 4 * std::pow(std::sin(half_angle), 2), 2e-14);
    }
}

} // namespace
