#include "numerical/matrix_functions/logarithm.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/norm_estimate.hpp"
#include "numerical/matrix_functions/scalar_logarithm.hpp"
#include "numerical/matrix_functions/square_root.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace numerical {
namespace {

using complex = std::complex<double>;

constexpr const char* singular = "logm: the matrix is singular and has no logarithm";

constexpr int greatest_degree = 7;

// theta[m] is the greatest θ for which the approximant r_m of degree m has the relative backward
// error Σ |c_k|·θ^(k-1) <= 2^-53, with e^r_m(x) - 1 - x = Σ c_k·x^k (tools/logarithm_bounds.py).
constexpr std::array<double, greatest_degree + 1> theta{0,
                                                        3.650024116682167e-8,
                                                        3.759321363926338e-4,
                                                        8.202379304954202e-3,
                                                        3.792548581321354e-2,
                                                        9.334652296460314e-2,
                                                        1.670225105534390e-1,
                                                        2.503597044091828e-1};

// A node of the Gauss-Legendre quadrature on [0, 1].
struct node
{
    double place;
    double weight;
};

// Node i of m, by Newton's method on the Legendre polynomial.
node legendre_node(int i, int m)
{
    double x = std::cos(std::numbers::pi * (i + 0.75) / (m + 0.5));
    double slope = 1;
    for (int step = 0; step < 8; ++step) {
        double value = x;
        double before = 1;
        for (int k = 2; k <= m; ++k)
            before = std::exchange(value, ((2 * k - 1) * x * value - (k - 1) * before) / k);
        slope = m * (before - x * value) / (1 - x * x);
        x -= value / slope;
    }
    return {(1 + x) / 2, 1 / ((1 - x * x) * slope * slope)};
}

template <class T>
class inverse_scaling
{
public:
    inverse_scaling(aligned_vector<T>& triangle, std::size_t order)
        : n(order), t(triangle), original(triangle)
    {
    }

    bool run();

private:
    bool take_root();
    double distance_of_eigenvalues() const;
    void subtract_identity();
    double power_norm(int power) const;
    int suitable_degree();
    aligned_vector<T> approximant(int degree) const;
    void restore_diagonals();

