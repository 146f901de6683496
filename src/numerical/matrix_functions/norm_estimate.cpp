#include "numerical/matrix_functions/norm_estimate.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/matrix_combination.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

namespace numerical::detail {
namespace {

// The limit of ascent steps; more than two are seldom needed.
constexpr int climb_limit = 5;

// The modulus without protection from overflow and underflow.
double plain_modulus(double x)
{
    return std::abs(x);
}

double plain_modulus(const complex& z)
{
    return std::sqrt(z.real() * z.real() + z.imag() * z.imag());
}

template <class T>
double sum_of_moduli(const aligned_vector<T>& x)
{
    double sum = 0;
    for (const T& element : x)
        sum += plain_modulus(element);
    return sum;
}

template <class T>
std::size_t place_of_greatest(const aligned_vector<T>& x)
{
    std::size_t place = 0;
    for (std::size_t i = 1; i < x.size(); ++i)
        if (plain_modulus(x[i]) > plain_modulus(x[place]))
            place = i;
    return place;
}

template <class T>
class product_operator
{
public:
    product_operator(std::span<const T* const> list, std::size_t order)
        : factors(list), n(order), result(order)
    {
    }

    aligned_vector<T> times(aligned_vector<T> x)
    {
        for (std::size_t f = factors.size(); f-- > 0;) {
            gemm_new<T>(n, 1, n, factors[f], n, x.data(), 1, result.data(), 1);
            std::swap(x, result);
        }
        return x;
    }

    aligned_vector<T> adjoint_times(aligned_vector<T> x)
    {
        conjugate_all(x.data(), x.size());
        for (const T* factor : factors) {
            gemm_new<T>(1, n, n, x.data(), n, factor, n, result.data(), n);
            std::swap(x, result);
        }
        conjugate_all(x.data(), x.size());
        return x;
    }

private:
    std::span<const T* const> factors;
    std::size_t n;
    aligned_vector<T> result;
};

template <class T>
aligned_vector<T> phases(aligned_vector<T> x)
{
    for (T& element : x)
        element = phase_of(element);
    return x;
}

// The bound by the vector (-1)^i·(1 + i/(n - 1)), whose product is large for matrices that mislead
// the ascent.
template <class T>
double alternating_bound(product_operator<T>& product, std::size_t n)
{
    aligned_vector<T> x(n);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = (i % 2 == 0 ? 1 : -1) * (1 + double(i) / double(n - 1));
    return 2 * sum_of_moduli(product.times(std::move(x))) / (3 * double(n));
}

} // namespace

template <class T>
double one_norm(const T* a, std::size_t n)
{
    constexpr std::size_t band = 64;
    aligned_vector<double> sums(n);
    const auto sum_band = [&](std::size_t b) { // writes the sums of its own columns
        const std::size_t end = std::min(b * band + band, n);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = b * band; j < end; ++j)
                sums[j] += plain_modulus(a[i * n + j]);
    };
    parallel_for(ceil_div(n, band), band * n, sum_band);
    return *std::max_element(sums.begin(), sums.end());
}

template <class T>
double estimated_product_norm(std::initializer_list<const T*> factors, std::size_t n, double enough)
{
    product_operator<T> product({factors.begin(), factors.size()}, n);
    aligned_vector<T> y = product.times(aligned_vector<T>(n, T(1.0 / double(n))));
    double estimate = sum_of_moduli(y);
    aligned_vector<T> signs = phases(y);
    std::size_t column = n;
    for (int step = 0; step < climb_limit && estimate <= enough && n > 1; ++step) {
        const std::size_t next = place_of_greatest(product.adjoint_times(signs));
        if (next == column)
            break;
        column = next;
        aligned_vector<T> unit(n);
        unit[column] = 1;
        y = product.times(std::move(unit));
        const double found = sum_of_moduli(y);
        aligned_vector<T> next_signs = phases(y);
        const bool is_top = found <= estimate || next_signs == signs;
        estimate = std::max(estimate, found);
        if (is_top)
            break;
        signs = std::move(next_signs);
    }
    return estimate > enough || n == 1 ? estimate
                                       : std::max(estimate, alternating_bound(product, n));
}

namespace {

struct ratio_range
{
    double least;
    double greatest;
};

// Of the elements of y over those of x, where x isn't zero.
ratio_range ratios(const aligned_vector<double>& y, const aligned_vector<double>& x)
{
    ratio_range found{std::numeric_limits<double>::infinity(), 0};
    for (std::size_t i = 0; i < x.size(); ++i)
        if (x[i] != 0) {
            found.least = std::min(found.least, y[i] / x[i]);
            found.greatest = std::max(found.greatest, y[i] / x[i]);
        }
    return found;
}

} // namespace

// For x = |A|ᵀ^k·e, whose every zero stays zero, r·x <= |A|ᵀ·x <= R·x implies the same of the
// powers to come, (|A|ᵀ)^m·x between r^m·x and R^m·x.
template <class T>
double norm_of_modulus_power(const T* a, std::size_t n, int exponent, std::size_t power,
                             const std::function<bool(double, double)>& decide_alike)
{
    constexpr double rounding = 1e-9; // much more than that of all products
    aligned_vector<double> moduli = uninitialized<double>(n * n);
    pass_on_threads(n * n, 2, [&](std::size_t from, std::size_t end) {
        for (std::size_t i = from; i < end; ++i)
            moduli[i] = plain_modulus(a[i]);
    });
    const double factor = std::scalbn(1.0, exponent);
    aligned_vector<double> sums(n, 1.0);
    aligned_vector<double> next(n);
    for (std::size_t left = power; left-- > 0;) {
        gemm_new<double>(1, n, n, sums.data(), n, moduli.data(), n, next.data(), n);
        for (double& x : next)
            x *= factor;
        std::swap(sums, next);
        const double largest = *std::max_element(sums.begin(), sums.end());
        const auto [least, greatest] = ratios(sums, next);
        const double low = largest * std::pow(least, double(left)) * (1 - rounding);
        const double high = largest * std::pow(greatest, double(left)) * (1 + rounding);
        if (0 < low && std::isfinite(high) && decide_alike(low, high))
            return high;
    }
    return *std::max_element(sums.begin(), sums.end());
}

template double one_norm(const double*, std::size_t);
template double one_norm(const complex*, std::size_t);
template double estimated_product_norm(std::initializer_list<const double*>, std::size_t, double);
template double estimated_product_norm(std::initializer_list<const complex*>, std::size_t, double);
template double norm_of_modulus_power(const double*, std::size_t, int, std::size_t,
                                      const std::function<bool(double, double)>&);
template double norm_of_modulus_power(const complex*, std::size_t, int, std::size_t,
                                      const std::function<bool(double, double)>&);

} // namespace numerical::detail
