#pragma once

// Matrices that numerical tests run on, reproducible from a seed.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>

namespace test {

// Uniform in [-1, 1). The values are those of libstdc++'s uniform_real_distribution, which takes
// logarithms in long double for each of them: a test of products spent a tenth of its time there.
inline double random_double(std::mt19937_64& generator)
{
    constexpr double below_one = 1 - std::numeric_limits<double>::epsilon() / 2;
    return std::min(double(generator()) * 0x1p-64, below_one) * 2 - 1;
}

template <class T>
T random_value(std::mt19937_64& generator)
{
    if constexpr (std::is_same_v<T, double>) {
        return random_double(generator);
    } else {
        const double re = random_double(generator);
        return {re, random_double(generator)};
    }
}

template <class T>
numerical::aligned_vector<T> random_vector(std::size_t count, unsigned seed)
{
    std::mt19937_64 generator(seed);
    numerical::aligned_vector<T> out(count);
    for (T& x : out)
        x = random_value<T>(generator);
    return out;
}

template <class T>
numerical::matrix<T> random_matrix(std::size_t rows, std::size_t cols, unsigned seed)
{
    return {rows, cols, random_vector<T>(rows * cols, seed)};
}

// The elements of a view, without gaps.
template <class T>
numerical::aligned_vector<std::remove_const_t<T>> elements_of(numerical::detail::block_view<T> a)
{
    numerical::aligned_vector<std::remove_const_t<T>> out;
    for (std::size_t i = 0; i < a.rows; ++i)
        out.insert(out.end(), a.row(i), a.row(i) + a.cols);
    return out;
}

// Integers of at most `limit` in each part, so that products and sums of a few thousand are exact.
template <class T>
numerical::aligned_vector<T> integer_vector(std::size_t count, unsigned seed, int limit = 8)
{
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<int> uniform(-limit, limit);
    numerical::aligned_vector<T> out(count);
    for (T& x : out) {
        if constexpr (std::is_same_v<T, double>) {
            x = uniform(generator);
        } else {
            const double re = uniform(generator);
            x = {re, static_cast<double>(uniform(generator))};
        }
    }
    return out;
}

// Rows and columns scaled by powers that fall from 1 to about 10^-decades each.
template <class T>
numerical::matrix<T> graded_matrix(std::size_t rows, std::size_t cols, double decades,
                                   unsigned seed)
{
    auto a = random_matrix<T>(rows, cols, seed);
    const auto fall = [decades](std::size_t i, std::size_t n) {
        return n < 2 ? 1.0 : std::pow(10.0, -decades * double(i) / double(n - 1));
    };
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            a.data[i * cols + j] *= fall(i, rows) * fall(j, cols);
    return a;
}

// A random product of rows × rank and rank × cols factors.
template <class T>
numerical::matrix<T> low_rank_matrix(std::size_t rows, std::size_t cols, std::size_t rank,
                                     unsigned seed)
{
    const auto left = random_vector<T>(rows * rank, seed);
    const auto right = random_vector<T>(rank * cols, seed + 1);
    numerical::aligned_vector<T> out(rows * cols);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t l = 0; l < rank; ++l)
            for (std::size_t j = 0; j < cols; ++j)
                out[i * cols + j] += left[i * rank + l] * right[l * cols + j];
    return {rows, cols, std::move(out)};
}

template <class T>
numerical::matrix<T> scaled(numerical::matrix<T> a, double factor)
{
    for (T& x : a.data)
        x *= factor;
    return a;
}

} // namespace test
