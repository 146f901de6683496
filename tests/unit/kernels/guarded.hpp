#pragma once

// Operands of the kernels between guards, and what the tests of kernels compare.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <complex>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace test {

constexpr double quiet_nan = std::numeric_limits<double>::quiet_NaN();

// `count` values from an odd address, with NaN before and after: what a kernel reads beyond its
// operand shows in its result.
class guarded
{
public:
    guarded(numerical::aligned_vector<double> values, double guard)
        : count(values.size()), store(values.size() + 2 * margin, guard), around(guard)
    {
        std::copy(values.begin(), values.end(), store.begin() + margin);
    }

    double* data() { return store.data() + margin; }

    numerical::aligned_vector<double> values() const
    {
        return {store.begin() + margin, store.end() - margin};
    }

    bool intact() const
    {
        const auto same = [this](double x) { return std::memcmp(&x, &around, sizeof x) == 0; };
        return std::all_of(store.begin(), store.begin() + margin, same) &&
               std::all_of(store.end() - margin, store.end(), same);
    }

private:
    static constexpr std::ptrdiff_t margin = 33;
    std::size_t count;
    numerical::aligned_vector<double> store;
    double around;
};

inline guarded operand(std::size_t n, unsigned seed)
{
    return {random_vector<double>(n, seed), quiet_nan};
}

inline guarded integers(std::size_t n, unsigned seed)
{
    return {integer_vector<double>(n, seed), quiet_nan};
}

inline bool same_bits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

inline void expect_same_bits(const numerical::aligned_vector<double>& got,
                             const numerical::aligned_vector<double>& want, const std::string& what)
{
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_TRUE(same_bits(got[i], want[i]))
            << what << " at " << i << ": " << got[i] << " and " << want[i];
}

inline std::string label(int path, std::size_t n)
{
    return "path " + std::to_string(path) + ", n " + std::to_string(n);
}

inline numerical::aligned_vector<double>
parts_of(const numerical::aligned_vector<std::complex<double>>& values)
{
    numerical::aligned_vector<double> parts;
    for (const std::complex<double>& z : values) {
        parts.push_back(z.real());
        parts.push_back(z.imag());
    }
    return parts;
}

// Integers, so that every order of summation gives the same, between NaNs: what a kernel reads
// beyond its operand shows in its result.
template <class T>
class guarded_numbers
{
public:
    guarded_numbers(std::size_t count, unsigned seed)
        : guarded_numbers(integer_vector<T>(count, seed))
    {
    }

    explicit guarded_numbers(const numerical::aligned_vector<T>& values)
        : store(values.size() + 2 * margin, T(quiet_nan))
    {
        std::copy(values.begin(), values.end(), store.begin() + margin);
    }

    T* data() { return store.data() + margin; }

    double* parts() { return reinterpret_cast<double*>(data()); }

    numerical::aligned_vector<T> values() const
    {
        return {store.begin() + margin, store.end() - margin};
    }

    bool intact() const
    {
        const auto is_nan = [](const T& x) { return x != x; };
        return std::all_of(store.begin(), store.begin() + margin, is_nan) &&
               std::all_of(store.end() - margin, store.end(), is_nan);
    }

private:
    static constexpr std::ptrdiff_t margin = 9;
    numerical::aligned_vector<T> store;
};

// Elements of each row beyond `width` are NaN.
template <class T>
void spoil_beyond(guarded_numbers<T>& rows, std::size_t count, std::size_t stride,
                  std::size_t width)
{
    for (std::size_t r = 0; r < count; ++r)
        std::fill(rows.data() + r * stride + width, rows.data() + (r + 1) * stride, T(quiet_nan));
}

} // namespace test
