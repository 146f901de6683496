#include "numerical/svd/values_only.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/band_bidiagonal.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/dqds.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/scaled_copy.hpp"

#include <complex>
#include <utility>

namespace numerical {

using detail::complex;

namespace {

constexpr std::size_t dqds_steps_per_value = 30;

template <class T>
detail::bidiagonal_entries bidiagonal_form(aligned_vector<T> a, std::size_t n)
{
    if (n >= detail::two_stage_order<T>) {
        auto band = detail::reduce_to_band(std::move(a), n, detail::band_width_of_order(n));
        return detail::narrow_band(band);
    }
    auto reduction = detail::bidiagonalize_fastest(std::move(a), n);
    return {std::move(reduction.d), std::move(reduction.e)};
}

// The singular values of a/scale.
template <class T>
aligned_vector<double> values_of_quotient(const matrix<T>& a, double scale)
{
    if (a.rows < a.cols)
        return values_of_quotient(detail::adjoint(a), scale);
    const std::size_t n = a.cols;
    if (n == 0)
        return {};
    aligned_vector<T> work = detail::divided(a, scale);
    if (a.rows > n)
        work = detail::householder_reflect(std::move(work), a.rows, n).r;
    const auto [d, e] = bidiagonal_form(std::move(work), n);
    return detail::dqds_values(d, e, dqds_steps_per_value * n, detail::value_accuracy::absolute);
}

} // namespace

template <class T>
aligned_vector<double> singular_values_only(const matrix<T>& a)
{
    detail::require_finite(a, "SVD");
    const double scale = detail::scale_of(a);
    aligned_vector<double> values = values_of_quotient(a, scale);
    for (double& value : values)
        value *= scale;
    return values;
}

// On values that neither overflow nor are subnormal.
template <class T>
std::size_t rank_by_values(const matrix<T>& a)
{
    detail::require_finite(a, "matrix_rank");
    const aligned_vector<double> values = values_of_quotient(a, detail::scale_of(a));
    return detail::count_above_threshold(values, a.rows, a.cols);
}

template aligned_vector<double> singular_values_only(const matrix<double>&);
template aligned_vector<double> singular_values_only(const matrix<complex>&);
template std::size_t rank_by_values(const matrix<double>&);
template std::size_t rank_by_values(const matrix<complex>&);

} // namespace numerical
