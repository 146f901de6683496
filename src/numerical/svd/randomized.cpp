#include "numerical/svd/randomized.hpp"

#include "numerical/errors.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/scaled_copy.hpp"
#include "numerical/svd/svd.hpp"

#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

// An orthonormal basis of the range of the columns, as many as they are.
template <class T>
matrix<T> orthonormal_columns(matrix<T> y)
{
    const std::size_t rows = y.rows;
    const std::size_t cols = y.cols;
    return {rows, cols, detail::householder_qr(std::move(y.data), rows, cols).q};
}

template <class T>
singular_triplets<T> sampled(const matrix<T>& a, const matrix<T>& omega, std::size_t k,
                             std::size_t power_iterations)
{
    matrix<T> q = orthonormal_columns(a * omega);
    matrix<T> projected = detail::adjoint(q) * a;
    for (std::size_t pass = 0; pass < power_iterations; ++pass) {
        q = orthonormal_columns(a * orthonormal_columns(detail::adjoint(projected)));
        projected = detail::adjoint(q) * a;
    }
    singular_triplets<T> found = leading_triplets(projected, k);
    found.u = q * found.u;
    return found;
}

} // namespace

template <class T>
singular_triplets<T> randomized_triplets(const matrix<T>& a, const matrix<T>& omega, std::size_t k,
                                         std::size_t power_iterations)
{
    if (omega.rows != a.cols)
        throw dimension_error(
            "randomized SVD: the sample has as many rows as the matrix has columns");
    detail::require_finite(a, "SVD");
    if (k == 0)
        return {{a.rows, 0, {}}, {}, {a.cols, 0, {}}};
    constexpr double tame = 0x1p500;
    const double scale = detail::scale_of(a);
    if (1 / tame <= scale && scale <= tame)
        return sampled(a, omega, k, power_iterations);
    const matrix<T> divided(a.rows, a.cols, detail::divided(a, scale));
    singular_triplets<T> found = sampled(divided, omega, k, power_iterations);
    for (double& value : found.values)
        value *= scale;
    return found;
}

template singular_triplets<double> randomized_triplets(const matrix<double>&, const matrix<double>&,
                                                       std::size_t, std::size_t);
template singular_triplets<complex>
randomized_triplets(const matrix<complex>&, const matrix<complex>&, std::size_t, std::size_t);

} // namespace numerical
