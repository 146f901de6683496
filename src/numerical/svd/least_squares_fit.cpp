#include "numerical/svd/least_squares_fit.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/tall_factors.hpp"
#include "numerical/svd/truncated_inverse.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical {

using detail::block_view;
using detail::complex;
using detail::tall_factors;

namespace {

// The squared norms of the columns from row `first` on, for columns that were taken times the
// powers of two `guards`.
template <class T>
aligned_vector<double> squares_below(const aligned_vector<T>& b, std::size_t first,
                                     const std::vector<int>& guards)
{
    const std::size_t cols = guards.size();
    aligned_vector<double> squares(cols);
    for (std::size_t at = first * cols; at < b.size(); at += cols)
        for (std::size_t c = 0; c < cols; ++c)
            squares[c] += std::norm(b[at + c]);
    for (std::size_t c = 0; c < cols; ++c)
        squares[c] = std::ldexp(squares[c], -2 * guards[c]);
    return squares;
}

// R⁻¹ or R⁻ᴴ on the first rows of `right`. False, with nothing done, unless the condition of R says
// that no singular value counts as zero.
template <class T>
bool lstsq_by_qr(const tall_factors<T>& factors, bool is_wide, double cutoff,
                 aligned_vector<T>& right, std::size_t cols)
{
    if (!factors.has_condition_below(cutoff))
        return false;
    if (is_wide)
        factors.solve_adjoint(right, cols);
    else
        factors.solve(right, cols);
    return true;
}

// The same for any R, by its singular values where they must tell what counts; these are returned.
template <class T>
aligned_vector<double> invert_factor(const tall_factors<T>& factors, bool is_wide, double cutoff,
                                     aligned_vector<T>& right, std::size_t cols,
                                     detail::reflector_blocking blocking)
{
    if (lstsq_by_qr(factors, is_wide, cutoff, right, cols))
        return {};
    const std::size_t n = factors.order;
    aligned_vector<T> r =
        is_wide ? detail::adjoint(matrix<T>(n, n, factors.qr.r)).data : factors.qr.r;
    right.resize(n * cols);
    return detail::apply_truncated_inverse(std::move(r), n, cutoff, right, blocking).values;
}

// Of a matrix without an element above zero.
template <class T>
least_squares_fit<T> fit_of_zero(block_view<const T> a, const matrix<T>& b)
{
    const std::size_t k = std::min(a.rows, a.cols);
    aligned_vector<double> missed;
    if (a.rows >= a.cols)
        missed = squares_below(b.data, a.cols, std::vector<int>(b.cols));
    return {.x = {a.cols, b.cols, detail::zeros<T>(detail::checked_mul(a.cols, b.cols))},
            .missed = std::move(missed),
            .triangle = {k, k, detail::zeros<T>(k * k)},
            .scale = 1.0,
            .values = {}};
}

} // namespace

template <class T>
least_squares_fit<T> fit_least_squares(block_view<const T> a, const matrix<T>& b, double cutoff,
                                       detail::reflector_blocking blocking)
{
    if (a.rows != b.rows)
        throw dimension_error("lstsq: right-hand side size differs from the matrix");
    const double largest = detail::largest_finite_part(a.first, a.rows * a.cols, "lstsq");
    if (largest == 0)
        return fit_of_zero<T>(a, b);

    const bool is_wide = a.rows < a.cols;
    const std::size_t n = a.cols;
    tall_factors<T> factors(a, largest, blocking);
    const double scale = std::ldexp(1.0, -factors.exponent);
    const std::vector<int> guards = detail::column_guards(b.data, b.cols);
    aligned_vector<T> right = detail::copy_of(b.data.data(), b.data.size());
    detail::multiply_columns(right, guards);

    aligned_vector<double> missed;
    if (!is_wide) {
        factors.apply_adjoint(right, b.cols);
        missed = squares_below(right, factors.order, guards);
    }
    aligned_vector<double> values =
        invert_factor(factors, is_wide, cutoff, right, b.cols, blocking);
    for (double& value : values)
        value *= scale;
    right.resize(n * b.cols);
    if (is_wide)
        factors.apply(right, b.cols);
    detail::multiply_columns(right, detail::less_guards(factors.exponent, guards));
    return {.x = {n, b.cols, std::move(right)},
            .missed = std::move(missed),
            .triangle = {factors.order, factors.order, std::move(factors.qr.r)},
            .scale = scale,
            .values = std::move(values)};
}

template least_squares_fit<double> fit_least_squares(block_view<const double>,
                                                     const matrix<double>&, double,
                                                     detail::reflector_blocking);
template least_squares_fit<complex> fit_least_squares(block_view<const complex>,
                                                      const matrix<complex>&, double,
                                                      detail::reflector_blocking);

} // namespace numerical
