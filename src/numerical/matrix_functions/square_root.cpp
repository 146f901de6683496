#include "numerical/matrix_functions/square_root.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/triangular_sylvester.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical {
namespace {

using complex = std::complex<double>;

constexpr const char* no_root = "sqrtm: the matrix is singular, and no square root of it was found";

// Replaces the standard block [ a b ; c a ] with eigenvalues a ± iμ by its root α·I + (T -
// a·I)/(2α), where α is the real part of √(a + iμ) (Higham 1987).
void root_of_pair(detail::block_view<double> t)
{
    const double a = t(0, 0);
    const double mu = std::sqrt(std::abs(t(0, 1))) * std::sqrt(std::abs(t(1, 0)));
    const double alpha = std::sqrt(complex(a, mu)).real();
    t(0, 0) = t(1, 1) = alpha;
    t(0, 1) /= 2 * alpha;
    t(1, 0) /= 2 * alpha;
}

void root_of_pair(detail::block_view<complex>) {} // a complex triangle has none

// Q·√T·Qᴴ.
template <class T>
matrix<T> root_of_factored(schur_factors<T> schur)
{
    if (!detail::root_of_triangle(detail::view_of(schur.t)))
        throw singular_matrix_error(no_root);
    return schur.q * (schur.t * detail::adjoint(schur.q));
}

bool is_real_and_negative(const complex& value)
{
    return value.real() < 0 && value.imag() == 0;
}

// The root of a Hermitian matrix is P + i·N, with P from the positive eigenvalues and N from the
// negative ones.
template <class T>
matrix<T> part_of_root(const detail::hermitian_spectrum<T>& spectrum, double sign)
{
    aligned_vector<double> roots(spectrum.values.size());
    std::transform(spectrum.values.begin(), spectrum.values.end(), roots.begin(),
                   [=](double value) { return std::sqrt(std::max(sign * value, 0.0)); });
    return detail::spectral_sum(spectrum.vectors, roots);
}

template <class T>
matrix<complex> complex_root(const detail::hermitian_spectrum<T>& spectrum)
{
    const matrix<T> positive = part_of_root(spectrum, 1);
    const matrix<T> negative = part_of_root(spectrum, -1);
    aligned_vector<complex> sum(positive.data.size());
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] = positive.data[i] + complex(0, 1) * negative.data[i];
    return {positive.rows, positive.cols, std::move(sum)};
}

template <class T>
bool is_semidefinite(const detail::hermitian_spectrum<T>& spectrum)
{
    return spectrum.values.empty() || spectrum.values.front() >= 0;
}

template <class T>
void require_square_for_root(const matrix<T>& a)
{
    if (a.rows != a.cols)
        throw dimension_error("sqrtm requires a square matrix");
    detail::require_finite(a, "sqrtm");
}

} // namespace

namespace detail {

template <class T>
bool root_of_triangle(block_view<T> t)
{
    const std::size_t n = t.rows;
    if (n == 0)
        return true;
    if (n == 1) {
        t(0, 0) = std::sqrt(t(0, 0));
        return true;
    }
    if (n == 2 && t(1, 0) != T(0)) {
        root_of_pair(t);
        return true;
    }
    const std::size_t mid = middle_of<T>(t);
    const block_view<T> r11 = t.sub(0, mid, 0, mid);
    const block_view<T> r22 = t.sub(mid, n, mid, n);
    return root_of_triangle(r11) && root_of_triangle(r22) &&
           solve_triangular<matrix_equation::sylvester, T>(r11, r22, t.sub(0, mid, mid, n), 0);
}

template bool root_of_triangle(block_view<double>);
template bool root_of_triangle(block_view<complex>);

} // namespace detail

std::variant<matrix<double>, matrix<complex>> square_root(matrix<double> a)
{
    require_square_for_root(a);
    if (detail::is_hermitian(a)) {
        auto spectrum = detail::spectrum_of_hermitian(std::move(a));
        spectrum.clear_rounding();
        if (is_semidefinite(spectrum))
            return part_of_root(spectrum, 1);
        return complex_root(spectrum);
    }
    schur_factors<double> schur = schur_form(std::move(a), schur_vectors::compute);
    if (std::any_of(schur.values.begin(), schur.values.end(), is_real_and_negative))
        return root_of_factored(complex_schur_form(schur));
    return root_of_factored(std::move(schur));
}

matrix<complex> square_root(matrix<complex> a)
{
    require_square_for_root(a);
    if (!detail::is_hermitian(a))
        return root_of_factored(schur_form(std::move(a), schur_vectors::compute));
    auto spectrum = detail::spectrum_of_hermitian(std::move(a));
    spectrum.clear_rounding();
    return is_semidefinite(spectrum) ? part_of_root(spectrum, 1) : complex_root(spectrum);
}

} // namespace numerical
