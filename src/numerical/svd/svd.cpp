#include "numerical/svd/svd.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"
#include "numerical/svd/jacobi_svd.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/scaled_copy.hpp"
#include "numerical/svd/square_svd.hpp"
#include "numerical/svd/tall_factors.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical {
namespace {

using detail::complex;
using detail::square_svd;

constexpr std::size_t qr_steps_per_value = 30;

// Applying the reflections to the vectors of the bidiagonal matrix takes less than forming the
// bases and multiplying them. Each side writes its own vectors.
template <class T>
square_svd<T> by_division(detail::bidiagonal_reduction<T>& reduction)
{
    auto [values, u, v] = detail::divide_bidiagonal(reduction.d, reduction.e, reduction.order);
    square_svd<T> result{std::move(values), {}, {}};
    const auto multiply_side = [&, &left = u, &right = v](std::size_t side) {
        if (side == 0)
            result.u = detail::multiply_left_basis(reduction, std::move(left));
        else
            result.v = detail::multiply_right_basis(reduction, std::move(right));
    };
    const std::size_t n = reduction.order;
    detail::parallel_for(2, n < detail::side_by_side_order ? 8 * n * n : 0, multiply_side);
    return result;
}

template <class T>
square_svd<T> by_bidiagonal_form(aligned_vector<T> a, std::size_t n, svd_method method,
                                 svd_blocks blocks)
{
    auto reduction = blocks == svd_blocks::fixed ? detail::bidiagonalize(std::move(a), n)
                                                 : detail::bidiagonalize_fastest(std::move(a), n);
    if (method == svd_method::divide_and_conquer && n >= detail::bidiagonal_leaf_order)
        return by_division(reduction);
    auto [left, right] = detail::form_bidiagonal_bases(reduction);
    aligned_vector<double>& d = reduction.d;
    aligned_vector<double>& e = reduction.e;
    if (method == svd_method::bidiagonal_qr)
        detail::bidiagonal_qr(d, e, left, right, n, qr_steps_per_value * n);
    else
        detail::bidiagonal_divide_and_conquer(d, e, left, right, n);
    detail::transpose_in_place(left, n);
    detail::transpose_in_place(right, n);
    return {std::move(d), std::move(left), std::move(right)};
}

// Of the matrix times the power of two that brings its largest part near 1; a tall one by R, to
// whose left vectors the reflections are applied.
template <class T>
square_svd<T> by_power(const matrix<T>& a, svd_method method)
{
    const std::size_t n = a.cols;
    const double found = detail::largest_finite_part(a.data.data(), a.data.size(), "SVD");
    const double largest = found == 0 ? 1.0 : found;
    square_svd<T> result;
    int exponent = -std::ilogb(largest);
    if (a.rows == n) {
        result = by_bidiagonal_form(detail::copy_times_power(a.data.data(), n * n, exponent), n,
                                    method, svd_blocks::fastest);
    } else {
        detail::tall_factors<T> factors(detail::view_of(a), largest);
        exponent = factors.exponent;
        result = by_bidiagonal_form(std::move(factors.qr.r), n, method, svd_blocks::fastest);
        aligned_vector<T> u = detail::zeros<T>(a.rows * n);
        std::copy(result.u.begin(), result.u.end(), u.begin());
        factors.apply(u, n);
        result.u = std::move(u);
    }
    for (double& value : result.values)
        value = std::ldexp(value, -exponent);
    return result;
}

// Of the matrix divided by its largest modulus. By R and Q unless the matrix is square.
template <class T>
square_svd<T> by_quotient(const matrix<T>& a, svd_method method)
{
    const std::size_t m = a.rows;
    const std::size_t n = a.cols;
    const double scale = detail::scale_of(a);
    const bool jacobi = method == svd_method::jacobi;
    aligned_vector<T> work = detail::divided(a, scale);
    aligned_vector<T> q;
    if (m > n || jacobi) {
        auto factors = detail::householder_qr(std::move(work), m, n);
        q = std::move(factors.q);
        work = std::move(factors.r);
    }
    square_svd<T> result = jacobi
                               ? detail::jacobi_svd(std::move(work), n)
                               : by_bidiagonal_form(std::move(work), n, method, svd_blocks::fixed);
    for (double& value : result.values)
        value *= scale;
    if (!q.empty())
        result.u = (matrix<T>(m, n, std::move(q)) * matrix<T>(n, n, std::move(result.u))).data;
    return result;
}

} // namespace

template <class T>
svd_decomposition<T>::svd_decomposition(const matrix<T>& a, svd_method method, svd_blocks blocks)
    : u(0, 0, {}), v(0, 0, {})
{
    detail::require_finite(a, "SVD");
    if (a.rows >= a.cols) {
        factor(a, method, blocks);
    } else {
        factor(detail::adjoint(a), method, blocks);
        std::swap(u, v);
    }
}

// For m ≥ n.
template <class T>
void svd_decomposition<T>::factor(const matrix<T>& a, svd_method method, svd_blocks blocks)
{
    const std::size_t m = a.rows;
    const std::size_t n = a.cols;
    if (n == 0) {
        u = matrix<T>(m, 0, {});
        return;
    }
    const bool fastest = blocks == svd_blocks::fastest && method != svd_method::jacobi;
    square_svd<T> thin = fastest ? by_power(a, method) : by_quotient(a, method);
    values = std::move(thin.values);
    u = matrix<T>(m, n, std::move(thin.u));
    v = matrix<T>(n, n, std::move(thin.v));
}

namespace {

// R of the QR factorization with a real, non-negative diagonal, without Q.
template <class T>
aligned_vector<T> triangular_factor(aligned_vector<T> a, std::size_t m, std::size_t n)
{
    aligned_vector<T> r = detail::householder_reflect(std::move(a), m, n).r;
    detail::turn_diagonal_real(r, n, n);
    return r;
}

} // namespace

template <class T>
aligned_vector<double> singular_values(const matrix<T>& a)
{
    detail::require_finite(a, "SVD");
    if (a.rows < a.cols)
        return singular_values(detail::adjoint(a));
    const std::size_t n = a.cols;
    if (n == 0)
        return {};
    const double scale = detail::scale_of(a);
    aligned_vector<T> work = detail::divided(a, scale);
    if (a.rows > n)
        work = triangular_factor(std::move(work), a.rows, n);
    const auto reduction = detail::bidiagonalize(std::move(work), n);
    aligned_vector<double> values = detail::bidiagonal_values(reduction.d, reduction.e, n);
    for (double& value : values)
        value *= scale;
    return values;
}

template struct svd_decomposition<double>;
template struct svd_decomposition<complex>;
template aligned_vector<double> singular_values(const matrix<double>&);
template aligned_vector<double> singular_values(const matrix<complex>&);

} // namespace numerical
