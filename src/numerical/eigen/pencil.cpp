#include "numerical/eigen/pencil.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/lower_triangle.hpp"
#include "numerical/eigen/row_bands.hpp"
#include "numerical/eigen/standard_form.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::block_view;
using detail::complex;

constexpr std::size_t solve_block = 64;
constexpr const char* operation = "generalized eigendecomposition";
constexpr const char* not_square =
    "generalized eigendecomposition requires square matrices of one order";

// An even power of two near the largest modulus; one that is itself a normal number, as is its
// inverse.
template <class T>
int exponent_of(const matrix<T>& a)
{
    constexpr int greatest = 1000;
    int exponent = 0;
    const block_view<const T> all{a.data.data(), a.rows, a.cols};
    std::frexp(detail::checked_scale(all, operation, not_square), &exponent);
    return std::clamp(exponent / 2 * 2, -greatest, greatest);
}

// The lower triangle times 2^exponent, with a real diagonal and zeros above it.
template <class T>
void scale_lower_by_power(aligned_vector<T>& a, std::size_t n, int exponent)
{
    const double factor = std::ldexp(1.0, exponent);
    detail::for_each_band<T>(n, n, [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            T* const row = a.data() + i * n;
            for (std::size_t j = 0; j < i; ++j)
                row[j] *= factor;
            row[i] = T(detail::real_part(row[i]) * factor);
            std::fill(row + i + 1, row + n, T(0));
        }
    });
}

template <class T>
matrix<T> cholesky_factor(matrix<T> b)
{
    try {
        const std::size_t n = b.rows;
        return {n, n, std::move(cholesky_decomposition<T>(std::move(b)).factors)};
    } catch (const not_positive_definite_error&) {
        throw not_positive_definite_error(
            "generalized eigendecomposition: b is not positive-definite");
    }
}

} // namespace

template <class T>
definite_pencil<T>::definite_pencil(matrix<T> a, matrix<T> b, pencil_form of)
    : standard(std::move(a)), exponent(0), form(of), factor(0, 0, {})
{
    if (standard.rows != b.rows)
        throw dimension_error(not_square);
    const std::size_t n = standard.rows;
    const int of_a = exponent_of(standard);
    const int of_b = exponent_of(b);
    scale_lower_by_power(standard.data, n, -of_a);
    scale_lower_by_power(b.data, n, -of_b);
    factor = cholesky_factor(std::move(b));

    const block_view<const T> triangle{factor.data.data(), n, n};
    const block_view<T> c{standard.data.data(), n, n};
    if (form == pencil_form::a_and_b) {
        detail::divide_congruently(triangle, c);
        exponent = of_a - of_b;
    } else {
        detail::multiply_congruently(triangle, c);
        exponent = of_a + of_b;
    }
    if (of_b != 0)
        scale_lower_by_power(factor.data, n, of_b / 2);
}

template <class T>
void definite_pencil<T>::restore(matrix<T>& vectors) const
{
    const std::size_t n = vectors.rows;
    if (form == pencil_form::b_times_a) {
        vectors = factor * vectors;
        return;
    }
    const block_view<T> x{vectors.data.data(), n, vectors.cols};
    if (x.cols == 0)
        return;
    aligned_vector<T> store = detail::uninitialized<T>(n * n);
    const block_view<T> upper{store.data(), n, n};
    const block_view<const T> lower{factor.data.data(), n, n};
    detail::for_each_band<T>(n, n / 2, [&](std::size_t from, std::size_t to) {
        adjoint_into(upper.sub(from, to, from, n), lower.sub(from, n, from, to));
    });
    detail::solve_upper<T>(upper, solve_block, x);
}

template class definite_pencil<double>;
template class definite_pencil<complex>;

} // namespace numerical
