#pragma once

// Test ratios of LAPACK's kind (LAPACK Working Note 41, section 7): errors in units of n·‖A‖·ε,
// where a backward stable algorithm stays below a modest constant.

#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"
#include "reference.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace test {

constexpr double eps = std::numeric_limits<double>::epsilon();

// The greater of two measures, and a NaN before all others: std::max may lose it.
template <class F>
F worse(F a, F b)
{
    return std::isnan(b) || b > a ? b : a;
}

// |z| without the care of hypot, which the range of long double makes needless.
inline long double wide_modulus(long double x)
{
    return std::abs(x);
}

inline long double wide_modulus(const std::complex<long double>& z)
{
    return std::sqrt(std::norm(z));
}

// The largest absolute row sum, in long double so that huge entries don't overflow.
template <class T>
long double norm_inf(const numerical::matrix<T>& a)
{
    long double largest = 0;
    for (std::size_t i = 0; i < a.rows; ++i) {
        long double sum = 0;
        for (std::size_t j = 0; j < a.cols; ++j)
            sum += wide_modulus(wide<T>(a.data[i * a.cols + j]));
        largest = worse(largest, sum);
    }
    return largest;
}

// ‖B - A·X‖ / (n·‖A‖·‖X‖·ε).
template <class T>
double residual_ratio(const numerical::matrix<T>& a, const numerical::matrix<T>& x,
                      const numerical::matrix<T>& b)
{
    const auto product = reference_product(a, x);
    numerical::matrix<T> rest = b;
    for (std::size_t i = 0; i < b.data.size(); ++i)
        rest.data[i] -= product.data[i];
    const long double unit = double(a.rows) * norm_inf(a) * norm_inf(x) * eps;
    return double(norm_inf(rest) / unit);
}

// ‖A - B‖ / (max(m, n)·‖A‖·ε); 0 for equal matrices, also for zero ones. Numbers can't lie closer
// than the spacing of the subnormal ones, of which a sum of max(m, n) terms may lose as many.
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
    const long double unit =
        std::max<long double>(norm_inf(a) * eps, size * std::numeric_limits<double>::denorm_min());
    return static_cast<double>(error / (size * unit));
}

// A·X in wider precision, for an X of a few columns.
template <class T>
std::vector<wide<T>> wide_product(const numerical::matrix<T>& a, const std::vector<wide<T>>& x)
{
    const std::size_t count = a.cols == 0 ? 0 : x.size() / a.cols;
    std::vector<wide<T>> product(a.rows * count);
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t l = 0; l < a.cols; ++l)
            for (std::size_t j = 0; j < count; ++j)
                add_product(product[i * count + j], wide<T>(a.data[i * a.cols + l]),
                            x[l * count + j]);
    return product;
}

// Three columns of random signs, on which a large matrix is tried where its full product would take
// too long.
template <class T>
std::vector<wide<T>> probes(std::size_t rows)
{
    std::mt19937_64 generator(rows);
    std::vector<wide<T>> x(3 * rows);
    for (wide<T>& element : x)
        element = generator() % 2 == 0 ? 1 : -1;
    return x;
}

template <class T>
long double largest_difference(const std::vector<wide<T>>& a, const std::vector<wide<T>>& b)
{
    long double largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        largest = worse(largest, wide_modulus(a[i] - b[i]));
    return largest;
}

// ‖A·X - L·(R·X)‖ / (max(m, n)·‖A‖·ε), as difference_ratio of A and L·R but tried on probes X.
template <class T>
double probed_product_ratio(const numerical::matrix<T>& a, const numerical::matrix<T>& left,
                            const numerical::matrix<T>& right)
{
    const auto x = probes<T>(a.cols);
    const long double error =
        largest_difference<T>(wide_product(a, x), wide_product(left, wide_product(right, x)));
    if (error == 0)
        return 0;
    const auto size = static_cast<long double>(std::max(a.rows, a.cols));
    const long double unit =
        std::max<long double>(norm_inf(a) * eps, size * std::numeric_limits<double>::denorm_min());
    return static_cast<double>(error / (size * unit));
}

// ‖X - Qᴴ·(Q·X)‖ / (n·ε) on probes X.
template <class T>
double probed_orthogonality_ratio(const numerical::matrix<T>& q)
{
    const auto x = probes<T>(q.cols);
    const long double error =
        largest_difference<T>(x, wide_product(numerical::detail::adjoint(q), wide_product(q, x)));
    return static_cast<double>(error / (static_cast<long double>(q.rows) * eps));
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
        largest = worse(largest, sum);
    }
    const auto size = static_cast<long double>(std::max<std::size_t>(q.rows, 1));
    return static_cast<double>(largest / (size * eps));
}

} // namespace test
