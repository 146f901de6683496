#pragma once

// Stacks that the tests run on, and the single calls that they are held against.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/svd/least_squares.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/rank.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "sample.hpp"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <typeinfo>
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
    numerical::aligned_vector<T> data;

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
void append_bits(numerical::aligned_vector<double>& out,
                 const numerical::aligned_vector<T>& numbers)
{
    const auto* const parts = reinterpret_cast<const double*>(numbers.data());
    out.insert(out.end(), parts, parts + numbers.size() * sizeof(T) / sizeof(double));
}

template <class T>
numerical::aligned_vector<double> bits_of(const numerical::aligned_vector<T>& numbers)
{
    numerical::aligned_vector<double> out;
    append_bits(out, numbers);
    return out;
}

inline bool same_bits(const numerical::aligned_vector<double>& a,
                      const numerical::aligned_vector<double>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Of one place.
using results = std::vector<numerical::aligned_vector<double>>;

// An operation in both forms, each giving all results of all places, result after result.
template <class T>
struct operation
{
    std::string name;
    // The results of the stack of so many places.
    std::function<numerical::aligned_vector<double>(std::size_t, const matrix_stack<T>&,
                                                    const matrix_stack<T>&)>
        of_stack;
    // Those of one place.
    std::function<results(const matrix<T>&, const matrix<T>&)> of_one;
    // The columns of the second operand for a first one of these rows and columns.
    std::function<std::size_t(std::size_t, std::size_t)> columns = [](auto, auto) { return 0; };
};

// What came of an operation on a stack: all its numbers, or the failure of one place.
struct outcome
{
    numerical::aligned_vector<double> numbers;
    std::size_t failed_place = 0;
    std::string failure; // class and text, empty if there was none

    bool operator==(const outcome& other) const
    {
        return same_bits(numbers, other.numbers) && failed_place == other.failed_place &&
               failure == other.failure;
    }
};

inline std::ostream& operator<<(std::ostream& out, const outcome& what)
{
    if (what.failure.empty())
        return out << what.numbers.size() << " numbers " << testing::PrintToString(what.numbers);
    return out << what.failure << " at place " << what.failed_place;
}

inline std::string class_and_text(const std::exception& error)
{
    return std::string(typeid(error).name()) + ": " + error.what();
}

template <class T>
outcome outcome_of_stack(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                         const operation<T>& operation)
{
    try {
        return {operation.of_stack(count, a, b), 0, ""};
    } catch (const numerical::stack_error& error) {
        try {
            std::rethrow_exception(error.cause());
        } catch (const std::exception& cause) {
            EXPECT_STREQ(error.what(), cause.what());
            return {{}, error.index(), class_and_text(cause)};
        }
    }
}

// The single calls on each place, their results put together as the stack's are.
template <class T>
outcome outcome_one_by_one(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                           const operation<T>& operation)
{
    results all;
    for (std::size_t i = 0; i < count; ++i)
        try {
            const results of_place = operation.of_one(a.copy_of(i), b.copy_of(i));
            all.resize(of_place.size());
            for (std::size_t r = 0; r < of_place.size(); ++r)
                all[r].insert(all[r].end(), of_place[r].begin(), of_place[r].end());
        } catch (const std::exception& error) {
            return {{}, i, class_and_text(error)};
        }
    outcome whole;
    for (const auto& result : all)
        whole.numbers.insert(whole.numbers.end(), result.begin(), result.end());
    return whole;
}

template <class T>
void expect_same_outcome(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                         const operation<T>& operation)
{
    const outcome of_stack = outcome_of_stack(count, a, b, operation);
    const outcome expected = outcome_one_by_one(count, a, b, operation);
    EXPECT_TRUE(of_stack == expected)
        << operation.name << " of " << count << " matrices " << a.rows << " x " << a.cols
        << ", second operand " << b.rows << " x " << b.cols << ", path "
        << numerical::detail::gemm_path_current() << ": " << of_stack << " instead of " << expected;
}

// Stacks with one unusual entry, one unusual column, or unusual throughout.
template <class T>
std::vector<dense_stack<T>> unusual_stacks(std::size_t rows, std::size_t cols)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<dense_stack<T>> all;
    for (const double value : {0.0, -0.0, 5e-324, -1e-310, 0x1p-420, 0x1p-1000, 0x1p410, 0x1p1000,
                               0x1.8p1023, -infinity, nan}) {
        auto entry = random_stack<T>(9, rows, cols, unsigned(rows));
        entry.at(4)[rows * cols / 2] = value;
        auto column = random_stack<T>(9, rows, cols, unsigned(rows) + 1);
        for (std::size_t i = 0; i < rows; ++i)
            column.at(2)[i * cols] *= value;
        auto throughout = random_stack<T>(5, rows, cols, unsigned(rows) + 2);
        for (T& x : throughout.data)
            x *= value;
        all.insert(all.end(), {entry, column, throughout});
    }
    auto integers = random_stack<T>(17, rows, cols, 0); // ties in size, and zeros of either sign
    integers.data = integer_vector<T>(17 * rows * cols, unsigned(rows), 2);
    for (T& x : integers.data)
        x = x == T(0) && integers.data.size() % 2 == 0 ? -T(0) : x;
    all.push_back(integers);
    return sampled(std::move(all), rows + cols);
}

} // namespace test
