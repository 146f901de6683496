#include "numerical/matrix_functions/exponential.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/norm_estimate.hpp"
#include "numerical/matrix_functions/triangular_exponential.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <utility>
#include <vector>

namespace numerical {
namespace {

using complex = std::complex<double>;

constexpr double half_unit = 0x1p-53; // the unit roundoff of the error analysis

// The greatest ‖A^p‖^(1/p) for which the approximant's backward error is below the unit roundoff
// (Higham 2005); for degree 13 the smaller bound of Al-Mohy and Higham (2009).
constexpr double theta3 = 1.495585217958292e-2;
constexpr double theta5 = 2.539398330063230e-1;
constexpr double theta7 = 9.504178996162932e-1;
constexpr double theta9 = 2.097847961257068;
constexpr double theta13 = 4.25;

// Matrices of a larger norm are scaled down before their powers are formed, none of which overflows
// then: numbers of norms to the twelfth power times 2^56 arise.
constexpr int greatest_exponent = 70;

constexpr std::size_t most_coefficients = 14;

// The coefficients of the numerator p of degree m, as integers with a leading 1; q(x) = p(-x).
constexpr std::array<double, most_coefficients> pade_coefficients(unsigned m)
{
    std::array<double, most_coefficients> b{};
    unsigned long long value = 1;
    for (unsigned j = m; j > 0; --j) {
        b[j] = double(value);
        value = value * (2 * m - j + 1) * j / (m - j + 1);
    }
    b[0] = double(value);
    return b;
}

// The first coefficient of the backward error's series: 1/(C(2m, m)·(2m + 1)!).
double first_error_coefficient(unsigned m)
{
    double c = 1;
    for (unsigned k = 1; k <= m; ++k)
        c *= double(k) / double(m + k);
    for (unsigned k = 2; k <= 2 * m + 1; ++k)
        c /= k;
    return c;
}

template <class T>
struct term
{
    double factor;
    const std::vector<T>* matrix;
};

// The sum of the terms and `diagonal` times the identity, in one pass of memory.
template <class T>
std::vector<T> combination(std::size_t n, std::initializer_list<term<T>> terms, double diagonal)
{
    constexpr std::size_t run = 512;
    std::vector<T> sum = detail::uninitialized<T>(n * n);
    const std::size_t count = n * n * (sizeof(T) / sizeof(double));
    auto* const to = reinterpret_cast<double*>(sum.data());
    for (std::size_t from = 0; from < count; from += run) {
        const std::size_t end = std::min(from + run, count);
        std::fill(to + from, to + end, 0.0);
        for (const term<T>& each : terms) {
            const auto* const x = reinterpret_cast<const double*>(each.matrix->data());
            for (std::size_t i = from; i < end; ++i)
                to[i] += each.factor * x[i];
        }
    }
    for (std::size_t i = 0; i < n; ++i)
        sum[i * n + i] += diagonal;
    return sum;
}

template <class T>
std::vector<T> product(const std::vector<T>& a, const std::vector<T>& b, std::size_t n)
{
    std::vector<T> c = detail::uninitialized<T>(n * n);
    detail::gemm_new<T>(n, n, n, a.data(), n, b.data(), n, c.data(), n);
    return c;
}

template <class T>
void scale(std::vector<T>& x, int exponent)
{
    auto* const parts = reinterpret_cast<double*>(x.data());
    const std::size_t count = x.size() * (sizeof(T) / sizeof(double));
    if (-1000 < exponent && exponent < 1000) {
        const double factor = std::scalbn(1.0, exponent);
        for (std::size_t i = 0; i < count; ++i)
            parts[i] *= factor;
    } else {
        for (std::size_t i = 0; i < count; ++i)
            parts[i] = std::scalbn(parts[i], exponent);
    }
}

// The approximant of a matrix that has been scaled as far as it takes, and its even powers as far
// as they are needed.
template <class T>
class pade_approximant
{
public:
    pade_approximant(std::vector<T> matrix, std::size_t order)
        : n(order), a(std::move(matrix)), norm(detail::one_norm(a, n))
    {
    }

