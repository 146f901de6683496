#include "numerical/matrix_functions/exponential.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/pade_approximant.hpp"
#include "numerical/matrix_functions/triangular_exponential.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical {
namespace {

using complex = std::complex<double>;

// Scales the matrix with this largest part by a power of two into the range of the approximants.
// The scaling is exact and is undone by squaring, so it only costs time.
template <class T>
int scale_down(aligned_vector<T>& a, std::size_t n, double largest)
{
    if (largest == 0)
        return 0;
    const int excess =
        std::ilogb(largest) + std::ilogb(double(n)) + 3 - detail::greatest_pade_exponent;
    if (excess <= 0)
        return 0;
    for (T& element : a)
        element = detail::scaled_by_power(element, -excess);
    return excess;
}

// e^A for any square matrix with this largest part. If A is upper triangular, the diagonal and the
// first superdiagonal are recomputed after every squaring (Al-Mohy and Higham 2009, code
// fragment 2.1).
template <class T>
aligned_vector<T> exponential_of(aligned_vector<T> a, std::size_t n, double largest,
                                 bool is_triangular)
{
    const aligned_vector<T> triangle = is_triangular ? a : aligned_vector<T>();
    const int scaled = scale_down(a, n, largest);
    int squarings = 0;
    aligned_vector<T> x = detail::pade_approximant(a, n, squarings);
    aligned_vector<T>& square = a; // its elements aren't needed any more
    for (squarings += scaled; squarings >= 0; --squarings) {
        if (is_triangular)
            detail::restore_diagonals(x, triangle, n, -squarings);
        if (squarings == 0)
            break;
        detail::gemm_new<T>(n, n, n, x.data(), n, x.data(), n, square.data(), n);
        std::swap(x, square);
    }
    return x;
}

// V·diag(e^λ)·Vᴴ. The rounding errors of the eigenvalues are within the condition of the
// exponential.
template <class T>
matrix<T> exponential_of_hermitian(matrix<T> a)
{
    auto spectrum = detail::spectrum_of_hermitian(std::move(a));
    for (double& value : spectrum.values)
        value = std::exp(value);
    return detail::spectral_sum(spectrum.vectors, spectrum.values);
}

// V·diag(e^(iλ))·Vᴴ for A = i·H, unitary to rounding whatever the norm.
matrix<complex> exponential_of_antihermitian(matrix<complex> a)
{
    for (complex& element : a.data)
        element = {element.imag(), -element.real()}; // H = -i·A
    const auto spectrum = detail::spectrum_of_hermitian(std::move(a));
    const std::size_t n = spectrum.values.size();
    aligned_vector<complex> turns(n);
    std::transform(spectrum.values.begin(), spectrum.values.end(), turns.begin(),
                   [](double value) { return std::polar(1.0, value); });
    matrix<complex> turned = spectrum.vectors;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            turned.data[i * n + j] = detail::finite_product(turned.data[i * n + j], turns[j]);
    return turned * detail::adjoint(spectrum.vectors);
}

} // namespace

template <class T>
matrix<T> matrix_exponential(matrix<T> a)
{
    if (a.rows != a.cols)
        throw dimension_error("expm requires a square matrix");
    const double largest = detail::largest_finite_part(a.data.data(), a.data.size(), "expm");
    const std::size_t n = a.rows;
    if (n == 0)
        return a;
    const bool is_upper = detail::is_upper_triangular(a.data, n);
    const bool is_lower = detail::is_lower_triangular(a.data, n);
    if (is_upper && is_lower) {
        detail::restore_diagonals(a.data, a.data, n, 0);
        return a;
    }
    if (n >= detail::hermitian_exponential_crossover) {
        if (detail::is_hermitian(a))
            return exponential_of_hermitian(std::move(a));
        if constexpr (std::is_same_v<T, complex>)
            if (detail::is_antihermitian(a))
                return exponential_of_antihermitian(std::move(a));
    }
    if (is_lower)
        detail::transpose_in_place(a.data, n);
    aligned_vector<T> x = exponential_of(std::move(a.data), n, largest, is_upper || is_lower);
    if (is_lower)
        detail::transpose_in_place(x, n);
    return {n, n, std::move(x)};
}

template matrix<double> matrix_exponential(matrix<double>);
template matrix<complex> matrix_exponential(matrix<complex>);

} // namespace numerical
