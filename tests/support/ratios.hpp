#pragma once

// Test ratios of LAPACK's kind (LAPACK Working Note 41, section 7): errors in units of n·‖A‖·ε,
// where a backward stable algorithm stays below a modest constant.

#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "reference.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace test {

constexpr double eps = std::numeric_limits<double>::epsilon();

// The largest absolute row sum, in long double so that huge entries don't overflow.
template <class T>
long double norm_inf(const numerical::matrix<T>& a)
{
    long double largest = 0;
    for (std::size_t i = 0; i < a.rows; ++i) {
        long double sum = 0;
        for (std::size_t j = 0; j < a.cols; ++j)
            sum += std::abs(wide<T>(a.data[i * a.cols + j]));
        if (!(sum <= largest)) // a NaN stays
            largest = sum;
    }
    return largest;
}

// ‖A - B‖ / (max(m, n)·‖A‖·ε); 0 for equal matrices, also for zero ones.
template <class T>
double difference_ratio(const numerical::matrix<T>& a, const numerical::matrix<T>& b)
{
    numerical::matrix<T> difference = a;
    for (std::size_t i = 0; i < a.data.size(); ++i)
        difference.data[i] -= b.data[i];
    const long double error = norm_inf(difference);
    if (error == 0)
        return 0;
    const auto size = static_cast<long double>(std::max<std::size_t>({a.rows, a.cols, 1}));
    return static_cast<double>(error / (size * norm_inf(a) * eps));
}

// ‖I - QᴴQ‖ / (n·ε) for the columns of Q.
template <class T>
double orthogonality_ratio(const numerical::matrix<T>& q)
{
    const auto gram = reference_product(numerical::detail::adjoint(q), q);
    long double largest = 0;
    for (std::size_t i = 0; i < q.cols; ++i) {
        long double sum = 0;
        for (std::size_t j = 0; j < q.cols; ++j)
            sum += std::abs(wide<T>(gram.data[i * q.cols + j]) - wide<T>(i == j ? 1.0L : 0.0L));
        if (!(sum <= largest))
            largest = sum;
    }
    const auto size = static_cast<long double>(std::max<std::size_t>(q.rows, 1));
    return static_cast<double>(largest / (size * eps));
}

} // namespace test
