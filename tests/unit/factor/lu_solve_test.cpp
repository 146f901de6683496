#include "numerical/factor/lu.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::block_sums;
using numerical::lu_decomposition;
using numerical::matrix;
using std::size_t;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// About the edges of groups, kernels, tiles and blocks; 256 has a stride that crowds the cache.
const std::vector<size_t> orders{1, 2, 3, 7, 8, 9, 16, 31, 32, 33, 63, 64, 65, 129, 256, 257};

template <class T>
class lu_solve : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(lu_solve, element_types);

constexpr block_sums all_sums[] = {block_sums::in_order, block_sums::in_any_order};

template <class T>
matrix<T> solution(const matrix<T>& a, const matrix<T>& b, block_sums sums = block_sums::in_order)
{
    const lu_decomposition<T> lu{matrix<T>(a)};
    return matrix<T>(b.rows, b.cols, lu.solve_matrix(b.data.data(), b.cols, sums));
}

template <class T>
matrix<T> inverse_of(matrix<T> a, block_sums sums = block_sums::in_order)
{
    return lu_decomposition<T>(std::move(a)).inverse(sums);
}

// ‖B - A·X‖ / ((‖A‖·‖X‖ + ‖B‖)·n·ε), the backward error of the solution.
template <class T>
double residual_ratio(const matrix<T>& a, const matrix<T>& x, const matrix<T>& b)
{
    auto residual = test::reference_product(a, x);
    for (size_t i = 0; i < b.data.size(); ++i)
        residual.data[i] -= b.data[i];
    const long double scale = test::norm_inf(a) * test::norm_inf(x) + test::norm_inf(b);
    const auto n = (long double)(a.rows);
    return static_cast<double>(test::norm_inf(residual) / (scale * n * test::eps));
}

// ‖B - A·X·B‖ / (‖A‖·‖X‖·‖B‖·n·ε) on probes B, for an X that should be the inverse of A.
template <class T>
double inverse_ratio(const matrix<T>& a, const matrix<T>& x)
{
    const auto b = test::probes<T>(a.rows);
    const long double error =
        test::largest_difference<T>(b, test::wide_product(a, test::wide_product(x, b)));
    const long double scale = test::norm_inf(a) * test::norm_inf(x) * (long double)(a.rows);
    return a.rows == 0 ? 0 : static_cast<double>(error / (scale * test::eps));
}

TYPED_TEST(lu_solve, leaves_a_small_residual_for_every_count_of_right_sides)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const size_t n : orders) {
            const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n));
            for (const size_t columns : {1, 2, 16, 17, 65}) {
                const auto b = test::random_matrix<TypeParam>(n, columns, 7);
                for (const block_sums sums : all_sums)
                    EXPECT_LT(residual_ratio(a, solution(a, b, sums), b), 1)
                        << n << 'x' << columns << " path " << path;
            }
        }
    }
}

TYPED_TEST(lu_solve, of_one_vector_leaves_a_small_residual)
{
    for (const size_t n : orders) {
        const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n));
        const auto b = test::random_matrix<TypeParam>(n, 1, 8);
        const lu_decomposition<TypeParam> lu{matrix<TypeParam>(a)};
        const matrix<TypeParam> x(n, 1, lu.solve_vector(b.data));
        EXPECT_LT(residual_ratio(a, x, b), 1) << n;
    }
}

// The vector's substitution word for word: products in ascending order, each rounded.
template <class T>
numerical::aligned_vector<T> substituted(const lu_decomposition<T>& lu,
                                         const numerical::aligned_vector<T>& b)
{
    const size_t n = lu.order;
    numerical::aligned_vector<T> y(n);
    for (size_t i = 0; i < n; ++i) {
        y[i] = b[lu.permutation[i]];
        for (size_t k = 0; k < i; ++k)
            y[i] -= lu.factors.view()(i, k) * y[k];
    }
    for (size_t i = n; i-- > 0;) {
        for (size_t k = i + 1; k < n; ++k)
            y[i] -= lu.factors.view()(i, k) * y[k];
        y[i] /= lu.factors.view()(i, i);
    }
    return y;
}

TYPED_TEST(lu_solve, of_one_vector_subtracts_in_ascending_order)
{
    for (const size_t n : {1, 3, 4, 5, 7, 8, 9, 50, 131}) {
        const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(n, n, unsigned(n)));
        const auto b = test::random_vector<TypeParam>(n, 9);
        EXPECT_EQ(lu.solve_vector(b), substituted(lu, b)) << n;
    }
}

// Right-hand sides whose rows would crowd the sets of a cache are solved for in rows farther apart:
// each column is the same with one more beside it, where they are not.
TYPED_TEST(lu_solve, of_columns_that_crowd_the_cache_is_the_same)
{
    constexpr size_t crowding = 2048 / sizeof(TypeParam);
    for (const int path : test::available_paths())
        for (const size_t n : {5, 70, int(crowding)}) {
            const test::path_limit limit(path);
            const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(n, n, 3));
            const auto b = test::random_matrix<TypeParam>(n, crowding + 1, 4);
            const numerical::detail::block_view<const TypeParam> all{b.data.data(), n, b.cols};
            const auto fewer = test::elements_of(all.sub(0, n, 0, crowding));
            const auto x = lu.solve_matrix(b.data.data(), crowding + 1);
            const numerical::detail::block_view<const TypeParam> found{x.data(), n, b.cols};
            EXPECT_TRUE(lu.solve_matrix(fewer.data(), crowding) ==
                        test::elements_of(found.sub(0, n, 0, crowding)))
                << n << " path " << path;
        }
}

