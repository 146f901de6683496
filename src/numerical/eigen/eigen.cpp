#include "numerical/eigen/eigen.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/lower_triangle.hpp"
#include "numerical/eigen/order.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/eigen/tridiagonal_ql.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t gathered_tile = 32;

template <class T>
struct eigenpairs
{
    aligned_vector<double> values;
    aligned_vector<T> vectors;
};

template <class T>
eigenpairs<T> solve_by_ql(aligned_vector<double> d, aligned_vector<double> e,
                          const tridiagonal_reduction<T>& reduction)
{
    const std::size_t n = d.size();
    aligned_vector<T> rows = tridiagonal_basis(reduction, n);
    tridiagonal_ql(d, e, rows, n, 30 * n);
    const std::vector<std::size_t> order = ascending_order(d);
    return {in_order(d, order), columns_by_value(rows, order, n)};
}

template <class T>
eigenpairs<T> solve_by_reduction(matrix<T> a, double scale, eigen_method method,
                                 eigen_blocks blocks)
{
    const std::size_t n = a.rows;
    if (n == 0)
        return {};
    aligned_vector<double> d(n);
    aligned_vector<double> e(n);
    scale_lower(a, scale);
    const bool fastest = blocks == eigen_blocks::fastest;
    auto reduction =
        tridiagonalize(a.data, n, d, e, fastest ? reduction_form::fastest : reduction_form::fixed);
    reduction.way_back = fastest ? fastest_way_back<T>(n) : fixed_way_back;
    a.data = {}; // the next block of this size may then be the same memory
    const bool by_ql = method == eigen_method::tridiagonal_ql || n < divide_order;
    eigenpairs<T> pairs;
    if (by_ql) {
        pairs = solve_by_ql(std::move(d), std::move(e), reduction);
    } else {
        pairs.vectors = tridiagonal_divide_and_conquer(
            d, e, reduction, n, fastest ? quotient_form::paired : quotient_form::single);
        pairs.values = std::move(d);
    }
    for (double& value : pairs.values)
        value *= scale;
    return pairs;
}

} // namespace

// Each index writes some rows of the result.
template <class T>
aligned_vector<T> columns_by_value(const aligned_vector<T>& rows,
                                   const std::vector<std::size_t>& order, std::size_t n)
{
    aligned_vector<T> columns = uninitialized<T>(n * n);
    const auto fill_rows = [&](std::size_t b) {
        const std::size_t from = b * gathered_tile;
        const std::size_t to = std::min(from + gathered_tile, n);
        const block_view<T> slab{columns.data() + from * n, to - from, n};
        for (std::size_t left = 0; left < n; left += gathered_tile)
            for (std::size_t j = left; j < std::min(left + gathered_tile, n); ++j)
                for (std::size_t i = from; i < to; ++i)
                    slab(i - from, j) = rows[order[j] * n + i];
    };
    parallel_for(ceil_div(n, gathered_tile), n * gathered_tile, fill_rows);
    return columns;
}

template aligned_vector<double> columns_by_value(const aligned_vector<double>&,
                                                 const std::vector<std::size_t>&, std::size_t);
template aligned_vector<complex> columns_by_value(const aligned_vector<complex>&,
                                                  const std::vector<std::size_t>&, std::size_t);

} // namespace detail

namespace {

constexpr int jacobi_sweeps = 60;

} // namespace

symmetric_eigen::symmetric_eigen(matrix<double> a, eigen_method method, eigen_blocks blocks)
    : size(a.rows), vectors(0, 0, {})
{
    const double scale = detail::checked_scale(a);
    if (method == eigen_method::jacobi) {
        const auto [diagonal, rows] = detail::two_sided_jacobi(a, scale, jacobi_sweeps);
        extract_sorted(diagonal, rows);
        return;
    }
    auto pairs = detail::solve_by_reduction(std::move(a), scale, method, blocks);
    values = std::move(pairs.values);
    vectors = {size, size, std::move(pairs.vectors)};
}

void symmetric_eigen::extract_sorted(const aligned_vector<double>& diagonal,
                                     const aligned_vector<double>& rows)
{
    const std::vector<std::size_t> order = detail::ascending_order(diagonal);
    for (const std::size_t i : order)
        values.push_back(diagonal[i]);
    vectors = {size, size, detail::columns_by_value(rows, order, size)};
}

hermitian_eigen::hermitian_eigen(matrix<std::complex<double>> a, eigen_method method,
                                 eigen_blocks blocks)
    : size(a.rows), vectors(0, 0, {})
{
    if (method == eigen_method::jacobi)
        throw std::invalid_argument("Hermitian eigendecomposition: the Jacobi method is for real "
                                    "symmetric matrices");
    const double scale = detail::checked_scale(a);
    auto pairs = detail::solve_by_reduction(std::move(a), scale, method, blocks);
    values = std::move(pairs.values);
    vectors = {size, size, std::move(pairs.vectors)};
}

} // namespace numerical
