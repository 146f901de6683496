#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/matrix_functions/matrix_equations.hpp"
#include "numerical/matrix_functions/triangular_sylvester.hpp"
#include "numerical/nonsymmetric/small_system.hpp"
#include "numerical/strided/matrix_view.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numerical::matrix;
using complex = std::complex<double>;
using test::wide;

constexpr double accepted = 2;

// An upper triangle with eigenvalues about `centre`; of a real one every third and fourth row holds
// a pair, so that all cuts of the recursion meet some.
template <class T>
matrix<T> triangle(std::size_t n, double centre, unsigned seed)
{
    matrix<T> t = test::random_matrix<T>(n, n, seed);
    for (std::size_t i = 0; i < n; ++i) {
        t.data[i * n + i] += centre;
        std::fill_n(t.data.begin() + std::ptrdiff_t(i * n), i, T(0));
    }
    if constexpr (std::is_same_v<T, double>)
        for (std::size_t i = 2; i + 1 < n; i += 4) {
            t.data[(i + 1) * n + i + 1] = t.data[i * n + i];
            t.data[i * n + i + 1] = 0.7;
            t.data[(i + 1) * n + i] = -1.3;
        }
    return t;
}

// The equation's left side in wider precision.
template <matrix_equation E, class T>
std::vector<wide<T>> left_side(const matrix<T>& r, const matrix<T>& s, const matrix<T>& y)
{
    const std::size_t n = s.rows;
    std::vector<wide<T>> columns(s.data.begin(), s.data.end());
    const auto y_s = test::wide_product(y, columns);
    std::vector<wide<T>> wide_y(y.data.begin(), y.data.end());
    if (E == matrix_equation::stein) {
        auto sum = test::wide_product(r, y_s);
        for (std::size_t i = 0; i < sum.size(); ++i)
            sum[i] -= wide_y[i];
        return sum;
    }
    auto sum = test::wide_product(r, wide_y);
    for (std::size_t i = 0; i < r.rows * n; ++i)
        sum[i] += y_s[i];
    return sum;
}

template <matrix_equation E, class T>
double residual_ratio(const matrix<T>& r, const matrix<T>& s, const matrix<T>& y,
                      const matrix<T>& f)
{
    const std::vector<wide<T>> expected(f.data.begin(), f.data.end());
    const auto error = test::largest_difference<T>(left_side<E>(r, s, y), expected);
    const auto size = static_cast<long double>(r.rows + s.rows);
    const long double norms = E == matrix_equation::stein
                                  ? test::norm_inf(r) * test::norm_inf(s) + 1
                                  : test::norm_inf(r) + test::norm_inf(s);
    return static_cast<double>(error / (size * test::eps * norms * test::norm_inf(y)));
}

template <class T>
class triangular_sylvester : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(triangular_sylvester, element_types);

constexpr std::size_t leaf = sylvester_leaf;

TYPED_TEST(triangular_sylvester, solves_both_equations_at_every_crossover_on_every_path)
{
    using T = TypeParam;
    const std::vector<std::pair<std::size_t, std::size_t>> shapes{
        {1, 1},           {1, 4},           {4, 1},
        {3, 3},           {leaf - 1, leaf}, {leaf, leaf},
        {leaf + 1, leaf}, {leaf, leaf + 1}, {2 * leaf + 1, 2 * leaf + 2},
        {3, 2 * leaf},    {5 * leaf, 7},    {100, 90}};
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [m, n] : shapes) {
            const matrix<T> r = triangle<T>(m, 3, 1);
            const matrix<T> s = triangle<T>(n, 3, 2);
            const matrix<T> f = test::random_matrix<T>(m, n, 3);
            matrix<T> y = f;
            ASSERT_TRUE((solve_triangular<matrix_equation::sylvester, T>(view_of(r), view_of(s),
                                                                         view_of(y), 0)));
            EXPECT_LT((residual_ratio<matrix_equation::sylvester>(r, s, y, f)), accepted)
                << m << " × " << n << ", path " << path;
            y = f;
            ASSERT_TRUE((solve_triangular<matrix_equation::stein, T>(view_of(r), view_of(s),
                                                                     view_of(y), 0)));
            EXPECT_LT((residual_ratio<matrix_equation::stein>(r, s, y, f)), accepted)
                << m << " × " << n << ", path " << path;
        }
    }
}

