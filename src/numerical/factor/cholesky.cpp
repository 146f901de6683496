#include "numerical/factor/cholesky.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/cholesky_blocks.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/spread_rows.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t band_height = 64; // of rows that are transposed

std::size_t block_width(std::size_t order)
{
    if (order <= 128)
        return 16;
    return order <= 256 ? 32 : 64;
}

// Calls pass(first, last) for groups of rows. An element is copied at the speed of memory, which
// two threads draw on faster than one.
template <class T, class F>
void for_each_group(block_view<T> a, const F& pass)
{
    constexpr std::size_t group = 8;
    parallel_for(ceil_div(a.rows, group), a.cols * group * sizeof(T) / sizeof(double),
                 [&](std::size_t g) { pass(g * group, std::min((g + 1) * group, a.rows)); });
}

constexpr const char* operation_name = "Cholesky decomposition";

void require_square(std::size_t rows, std::size_t cols)
{
    if (rows != cols)
        throw dimension_error("Cholesky decomposition requires a square matrix");
}

// `to` := the lower triangle with zeros above it. A group of rows passes check(first, last) before
// it is copied.
template <class T, class F>
void copy_lower_triangle(block_view<const T> a, block_view<T> to, const F& check)
{
    for_each_group(a, [&](std::size_t first, std::size_t last) {
        check(first, last);
        for (std::size_t i = first; i < last; ++i) {
            std::memcpy(static_cast<void*>(to.row(i)), a.row(i), (i + 1) * sizeof(T));
            set_zero(to.row(i) + i + 1, to.cols - i - 1);
        }
    });
}

// The same for the lower triangle of the given matrix, of which no entry may be infinite or NaN.
template <class T>
void copy_finite_lower_triangle(block_view<const T> a, block_view<T> to)
{
    copy_lower_triangle(a, to, [&](std::size_t first, std::size_t last) {
        require_finite(a.row(first), (last - first) * a.cols, operation_name);
    });
}

// Whether to factor in rows that spread over cache sets, and copy L in the end. Complex factors of
// such orders don't repay the copy.
template <class T>
bool factors_apart(std::size_t order)
{
    return std::is_same_v<T, double> && working_stride<T>(order) != order;
}

// L in such rows.
template <class T>
spread_rows<T> spread_factor(block_view<const T> a, std::size_t block)
{
    spread_rows<T> work(a.rows, a.cols);
    copy_finite_lower_triangle(a, work.view());
    cholesky_blocks<T>(work.view(), block).factorize();
    return work;
}

// Clears the elements above the diagonal.
template <class T>
void clear_upper(block_view<T> a)
{
    for_each_group(a, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
            set_zero(a.row(i) + i + 1, a.cols - i - 1);
    });
}

// The same for bands of rows.
template <class T, class F>
void for_each_band(block_view<T> a, const F& pass)
{
    parallel_for(
        ceil_div(a.rows, band_height), a.cols * band_height * sizeof(T) / sizeof(double),
        [&](std::size_t g) { pass(g * band_height, std::min((g + 1) * band_height, a.rows)); });
}

// Aᴴ in the lower triangle, and unset elements above it, from the upper triangle of A. A band of
// rows is checked before it is transposed.
template <class T>
aligned_vector<T> finite_upper_triangle_by_columns(block_view<const T> a)
{
    const std::size_t order = a.rows;
    aligned_vector<T> store = uninitialized<T>(order * order);
    const block_view<T> lower{store.data(), order, order};
    for_each_band(a, [&](std::size_t first, std::size_t last) {
        require_finite(a.row(first), (last - first) * order, operation_name);
        adjoint_into<T>(lower.sub(first, order, first, last), a.sub(first, last, first, order));
    });
    return store;
}

// L in a lower triangle becomes Lᴴ with zeros below it. A band of columns is written to the same
// band of rows, of which no other band reads anything.
template <class T>
void turn_to_upper(block_view<T> l)
{
    for_each_band(l, [&](std::size_t first, std::size_t last) {
        const block_view<T> corner = l.sub(first, last, first, last);
        for (std::size_t i = 0; i < corner.rows; ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                corner(j, i) = conjugate(corner(i, j));
                corner(i, j) = T(0);
            }
        }
        const block_view<T> below = l.sub(last, l.rows, first, last);
        adjoint_into<T>(l.sub(first, last, last, l.rows), below);
        for (std::size_t i = 0; i < below.rows; ++i)
            set_zero(below.row(i), below.cols);
    });
}

} // namespace
} // namespace detail

template <class T>
cholesky_decomposition<T>::cholesky_decomposition(matrix<T>&& a)
    : order(a.rows), block(detail::block_width(order))
{
    detail::require_square(a.rows, a.cols);
    detail::require_finite(a, detail::operation_name);
    factors = std::move(a.data);
    factorize();
    detail::clear_upper<T>({factors.data(), order, order});
}

template <class T>
cholesky_decomposition<T>::cholesky_decomposition(const T* a, std::size_t rows, std::size_t cols)
    : order(rows), block(detail::block_width(order))
{
    detail::require_square(rows, cols);
    const detail::block_view<const T> given{a, order, order};
    if (detail::factors_apart<T>(order)) {
        const detail::spread_rows<T> found = detail::spread_factor(given, block);
        factors = detail::uninitialized<T>(order * order);
        detail::copy_lower_triangle<T>(found.view(), {factors.data(), order, order},
                                       [](std::size_t, std::size_t) {});
        return;
    }
    factors = detail::uninitialized<T>(order * order);
    detail::copy_finite_lower_triangle<T>(given, {factors.data(), order, order});
    factorize();
}

template <class T>
void cholesky_decomposition<T>::factorize()
{
    detail::cholesky_blocks<T>({factors.data(), order, order}, block).factorize();
}

template <class T>
aligned_vector<T> upper_cholesky_factor(const T* a, std::size_t rows, std::size_t cols)
{
    detail::require_square(rows, cols);
    aligned_vector<T> factor =
        detail::finite_upper_triangle_by_columns<T>({.first = a, .rows = rows, .cols = cols});
    const detail::block_view<T> square{factor.data(), rows, cols};
    detail::cholesky_blocks<T>(square, detail::block_width(rows)).factorize();
    detail::turn_to_upper(square);
    return factor;
}

template struct cholesky_decomposition<double>;
template struct cholesky_decomposition<detail::complex>;
template aligned_vector<double> upper_cholesky_factor(const double*, std::size_t, std::size_t);
template aligned_vector<detail::complex> upper_cholesky_factor(const detail::complex*, std::size_t,
                                                               std::size_t);

} // namespace numerical
