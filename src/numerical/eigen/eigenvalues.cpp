#include "numerical/eigen/eigenvalues.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/eigen/lower_triangle.hpp"
#include "numerical/eigen/root_free_ql.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/block_view.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

// Of a tridiagonal matrix.
aligned_vector<double> scaled_values(aligned_vector<double> d, aligned_vector<double> e,
                                     double scale)
{
    detail::root_free_ql(d, e, detail::ql_steps_per_value * d.size());
    for (double& value : d)
        value *= scale;
    return d;
}

template <class T>
aligned_vector<double> values_by_steps(detail::block_view<const T> a)
{
    const double scale = detail::checked_scale(a);
    aligned_vector<double> d(a.rows);
    aligned_vector<double> e(a.rows);
    if (a.rows == 0)
        return d;
    detail::tridiagonalize_for_values<T>(a, scale, d, e);
    return scaled_values(std::move(d), std::move(e), scale);
}

template <class T>
aligned_vector<double> values_in_two_stages(matrix<T> a)
{
    const double scale = detail::checked_scale(a);
    const std::size_t n = a.rows;
    detail::scale_lower(a, scale);
    aligned_vector<double> d(n);
    aligned_vector<double> e(n);
    auto band =
        detail::reduce_to_hermitian_band(std::move(a.data), n, detail::hermitian_band_width(n));
    detail::narrow_hermitian_band(band, d, e);
    return scaled_values(std::move(d), std::move(e), scale);
}

} // namespace

template <class T>
aligned_vector<double> eigenvalues(matrix<T> a)
{
    if (a.rows == a.cols && a.rows >= detail::two_stage_eigen_order<T>)
        return values_in_two_stages(std::move(a));
    return values_by_steps<T>({a.data.data(), a.rows, a.cols});
}

template <class T>
aligned_vector<double> eigenvalues_of(const T* a, std::size_t n)
{
    if (n >= detail::two_stage_eigen_order<T>)
        return values_in_two_stages(matrix<T>(n, n, detail::copy_on_threads(a, n * n)));
    return values_by_steps<T>({a, n, n});
}

template aligned_vector<double> eigenvalues(matrix<double>);
template aligned_vector<double> eigenvalues(matrix<complex>);
template aligned_vector<double> eigenvalues_of(const double*, std::size_t);
template aligned_vector<double> eigenvalues_of(const complex*, std::size_t);

} // namespace numerical
