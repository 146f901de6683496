#pragma once

// What the factors of every QR factorization are held to: `factor` gives q and r of a matrix.

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <cmath>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>
#include <utility>

namespace test {

// Residual and orthogonality in units of ε alone: errors of sums over the rows must not grow with
// their number. Entries of one sign make the most of such errors.
template <class T, class Factor>
void expect_factors_of_long_columns(const Factor& factor, double limit_in_eps)
{
    for (const int path : available_paths())
        for (const auto& [rows, cols] : {std::pair{300000u, 2u}, {40000u, 36u}}) {
            const path_limit limit(path);
            auto a = random_matrix<T>(rows, cols, 1);
            for (T& x : a.data)
                x += T(1.5);
            const auto [q, r] = factor(a);
            double square = 0;
            for (const T& x : a.data)
                square += std::norm(x);
            const double in_eps = double(rows); // of ratios in units of rows·ε
            const double in_norms = double(norm_inf(a)) / std::sqrt(square);
            EXPECT_LT(probed_orthogonality_ratio(q) * in_eps, limit_in_eps)
                << rows << " x " << cols << ", path " << path;
            EXPECT_LT(probed_product_ratio(a, q, r) * in_eps * in_norms, limit_in_eps)
                << rows << " x " << cols << ", path " << path;
        }
}

template <class Matrix, class Factor>
void expect_same_bits_on_any_number_of_threads(const Matrix& a, const Factor& factor)
{
    const auto on = [&](std::size_t threads) {
        const thread_limit some(threads);
        return factor(a);
    };
    const auto serial = on(1);
    for (const std::size_t threads : thread_counts) {
        const auto parallel = on(threads);
        EXPECT_EQ(parallel.q.data, serial.q.data) << a.rows << " on " << threads;
        EXPECT_EQ(parallel.r.data, serial.r.data) << a.rows << " on " << threads;
    }
}

} // namespace test
