#pragma once

// Hermitian matrices that are hard for eigensolvers, and the ratios of an eigendecomposition.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"
#include "ratios.hpp"
#include "sample.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace test {

// Makes the upper triangle agree with the lower one, and the diagonal real.
template <class T>
numerical::matrix<T> mirrored(numerical::matrix<T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i) {
        a.data[i * a.cols + i] = numerical::detail::real_part(a.data[i * a.cols + i]);
        for (std::size_t j = 0; j < i; ++j)
            a.data[j * a.cols + i] = numerical::detail::conjugate(a.data[i * a.cols + j]);
    }
    return a;
}

template <class T>
numerical::matrix<T> random_hermitian(std::size_t n, unsigned seed)
{
    return mirrored(random_matrix<T>(n, n, seed));
}

// Q·diag(values)·Qᴴ, Q being a product of three random reflectors.
template <class T>
numerical::matrix<T> with_spectrum(const numerical::aligned_vector<double>& values, unsigned seed)
{
    const std::size_t n = values.size();
    numerical::matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] = values[i];
    for (unsigned r = 0; r < 3; ++r) {
        auto v = random_vector<T>(n, seed + r);
        long double square = 0;
        for (const T& x : v)
            square += std::norm(wide<T>(x));
        for (T& x : v)
            x /= static_cast<double>(std::sqrt(square));
        for (const bool from_left : {true, false})
            for (std::size_t i = 0; i < n; ++i) {
                wide<T> sum = 0;
                const auto at = [&](std::size_t j) -> T& {
                    return from_left ? a.data[j * n + i] : a.data[i * n + j];
                };
                const auto along = [&](std::size_t j) {
                    return wide<T>(from_left ? numerical::detail::conjugate(v[j]) : v[j]);
                };
                for (std::size_t j = 0; j < n; ++j)
                    add_product(sum, along(j), wide<T>(at(j)));
                for (std::size_t j = 0; j < n; ++j)
                    at(j) = static_cast<T>(
                        wide<T>(at(j)) -
                        wide<T>(2) * sum *
                            wide<T>(from_left ? v[j] : numerical::detail::conjugate(v[j])));
            }
    }
    return mirrored(a);
}

template <class T>
numerical::matrix<T> tridiagonal_matrix(const numerical::aligned_vector<double>& d,
                                        const numerical::aligned_vector<double>& e)
{
    const std::size_t n = d.size();
    numerical::matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t i = 0; i < n; ++i) {
        a.data[i * n + i] = d[i];
        if (i + 1 < n)
            a.data[i * n + i + 1] = a.data[(i + 1) * n + i] = e[i];
    }
    return a;
}

// Copies of Wilkinson's W21+, whose large eigenvalues come in pairs that agree to working
// precision, joined by couplings of the given size; cut to order n.
template <class T>
numerical::matrix<T> glued_wilkinson(std::size_t n, double glue)
{
    numerical::aligned_vector<double> d(n);
    numerical::aligned_vector<double> e(n);
    for (std::size_t i = 0; i < n; ++i) {
        d[i] = std::abs(static_cast<double>(i % 21) - 10);
        e[i] = i % 21 == 20 ? glue : 1.0;
    }
    return tridiagonal_matrix<T>(d, e);
}

template <class T>
struct named_matrix
{
    std::string name;
    numerical::matrix<T> a;
};

inline numerical::aligned_vector<double> spectrum(std::size_t n, double (*value)(double position))
{
    numerical::aligned_vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i)
        values[i] = value(n < 2 ? 0.0 : double(i) / double(n - 1));
    return values;
}

// The families, of order n.
template <class T>
std::vector<named_matrix<T>> hermitian_families(std::size_t n)
{
    std::vector<named_matrix<T>> all;
    const auto add = [&](const char* name, numerical::matrix<T> a) {
        all.push_back({name, std::move(a)});
    };
    const auto geometric = spectrum(n, [](double x) { return std::pow(1e-15, x); });
    numerical::aligned_vector<double> outlier(n, 1e-8);
    if (n > 0)
        outlier[n / 2] = 1;
    add("random", random_hermitian<T>(n, 1));
    add("geometric", with_spectrum<T>(geometric, 2));
    add("arithmetic", with_spectrum<T>(spectrum(n, [](double x) { return 2 * x - 1; }), 3));
    add("clustered",
        with_spectrum<T>(spectrum(n, [](double x) { return 1 + eps * std::floor(8 * x); }), 4));
    add("all equal", with_spectrum<T>(numerical::aligned_vector<double>(n, -3.5), 5));
    add("one outlier", with_spectrum<T>(outlier, 6));
    add("Wilkinson", glued_wilkinson<T>(n, 0.0));
    add("glued Wilkinson", glued_wilkinson<T>(n, 1e-9));
    add("graded", mirrored(graded_matrix<T>(n, n, 12, 7)));
    add("tridiagonal", tridiagonal_matrix<T>(numerical::aligned_vector<double>(n, 2.0),
                                             numerical::aligned_vector<double>(n, -1.0)));
    add("diagonal", tridiagonal_matrix<T>(geometric, numerical::aligned_vector<double>(n)));
    add("zero", {n, n, numerical::aligned_vector<T>(n * n)});
    add("rank one", mirrored(low_rank_matrix<T>(n, n, 1, 8)));
    add("huge", mirrored(scaled(random_matrix<T>(n, n, 9), 1e300)));
    add("tiny", mirrored(scaled(random_matrix<T>(n, n, 10), 1e-300)));
    add("subnormal", mirrored(scaled(random_matrix<T>(n, n, 11), 1e-310)));
    return sampled(std::move(all), n);
}

struct eigen_ratios
{
    double residual;      // |AV - VΛ|/(n·|A|·ε)
    double orthogonality; // |I - VᴴV|/(n·ε)
};

// The product in long double for small orders; large ones by the matrix product, whose own error
// is counted in.
template <class T>
numerical::matrix<T> product_for_check(const numerical::matrix<T>& a, const numerical::matrix<T>& b)
{
    return a.rows <= 70 ? reference_product(a, b) : a * b;
}

// Of A divided by its largest entry, so that tiny and huge matrices are judged like others. Values
// of subnormal matrices are rounded to multiples of the least number, which counts as well.
template <class T>
eigen_ratios ratios_of(numerical::matrix<T> a, const numerical::aligned_vector<double>& values,
                       const numerical::matrix<T>& vectors)
{
    const std::size_t n = a.rows;
    const auto size = static_cast<double>(std::max<std::size_t>(n, 1));
    double largest = 0;
    for (const T& x : a.data)
        largest = std::max(largest, std::abs(x));
    const double scale = largest == 0 ? 1.0 : largest;
    for (T& x : a.data)
        x /= scale;
    auto scaled_vectors = vectors;
    for (std::size_t i = 0; i < n * n; ++i)
        scaled_vectors.data[i] *= values[i % n] / scale;
    auto residual = product_for_check(a, vectors);
    auto gram = product_for_check(numerical::detail::adjoint(vectors), vectors);
    for (std::size_t i = 0; i < n * n; ++i) {
        residual.data[i] -= scaled_vectors.data[i];
        gram.data[i] -= i / n == i % n ? 1.0 : 0.0;
    }
    const long double unit = norm_inf(a) * eps + std::numeric_limits<double>::denorm_min() / scale;
    return {static_cast<double>(norm_inf(residual) / (size * unit)),
            static_cast<double>(norm_inf(gram) / (size * eps))};
}

} // namespace test