    const std::size_t n;
    aligned_vector<T>& t;
    const aligned_vector<T> original;
    aligned_vector<T> x; // T^(1/2^roots) - I
    int roots = 0;
    int roots_for_lower_degree = 0;
};

template <class T>
bool inverse_scaling<T>::take_root()
{
    ++roots;
    return detail::root_of_triangle<T>({t.data(), n, n});
}

template <class T>
double inverse_scaling<T>::distance_of_eigenvalues() const
{
    double distance = 0;
    for (std::size_t i = 0; i < n; ++i)
        distance = std::max(distance, detail::modulus(t[i * n + i] - 1.0));
    return distance;
}

// The diagonal and first superdiagonal of X are computed from the eigenvalues of T, so that no
// digits are lost near 1.
template <class T>
void inverse_scaling<T>::subtract_identity()
{
    x = t;
    const double exponent = std::scalbn(1.0, -roots);
    for (std::size_t i = 0; i < n; ++i) {
        const T* const from = &original[i * n + i];
        x[i * n + i] = detail::root_less_one(from[0], roots);
        if (i + 1 < n && roots > 0)
            x[i * n + i + 1] = from[1] * detail::power_difference(from[0], from[n + 1], exponent);
    }
}

// ‖X^power‖^(1/power).
template <class T>
double inverse_scaling<T>::power_norm(int power) const
{
    const T* const f = x.data();
    const double norm = power == 2   ? detail::estimated_product_norm({f, f}, n)
                        : power == 3 ? detail::estimated_product_norm({f, f, f}, n)
                        : power == 4 ? detail::estimated_product_norm({f, f, f, f}, n)
                                     : detail::estimated_product_norm({f, f, f, f, f}, n);
    return std::pow(norm, 1.0 / power);
}

// The least degree from 3 on whose bound admits alpha = ‖X^p‖^(1/p); greatest_degree + 1 if there
// is none.
int degree_for(double alpha)
{
    int m = 3;
    while (m <= greatest_degree && alpha > theta[std::size_t(m)])
        ++m;
    return m;
}

// The degree for the present X, or 0 if another square root should be taken (Al-Mohy and Higham
// 2012).
template <class T>
int inverse_scaling<T>::suitable_degree()
{
    const double d3 = power_norm(3);
    if (d3 <= theta[2]) {
        const double alpha2 = std::max(power_norm(2), d3);
        if (alpha2 <= theta[2])
            return alpha2 <= theta[1] ? 1 : 2;
    }
    const double d4 = power_norm(4);
    const double alpha3 = std::max(d3, d4);
    const int m = degree_for(alpha3);
    if (m < greatest_degree)
        return m;
    // A further root halves X and saves two degrees; it is taken twice at most.
    if (m == greatest_degree && alpha3 / 2 <= theta[5] && roots_for_lower_degree < 2) {
        ++roots_for_lower_degree;
        return 0;
    }
    const int other = degree_for(std::max(d4, power_norm(5)));
    return std::min(m, other) <= greatest_degree ? std::min(m, other) : 0;
}

// r_m(X) = Σ weight·(I + place·X)⁻¹·X, in partial fractions, each of which is well conditioned.
template <class T>
aligned_vector<T> inverse_scaling<T>::approximant(int degree) const
{
    aligned_vector<T> sum = detail::zeros<T>(n * n);
    for (int i = 0; i < degree; ++i) {
        const node at = legendre_node(i, degree);
        aligned_vector<T> denominator = x;
        for (T& element : denominator)
            element *= at.place;
        for (std::size_t k = 0; k < n; ++k)
            denominator[k * n + k] += 1.0;
        aligned_vector<T> part = x;
        detail::solve_upper<T>({denominator.data(), n, n}, detail::triangular_tile,
                               {part.data(), n, n});
        for (std::size_t k = 0; k < n * n; ++k)
            sum[k] += at.weight * part[k];
    }
    return sum;
}

template <class T>
void inverse_scaling<T>::restore_diagonals()
{
    for (std::size_t i = 0; i < n; ++i) {
        const T* const from = &original[i * n + i];
        t[i * n + i] = std::log(from[0]);
        if (i + 1 < n)
            t[i * n + i + 1] = from[1] * detail::logarithm_difference(from[0], from[n + 1]);
    }
}

template <class T>
bool inverse_scaling<T>::run()
{
    while (distance_of_eigenvalues() > theta[greatest_degree])
        if (!take_root())
            return false;
    subtract_identity();
    int degree = suitable_degree();
    for (; degree == 0; degree = suitable_degree()) {
        if (!take_root())
            return false;
        subtract_identity();
    }
    t = approximant(degree);
    const double factor = std::scalbn(1.0, roots);
    for (T& element : t)
        element *= factor;
    restore_diagonals();
    return true;
}

template <class T>
void require_square_and_finite(const matrix<T>& a)
{
    if (a.rows != a.cols)
        throw dimension_error("logm requires a square matrix");
    detail::require_finite(a, "logm");
}

bool is_negative(const complex& value)
{
    return value.real() < 0 && value.imag() == 0;
}

// Q·log(T)·Qᴴ.
template <class T>
matrix<T> logarithm_of_factored(schur_factors<T> schur)
{
    const std::size_t n = schur.t.rows;
    if (!detail::logarithm_of_triangle(schur.t.data, n))
        throw convergence_error("logm: eigenvalues on the branch cut left no square root");
    return schur.q * (schur.t * detail::adjoint(schur.q));
}

// The logarithm of a Hermitian matrix is P + iπ·N, where P has the eigenvalues log|λ| and N
// projects onto the eigenvectors of negative λ.
template <class T>
matrix<T> logarithm_of_moduli(const detail::hermitian_spectrum<T>& spectrum)
{
    aligned_vector<double> logs(spectrum.values.size());
    std::transform(spectrum.values.begin(), spectrum.values.end(), logs.begin(),
                   [](double value) { return std::log(std::abs(value)); });
    return detail::spectral_sum(spectrum.vectors, logs);
}

template <class T>
matrix<complex> complex_logarithm(const detail::hermitian_spectrum<T>& spectrum)
{
    aligned_vector<double> angles(spectrum.values.size());
    std::transform(spectrum.values.begin(), spectrum.values.end(), angles.begin(),
                   [](double value) { return value < 0 ? std::numbers::pi : 0.0; });
    const matrix<T> moduli = logarithm_of_moduli(spectrum);
    const matrix<T> turns = detail::spectral_sum(spectrum.vectors, angles);
    aligned_vector<complex> sum(moduli.data.size());
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] = moduli.data[i] + complex(0, 1) * turns.data[i];
    return {moduli.rows, moduli.cols, std::move(sum)};
}

