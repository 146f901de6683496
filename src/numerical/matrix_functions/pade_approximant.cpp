#include "numerical/matrix_functions/pade_approximant.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/matrix_combination.hpp"
#include "numerical/matrix_functions/norm_estimate.hpp"
#include "numerical/matrix_functions/taylor_polynomial.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <initializer_list>
#include <utility>

namespace numerical::detail {
namespace {

using complex = std::complex<double>;

constexpr double half_unit = 0x1p-53; // the unit roundoff of the error analysis

// The largest ‖A^p‖^(1/p) for which the approximant's backward error is below the unit roundoff
// (Higham 2005); for degree 13 the smaller bound of Al-Mohy and Higham (2009).
constexpr double theta9 = 2.097847961257068;
constexpr double theta13 = 4.25;

// The terms of the Taylor polynomial add up to about e^‖A‖, and their rounding errors with them.
// Where the mean of the eigenvalues, which is that of the diagonal, is lower than this, e^A is so
// much smaller that Padé's quotient has more digits.
constexpr double least_mean_of_degree_18 = -0.5;

// The coefficients of p of degree m, as integers with a leading 1.
constexpr std::array<double, 14> pade_coefficients(unsigned m)
{
    std::array<double, 14> b{};
    unsigned long long value = 1;
    for (unsigned j = m; j > 0; --j) {
        b[j] = double(value);
        value = value * (2 * m - j + 1) * j / (m - j + 1);
    }
    b[0] = double(value);
    return b;
}

// The leading coefficient of the backward error's series: 1/(C(2m, m)·(2m + 1)!).
double first_error_coefficient(unsigned m)
{
    double c = 1;
    for (unsigned k = 1; k <= m; ++k)
        c *= double(k) / double(m + k);
    for (unsigned k = 2; k <= 2 * m + 1; ++k)
        c /= k;
    return c;
}

// That of a Taylor polynomial: 1/(m + 1)!.
double first_taylor_error_coefficient(unsigned m)
{
    double c = 1;
    for (unsigned k = 2; k <= m + 1; ++k)
        c /= k;
    return c;
}

// Dense n × n matrices, one after the other in one allocation.
template <class T>
class pade_workspace
{
public:
    pade_workspace(const aligned_vector<T>& matrix, std::size_t order)
        : n(order), a(matrix), norm(one_norm(a.data(), n)), store(uninitialized<T>(6 * n * n))
    {
    }

    aligned_vector<T> choose_and_evaluate(int& squarings);

private:
    double mean_of_diagonal() const;
    bool admits_taylor(unsigned degree, double theta) const;
    bool has_powers_below(double theta);
    int squarings_of_degree_13();
    bool is_below(std::initializer_list<const T*> factors, double bound, double limit) const;
    int further_scaling(double c, std::size_t power, int exponent) const;

    int further_scaling_of_pade(unsigned degree, int exponent) const
    {
        return further_scaling(first_error_coefficient(degree), 2 * degree + 1, exponent);
    }

    aligned_vector<T> evaluate_9();
    aligned_vector<T> evaluate_13(int squarings);
    aligned_vector<T> quotient();

    void multiply(const T* left, const T* right, T* to) const
    {
        gemm_new<T>(n, n, n, left, n, right, n, to, n);
    }

    T* block(std::size_t i) { return store.data() + i * n * n; }

