#include "numerical/factor/lu.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <type_traits>
#include <vector>

namespace numerical {
namespace detail {
namespace {

// Up to this many real right-hand sides are substituted row by row, without products or the pool.
constexpr std::size_t few_columns = 16;

// The most strips for each thread: several, so that one that is held up gets fewer of them. Of the
// identity they are more, as the work of each is estimated.
constexpr std::size_t strips_per_thread = 2;
constexpr std::size_t identity_strips_per_thread = 4;
// Much narrower strips would read L and U too often.
constexpr std::size_t narrow_strip = 64;

// The strips where each thread is to solve for its own: all of L and then all of U, so that no
// thread waits for another. One strip where there are too few columns, or one thread, whose
// products are best when they are wide; the loops within it are then cut for the threads.
std::size_t strips_of(std::size_t columns, std::size_t most_per_thread)
{
    const std::size_t threads = allowed_threads();
    if (threads == 1 || columns < narrow_strip * threads)
        return 1;
    const std::size_t for_each = ceil_div(columns, narrow_strip) / threads;
    return std::clamp<std::size_t>(for_each, 1, most_per_thread) * threads;
}

// Where strips of equal work begin, and the end of the last, the work of a column being
// work(its place from 0 to 1). The last strip has at least 17 columns, so that a product's width
// never decides how it is summed.
template <class F>
std::vector<std::size_t> strip_bounds(std::size_t columns, std::size_t strips, const F& work)
{
    constexpr std::size_t unit = triangular_tile / 4;
    std::vector<double> sums{0};
    for (std::size_t at = 0; at < columns; at += unit)
        sums.push_back(sums.back() + work(double(at) / double(columns)));
    std::vector<std::size_t> bounds{0};
    for (std::size_t i = 1; i + 1 < sums.size(); ++i)
        if (sums[i] * double(strips) >= sums.back() * double(bounds.size()) &&
            columns - i * unit > unit)
            bounds.push_back(i * unit);
    // Nor does that of a tile, of which the last would be as narrow.
    const std::size_t rest = (columns - bounds.back()) % triangular_tile;
    if (columns - bounds.back() > triangular_tile && 0 < rest && rest <= unit)
        bounds.push_back(columns - rest - triangular_tile / 2);
    bounds.push_back(columns);
    return bounds;
}

// solve(first, strip) for the strips of X, which begin at the column `first`.
template <class T, class F>
void for_each_strip(block_view<T> x, unit_lower_rhs identity, const F& solve)
{
    if (x.rows == 0 || x.cols == 0) // beside no rows any number of columns costs nothing
        return;
    // L is applied to what the identity has from the diagonal down, and U to all.
    const auto of_identity = [](double place) { return 1 + (1 - place) * (1 - place); };
    const auto of_full = [](double) { return 1.0; };
    const std::vector<std::size_t> bounds =
        identity == unit_lower_rhs::yes
            ? strip_bounds(x.cols, strips_of(x.cols, identity_strips_per_thread), of_identity)
            : strip_bounds(x.cols, strips_of(x.cols, strips_per_thread), of_full);
    const auto solve_strip = [&](std::size_t s) {
        solve(bounds[s], x.sub(0, x.rows, bounds[s], bounds[s + 1]));
    };
    const std::size_t strips = bounds.size() - 1;
    parallel_for(strips, substitution_work<T>(x.rows) / triangular_tile * (x.cols / strips),
                 solve_strip);
}

// For few right-hand sides: one pass over L, then one over U, whose rows are applied block by block
// from the right.
template <class T>
void substitute_directly(int path, block_view<const T> lu, std::size_t block, block_view<T> x)
{
    const std::size_t n = lu.rows;
    substitute_unit_lower(path, lu, x);
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t end = n; end > i + 1;) {
            const std::size_t from = std::max(i + 1, last_block(end, block));
            subtract_products_on(path, x.row(i), lu.row(i) + from, x.row(from), x.stride,
                                 end - from, x.cols);
            end = from;
        }
        divide_row(path, x.row(i), lu(i, i), x.cols);
    }
}

// sum - a·b. The textbook formula equals the Annex G product unless it gives a NaN, which then
// stays in the sum; the caller computes such sums again by subtract_annex_g.
double subtract_textbook(double sum, double a, double b)
{
    return sum - a * b;
}

complex subtract_textbook(complex sum, complex a, complex b)
{
    return {sum.real() - (a.real() * b.real() - a.imag() * b.imag()),
            sum.imag() - (a.real() * b.imag() + a.imag() * b.real())};
}

template <class T>
T subtract_annex_g(T sum, const T* a, const T* b, std::size_t n)
{
    for (std::size_t k = 0; k < n; ++k)
        sum -= a[k] * b[k];
    return sum;
}

// sum - a[0]·b[0] - a[1]·b[1] - ..., in this order.
template <class T>
T subtract_dot(T sum, const T* a, const T* b, std::size_t n)
{
    T textbook = sum;
    for (std::size_t k = 0; k < n; ++k)
        textbook = subtract_textbook(textbook, a[k], b[k]);
    return has_nan(textbook) ? subtract_annex_g(sum, a, b, n) : textbook;
}

// The sums of rows [from, from + rows) of L with y[0..from), then those rows' elements of y one by
// one. That many sums run side by side, to hide the latency of subtraction.
template <class T, std::size_t rows>
void forward_rows(block_view<const T> l, std::size_t from, T* y)
{
    std::array<T, rows> sum{};
    std::copy(y + from, y + from + rows, sum.begin());
    const T* const first = l.row(from);
    for (std::size_t k = 0; k < from; ++k) {
        const T factor = y[k];
#pragma GCC unroll 8
        for (std::size_t r = 0; r < rows; ++r)
            sum[r] = subtract_textbook(sum[r], first[r * l.stride + k], factor);
    }
    for (std::size_t r = 0; r < rows; ++r) {
        if (has_nan(sum[r]))
            sum[r] = subtract_annex_g(y[from + r], l.row(from + r), y, from);
        y[from + r] = subtract_dot(sum[r], l.row(from + r) + from, y + from, r);
    }
}

// So many that a column's number, once loaded, serves several elements.
constexpr std::size_t rows_permuted_together = 4;

// Column j of `to`, whose rows have no gaps, becomes column source[j] of at most that many rows.
template <class T>
void gather_columns(block_view<const T> rows, const std::size_t* source, T* to)
{
    const std::size_t n = rows.cols;
    if (rows.rows < rows_permuted_together) {
        for (std::size_t i = 0; i < rows.rows; ++i)
            for (std::size_t j = 0; j < n; ++j)
                to[i * n + j] = rows(i, source[j]);
        return;
    }
    for (std::size_t j = 0; j < n; ++j) {
        const T* const from = rows.first + source[j];
#pragma GCC unroll 4
        for (std::size_t i = 0; i < rows_permuted_together; ++i)
            to[i * n + j] = from[i * rows.stride];
    }
}

} // namespace
} // namespace detail

