#include "numerical/svd/arrow_vectors.hpp"

#include "numerical/strided/transpose.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using numerical::matrix;
using numerical::detail::fill_left_vectors;
using numerical::detail::fill_right_vectors;
using numerical::detail::small_arrow;
using numerical::detail::solve_arrow;

// Poles `spread` apart in relation, the first of them 0.
small_arrow solved(std::size_t size, double spread)
{
    std::vector<double> d(size);
    for (std::size_t i = 1; i < size; ++i)
        d[i] = std::pow(spread, static_cast<double>(size - i));
    std::vector<double> z = test::random_vector<double>(size, unsigned(size));
    for (double& x : z)
        x += std::copysign(0.1, x);
    std::vector<std::size_t> all(size);
    std::iota(all.begin(), all.end(), std::size_t{0});
    return solve_arrow(d, z, all);
}

matrix<double> normalised(matrix<double> columns)
{
    for (std::size_t j = 0; j < columns.cols; ++j) {
        double square = 0;
        for (std::size_t i = 0; i < columns.rows; ++i)
            square += columns.data[i * columns.cols + j] * columns.data[i * columns.cols + j];
        for (std::size_t i = 0; i < columns.rows; ++i)
            columns.data[i * columns.cols + j] /= std::sqrt(square);
    }
    return columns;
}

TEST(arrow_vectors, decompose_the_arrow)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t size : {1, 2, 3, 31, 32, 33, 70})
            for (const double spread : {0.99, 0.5}) {
                const small_arrow arrow = solved(size, spread);
                EXPECT_TRUE(std::is_sorted(arrow.values.begin(), arrow.values.end()));
                std::vector<double> right(size * size);
                std::vector<double> left(size * size);
                fill_right_vectors(arrow, right.data());
                fill_left_vectors(arrow, right.data(), left.data());
                const matrix<double> v = normalised({size, size, right});
                matrix<double> u = normalised({size, size, left});
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

} // namespace
