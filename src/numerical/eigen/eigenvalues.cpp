#include "numerical/eigen/eigenvalues.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/eigen/lower_triangle.hpp"
#include "numerical/eigen/root_free_ql.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

// To tridiagonal form; the matrix is used up.
template <class T>
void reduce(aligned_vector<T> a, std::size_t n, aligned_vector<double>& d,
            aligned_vector<double>& e)
{
    if (n >= detail::two_stage_eigen_order<T>) {
        auto band =
            detail::reduce_to_hermitian_band(std::move(a), n, detail::hermitian_band_width(n));
        detail::narrow_hermitian_band(band, d, e);
    } else {
        detail::tridiagonalize_for_values(a, n, d, e);
    }
}

} // namespace

template <class T>
aligned_vector<double> eigenvalues(matrix<T> a)
{
    const double scale = detail::checked_scale(a);
    const std::size_t n = a.rows;
    if (n == 0)
        return {};
    detail::scale_lower(a, scale);
    aligned_vector<double> d(n);
    aligned_vector<double> e(n);
    reduce(std::move(a.data), n, d, e);
    detail::root_free_ql(d, e, detail::ql_steps_per_value * n);
    for (double& value : d)
        value *= scale;
    return d;
}

template aligned_vector<double> eigenvalues(matrix<double>);
template aligned_vector<double> eigenvalues(matrix<complex>);

} // namespace numerical
