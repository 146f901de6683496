#include "numerical/svd/svd.hpp"

#include "numerical/checks.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"
#include "numerical/svd/one_sided_jacobi.hpp"
#include "numerical/svd/scaled_copy.hpp"

#include <algorithm>
#include <complex>
#include <iterator>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

constexpr std::size_t jacobi_sweeps = 60;
constexpr std::size_t qr_steps_per_value = 30;

// The decomposition of a square matrix whose largest entry is of the order of 1, vectors by
// columns.
template <class T>
struct square_svd
{
    std::vector<double> values;
    std::vector<T> u;
    std::vector<T> v;
};

// Applying the reflections to the vectors of the bidiagonal matrix takes less than forming the
// bases and multiplying them.
template <class T>
square_svd<T> by_division(detail::bidiagonal_reduction<T>& reduction)
{
    auto [values, u, v] = detail::divide_bidiagonal(reduction.d, reduction.e, reduction.order);
    return {std::move(values), detail::multiply_left_basis(reduction, std::move(u)),
            detail::multiply_right_basis(reduction, std::move(v))};
}

template <class T>
square_svd<T> by_bidiagonal_form(std::vector<T> a, std::size_t n, svd_method method)
{
    auto reduction = detail::bidiagonalize(std::move(a), n);
    if (method == svd_method::divide_and_conquer && n >= detail::bidiagonal_leaf_order)
        return by_division(reduction);
    auto [left, right] = detail::form_bidiagonal_bases(reduction);
    std::vector<double>& d = reduction.d;
    std::vector<double>& e = reduction.e;
    if (method == svd_method::bidiagonal_qr)
        detail::bidiagonal_qr(d, e, left, right, n, qr_steps_per_value * n);
    else
        detail::bidiagonal_divide_and_conquer(d, e, left, right, n);
    detail::transpose_in_place(left, n);
    detail::transpose_in_place(right, n);
    return {std::move(d), std::move(left), std::move(right)};
}

// x less its projections on the first `count` rows of `basis`, one after the other.
template <class T>
void remove_projections(std::vector<T>& x, const T* basis, std::size_t count)
{
    const std::size_t n = x.size();
    for (std::size_t p = 0; p < count; ++p) {
        const T* const row = basis + p * n;
        T along = 0;
        for (std::size_t i = 0; i < n; ++i)
            along += detail::conjugate(row[i]) * x[i];
        for (std::size_t i = 0; i < n; ++i)
            x[i] -= along * row[i];
    }
}

// The unit coordinate vector that sticks out of the span of the first `count` rows furthest; the
// first of several.
template <class T>
std::size_t farthest_coordinate(const T* basis, std::size_t count, std::size_t n)
{
    std::vector<double> inside(n); // squared length of each one's projection
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t i = 0; i < n; ++i)
            inside[i] += std::norm(basis[p * n + i]);
    return static_cast<std::size_t>(std::min_element(inside.begin(), inside.end()) -
                                    inside.begin());
}

// A unit vector orthogonal to the first `count` rows of `basis`. The second orthogonalisation
// removes what rounding leaves of the first.
template <class T>
std::vector<T> completing_vector(const T* basis, std::size_t count, std::size_t n)
{
    std::vector<T> x(n);
    x[farthest_coordinate(basis, count, n)] = T(1);
    remove_projections(x, basis, count);
    remove_projections(x, basis, count);
    const double norm = detail::scaled_norm(x.data(), n);
    for (T& element : x)
        element /= norm;
    return x;
}

// A column of subnormal numbers, whose norm has few digits, as a unit vector.
template <class T>
std::vector<T> direction_of_subnormals(const T* column, std::size_t n)
{
    std::vector<T> x(column, column + n);
    for (T& element : x)
        element *= detail::tiny_scale(0); // to normal numbers
    const double norm = detail::scaled_norm(x.data(), n);
    for (T& element : x)
        element /= norm;
    return x;
}