// The spectrum of a Hermitian matrix; singular_matrix_error if an eigenvalue is zero.
template <class T>
detail::hermitian_spectrum<T> regular_spectrum(matrix<T> a)
{
    auto spectrum = detail::spectrum_of_hermitian(std::move(a));
    spectrum.clear_rounding();
    if (std::count(spectrum.values.begin(), spectrum.values.end(), 0.0) != 0)
        throw singular_matrix_error(singular);
    return spectrum;
}

template <class T>
schur_factors<T> regular_schur(matrix<T> a)
{
    auto schur = schur_form(std::move(a), schur_vectors::compute);
    if (std::count(schur.values.begin(), schur.values.end(), complex(0)) != 0)
        throw singular_matrix_error(singular);
    return schur;
}

matrix<double> real_parts(const matrix<complex>& a)
{
    aligned_vector<double> parts(a.data.size());
    std::transform(a.data.begin(), a.data.end(), parts.begin(),
                   [](const complex& z) { return z.real(); });
    return {a.rows, a.cols, std::move(parts)};
}

} // namespace

template <class T>
bool detail::logarithm_of_triangle(aligned_vector<T>& t, std::size_t n)
{
    return n == 0 || inverse_scaling<T>(t, n).run();
}

template bool detail::logarithm_of_triangle(aligned_vector<double>&, std::size_t);
template bool detail::logarithm_of_triangle(aligned_vector<complex>&, std::size_t);

std::variant<matrix<double>, matrix<complex>> logarithm(matrix<double> a)
{
    require_square_and_finite(a);
    if (detail::is_hermitian(a)) {
        const auto spectrum = regular_spectrum(std::move(a));
        if (spectrum.values.empty() || spectrum.values.front() > 0)
            return logarithm_of_moduli(spectrum);
        return complex_logarithm(spectrum);
    }
    const schur_factors<double> schur = regular_schur(std::move(a));
    const auto is_positive = [](const complex& z) { return z.real() > 0 && z.imag() == 0; };
    if (std::all_of(schur.values.begin(), schur.values.end(), is_positive))
        return logarithm_of_factored(schur);
    const matrix<complex> found = logarithm_of_factored(complex_schur_form(schur));
    // Conjugate eigenvalues have conjugate logarithms: if none is negative, the result is real.
    if (std::none_of(schur.values.begin(), schur.values.end(), is_negative))
        return real_parts(found);
    return found;
}

matrix<complex> logarithm(matrix<complex> a)
{
    require_square_and_finite(a);
    if (!detail::is_hermitian(a))
        return logarithm_of_factored(regular_schur(std::move(a)));
    const auto spectrum = regular_spectrum(std::move(a));
    return spectrum.values.empty() || spectrum.values.front() > 0 ? logarithm_of_moduli(spectrum)
                                                                  : complex_logarithm(spectrum);
}

} // namespace numerical
