#include "numerical/svd/arrow_vectors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/transpose.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using numerical::matrix;
using numerical::detail::arrow_vectors;
using numerical::detail::column_order;
using numerical::detail::index_range;
using numerical::detail::small_arrow;
using numerical::detail::small_vector_rows;
using numerical::detail::solve_arrow;

// Poles `spread` apart in relation, the first of them 0.
small_arrow solved(std::size_t size, double spread)
{
    numerical::aligned_vector<double> d(size);
    for (std::size_t i = 1; i < size; ++i)
        d[i] = std::pow(spread, static_cast<double>(size - i));
    numerical::aligned_vector<double> z = test::random_vector<double>(size, unsigned(size));
    for (double& x : z)
        x += std::copysign(0.1, x);
    std::vector<std::size_t> all(size);
    std::iota(all.begin(), all.end(), std::size_t{0});
    return solve_arrow(d, z, all);
}

matrix<double> matrix_of(const small_vector_rows& fill_row, std::size_t rows, std::size_t cols)
{
    numerical::aligned_vector<double> a(rows * cols);
    for (std::size_t i = 0; i < rows; ++i)
        fill_row(i, a.data() + i * cols);
    return {rows, cols, a};
}

TEST(arrow_vectors, decompose_the_arrow)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t size : {1, 2, 3, 31, 32, 33, 70})
            for (const double spread : {0.99, 0.5}) {
                const small_arrow arrow = solved(size, spread);
                EXPECT_TRUE(std::is_sorted(arrow.values.begin(), arrow.values.end()));
                numerical::aligned_vector<double> store(size * size);
                const arrow_vectors vectors(arrow, {0, size}, column_order::ascending,
                                            store.data());
                const matrix<double> v = matrix_of(vectors.right_rows(), size, size);
                matrix<double> u = matrix_of(vectors.left_rows(), size, size);
                EXPECT_LT(test::orthogonality_ratio(v), 5) << size << ", " << spread;
                EXPECT_LT(test::orthogonality_ratio(u), 5) << size << ", " << spread;
                for (std::size_t i = 0; i < u.data.size(); ++i)
                    u.data[i] *= arrow.values[i % size];
                const auto a = test::filled<double>(size, size, [&](std::size_t i, std::size_t j) {
                    return i == 0 ? arrow.z[j] : (i == j ? arrow.d[i] : 0.0);
                });
                const auto product = test::reference_product(u, numerical::detail::adjoint(v));
                EXPECT_LT(test::difference_ratio(a, product), 5) << size << ", " << spread;
            }
    }
}

TEST(arrow_vectors, of_some_values_are_those_among_all)
{
    constexpr std::size_t size = 40;
    const small_arrow arrow = solved(size, 0.9);
    numerical::aligned_vector<double> store(size * size);
    const arrow_vectors vectors(arrow, {0, size}, column_order::ascending, store.data());
    const matrix<double> u = matrix_of(vectors.left_rows(), size, size);
    const matrix<double> v = matrix_of(vectors.right_rows(), size, size);
    for (const index_range& range :
         {index_range{0, 1}, index_range{3, 39}, index_range{39, 40}, index_range{5, 5}}) {
        numerical::aligned_vector<double> part(size * range.count());
        const arrow_vectors some(arrow, range, column_order::ascending, part.data());
        const auto some_u = matrix_of(some.left_rows(), size, range.count());
        const auto some_v = matrix_of(some.right_rows(), size, range.count());
        for (std::size_t i = 0; i < size; ++i)
            for (std::size_t q = range.first; q < range.last; ++q) {
                const std::size_t place = i * range.count() + q - range.first;
                EXPECT_EQ(some_u.data[place], u.data[i * size + q]) << i << ", " << q;
                EXPECT_EQ(some_v.data[place], v.data[i * size + q]) << i << ", " << q;
            }
    }
}

TEST(arrow_vectors, descend_as_the_mirror_image)
{
    constexpr std::size_t size = 35;
    const small_arrow arrow = solved(size, 0.9);
    numerical::aligned_vector<double> up(size * size);
    numerical::aligned_vector<double> down(size * size);
    const arrow_vectors rising(arrow, {0, size}, column_order::ascending, up.data());
    const arrow_vectors falling(arrow, {0, size}, column_order::descending, down.data());
    matrix<double> u = matrix_of(rising.left_rows(), size, size);
    matrix<double> v = matrix_of(rising.right_rows(), size, size);
    numerical::detail::reverse_columns({u.data.data(), size, size});
    numerical::detail::reverse_columns({v.data.data(), size, size});
    EXPECT_EQ(matrix_of(falling.left_rows(), size, size).data, u.data);
    EXPECT_EQ(matrix_of(falling.right_rows(), size, size).data, v.data);
}

// The forms round alike, operation by operation.
TEST(arrow_vectors, have_the_same_bits_on_every_path)
{
    for (const std::size_t size : {1, 5, 33, 70}) {
        matrix<double> expected_u(0, 0, {});
        matrix<double> expected_v(0, 0, {});
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const small_arrow arrow = solved(size, 0.8);
            numerical::aligned_vector<double> store(size * size);
            const arrow_vectors vectors(arrow, {0, size}, column_order::ascending, store.data());
            const matrix<double> u = matrix_of(vectors.left_rows(), size, size);
            const matrix<double> v = matrix_of(vectors.right_rows(), size, size);
            if (expected_u.rows == 0) {
                expected_u = u;
                expected_v = v;
            }
            EXPECT_EQ(u.data, expected_u.data) << "path " << path << ", " << size;
            EXPECT_EQ(v.data, expected_v.data) << "path " << path << ", " << size;
        }
    }
}

} // namespace
