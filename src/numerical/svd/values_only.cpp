#include "numerical/svd/values_only.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/svd/band_bidiagonal.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/dqds.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/tall_factors.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical {

using detail::block_view;
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

// The singular values of A·2^exponent.
struct scaled_values
{
    aligned_vector<double> values;
    int exponent;
};

template <class T>
aligned_vector<double> values_of_square(aligned_vector<T> a, std::size_t n)
{
    const auto [d, e] = bidiagonal_form(std::move(a), n);
    return detail::dqds_values(d, e, dqds_steps_per_value * n, detail::value_accuracy::absolute);
}

// By the power of two that brings the largest part near 1, and by R unless the matrix is square.
template <class T>
scaled_values values_near_one(block_view<const T> a, const char* prefix)
{
    const double largest = detail::largest_finite_part(a.first, a.rows * a.cols, prefix);
    if (largest == 0)
        return {aligned_vector<double>(std::min(a.rows, a.cols)), 0};
    if (a.rows == a.cols) {
        const int exponent = -std::ilogb(largest);
        return {
            values_of_square(detail::copy_times_power(a.first, a.rows * a.cols, exponent), a.rows),
            exponent};
    }
    detail::tall_factors<T> factors(a, largest);
    return {values_of_square(std::move(factors.qr.r), factors.order), factors.exponent};
}

} // namespace

template <class T>
aligned_vector<double> singular_values_only(block_view<const T> a)
{
    auto [values, exponent] = values_near_one(a, "SVD");
    for (double& value : values)
        value = std::ldexp(value, -exponent);
    return values;
}

// On values that neither overflow nor are subnormal.
template <class T>
std::size_t rank_by_values(block_view<const T> a)
{
    const auto [values, exponent] = values_near_one(a, "matrix_rank");
    return detail::count_above_threshold(values, a.rows, a.cols);
}

template aligned_vector<double> singular_values_only(block_view<const double>);
template aligned_vector<double> singular_values_only(block_view<const complex>);
template std::size_t rank_by_values(block_view<const double>);
template std::size_t rank_by_values(block_view<const complex>);

} // namespace numerical
