#pragma once

// Matrices that singular value decompositions go wrong on, and how far a decomposition is off.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/svd.hpp"
#include "ratios.hpp"
#include "sample.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace test {

using numerical::matrix;
using numerical::svd_decomposition;
using numerical::svd_method;

inline const std::vector<svd_method> svd_methods{svd_method::bidiagonal_qr, svd_method::jacobi,
                                                 svd_method::divide_and_conquer};

inline const char* name_of(svd_method method)
{
    switch (method) {
    case svd_method::bidiagonal_qr:
        return "bidiagonal_qr";
    case svd_method::jacobi:
        return "jacobi";
    default:
        return "divide_and_conquer";
    }
}

struct extents
{
    std::size_t rows;
    std::size_t cols;
};

// Of the matrices that least squares and pseudo-inverses are tried on.
constexpr extents wide_and_tall_shapes[] = {{1, 1},   {5, 5},   {40, 40}, {60, 30},
                                            {30, 60}, {200, 3}, {3, 200}};

template <class T>
double largest_difference(const matrix<T>& a, const matrix<T>& b)
{
    double largest = 0;
    for (std::size_t i = 0; i < a.data.size(); ++i)
        largest = worse(largest, std::abs(a.data[i] - b.data[i]));
    return largest;
}

struct svd_ratios
{
    double residual;
    double left;
    double right;

    double largest() const { return worse(residual, worse(left, right)); }
};

inline std::ostream& operator<<(std::ostream& out, const svd_ratios& ratios)
{
    return out << "|A - USV*| " << ratios.residual << ", |I - U*U| " << ratios.left
               << ", |I - V*V| " << ratios.right;
}

// diag(S)·Vᴴ
template <class T>
matrix<T> scaled_right(const svd_decomposition<T>& svd)
{
    matrix<T> right = numerical::detail::adjoint(svd.v);
    for (std::size_t i = 0; i < right.rows; ++i)
        for (std::size_t j = 0; j < right.cols; ++j)
            right.data[i * right.cols + j] *= svd.values[i];
    return right;
}

// Full products in wider precision for small matrices, probes for larger ones.
template <class T>
svd_ratios ratios_of(const matrix<T>& a, const svd_decomposition<T>& svd)
{
    if (std::max(a.rows, a.cols) <= 66)
        return {difference_ratio(a, reference_product(svd.u, scaled_right(svd))),
                orthogonality_ratio(svd.u), orthogonality_ratio(svd.v)};
    return {probed_product_ratio(a, svd.u, scaled_right(svd)), probed_orthogonality_ratio(svd.u),
            probed_orthogonality_ratio(svd.v)};
}

// Random orthonormal columns: the reflectors of random vectors applied to the identity.
template <class T>
matrix<T> random_orthonormal(std::size_t rows, std::size_t cols, unsigned seed)
{
    matrix<T> q(rows, cols, numerical::aligned_vector<T>(rows * cols));
    for (std::size_t i = 0; i < std::min(rows, cols); ++i)
        q.data[i * cols + i] = T(1);
    for (unsigned pass = 0; pass < 4; ++pass) {
        const auto v = random_vector<T>(rows, seed + pass);
        double square = 0;
        for (const T& x : v)
            square += std::norm(x);
        for (std::size_t j = 0; j < cols; ++j) {
            T along = 0;
            for (std::size_t i = 0; i < rows; ++i)
                along += numerical::detail::conjugate(v[i]) * q.data[i * cols + j];
            along *= 2 / square;
            for (std::size_t i = 0; i < rows; ++i)
                q.data[i * cols + j] -= v[i] * along;
        }
    }
    return q;
}

// With the given singular values, to rounding.
template <class T>
matrix<T> with_values(std::size_t rows, std::size_t cols,
                      const numerical::aligned_vector<double>& values, unsigned seed)
{
    const std::size_t k = std::min(rows, cols);
    matrix<T> left = random_orthonormal<T>(rows, k, seed);
    const matrix<T> right = random_orthonormal<T>(cols, k, seed + 100);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < k; ++j)
            left.data[i * k + j] *= values[j];
    return left * numerical::detail::adjoint(right);
}