// Substitution with several right sides, an element at a time: L's products in ascending order,
// then U's by blocks from the right, ascending in each; all fused on a vector path.
numerical::aligned_vector<double> substituted_by_blocks(const lu_decomposition<double>& lu,
                                                        const numerical::aligned_vector<double>& b,
                                                        size_t columns, bool fused)
{
    const size_t n = lu.order;
    const numerical::detail::block_view<const double> f = lu.factors.view();
    numerical::aligned_vector<double> x(n * columns);
    const auto subtract = [&](size_t i, size_t k, size_t c) {
        double& sum = x[i * columns + c];
        const double term = x[k * columns + c];
        sum = fused ? std::fma(-f(i, k), term, sum) : sum - f(i, k) * term;
    };
    for (size_t c = 0; c < columns; ++c) {
        for (size_t i = 0; i < n; ++i) {
            x[i * columns + c] = b[lu.permutation[i] * columns + c];
            for (size_t k = 0; k < i; ++k)
                subtract(i, k, c);
        }
        for (size_t i = n; i-- > 0;) {
            for (size_t from = (n - 1) / lu.block * lu.block;; from -= lu.block) {
                for (size_t k = std::max(i + 1, from); k < std::min(n, from + lu.block); ++k)
                    subtract(i, k, c);
                if (from <= i + 1)
                    break;
            }
            x[i * columns + c] /= f(i, i);
        }
    }
    return x;
}

// Up to 16 columns go directly on a vector path, more of them in blocks by way of products, which
// here are all large enough for tiles: both meet the elements of a row in the same order.
TEST(lu_solve_of_few_columns, meets_the_blocks_of_u_from_the_right)
{
    for (const int path : test::available_paths())
        for (const size_t n : {1, 7, 40, 72, 136, 320}) {
            const test::path_limit limit(path);
            const lu_decomposition<double> lu(test::random_matrix<double>(n, n, unsigned(n)));
            for (const size_t columns : {1, 2, 7, 16, 17, 24}) {
                const bool fused = path != numerical::detail::portable_path;
                const auto b = test::random_vector<double>(n * columns, 3);
                EXPECT_EQ(lu.solve_matrix(b.data(), columns),
                          substituted_by_blocks(lu, b, columns, fused))
                    << n << 'x' << columns << " path " << path;
            }
        }
}

// An infinity in the right side makes complex products that only the full rules recover.
TYPED_TEST(lu_solve, of_one_vector_keeps_the_rules_of_infinities)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const auto bits = [](double x) { return std::isnan(x) ? nan : x; };
    for (const size_t n : {2, 9, 30})
        for (const size_t place : {size_t{0}, n / 2, n - 1}) {
            const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(n, n, 5));
            auto b = test::random_vector<TypeParam>(n, 9);
            b[place] = infinity;
            const auto x = lu.solve_vector(b);
            const auto expected = substituted(lu, b);
            for (size_t i = 0; i < n; ++i) {
                EXPECT_EQ(std::to_string(bits(std::real(x[i]))),
                          std::to_string(bits(std::real(expected[i]))));
                EXPECT_EQ(std::to_string(bits(std::imag(x[i]))),
                          std::to_string(bits(std::imag(expected[i]))));
            }
        }
}

TYPED_TEST(lu_solve, of_order_0_gives_nothing)
{
    const lu_decomposition<TypeParam> lu(matrix<TypeParam>(0, 0, {}));
    EXPECT_TRUE(lu.solve_vector({}).empty());
    EXPECT_TRUE(lu.solve_matrix(nullptr, 0).empty());
    EXPECT_TRUE(lu.solve_matrix(nullptr, 3).empty());
    EXPECT_TRUE(lu.solve_matrix(nullptr, 100).empty());
    EXPECT_TRUE(inverse_of(matrix<TypeParam>(0, 0, {})).data.empty());
}

TYPED_TEST(lu_solve, of_no_right_sides_gives_nothing)
{
    for (const size_t n : {1, 40, 300}) {
        const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(n, n, 1));
        EXPECT_TRUE(lu.solve_matrix(nullptr, 0).empty());
    }
}

TYPED_TEST(lu_solve, hands_a_nan_of_the_right_side_on_to_its_own_column)
{
    for (const size_t columns : {2, 20}) {
        const size_t n = 70;
        auto b = test::random_matrix<TypeParam>(n, columns, 3);
        b.data[5 * columns] = nan;
        const auto x = solution(test::random_matrix<TypeParam>(n, n, 2), b);
        EXPECT_TRUE(std::isnan(std::real(x.data[0])));
        EXPECT_TRUE(std::isfinite(std::real(x.data[1])));
        EXPECT_TRUE(std::isfinite(std::real(x.data[n * columns - 1])));
    }
}

