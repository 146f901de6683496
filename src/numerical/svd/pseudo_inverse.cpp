#include "numerical/svd/pseudo_inverse.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/svd.hpp"
#include "numerical/svd/tall_factors.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace numerical {

template <class T>
matrix<T> pinv(const matrix<T>& a)
{
    detail::require_finite(a, "pinv");
    if (const int guard = detail::guard_exponent(detail::largest_part(a.data)); guard != 0)
        return detail::times_power(pinv(detail::times_power(a, guard)), guard);
    svd_decomposition<T> svd(a, svd_method::divide_and_conquer);
    const std::size_t rank = detail::count_above_threshold(svd.values, a.rows, a.cols);
    if (rank == 0)
        return detail::zero_matrix<T>(a.cols, a.rows);
    matrix<T>& right = svd.v; // becomes V·S⁻¹
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < rank; ++i)
            right.data[j * right.cols + i] *= T(1.0 / svd.values[i]);
    aligned_vector<T> p = detail::unfused_product_with_adjoint<T>(
        {.first = right.data.data(), .rows = a.cols, .cols = rank, .stride = right.cols},
        {.first = svd.u.data.data(), .rows = a.rows, .cols = rank, .stride = svd.u.cols});
    return matrix<T>(a.cols, a.rows, std::move(p));
}

namespace {

using detail::block_view;
using detail::complex;
using detail::tall_factors;

// The first `count` columns of n rows.
aligned_vector<double> first_columns(const aligned_vector<double>& a, std::size_t n,
                                     std::size_t count)
{
    aligned_vector<double> out = detail::uninitialized<double>(n * count);
    detail::copy_block<double>({.first = a.data(), .rows = n, .cols = count, .stride = n},
                               {out.data(), n, count});
    return out;
}

// (A⁺)ᴴ of an n × n matrix that stands for one of `rows` rows with the same values. Only the
// vectors of values that count are taken back to the coordinates of A.
template <class T>
matrix<T> truncated_adjoint(aligned_vector<T> a, std::size_t n, std::size_t rows)
{
    auto reduction = detail::bidiagonalize_fastest(std::move(a), n);
    const detail::bidiagonal_svd of_b = detail::divide_bidiagonal(reduction.d, reduction.e, n);
    const std::size_t rank = detail::count_above_threshold(of_b.values, rows, n);
    matrix<T> product = detail::zero_matrix<T>(n, n);
    if (rank == 0)
        return product;
    const matrix<T> u(n, rank,
                      detail::multiply_left_basis(reduction, first_columns(of_b.u, n, rank)));
    matrix<T> scaled = detail::adjoint(matrix<T>(
        n, rank, detail::multiply_right_basis(reduction, first_columns(of_b.v, n, rank))));
    for (std::size_t i = 0; i < rank; ++i)
        for (std::size_t j = 0; j < n; ++j)
            scaled.data[i * n + j] *= 1.0 / of_b.values[i];
    detail::add_product<T>(detail::view_of(u), detail::view_of(std::as_const(scaled)),
                           detail::view_of(product));
    return product;
}

// Q·[ X ; 0 ].
template <class T>
matrix<T> times_basis(const tall_factors<T>& factors, matrix<T> x)
{
    aligned_vector<T> product = std::move(x.data);
    if (factors.rows != x.rows) {
        const aligned_vector<T> top = std::move(product);
        product = detail::zeros<T>(factors.rows * x.cols);
        std::copy(top.begin(), top.end(), product.begin());
    }
    factors.apply(product, x.cols);
    return {factors.rows, x.cols, std::move(product)};
}

// The adjoint of the inverse of the tall matrix whose factors these are: of a·2^exponent, or its
// adjoint. A square one that isn't regular is better decomposed itself than by its R.
template <class T>
matrix<T> adjoint_of_inverse(const tall_factors<T>& factors, block_view<const T> a)
{
    const std::size_t n = factors.order;
    if (std::optional<aligned_vector<T>> inverse = factors.regular_inverse())
        return times_basis(factors, detail::adjoint_times_power<T>({inverse->data(), n, n}, 0));
    if (a.rows == a.cols)
        return truncated_adjoint(detail::copy_times_power(a.first, n * n, factors.exponent), n, n);
    return times_basis(factors, truncated_adjoint(factors.qr.r, n, factors.rows));
}

} // namespace

template <class T>
matrix<T> pseudo_inverse(block_view<const T> a)
{
    const double largest = detail::largest_finite_part(a.first, a.rows * a.cols, "pinv");
    if (largest == 0)
        return detail::zero_matrix<T>(a.cols, a.rows);
    const tall_factors<T> factors(a, largest);
    matrix<T> inverse = adjoint_of_inverse(factors, a);
    if (a.rows >= a.cols)
        return detail::adjoint_times_power<T>(detail::view_of(inverse), factors.exponent);
    return detail::times_power(std::move(inverse), factors.exponent);
}

template matrix<double> pinv(const matrix<double>&);
template matrix<complex> pinv(const matrix<complex>&);
template matrix<double> pseudo_inverse(block_view<const double>);
template matrix<complex> pseudo_inverse(block_view<const complex>);

} // namespace numerical
