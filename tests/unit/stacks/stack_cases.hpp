#pragma once

// Stacks that the tests run on, and the single calls that they are held against.

#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/svd/least_squares.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace test {

using numerical::matrix;
using numerical::matrix_stack;
using complex = std::complex<double>;

inline const std::vector<std::size_t> stack_counts{0, 1, 3, 4, 5, 7, 8, 9, 17};

// Small enough for every order, and one for each remainder of the lanes' groups elsewhere.
inline const std::vector<std::size_t> stack_orders{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                                   12, 13, 14, 15, 16, 17, 31, 32, 33, 64, 100};

template <class T>
struct dense_stack
{
    std::size_t count;
    std::size_t rows;
    std::size_t cols;
    std::vector<T> data;

    operator matrix_stack<T>() const { return {data.data(), rows, cols, rows * cols}; }

    T* at(std::size_t i) { return data.data() + i * rows * cols; }
};

template <class T>
dense_stack<T> random_stack(std::size_t count, std::size_t rows, std::size_t cols, unsigned seed)
{
    return {count, rows, cols, random_vector<T>(count * rows * cols, seed)};
}

// Diagonally dominant Hermitian matrices.
template <class T>
dense_stack<T> definite_stack(std::size_t count, std::size_t n, unsigned seed)
{
    auto stack = random_stack<T>(count, n, n, seed);
    for (std::size_t i = 0; i < count; ++i) {
        T* const a = stack.at(i);
        for (std::size_t r = 0; r < n; ++r) {
            for (std::size_t c = 0; c < r; ++c)
                a[c * n + r] = numerical::detail::conjugate(a[r * n + c]);
            a[r * n + r] = 1.5 * double(n) + numerical::detail::real_part(a[r * n + r]);
        }
    }
    return stack;
}

// One result of a place: the parts of its numbers.
template <class T>
void append_bits(std::vector<double>& out, const std::vector<T>& numbers)
{
    const auto* const parts = reinterpret_cast<const double*>(numbers.data());
    out.insert(out.end(), parts, parts + numbers.size() * sizeof(T) / sizeof(double));
}

template <class T>
std::vector<double> bits_of(const std::vector<T>& numbers)
{
    std::vector<double> out;
    append_bits(out, numbers);
    return out;
}

inline bool same_bits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Of one place.
using results = std::vector<std::vector<double>>;

// An operation in both forms, each giving all results of all places, result after result.
template <class T>
struct operation
{
    std::string name;
    // The results of the stack of so many places.
    std::function<std::vector<double>(std::size_t, const matrix_stack<T>&, const matrix_stack<T>&)>
        of_stack;
    // Those of one place.
    std::function<results(const matrix<T>&, const matrix<T>&)> of_one;
    // The columns of the second operand for a first one of these rows and columns.
    std::function<std::size_t(std::size_t, std::size_t)> columns = [](auto, auto) { return 0; };
};

// The single calls on each place, put together as the stack's results are.
template <class T>
std::vector<double> one_by_one(std::size_t count, const matrix_stack<T>& a,
                               const matrix_stack<T>& b, const operation<T>& operation)
{
    results all_results;
    for (std::size_t i = 0; i < count; ++i) {
        const results of_place = operation.of_one(a.copy_of(i), b.copy_of(i));
        all_results.resize(of_place.size());
        for (std::size_t r = 0; r < of_place.size(); ++r)
            all_results[r].insert(all_results[r].end(), of_place[r].begin(), of_place[r].end());
    }
    std::vector<double> all;
    for (const auto& result : all_results)
        all.insert(all.end(), result.begin(), result.end());
    return all;
}

template <class T>
void expect_same_bits(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                      const operation<T>& operation)
{
    EXPECT_TRUE(same_bits(operation.of_stack(count, a, b), one_by_one(count, a, b, operation)))
        << operation.name << " of " << count << " matrices " << a.rows << " x " << a.cols
        << ", second operand " << b.rows << " x " << b.cols << ", path "
        << numerical::detail::gemm_path_current();
}

} // namespace test