// A has two diagonals of small integers, so that nothing is ever rounded and both
// ways, direct and blocked, must give the exact solution.
TYPED_TEST(lu_solve, is_exact_on_small_integers_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const size_t n : {5, 33, 70})
            for (const size_t columns : {1, 3, 16, 17, 64, 66}) {
                matrix<TypeParam> a(n, n, numerical::aligned_vector<TypeParam>(n * n));
                for (size_t i = 0; i < n; ++i) { // bidiagonal: 2 on the diagonal, 1 beside it
                    a.data[i * n + i] = TypeParam(2);
                    if (i + 1 < n)
                        a.data[i * n + i + 1] = TypeParam(1);
                }
                const matrix<TypeParam> x(n, columns,
                                          test::integer_vector<TypeParam>(n * columns, 4));
                const auto b = test::reference_product(a, x);
                EXPECT_EQ(solution(a, b).data, x.data) << n << 'x' << columns << " path " << path;
            }
    }
}

TYPED_TEST(lu_solve, survives_hard_matrices)
{
    for (const size_t n : {20, 150}) {
        const auto random = test::random_matrix<TypeParam>(n, n, 5);
        const auto b = test::random_matrix<TypeParam>(n, 18, 6);
        for (const double factor : {1e-300, 1e-150, 1e150}) {
            const auto a = test::scaled(random, factor);
            EXPECT_LT(residual_ratio(a, solution(a, b), b), 1) << n << ' ' << factor;
        }
        const auto huge = test::scaled(random, 1e300);
        const auto huge_b = test::scaled(b, 1e300);
        EXPECT_LT(residual_ratio(huge, solution(huge, huge_b), huge_b), 1) << n;
        const auto graded = test::graded_matrix<TypeParam>(n, n, 6, 8);
        EXPECT_LT(residual_ratio(graded, solution(graded, b), b), 1) << n;
    }
}

// Whether X has the same bits on any number of threads.
template <class T>
void expect_bits_alike(size_t n, const std::vector<size_t>& column_counts)
{
    const auto a = test::random_matrix<T>(n, n, 3);
    for (const size_t columns : column_counts) {
        const auto b = test::random_matrix<T>(n, columns, 4);
        for (const block_sums sums : all_sums) {
            numerical::aligned_vector<T> first;
            for (const size_t threads : test::thread_counts) {
                const test::thread_limit limit(threads);
                const auto x = solution(a, b, sums).data;
                if (first.empty())
                    first = x;
                EXPECT_TRUE(first == x) << n << ' ' << columns << ' ' << threads;
            }
        }
    }
}

// Two threads take strips from 128 columns on, three from 192 on.
TYPED_TEST(lu_solve, has_the_same_bits_for_every_number_of_threads)
{
    expect_bits_alike<TypeParam>(256, {16, 17, 127, 128, 129, 191, 192, 193, 300});
}

// Products with the last rows or columns are so small that their width decides how they are summed.
TYPED_TEST(lu_solve, has_the_same_bits_where_the_last_tile_is_narrow)
{
    for (const size_t n : {65, 66, 129})
        expect_bits_alike<TypeParam>(n, {513, 514, 527, 528, 529, 1025});
}

TYPED_TEST(lu_solve, inverse_is_one_from_both_sides_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const size_t n : orders) {
            const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n) + 2);
            for (const block_sums sums : all_sums) {
                const auto x = inverse_of(a, sums);
                EXPECT_LT(inverse_ratio(a, x), 1) << n << " path " << path;
                EXPECT_LT(inverse_ratio(x, a), 1) << n << " path " << path;
            }
        }
    }
}

TYPED_TEST(lu_solve, inverse_of_a_permutation_is_exact)
{
    for (const size_t n : {2, 33, 64, 100, 300}) {
        std::vector<size_t> target(n);
        for (size_t i = 0; i < n; ++i)
            target[i] = i;
        std::shuffle(target.begin(), target.end(), std::mt19937_64(n));
        matrix<TypeParam> p(n, n, numerical::aligned_vector<TypeParam>(n * n));
        matrix<TypeParam> transpose = p;
        for (size_t i = 0; i < n; ++i) {
            p.data[i * n + target[i]] = TypeParam(1);
            transpose.data[target[i] * n + i] = TypeParam(1);
        }
        EXPECT_EQ(inverse_of(p).data, transpose.data) << n;
    }
}

TYPED_TEST(lu_solve, inverse_has_the_same_bits_for_every_number_of_threads)
{
    for (const size_t n : {127, 128, 129, 191, 192, 193, 300}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 3);
        for (const block_sums sums : all_sums) {
            numerical::aligned_vector<TypeParam> first;
            for (const size_t threads : test::thread_counts) {
                const test::thread_limit limit(threads);
                const auto x = inverse_of(a, sums).data;
                if (first.empty())
                    first = x;
                EXPECT_TRUE(first == x) << n << ' ' << threads;
            }
        }
    }
}

} // namespace