// Rows of a wider array: what stands beside the blocks must neither be read nor written.
TYPED_TEST(triangular_sylvester, keeps_to_its_blocks)
{
    using T = TypeParam;
    constexpr std::size_t n = leaf + 5;
    constexpr std::size_t stride = n + 3;
    const matrix<T> r = triangle<T>(n, 3, 1);
    const matrix<T> f = test::random_matrix<T>(n, n, 3);
    const auto framed = [&](const matrix<T>& a) {
        matrix<T> wide_rows(n, stride, numerical::aligned_vector<T>(n * stride, T(std::nan(""))));
        for (std::size_t i = 0; i < n; ++i)
            std::copy_n(a.data.data() + i * n, n, wide_rows.data.data() + i * stride);
        return wide_rows;
    };
    matrix<T> y = f;
    const matrix<T> framed_r = framed(r);
    matrix<T> framed_y = framed(f);
    ASSERT_TRUE(
        (solve_triangular<matrix_equation::sylvester, T>(view_of(r), view_of(r), view_of(y), 0)));
    ASSERT_TRUE((solve_triangular<matrix_equation::sylvester, T>(
        view_of(framed_r).sub(0, n, 0, n), view_of(framed_r).sub(0, n, 0, n),
        view_of(framed_y).sub(0, n, 0, n), 0)));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < stride; ++j) {
            const T found = framed_y.data[i * stride + j];
            if (j < n)
                EXPECT_EQ(found, y.data[i * n + j]);
            else
                EXPECT_TRUE(std::isnan(real_part(found)));
        }
}

TYPED_TEST(triangular_sylvester, has_no_solution_where_a_pivot_vanishes_before_a_right_side)
{
    using T = TypeParam;
    const matrix<T> r(1, 1, {T(2)});
    const matrix<T> s(1, 1, {T(-2)});
    const auto solvable = [&](double right_side, double least, const matrix<T>& coefficient) {
        matrix<T> f(1, 1, {T(right_side)});
        const bool solved = solve_triangular<matrix_equation::sylvester, T>(
            view_of(r), view_of(coefficient), view_of(f), least);
        EXPECT_TRUE(!solved || right_side != 0 || f.data[0] == T(0));
        return solved;
    };
    EXPECT_FALSE(solvable(1, 0, s));
    EXPECT_TRUE(solvable(0, 0, s));
    const matrix<T> close(1, 1, {T(-2 + 0x1p-40)});
    EXPECT_TRUE(solvable(1, 0x1p-41, close));
    EXPECT_FALSE(solvable(1, 0x1p-39, close));
}

// --- small systems -------------------------------------------------------------------------------
TEST(small_system, is_solved_with_the_largest_pivots)
{
    // Without pivoting the first element would lose all digits.
    const small_system system{2, {{{1e-20, 1}, {1, 1}}}, {1, 2}};
    const small_solution solution = solve(system, 0);
    EXPECT_FALSE(solution.singular);
    EXPECT_DOUBLE_EQ(solution.x[0], 1);
    EXPECT_DOUBLE_EQ(solution.x[1], 1);
}

TEST(small_system, reports_a_pivot_that_had_to_be_replaced)
{
    const small_system system{2, {{{1, 2}, {2, 4}}}, {1, 2}};
    EXPECT_TRUE(solve(system, 0).singular);
    EXPECT_TRUE(solve(system, 1e-3).singular);
    EXPECT_TRUE(std::isfinite(solve(system, 1e-3).x[0]));
}

TEST(small_system, solves_four_equations)
{
    small_system system{4, {{{0, 2, 0, 1}, {1, 0, 3, 0}, {0, 1, 0, -1}, {2, 0, 1, 5}}}, {}};
    const std::array<double, 4> expected{1, -2, 3, 4};
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 4; ++j)
            system.b[i] += system.a[i][j] * expected[j];
    const small_solution solution = solve(system, 0);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(solution.x[i], expected[i], 1e-14);
}

// --- what the equations of matrices refuse -------------------------------------------------------
TEST(matrix_equations, refuse_shapes_that_do_not_fit)
{
    const auto random = [](std::size_t rows, std::size_t cols) {
        return test::random_matrix<double>(rows, cols, 1);
    };
    const auto text = [](const auto& action) {
        return test::text_thrown_by<numerical::dimension_error>(action);
    };
    EXPECT_EQ(text([&] { numerical::solve_sylvester(random(2, 3), random(2, 2), random(2, 2)); }),
              "solve_sylvester requires square coefficients");
    EXPECT_EQ(text([&] { numerical::solve_sylvester(random(2, 2), random(3, 2), random(2, 2)); }),
              "solve_sylvester requires square coefficients");
    EXPECT_EQ(text([&] { numerical::solve_sylvester(random(2, 2), random(3, 3), random(3, 2)); }),
              "solve_sylvester: the right-hand side doesn't fit the coefficients");
    EXPECT_EQ(text([&] { numerical::solve_continuous_lyapunov(random(2, 2), random(2, 3)); }),
              "solve_continuous_lyapunov: the right-hand side doesn't fit the coefficients");
    EXPECT_EQ(text([&] { numerical::solve_discrete_lyapunov(random(2, 2), random(3, 2)); }),
              "solve_discrete_lyapunov: the right-hand side doesn't fit the coefficients");
}

} // namespace
