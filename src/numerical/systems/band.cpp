#include "numerical/systems/band.hpp"

#include "numerical/errors.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include <algorithm>
#include <cmath>

namespace numerical {

using detail::block_view;
using detail::complex;

template <class T>
band_decomposition<T>::band_decomposition(block_view<const T> a, const bandwidths& band)
    : order(a.rows), below(band.lower), above(band.lower + band.upper),
      rows(detail::zeros<T>(order * (below + above + 1))), multipliers(order * below), pivots(order)
{
    read(a, band);
    factorize();
}

// The number of rows below, and of columns right of, element k of the diagonal within the band.
template <class T>
std::size_t band_decomposition<T>::rows_below(std::size_t k) const
{
    return std::min(below, order - 1 - k);
}

template <class T>
std::size_t band_decomposition<T>::columns_right(std::size_t k) const
{
    return std::min(above, order - 1 - k);
}

template <class T>
void band_decomposition<T>::read(block_view<const T> a, const bandwidths& band)
{
    bool is_finite = true;
    for (std::size_t i = 0; i < order; ++i) {
        const std::size_t from = i - std::min(i, band.lower);
        const std::size_t to = std::min(i + band.upper + 1, order);
        for (std::size_t j = from; j < to; ++j)
            is_finite = is_finite && detail::is_finite(a(i, j));
        std::copy(a.row(i) + from, a.row(i) + to, at(i, from));
    }
    if (!is_finite)
        throw non_finite_error("band LU decomposition: the matrix holds an infinite or NaN entry");
}

namespace {

// |Re z| + |Im z|, by which pivots are chosen as LAPACK does, without a square root.
double magnitude(double x)
{
    return std::abs(x);
}

double magnitude(const complex& z)
{
    return std::abs(z.real()) + std::abs(z.imag());
}

} // namespace

// Column by column: the pivot, the largest element of the column, comes to the diagonal, and
// multiples of its row are subtracted from the rows below that have elements in the column.
template <class T>
void band_decomposition<T>::factorize()
{
    const int path = detail::gemm_path_current();
    for (std::size_t k = 0; k < order; ++k) {
        const std::size_t height = rows_below(k);
        const std::size_t width = columns_right(k);
        std::size_t largest = k;
        double size = magnitude(*at(k, k));
        for (std::size_t i = k + 1; i <= k + height; ++i)
            if (const double other = magnitude(*at(i, k)); other > size) {
                size = other;
                largest = i;
            }
        pivots[k] = largest;
        if (largest != k)
            detail::exchange_runs(at(k, k), at(largest, k), width + 1);
        const T pivot = *at(k, k);
        singular = singular || pivot == T(0);
        if (height == 0 || pivot == T(0))
            continue;
        T* const factors = multipliers.data() + k * below;
        for (std::size_t r = 0; r < height; ++r)
            factors[r] = *at(k + 1 + r, k);
        detail::divide_row(path, factors, pivot, height);
        detail::subtract_from_rows_on(path, at(k + 1, k + 1), stride(), height, factors,
                                      at(k, k) + 1, width);
    }
}

template <class T>
void band_decomposition<T>::solve_plain(block_view<T> x) const
{
    const int path = detail::gemm_path_current();
    for (std::size_t k = 0; k < order && below != 0; ++k) {
        if (pivots[k] != k)
            detail::exchange_runs(x.row(k), x.row(pivots[k]), x.cols);
        const T* const factors = multipliers.data() + k * below;
        if (x.cols == 1)
            detail::subtract_scaled_on(path, x.row(k) + 1, factors, x(k, 0), rows_below(k));
        else
            detail::subtract_from_rows_on(path, x.row(k) + x.stride, x.stride, rows_below(k),
                                          factors, x.row(k), x.cols);
    }
    for (std::size_t k = order; k-- > 0;) {
        detail::subtract_products_on(path, x.row(k), at(k, k) + 1, x.row(k) + x.stride, x.stride,
                                     columns_right(k), x.cols);
        detail::divide_row(path, x.row(k), *at(k, k), x.cols);
    }
}

template <class T>
void band_decomposition<T>::solve_transposed(block_view<T> x) const
{
    const int path = detail::gemm_path_current();
    for (std::size_t k = 0; k < order; ++k) {
        detail::divide_row(path, x.row(k), *at(k, k), x.cols);
        if (x.cols == 1)
            detail::subtract_scaled_on(path, x.row(k) + 1, at(k, k) + 1, x(k, 0), columns_right(k));
        else
            detail::subtract_from_rows_on(path, x.row(k) + x.stride, x.stride, columns_right(k),
                                          at(k, k) + 1, x.row(k), x.cols);
    }
    for (std::size_t k = order; k-- > 0 && below != 0;) {
        detail::subtract_products_on(path, x.row(k), multipliers.data() + k * below,
                                     x.row(k) + x.stride, x.stride, rows_below(k), x.cols);
        if (pivots[k] != k)
            detail::exchange_runs(x.row(k), x.row(pivots[k]), x.cols);
    }
}

template <class T>
void band_decomposition<T>::solve(matrix_form form, block_view<T> x) const
{
    if (x.cols == 0)
        return;
    if (form == matrix_form::plain)
        return solve_plain(x);
    detail::solve_transposed_or_adjoint(form, x, [&](block_view<T> y) { solve_transposed(y); });
}

template <class T>
double band_decomposition<T>::reciprocal_condition(double norm) const
{
    if (singular)
        return 0;
    const auto solve_as = [this](matrix_form form) {
        return [this, form](block_view<T> x) { solve(form, x); };
    };
    return numerical::reciprocal_condition(
        order, norm,
        estimate_one_norm<T>(order, solve_as(matrix_form::plain), solve_as(matrix_form::adjoint)));
}

template class band_decomposition<double>;
template class band_decomposition<complex>;

} // namespace numerical