// Rows 0 .. n-1 of the result are the columns of the rotated matrix in the given order, divided by
// their norms; zero columns are replaced so that the set is orthonormal.
template <class T>
std::vector<T> left_vectors(const std::vector<T>& columns, const std::vector<double>& norms,
                            const std::vector<std::size_t>& order, std::size_t n)
{
    std::vector<T> rows = detail::reserved<T>(n * n);
    for (const std::size_t c : order) {
        const T* const column = columns.data() + c * n;
        if (norms[c] >= std::numeric_limits<double>::min()) {
            std::transform(column, column + n, std::back_inserter(rows),
                           [norm = norms[c]](const T& x) { return x / norm; });
        } else {
            const std::vector<T> added = norms[c] > 0
                                             ? direction_of_subnormals(column, n)
                                             : completing_vector(rows.data(), rows.size() / n, n);
            rows.insert(rows.end(), added.begin(), added.end());
        }
    }
    return rows;
}

template <class T>
square_svd<T> by_jacobi(std::vector<T> a, std::size_t n)
{
    std::vector<T> v = detail::zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        v[i * n + i] = T(1);
    detail::one_sided_jacobi(a, v, n, jacobi_sweeps);
    detail::transpose_in_place(a, n);
    detail::transpose_in_place(v, n);

    std::vector<double> norms(n);
    for (std::size_t j = 0; j < n; ++j)
        norms[j] = detail::scaled_norm(a.data() + j * n, n);
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t i, std::size_t j) { return norms[i] > norms[j]; });

    square_svd<T> out{{}, left_vectors(a, norms, order, n), detail::reserved<T>(n * n)};
    for (const std::size_t c : order) {
        out.values.push_back(norms[c]);
        out.v.insert(out.v.end(), v.data() + c * n, v.data() + (c + 1) * n);
    }
    detail::transpose_in_place(out.u, n);
    detail::transpose_in_place(out.v, n);
    return out;
}

} // namespace

template <class T>
svd_decomposition<T>::svd_decomposition(const matrix<T>& a, svd_method method)
    : u(0, 0, {}), v(0, 0, {})
{
    detail::require_finite(a, "SVD");
    if (a.rows >= a.cols) {
        factor(a, method);
    } else {
        factor(detail::adjoint(a), method);
        std::swap(u, v);
    }
}

// For m ≥ n.
template <class T>
void svd_decomposition<T>::factor(const matrix<T>& a, svd_method method)
{
    const std::size_t m = a.rows;
    const std::size_t n = a.cols;
    if (n == 0) {
        u = matrix<T>(m, 0, {});
        return;
    }
    const double scale = detail::scale_of(a);
    const bool jacobi = method == svd_method::jacobi;
    std::vector<T> work = detail::divided(a, scale);
    std::vector<T> q;
    if (m > n || jacobi) {
        auto factors = detail::householder_qr(std::move(work), m, n);
        q = std::move(factors.q);
        work = std::move(factors.r);
    }
    square_svd<T> core =
        jacobi ? by_jacobi(std::move(work), n) : by_bidiagonal_form(std::move(work), n, method);
    values = std::move(core.values);
    for (double& value : values)
        value *= scale;
    u = matrix<T>(n, n, std::move(core.u));
    v = matrix<T>(n, n, std::move(core.v));
    if (!q.empty())
        u = matrix<T>(m, n, std::move(q)) * u;
}

namespace {

// R of the QR factorization with a real, non-negative diagonal, without Q.
template <class T>
std::vector<T> triangular_factor(std::vector<T> a, std::size_t m, std::size_t n)
{
    std::vector<T> r = detail::householder_reflect(std::move(a), m, n).r;
    detail::turn_diagonal_real(r, n, n);
    return r;
}

} // namespace

template <class T>
std::vector<double> singular_values(const matrix<T>& a)
{
    detail::require_finite(a, "SVD");
    if (a.rows < a.cols)
        return singular_values(detail::adjoint(a));
    const std::size_t n = a.cols;
    if (n == 0)
        return {};
    const double scale = detail::scale_of(a);
    std::vector<T> work = detail::divided(a, scale);
    if (a.rows > n)
        work = triangular_factor(std::move(work), a.rows, n);
    const auto reduction = detail::bidiagonalize(std::move(work), n);
    std::vector<double> values = detail::bidiagonal_values(reduction.d, reduction.e, n);
    for (double& value : values)
        value *= scale;
    return values;
}

template struct svd_decomposition<double>;
template struct svd_decomposition<complex>;
template std::vector<double> singular_values(const matrix<double>&);
template std::vector<double> singular_values(const matrix<complex>&);

} // namespace numerical