    // r(A/2^s); s comes as `squarings`.
    std::vector<T> of_scaled(int& squarings);

private:
    template <unsigned Degree>
    std::vector<T> of_low_degree() const;
    std::vector<T> of_degree_13();
    std::vector<T> quotient(std::vector<T> odd, const std::vector<T>& v) const;
    int further_scaling(unsigned degree, int exponent) const;
    int scaling_of_degree_13(double d4, double d6) const;

    const std::size_t n;
    std::vector<T> a;
    const double norm;
    std::vector<T> a2, a4, a6, a8;
};

// How much more the matrix must be scaled for the degree's backward error to be small in the sense
// of elements as well: ℓ of Al-Mohy and Higham (2009).
template <class T>
int pade_approximant<T>::further_scaling(unsigned degree, int exponent) const
{
    const double c = first_error_coefficient(degree);
    const double scaled_norm = std::scalbn(norm, exponent);
    if (c * std::pow(scaled_norm, 2 * degree) <= half_unit) // no power's norm can be larger
        return 0;
    const double alpha =
        c * detail::norm_of_modulus_power(a, n, exponent, 2 * degree + 1) / scaled_norm;
    return alpha <= half_unit ? 0 : int(std::ceil(std::log2(alpha / half_unit) / (2 * degree)));
}

// The exact norms at hand bound those of the higher powers; where the bounds ask for squarings,
// estimates may spare some.
template <class T>
int pade_approximant<T>::scaling_of_degree_13(double d4, double d6) const
{
    const auto scaling_to = [](double eta) {
        return eta <= theta13 ? 0 : int(std::ceil(std::log2(eta / theta13)));
    };
    int s = scaling_to(std::max(d4, d6));
    if (s > 0) {
        const double d8 = std::pow(detail::estimated_product_norm<T>({&a4, &a4}, n), 1.0 / 8);
        const double d10 = std::pow(detail::estimated_product_norm<T>({&a4, &a6}, n), 1.0 / 10);
        s = scaling_to(std::min(std::max(d6, d8), std::max(d8, d10)));
    }
    return s + further_scaling(13, -s);
}

template <class T>
std::vector<T> pade_approximant<T>::of_scaled(int& squarings)
{
    squarings = 0;
    a2 = product(a, a, n);
    const double norm2 = detail::one_norm(a2, n);
    if (std::sqrt(norm2) <= theta3 && further_scaling(3, 0) == 0)
        return of_low_degree<3>();
    a4 = product(a2, a2, n);
    const double norm4 = detail::one_norm(a4, n);
    const double d4 = std::sqrt(std::sqrt(norm4));
    if (std::max(d4, std::pow(norm2 * norm4, 1.0 / 6)) <= theta5 && further_scaling(5, 0) == 0)
        return of_low_degree<5>();
    a6 = product(a4, a2, n);
    const double d6 = std::pow(detail::one_norm(a6, n), 1.0 / 6);
    if (std::max(d4, d6) <= theta7 && further_scaling(7, 0) == 0)
        return of_low_degree<7>();
    if (std::max(d4, d6) <= theta9 && further_scaling(9, 0) == 0) {
        a8 = product(a4, a4, n);
        return of_low_degree<9>();
    }
    squarings = scaling_of_degree_13(d4, d6);
    scale(a, -squarings);
    scale(a2, -2 * squarings);
    scale(a4, -4 * squarings);
    scale(a6, -6 * squarings);
    return of_degree_13();
}

// p(A) = V + U with the even part V and the odd part U = A·odd; r = (V - U)⁻¹·(V + U).
template <class T>
std::vector<T> pade_approximant<T>::quotient(std::vector<T> odd, const std::vector<T>& v) const
{
    const std::vector<T> u = product(a, odd, n);
    std::vector<T> numerator = combination<T>(n, {{1.0, &v}, {1.0, &u}}, 0);
    matrix<T> denominator(n, n, combination<T>(n, {{1.0, &v}, {-1.0, &u}}, 0));
    return lu_decomposition<T>(std::move(denominator)).solve_matrix(numerator, n);
}

template <class T>
template <unsigned Degree>
std::vector<T> pade_approximant<T>::of_low_degree() const
{
    constexpr auto b = pade_coefficients(Degree);
    const auto even_powers = [&](unsigned first) {
        if constexpr (Degree == 3)
            return combination<T>(n, {{b[first + 2], &a2}}, b[first]);
        else if constexpr (Degree == 5)
            return combination<T>(n, {{b[first + 2], &a2}, {b[first + 4], &a4}}, b[first]);
        else if constexpr (Degree == 7)
            return combination<T>(
                n, {{b[first + 2], &a2}, {b[first + 4], &a4}, {b[first + 6], &a6}}, b[first]);
        else
            return combination<T>(n,
                                  {{b[first + 2], &a2},
                                   {b[first + 4], &a4},
                                   {b[first + 6], &a6},
                                   {b[first + 8], &a8}},
                                  b[first]);
    };
    return quotient(even_powers(1), even_powers(0));
}

// Both parts by Horner's rule in A⁶, so that no higher power is needed.
template <class T>
std::vector<T> pade_approximant<T>::of_degree_13()
{
    constexpr auto b = pade_coefficients(13);
    const auto half = [&](unsigned first) {
        const std::vector<T> high =
            combination<T>(n, {{b[first + 8], &a2}, {b[first + 10], &a4}, {b[first + 12], &a6}}, 0);
        std::vector<T> sum = combination<T>(
            n, {{b[first + 2], &a2}, {b[first + 4], &a4}, {b[first + 6], &a6}}, b[first]);
        detail::gemm<T>(n, n, n, a6.data(), n, high.data(), n, sum.data(), n);
        return sum;
    };
    return quotient(half(1), half(0));
}

// e^A for any square matrix, of an upper triangular one with its two diagonals restored after every
// step (Al-Mohy and Higham 2009, code fragment 2.1).
template <class T>
std::vector<T> exponential_of(std::vector<T> a, std::size_t n, bool is_triangular)
{
    const double norm = detail::one_norm(a, n);
    const int before = norm > 0 ? std::max(0, std::ilogb(norm) - greatest_exponent) : 0;
    const std::vector<T> original = is_triangular ? a : std::vector<T>();
    scale(a, -before);
    int squarings = 0;
    std::vector<T> x = pade_approximant<T>(std::move(a), n).of_scaled(squarings);
    squarings += before;
    for (; squarings >= 0; --squarings) {
        if (is_triangular)
            detail::restore_diagonals(x, original, n, -squarings);
        if (squarings > 0)
            x = product(x, x, n);
    }
    return x;
}

} // namespace

template <class T>
matrix<T> matrix_exponential(matrix<T> a)
{
    if (a.rows != a.cols)
        throw dimension_error("expm requires a square matrix");
    detail::require_finite(a, "expm");
    const std::size_t n = a.rows;
    if (n == 0)
        return a;
    const bool is_upper = detail::is_upper_triangular(a.data, n);
    detail::transpose_in_place(a.data, n);
    const bool is_lower = detail::is_upper_triangular(a.data, n);
    if (is_upper && is_lower) {
        detail::restore_diagonals(a.data, a.data, n, 0);
        return a;
    }
    if (!is_lower)
        detail::transpose_in_place(a.data, n);
    std::vector<T> x = exponential_of(std::move(a.data), n, is_upper || is_lower);
    if (is_lower)
        detail::transpose_in_place(x, n);
    return {n, n, std::move(x)};
}

template matrix<double> matrix_exponential(matrix<double>);
template matrix<complex> matrix_exponential(matrix<complex>);

} // namespace numerical
