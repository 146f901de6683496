#pragma once

// Eigenvalues and singular values by slow and sure methods in long double.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <vector>

namespace test {

using wide_values = std::vector<long double>;

// How many eigenvalues of the tridiagonal matrix lie below x: the negative pivots of T - x·I.
inline std::size_t count_below(const wide_values& d, const wide_values& e, long double x)
{
    constexpr long double least = 1e-4900L;
    std::size_t count = 0;
    long double pivot = 1;
    for (std::size_t i = 0; i < d.size(); ++i) {
        const long double coupling = i == 0 ? 0 : e[i - 1] * e[i - 1];
        pivot = d[i] - x - coupling / pivot;
        if (std::abs(pivot) < least)
            pivot = -least;
        count += pivot < 0;
    }
    return count;
}

// All eigenvalues of a real symmetric tridiagonal matrix, ascending, by bisection. e has n - 1
// elements or more.
inline wide_values bisected_eigenvalues(const wide_values& d, const wide_values& e)
{
    const std::size_t n = d.size();
    long double reach = 0;
    for (std::size_t i = 0; i < n; ++i)
        reach = std::max(reach, std::abs(d[i]) + (i > 0 ? std::abs(e[i - 1]) : 0) +
                                    (i + 1 < n ? std::abs(e[i]) : 0));
    wide_values values(n);
    for (std::size_t k = 0; k < n; ++k) {
        long double low = -reach;
        long double high = reach;
        while (true) {
            const long double middle = low + (high - low) / 2;
            if (middle <= low || middle >= high)
                break;
            (count_below(d, e, middle) > k ? high : low) = middle;
        }
        values[k] = high;
    }
    return values;
}

// The singular values of a bidiagonal matrix, descending: the positive eigenvalues of the
// tridiagonal matrix of order 2n with a zero diagonal and d and e in turns beside it.
inline wide_values bisected_singular_values(const numerical::aligned_vector<double>& d,
                                            const numerical::aligned_vector<double>& e)
{
    const std::size_t n = d.size();
    const wide_values zeros(2 * n);
    wide_values beside(2 * n);
    for (std::size_t i = 0; i < n; ++i) {
        beside[2 * i] = d[i];
        beside[2 * i + 1] = i + 1 < n ? e[i] : 0;
    }
    const wide_values all = bisected_eigenvalues(zeros, beside);
    wide_values values(all.rbegin(), all.rbegin() + static_cast<std::ptrdiff_t>(n));
    for (long double& value : values)
        value = std::max(value, 0.0L);
    return values;
}

// Columns of the real matrix of twice the order that stands for a complex one, or of the matrix.
template <class T>
std::vector<wide_values> real_columns(const numerical::matrix<T>& a)
{
    if constexpr (std::is_same_v<T, double>) {
        std::vector<wide_values> columns(a.cols, wide_values(a.rows));
        for (std::size_t i = 0; i < a.rows; ++i)
            for (std::size_t j = 0; j < a.cols; ++j)
                columns[j][i] = a.data[i * a.cols + j];
        return columns;
    } else {
        std::vector<wide_values> columns(2 * a.cols, wide_values(2 * a.rows));
        for (std::size_t i = 0; i < a.rows; ++i)
            for (std::size_t j = 0; j < a.cols; ++j) {
                const T x = a.data[i * a.cols + j];
                columns[j][i] = columns[a.cols + j][a.rows + i] = x.real();
                columns[j][a.rows + i] = x.imag();
                columns[a.cols + j][i] = -x.imag();
            }
        return columns;
    }
}

inline long double wide_dot(const wide_values& x, const wide_values& y)
{
    long double sum = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
        sum += x[i] * y[i];
    return sum;
}

inline void rotate(wide_values& x, wide_values& y, long double c, long double s)
{
    for (std::size_t i = 0; i < x.size(); ++i) {
        const long double first = c * x[i] - s * y[i];
        y[i] = s * x[i] + c * y[i];
        x[i] = first;
    }
}

// The tangent of the rotation that diagonalises a symmetric 2 × 2 matrix.
inline long double jacobi_tangent(long double a, long double b, long double c)
{
    const long double zeta = (c - a) / (2 * b);
    return std::copysign(1.0L, zeta) / (std::abs(zeta) + std::hypot(1.0L, zeta));
}

// Every other one of an ordered list, in which those of a complex matrix stand twice.
template <class T>
wide_values single_values(wide_values values)
{
    if constexpr (!std::is_same_v<T, double>) {
        for (std::size_t i = 0; i < values.size() / 2; ++i)
            values[i] = values[2 * i];
        values.resize(values.size() / 2);
    }
    return values;
}

// Singular values, descending, by one-sided Jacobi rotations of the columns.
template <class T>
wide_values jacobi_singular_values(const numerical::matrix<T>& a)
{
    auto columns = real_columns(a.rows >= a.cols ? a : numerical::detail::adjoint(a));
    long double square = 0;
    for (const wide_values& column : columns)
        square += wide_dot(column, column);
    const long double least = 1e-18L * std::sqrt(square);
    for (bool rotated = true; rotated;) {
        rotated = false;
        for (std::size_t p = 0; p < columns.size(); ++p)
            for (std::size_t q = p + 1; q < columns.size(); ++q) {
                const long double x = wide_dot(columns[p], columns[p]);
                const long double y = wide_dot(columns[q], columns[q]);
                const long double b = wide_dot(columns[p], columns[q]);
                if (std::abs(b) <=
                    1e-17L * std::max(std::sqrt(x), least) * std::max(std::sqrt(y), least))
                    continue;
                const long double t = jacobi_tangent(x, b, y);
                const long double c = 1 / std::hypot(1.0L, t);
                rotate(columns[p], columns[q], c, c * t);
                rotated = true;
            }
    }
    wide_values values;
    for (const wide_values& column : columns)
        values.push_back(std::sqrt(wide_dot(column, column)));
    std::sort(values.begin(), values.end(), std::greater<>());
    return single_values<T>(values);
}

// Eigenvalues of a Hermitian matrix with both its triangles, ascending, by two-sided rotations.
template <class T>
wide_values jacobi_eigenvalues(const numerical::matrix<T>& a)
{
    auto columns = real_columns(a);
    const std::size_t n = columns.size();
    long double largest = 0;
    for (const wide_values& column : columns)
        for (const long double x : column)
            largest = std::max(largest, std::abs(x));
    for (bool rotated = true; rotated;) {
        rotated = false;
        for (std::size_t p = 0; p < n; ++p)
            for (std::size_t q = p + 1; q < n; ++q) {
                if (std::abs(columns[q][p]) <= 1e-17L * largest)
                    continue;
                const long double t = jacobi_tangent(columns[p][p], columns[q][p], columns[q][q]);
                const long double c = 1 / std::hypot(1.0L, t);
                rotate(columns[p], columns[q], c, c * t);
                for (wide_values& column : columns) {
                    const long double first = c * column[p] - c * t * column[q];
                    column[q] = c * t * column[p] + c * column[q];
                    column[p] = first;
                }
                rotated = true;
            }
    }
    wide_values values;
    for (std::size_t i = 0; i < n; ++i)
        values.push_back(columns[i][i]);
    std::sort(values.begin(), values.end());
    return single_values<T>(values);
}

// The largest distance between two lists, in units of ε·√n times the largest of the second; a
// spacing of subnormal numbers is no distance.
template <class Values>
double value_ratio(const numerical::aligned_vector<double>& values, const Values& expected)
{
    long double largest = 0;
    long double distance = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        largest = std::max(largest, std::abs(static_cast<long double>(expected[i])));
        const long double apart = std::abs(static_cast<long double>(values[i]) - expected[i]);
        distance = apart <= distance ? distance : apart; // a NaN stays
    }
    const long double root = std::sqrt(static_cast<long double>(values.size()));
    const long double least = root * 0x1p-1074L;
    return static_cast<double>(distance <= least ? 0 : distance / (root * 0x1p-52L * largest));
}

} // namespace test