template <class T>
void lu_decomposition<T>::solve_rows(detail::block_view<T> x, unit_lower_rhs identity,
                                     block_sums sums) const
{
    const detail::block_view<const T> lu = factors.view();
    const int path = detail::gemm_path_current();
    if (std::is_same_v<T, double> && identity == unit_lower_rhs::no &&
        x.cols <= detail::few_columns && path != detail::portable_path) {
        detail::substitute_directly(path, lu, block, x);
        return;
    }
    detail::for_each_strip(x, identity, [&](std::size_t first, detail::block_view<T> strip) {
        if (identity == unit_lower_rhs::yes)
            detail::invert_unit_lower(lu, block, first, strip);
        else
            detail::solve_unit_lower(lu, block, strip, sums);
        detail::solve_upper(lu, block, strip, sums);
    });
}

template <class T>
aligned_vector<T> lu_decomposition<T>::solve_vector(const aligned_vector<T>& b) const
{
    constexpr std::size_t group = std::is_same_v<T, double> ? 8 : 4;
    const detail::block_view<const T> lu = factors.view();
    aligned_vector<T> y;
    y.reserve(order);
    for (const std::size_t row : permutation)
        y.push_back(b[row]);

    std::size_t i = 0;
    for (; i + group <= order; i += group)
        detail::forward_rows<T, group>(lu, i, y.data());
    for (; i < order; ++i)
        detail::forward_rows<T, 1>(lu, i, y.data());

    // Ascending order begins with the element computed last, so no sums can overlap.
    while (i-- > 0) {
        const T sum =
            detail::subtract_dot(y[i], lu.row(i) + i + 1, y.data() + i + 1, order - i - 1);
        y[i] = sum / lu(i, i);
    }
    return y;
}

