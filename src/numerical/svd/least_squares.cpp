#include "numerical/svd/least_squares.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/svd.hpp"
#include "numerical/svd/tall_factors.hpp"

#include <complex>
#include <utility>

namespace numerical {
namespace detail {
namespace {

// The minimum-norm solution from the singular values that count, V·(S⁻¹·(UᴴB)).
template <class T>
matrix<T> lstsq_by_svd(const matrix<T>& a, const matrix<T>& b)
{
    const int guard = guard_exponent(largest_part(a.data));
    const svd_decomposition<T> svd(guard == 0 ? a : times_power(a, guard),
                                   svd_method::divide_and_conquer);
    const std::size_t rank = count_above_threshold(svd.values, a.rows, a.cols);
    if (rank == 0 || b.cols == 0)
        return zero_matrix<T>(a.cols, b.cols);
    const std::vector<int> guards = column_guards(b.data, b.cols);
    std::vector<T> right = copy_of(b.data.data(), b.data.size());
    multiply_columns(right, guards);

    const matrix<T> left = adjoint(svd.u);
    std::vector<T> q = unfused_product<T>({left.data.data(), rank, a.rows, a.rows},
                                          {right.data(), b.rows, b.cols, b.cols});
    for (std::size_t i = 0; i < rank; ++i)
        for (std::size_t c = 0; c < b.cols; ++c)
            q[i * b.cols + c] /= T(svd.values[i]);
    std::vector<T> x = unfused_product<T>({svd.v.data.data(), a.cols, rank, svd.v.cols},
                                          {q.data(), rank, b.cols, b.cols});
    multiply_columns(x, less_guards(guard, guards));
    return matrix<T>(a.cols, b.cols, std::move(x));
}

} // namespace

template <class T>
std::optional<matrix<T>> lstsq_by_qr(const matrix<T>& a, const matrix<T>& b)
{
    const double largest = largest_part(a.data);
    if (a.rows == 0 || largest == 0)
        return std::nullopt;
    const tall_factors<T> factors(a, largest);
    if (!is_clearly_regular(factors.condition(), factors.rows))
        return std::nullopt;
    if (b.cols == 0)
        return zero_matrix<T>(a.cols, 0);

    const std::vector<int> guards = column_guards(b.data, b.cols);
    std::vector<T> x = copy_of(b.data.data(), b.data.size());
    multiply_columns(x, guards);
    if (a.rows >= a.cols) {
        factors.apply_adjoint(x, b.cols);
        factors.solve(x, b.cols);
        x.resize(a.cols * b.cols);
    } else {
        factors.solve_adjoint(x, b.cols);
        x.resize(a.cols * b.cols);
        factors.apply(x, b.cols);
    }
    multiply_columns(x, less_guards(factors.exponent, guards));
    return matrix<T>(a.cols, b.cols, std::move(x));
}

} // namespace detail

template <class T>
matrix<T> lstsq(const matrix<T>& a, const matrix<T>& b)
{
    if (a.rows != b.rows)
        throw dimension_error("lstsq: right-hand side size differs from the matrix");
    detail::require_finite(a, "lstsq");
    if (auto x = detail::lstsq_by_qr(a, b))
        return *std::move(x);
    return detail::lstsq_by_svd(a, b);
}

template <class T>
vector<T> lstsq(const matrix<T>& a, const vector<T>& b)
{
    return {lstsq(a, matrix<T>(b.data.size(), 1, b.data)).data};
}

using detail::complex;

template std::optional<matrix<double>> detail::lstsq_by_qr(const matrix<double>&,
                                                           const matrix<double>&);
template std::optional<matrix<complex>> detail::lstsq_by_qr(const matrix<complex>&,
                                                            const matrix<complex>&);
template matrix<double> lstsq(const matrix<double>&, const matrix<double>&);
template matrix<complex> lstsq(const matrix<complex>&, const matrix<complex>&);
template vector<double> lstsq(const matrix<double>&, const vector<double>&);
template vector<complex> lstsq(const matrix<complex>&, const vector<complex>&);

} // namespace numerical
