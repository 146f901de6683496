#pragma once

// Matrices that are hard for nonsymmetric eigensolvers, and the ratios of their decompositions.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"
#include "ratios.hpp"
#include "sample.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <utility>
#include <vector>

namespace test {

using numerical::matrix;
using complex = std::complex<double>;

// Element (i, j) is f(i, j).
template <class T, class F>
matrix<T> filled(std::size_t n, const F& f)
{
    numerical::aligned_vector<T> data(n * n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            data[i * n + j] = f(i, j);
    return {n, n, std::move(data)};
}

// Ill-conditioned eigenvalues that come in reciprocal pairs (Frank 1958).
template <class T>
matrix<T> frank(std::size_t n)
{
    return filled<T>(n, [n](std::size_t i, std::size_t j) {
        return j + 1 >= i ? T(double(n - std::max(i, j))) : T(0);
    });
}

// A Toeplitz matrix whose eigenvalues are sensitive in the interior (Grcar 1989).
template <class T>
matrix<T> grcar(std::size_t n)
{
    return filled<T>(n, [](std::size_t i, std::size_t j) {
        return i == j + 1 ? T(-1) : (j >= i && j <= i + 3 ? T(1) : T(0));
    });
}

// A Jordan block for 0 with a perturbation in its corner: eigenvalues on a circle.
template <class T>
matrix<T> forsythe(std::size_t n)
{
    return filled<T>(n, [n](std::size_t i, std::size_t j) {
        return j == i + 1 ? T(1) : (i + 1 == n && j == 0 ? T(1e-10) : T(0));
    });
}

// Jordan blocks of the given order, side by side.
template <class T>
matrix<T> jordan(std::size_t n, std::size_t block, T value)
{
    return filled<T>(n, [=](std::size_t i, std::size_t j) {
        return i == j ? value : (j == i + 1 && j % block != 0 ? T(1) : T(0));
    });
}

// The companion matrix of (x - 1)(x - 2)...(x - n)/scale.
template <class T>
matrix<T> companion(std::size_t n)
{
    numerical::aligned_vector<double> c{1.0};
    for (std::size_t root = 1; root <= n; ++root) {
        c.push_back(0);
        for (std::size_t k = c.size() - 1; k > 0; --k)
            c[k] = c[k - 1] - double(root) * c[k];
        c[0] *= -double(root);
    }
    return filled<T>(n, [&c, n](std::size_t i, std::size_t j) {
        return i == 0 ? T(-c[n - 1 - j]) : (i == j + 1 ? T(1) : T(0));
    });
}

// S·A·S⁻¹ for an A and a random S, by no exact method: what counts is the kind of matrix.
template <class T>
matrix<T> similar_to(const matrix<T>& a, unsigned seed)
{
    const std::size_t n = a.rows;
    matrix<T> lower = filled<T>(n, [&](std::size_t i, std::size_t j) {
        return T(i == j ? 1.0 : i > j ? 0.5 * std::sin(double(seed + 3 * i + 7 * j)) : 0.0);
    });
    matrix<T> x = reference_product(lower, a);
    for (std::size_t i = 0; i < n; ++i) // x := x·lower⁻¹, from the last column back
        for (std::size_t j = n; j-- > 0;)
            for (std::size_t k = j + 1; k < n; ++k)
                x.data[i * n + j] -= x.data[i * n + k] * lower.data[k * n + j];
    return x;
}

template <class T>
struct named_matrix
{
    std::string name;
    matrix<T> a;
};

template <class T>
std::vector<named_matrix<T>> gallery(std::size_t n)
{
    const auto random = random_matrix<T>(n, n, 1);
    const auto select = [&](const auto& keep) {
        return filled<T>(n, [&](std::size_t i, std::size_t j) {
            return keep(i, j) ? random.data[i * n + j] : T(0);
        });
    };
    std::vector<named_matrix<T>> all{
        {"random", random},
        {"graded", graded_matrix<T>(n, n, 20, 2)},
        {"upside down graded",
         filled<T>(n, [a = graded_matrix<T>(n, n, 20, 3),
                       n](auto i, auto j) { return a.data[(n - 1 - i) * n + n - 1 - j]; })},
        {"near overflow", scaled(random, 0x1p1005)},
        {"near underflow", scaled(random, 0x1p-1005)},
        {"subnormal", scaled(random, 0x1p-1060)},
        {"zero", scaled(random, 0)},
        {"upper triangular", select([](auto i, auto j) { return i <= j; })},
        {"lower triangular", select([](auto i, auto j) { return i >= j; })},
        {"block decoupled", select([n](auto i, auto j) { return (i < n / 3) == (j < n / 3); })},
        {"Hessenberg", select([](auto i, auto j) { return i <= j + 1; })},
        {"bidiagonal", select([](auto i, auto j) { return i == j || i + 1 == j; })},
        {"sparse", select([](auto i, auto j) { return (7 * i + 3 * j) % 5 == 0; })},
        {"identity", filled<T>(n, [](auto i, auto j) { return T(i == j ? 1.0 : 0.0); })},
        {"rank one", low_rank_matrix<T>(n, n, 1, 4)},
        {"low rank", low_rank_matrix<T>(n, n, (n + 2) / 3, 5)},
        {"Frank", frank<T>(n)},
        {"Grcar", grcar<T>(n)},
        {"Forsythe", forsythe<T>(n)},
        {"Jordan", jordan<T>(n, n, T(0.5))},
        {"nilpotent", jordan<T>(n, n, T(0))},
        {"cyclic", filled<T>(n, [n](auto i, auto j) { return T(j == (i + 1) % n ? 1.0 : 0.0); })},
        {"antisymmetric",
         filled<T>(
             n, [&](auto i, auto j) { return random.data[i * n + j] - random.data[j * n + i]; })},
        {"derogatory", similar_to(jordan<T>(n, 3, T(2)), 1)},
    };
    if (n <= 12)
        all.push_back({"companion", companion<T>(n)});
    return sampled(std::move(all), n);
}

// Q·(T·(Qᴴ·X)) on probes X of A, as probed_product_ratio.
template <class T>
double similarity_ratio(const matrix<T>& a, const matrix<T>& q, const matrix<T>& t)
{
    const auto x = probes<T>(a.cols);
    const auto back =
        wide_product(q, wide_product(t, wide_product(numerical::detail::adjoint(q), x)));
    const long double error = largest_difference<T>(wide_product(a, x), back);
    if (error == 0)
        return 0;
    const auto size = static_cast<long double>(a.rows);
    const long double unit =
        std::max<long double>(norm_inf(a) * eps, size * std::numeric_limits<double>::denorm_min());
    return static_cast<double>(error / (size * unit));
}

inline matrix<complex> as_complex(const matrix<double>& a)
{
    return {a.rows, a.cols, {a.data.begin(), a.data.end()}};
}

inline const matrix<complex>& as_complex(const matrix<complex>& a)
{
    return a;
}

// The greatest ‖A·v - λ·v‖/(n·‖A‖·ε), v being the columns of V.
inline double eigenpair_ratio(const matrix<complex>& a,
                              const numerical::aligned_vector<complex>& values,
                              const matrix<complex>& v)
{
    const std::size_t n = a.rows;
    long double largest = 0;
    for (std::size_t k = 0; k < n; ++k) {
        std::vector<wide<complex>> x(n);
        for (std::size_t i = 0; i < n; ++i)
            x[i] = v.data[i * n + k];
        const auto product = wide_product(a, x);
        long double error = 0;
        for (std::size_t i = 0; i < n; ++i)
            error += wide_modulus(product[i] - wide<complex>(values[k]) * x[i]);
        largest = worse(largest, error);
    }
    if (largest == 0)
        return 0;
    const auto size = static_cast<long double>(n);
    const long double unit =
        std::max<long double>(norm_inf(a) * eps, size * std::numeric_limits<double>::denorm_min());
    return static_cast<double>(largest / (size * unit));
}

inline numerical::aligned_vector<complex> conjugates(numerical::aligned_vector<complex> values)
{
    for (complex& value : values)
        value = std::conj(value);
    return values;
}

// How far the columns are from length 1, in units of n·ε.
inline double length_ratio(const matrix<complex>& v)
{
    const std::size_t n = v.rows;
    long double largest = 0;
    for (std::size_t k = 0; k < n; ++k) {
        long double square = 0;
        for (std::size_t i = 0; i < n; ++i)
            square += std::norm(wide<complex>(v.data[i * n + k]));
        largest = worse(largest, std::abs(std::sqrt(square) - 1));
    }
    return static_cast<double>(largest / (static_cast<long double>(n) * eps));
}

} // namespace test