template <class T>
aligned_vector<T> lu_decomposition<T>::solve_matrix(const T* b, std::size_t columns,
                                                    block_sums sums) const
{
    aligned_vector<T> solution = detail::uninitialized<T>(order * columns);
    const detail::block_view<T> x{solution.data(), order, columns};
    const auto solve_permuted = [&](detail::block_view<T> y) {
        const auto copy_row = [&](std::size_t i) {
            std::copy_n(b + permutation[i] * columns, columns, y.row(i));
        };
        detail::parallel_for(order, columns * (sizeof(T) / sizeof(double)) * 2, copy_row);
        solve_rows(y, unit_lower_rhs::no, sums);
    };
    if (columns < detail::triangular_tile || !detail::stride_crowds_cache_sets<T>(columns)) {
        solve_permuted(x);
        return solution;
    }
    detail::spread_rows<T> work(order, columns);
    solve_permuted(work.view());
    detail::copy_block<T>(work.view(), x);
    return solution;
}

// U⁻¹·L⁻¹ from the unpermuted identity, so that the forward pass may stop at the diagonal; P is
// applied from the right to the columns in the end.
template <class T>
void lu_decomposition<T>::write_inverse(T* to, block_sums sums) const
{
    detail::spread_rows<T> work(order, order);
    work.set_to_zero();
    const detail::block_view<T> x = work.view();
    for (std::size_t i = 0; i < order; ++i)
        x(i, i) = T(1);
    solve_rows(x, unit_lower_rhs::yes, sums);

    std::vector<std::size_t> source(order);
    for (std::size_t k = 0; k < order; ++k)
        source[permutation[k]] = k;
    const auto permute_group = [&](std::size_t g) {
        const std::size_t first = g * detail::rows_permuted_together;
        const std::size_t last = std::min(first + detail::rows_permuted_together, order);
        detail::gather_columns<T>(x.sub(first, last, 0, order), source.data(), to + first * order);
    };
    detail::parallel_for(detail::ceil_div(order, detail::rows_permuted_together),
                         detail::rows_permuted_together * order * 2, permute_group);
}

template <class T>
matrix<T> lu_decomposition<T>::inverse(block_sums sums) const
{
    aligned_vector<T> result = detail::uninitialized<T>(order * order);
    write_inverse(result.data(), sums);
    return matrix<T>(order, order, std::move(result));
}

template void lu_decomposition<double>::solve_rows(detail::block_view<double>, unit_lower_rhs,
                                                   block_sums) const;
template aligned_vector<double>
lu_decomposition<double>::solve_vector(const aligned_vector<double>&) const;
template aligned_vector<double> lu_decomposition<double>::solve_matrix(const double*, std::size_t,
                                                                       block_sums) const;
template void lu_decomposition<double>::write_inverse(double*, block_sums) const;
template matrix<double> lu_decomposition<double>::inverse(block_sums) const;
template void lu_decomposition<detail::complex>::solve_rows(detail::block_view<detail::complex>,
                                                            unit_lower_rhs, block_sums) const;
template aligned_vector<detail::complex>
lu_decomposition<detail::complex>::solve_vector(const aligned_vector<detail::complex>&) const;
template aligned_vector<detail::complex>
lu_decomposition<detail::complex>::solve_matrix(const detail::complex*, std::size_t,
                                                block_sums) const;
template void lu_decomposition<detail::complex>::write_inverse(detail::complex*, block_sums) const;
template matrix<detail::complex> lu_decomposition<detail::complex>::inverse(block_sums) const;

} // namespace numerical