template <class T>
struct named_matrix
{
    std::string name;
    matrix<T> a;
};

template <class T>
matrix<T> filled(std::size_t rows, std::size_t cols,
                 const std::function<double(std::size_t, std::size_t)>& entry)
{
    matrix<T> a(rows, cols, numerical::aligned_vector<T>(rows * cols));
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            a.data[i * cols + j] = entry(i, j);
    return a;
}

// Entry i of n falling from 1 by powers to 10^-decades.
inline numerical::aligned_vector<double> geometric_values(std::size_t n, double decades)
{
    numerical::aligned_vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i)
        values[i] = n < 2 ? 1.0 : std::pow(10.0, -decades * double(i) / double(n - 1));
    return values;
}

inline numerical::aligned_vector<double> clustered_values(std::size_t n)
{
    numerical::aligned_vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i)
        values[i] = 1 + eps * double(i);
    return values;
}

inline numerical::aligned_vector<double> one_outlier(std::size_t n)
{
    numerical::aligned_vector<double> values(n, 1e-3);
    values[0] = 1;
    return values;
}

// Upper triangular with rows of falling size, whose smallest singular value no diagonal entry shows
// (Kahan 1966).
template <class T>
matrix<T> kahan_matrix(std::size_t n)
{
    return filled<T>(n, n, [](std::size_t i, std::size_t j) {
        const double row = std::pow(std::sin(1.2), double(i));
        return j < i ? 0.0 : (j == i ? row : -std::cos(1.2) * row);
    });
}

template <class T>
std::vector<named_matrix<T>> hard_square_matrices(std::size_t n)
{
    const auto random = random_matrix<T>(n, n, 1);
    const auto bidiagonal = [n](const std::function<double(std::size_t)>& diagonal) {
        return filled<T>(n, n, [&](std::size_t i, std::size_t j) {
            return i == j ? diagonal(i) : (j == i + 1 ? 1.0 : 0.0);
        });
    };
    std::vector<named_matrix<T>> all{
        {"random", random},
        {"geometric", with_values<T>(n, n, geometric_values(n, 15), 2)},
        {"clustered", with_values<T>(n, n, clustered_values(n), 3)},
        {"orthogonal", with_values<T>(n, n, numerical::aligned_vector<double>(n, 1.0), 4)},
        {"one outlier", with_values<T>(n, n, one_outlier(n), 5)},
        {"graded", graded_matrix<T>(n, n, 12, 6)},
        {"low rank", low_rank_matrix<T>(n, n, std::max<std::size_t>(n / 3, 1), 7)},
        {"ones", filled<T>(n, n, [](std::size_t, std::size_t) { return 1.0; })},
        {"zero", matrix<T>(n, n, numerical::aligned_vector<T>(n * n))},
        {"identity", filled<T>(n, n, [](std::size_t i, std::size_t j) { return i == j; })},
        {"kahan", kahan_matrix<T>(n)},
        {"hilbert",
         filled<T>(n, n, [](std::size_t i, std::size_t j) { return 1.0 / double(i + j + 1); })},
        {"bidiagonal", bidiagonal([](std::size_t) { return 1.0; })},
        {"zero at the top", bidiagonal([](std::size_t i) { return i == 0 ? 0.0 : 1.0; })},
        {"zero in the middle", bidiagonal([n](std::size_t i) { return i == n / 2 ? 0.0 : 1.0; })},
        {"zero at the bottom", bidiagonal([n](std::size_t i) { return i + 1 == n ? 0.0 : 1.0; })},
        {"huge", scaled(random, 1e300)},
        {"small", scaled(random, 1e-300)},
        {"subnormal", scaled(random, 1e-310)},
    };
    auto with_zero_columns = random;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; j += 2)
            with_zero_columns.data[i * n + j] = T(0);
    all.push_back({"zero columns", with_zero_columns});
    auto with_tiny_column = random;
    for (std::size_t i = 0; i < n; ++i)
        with_tiny_column.data[i * n + n / 2] *= 1e-170;
    all.push_back({"tiny column", with_tiny_column});
    return sampled(std::move(all), n);
}

} // namespace test