    const std::size_t n;
    const aligned_vector<T>& a;
    const double norm;
    aligned_vector<T> store;
    // The 1-norms of the powers.
    double norm2 = 0;
    double norm4 = 0;
    double norm6 = 0;
    T* const a2 = block(0);
    T* const a4 = block(1); // and all after it scratch of a Taylor polynomial, or:
    T* const a6 = block(2);
    T* const high = block(3); // A⁸, then the upper half of a part of degree 13, then U
    T* const odd = block(4);  // U = A·odd
    T* const even = block(5); // V
};

// The further scaling that keeps the rounding errors of the powers, which are bounded by norms of
// |A|^p, below the error of the approximant: ℓ of Al-Mohy and Higham (2009), for an error of which
// c·A^power is the first term.
template <class T>
int pade_workspace<T>::further_scaling(double c, std::size_t power, int exponent) const
{
    const double order = double(power - 1);
    const double scaled_norm = std::scalbn(norm, exponent);
    if (c * std::pow(scaled_norm, order) <= half_unit) // no power's norm can be larger
        return 0;
    const auto scaling_for = [&](double norm_of_power) {
        const double alpha = c * norm_of_power / scaled_norm;
        return alpha <= half_unit ? 0 : int(std::ceil(std::log2(alpha / half_unit) / order));
    };
    const auto decide_alike = [&](double lower, double upper) {
        return scaling_for(lower) == scaling_for(upper);
    };
    return scaling_for(norm_of_modulus_power(a.data(), n, exponent, power, decide_alike));
}

// Whether the norm of a product is at most `limit`; `bound` is a known bound of the norm.
template <class T>
bool pade_workspace<T>::is_below(std::initializer_list<const T*> factors, double bound,
                                 double limit) const
{
    return bound <= limit ||
           (n >= estimate_crossover && estimated_product_norm(factors, n, limit) <= limit);
}

template <class T>
double pade_workspace<T>::mean_of_diagonal() const
{
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += real_part(a[i * n + i]);
    return sum / double(n);
}

// Whether ‖A³‖ and ‖A⁴‖ admit the Taylor polynomial with this bound theta. The error's series
// begins with A^(degree + 1), and any degree from 5 on may be judged by these two (Al-Mohy and
// Higham 2009).
template <class T>
bool pade_workspace<T>::admits_taylor(unsigned degree, double theta) const
{
    return norm2 <= theta * theta && is_below({a.data(), a2}, norm * norm2, std::pow(theta, 3)) &&
           further_scaling(first_taylor_error_coefficient(degree), degree + 1, 0) == 0;
}

// Whether ‖A⁶‖ and ‖A⁸‖ admit the degree 9 with this bound theta.
template <class T>
bool pade_workspace<T>::has_powers_below(double theta)
{
    return norm6 <= std::pow(theta, 6) && is_below({a4, a4}, norm4 * norm4, std::pow(theta, 8));
}

template <class T>
int pade_workspace<T>::squarings_of_degree_13()
{
    const auto scaling_to = [](double eta) {
        return eta <= theta13 ? 0 : int(std::ceil(std::log2(eta / theta13)));
    };
    const double d4 = std::pow(norm4, 1.0 / 4);
    const double d6 = std::pow(norm6, 1.0 / 6);
    int s = scaling_to(std::max(d4, d6));
    if (s > 0) {
        const double d8 = std::pow(estimated_product_norm({a4, a4}, n), 1.0 / 8);
        const double d10 = std::pow(estimated_product_norm({a4, a6}, n), 1.0 / 10);
        s = scaling_to(std::min(std::max(d6, d8), std::max(d8, d10)));
    }
    return s + further_scaling_of_pade(13, -s);
}

template <class T>
aligned_vector<T> pade_workspace<T>::choose_and_evaluate(int& squarings)
{
    squarings = 0;
    multiply(a.data(), a.data(), a2);
    norm2 = one_norm(a2, n);
    if (admits_taylor(8, taylor_theta8))
        return taylor_of_degree_8(a.data(), a2, n, a4);
    if (admits_taylor(12, taylor_theta12))
        return taylor_of_degree_12(a.data(), a2, n, a4);
    if (mean_of_diagonal() >= least_mean_of_degree_18 && admits_taylor(18, taylor_theta18))
        return taylor_of_degree_18(a.data(), a2, n, a4);
    multiply(a2, a2, a4);
    norm4 = one_norm(a4, n);
    multiply(a4, a2, a6);
    norm6 = one_norm(a6, n);
    if (has_powers_below(theta9) && further_scaling_of_pade(9, 0) == 0) {
        multiply(a4, a4, high);
        return evaluate_9();
    }
    squarings = squarings_of_degree_13();
    return evaluate_13(squarings);
}

template <class T>
aligned_vector<T> pade_workspace<T>::evaluate_9()
{
    constexpr auto b = pade_coefficients(9);
    const auto combine_from = [&](std::size_t first, T* to) {
        combine<T, 4>(
            {{{b[first + 2], a2}, {b[first + 4], a4}, {b[first + 6], a6}, {b[first + 8], high}}},
            b[first], n, to);
    };
    combine_from(1, odd);
    combine_from(0, even);
    return quotient();
}

// Evaluates both parts by Horner's rule in A⁶, so that no higher power is formed. The scaling is
// included in the coefficients.
template <class T>
aligned_vector<T> pade_workspace<T>::evaluate_13(int squarings)
{
    constexpr auto b = pade_coefficients(13);
    const auto combine_from = [&](std::size_t first, T* to) {
        const auto scaled = [&](std::size_t k) {
            return std::scalbn(b[first + k], -squarings * int(first + k));
        };
        combine<T, 3>({{{scaled(8), a2}, {scaled(10), a4}, {scaled(12), a6}}}, 0, n, high);
        combine<T, 3>({{{scaled(2), a2}, {scaled(4), a4}, {scaled(6), a6}}}, scaled(0), n, to);
        gemm<T>(n, n, n, a6, n, high, n, to, n);
    };
    combine_from(1, odd);
    combine_from(0, even);
    return quotient();
}

// (V - U)⁻¹·(V + U).
template <class T>
aligned_vector<T> pade_workspace<T>::quotient()
{
    multiply(a.data(), odd, high);
    aligned_vector<T> numerator = uninitialized<T>(n * n);
    aligned_vector<T> denominator = uninitialized<T>(n * n);
    pass_on_threads(n * n, 4 * sizeof(T) / sizeof(double), [&](std::size_t from, std::size_t end) {
        for (std::size_t i = from; i < end; ++i) {
            numerator[i] = even[i] + high[i];
            denominator[i] = even[i] - high[i];
        }
    });
    return lu_decomposition<T>(matrix<T>(n, n, std::move(denominator)))
        .solve_matrix(numerator.data(), n, block_sums::in_any_order);
}

} // namespace

template <class T>
aligned_vector<T> pade_approximant(const aligned_vector<T>& a, std::size_t n, int& squarings)
{
    return pade_workspace<T>(a, n).choose_and_evaluate(squarings);
}

template aligned_vector<double> pade_approximant(const aligned_vector<double>&, std::size_t, int&);
template aligned_vector<complex> pade_approximant(const aligned_vector<complex>&, std::size_t,
                                                  int&);

} // namespace numerical::detail
