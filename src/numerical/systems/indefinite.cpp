#include "numerical/systems/indefinite.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu_panel.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/spread_rows.hpp"
#include "numerical/systems/moduli.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t panel_width = 32;
constexpr std::size_t tile_columns = 64; // of a strip of the trailing matrix
constexpr std::size_t tile_stride = 72;  // rows 512 bytes apart would share cache sets
constexpr std::size_t strip_rows = 512;  // of a piece of a strip, about
constexpr std::size_t group_rows = 64;   // transposed together

// Up to this order two threads take longer than one: the pivot search, on one of them, would fetch
// its columns from the other's cache.
template <class T>
constexpr std::size_t greatest_serial_ldl = std::is_same_v<T, double> ? 512 : 256;

// (1 + √17)/8, for which the bound on the growth of a block of order 2 equals that of two blocks of
// order 1 (Bunch and Kaufman 1977).
constexpr double pivot_threshold = 0.6403882032022076;

struct largest_element
{
    double size = 0;
    std::size_t place = 0;
};

// The first of the largest of the sizes [from ... to); NaN, from overflow, has none.
largest_element largest_of(int path, const double* sizes, std::size_t from, std::size_t to)
{
    std::size_t first = from;
    while (first != to && std::isnan(sizes[first]))
        ++first;
    if (first == to)
        return {0, from};
    const std::size_t place = first + first_largest(path, sizes + first, to - first);
    return {sizes[place], place};
}

// One array holds all: above the diagonal and on it the trailing matrix, by columns, that is row k
// is column k of A from the diagonal on; below it the finished columns of L.
//
//              first last
//            [ .   .   .   .  ]
//      first [ l   w   w   w  ]   The columns of a panel are updated one by one, when the pivot
//       last [ l   w   a   a  ]   search reaches them, and kept apart as W; L = W·D⁻¹. All others
//            [ l   w   .   a  ]   stay unchanged until the panel is done; then they lose L·Wᴴ, by
//                                 products.
template <class T>
class rook_factorization
{
public:
    rook_factorization(block_view<T> triangles, symmetry of_kind,
                       indefinite_decomposition<T>& factors)
        : columns(triangles), kind(of_kind), n(triangles.rows), result(factors),
          l_store(uninitialized<T>((panel_width + 1) * panel_stride())),
          w_store(uninitialized<T>((panel_width + 1) * panel_stride())),
          l{.first = l_store.data(), .rows = panel_width + 1, .cols = n, .stride = panel_stride()},
          w{.first = w_store.data(), .rows = panel_width + 1, .cols = n, .stride = panel_stride()},
          candidate(n), sizes(n), coefficients(panel_width + 1),
          rows_of_w(uninitialized<T>(n * (panel_width + 1))),
          minus_l(uninitialized<T>(tiles(n) * tile_stride * (panel_width + 1)))
    {
    }

    void take_lower(block_view<const T> a);
    void factorize();

private:
    int path = gemm_path_current();
    block_view<T> columns;
    symmetry kind;
    std::size_t n;
    indefinite_decomposition<T>& result;
    aligned_vector<T> l_store;
    aligned_vector<T> w_store;
    block_view<T> l; // of the panel, columns lying as rows
    block_view<T> w;
    aligned_vector<T> candidate; // the column that the search is at, brought up to date
    aligned_vector<double> sizes;
    aligned_vector<T> coefficients;
    aligned_vector<T> rows_of_w; // of the panel whose update runs, by rows, mirrored
    aligned_vector<T> minus_l;   // -L, in tiles of 64 columns, one after the other
    std::size_t first = 0;       // column of A at which the panel begins

    struct pivot
    {
        std::size_t order;
        std::size_t row;       // goes to the first place, that of a block of order 1 or 2
        std::size_t other_row; // to the second of a block of order 2
    };

    // A part of a strip of 64 columns of the trailing matrix.
    struct piece
    {
        std::size_t row;
        std::size_t last_row;
        std::size_t column;
    };

    // A line more than needed: in columns a power of two apart equal rows would share a cache set.
    std::size_t panel_stride() const { return round_up(n, line_elements<T>) + line_elements<T>; }

    static std::size_t tiles(std::size_t cols) { return ceil_div(cols, tile_columns); }

    T mirrored(const T& z) const { return kind == symmetry::hermitian ? conjugate(z) : z; }

    T real_diagonal(const T& z) const { return kind == symmetry::hermitian ? T(real_part(z)) : z; }

    std::size_t factor_panel();
    void bring_up_to_date(T* column, std::size_t k, std::size_t t, std::size_t row);
    void load_column(T* column, std::size_t k, std::size_t t, std::size_t row);
    const double* sizes_of(const T* column, std::size_t k);
    pivot find_pivot(std::size_t k, std::size_t t);
    void exchange_rows(std::size_t k, const pivot& chosen, std::size_t i, std::size_t j);
    void divide_by_number(std::size_t k, std::size_t t);
    void divide_by_block(std::size_t k, std::size_t t);
    void prepare_operands(std::size_t last);
    void update_trailing(std::size_t last);
    void update(std::size_t last, const piece& part);
    void keep_panel(std::size_t last);
};

// What a transposed group leaves below the diagonal is overwritten by L. Group g writes columns of
// its own.
template <class T>
void rook_factorization<T>::take_lower(block_view<const T> a)
{
    const auto transpose_group = [&](std::size_t g) {
        const std::size_t from = g * group_rows;
        const std::size_t to = std::min(from + group_rows, n);
        transpose_into(columns.sub(0, to, from, to), a.sub(from, to, 0, to));
    };
    parallel_for(ceil_div(n, group_rows), n * group_rows / 4, transpose_group);
}

// Subtracts from column[k ... n) the contribution of the panel's t columns to column `row` of A.
template <class T>
void rook_factorization<T>::bring_up_to_date(T* column, std::size_t k, std::size_t t,
                                             std::size_t row)
{
    for (std::size_t s = 0; s < t; ++s)
        coefficients[s] = mirrored(w(s, row));
    subtract_products_on(path, column + k, coefficients.data(), l.first + k, l.stride, t, n - k);
    column[row] = real_diagonal(column[row]);
}

// column[k ... n) := the updated column `row` of A, whose part above the diagonal is stored as a
// row.
template <class T>
void rook_factorization<T>::load_column(T* column, std::size_t k, std::size_t t, std::size_t row)
{
    for (std::size_t i = k; i < row; ++i)
        column[i] = mirrored(columns(i, row));
    std::copy(&columns(row, row), columns.row(row) + n, column + row);
    bring_up_to_date(column, k, t, row);
}

// |column[i]| at place i, for k <= i < n.
template <class T>
const double* rook_factorization<T>::sizes_of(const T* column, std::size_t k)
{
    moduli_of(column + k, sizes.data() + k, n - k);
    return sizes.data();
}

// On return w.row(t) holds the column of the pivot, and for a block of order 2 w.row(t + 1) that of
// the second row.
template <class T>
typename rook_factorization<T>::pivot rook_factorization<T>::find_pivot(std::size_t k,
                                                                        std::size_t t)
{
    T* const column = w.row(t);
    load_column(column, k, t, k);
    const double* size = sizes_of(column, k);
    largest_element below = largest_of(path, size, k + 1, n);
    if (!(size[k] < pivot_threshold * below.size)) // NaN too, below which there may be nothing
        return {1, k, k};
    for (std::size_t row = k;;) {
        const std::size_t next = below.place;
        load_column(candidate.data(), k, t, next);
        size = sizes_of(candidate.data(), k);
        largest_element other = largest_of(path, size, k, next);
        if (const largest_element beyond = largest_of(path, size, next + 1, n);
            beyond.size > other.size)
            other = beyond;
        const bool is_large = size[next] >= pivot_threshold * other.size;
        const bool is_rooks = other.place == row || other.size <= below.size;
        T* const to = is_large || !is_rooks ? column : w.row(t + 1);
        std::copy(candidate.begin() + std::ptrdiff_t(k), candidate.end(), to + k);
        if (is_large)
            return {1, next, next};
        if (is_rooks)
            return {2, row, next};
        row = next;
        below = other;
    }
}

//         k   i   j
//     k [ .           ]   rows and columns i and j of the part from k on change places; of the
//     i [ a   b       ]   triangle that means a with c, b with e, the column from i to j with the
//     j [ c   d   e   ]   row (d and its like, mirrored), f with g. The columns of the panel change
//       [     f   g   ]   their elements, and the rows of the finished columns of L.
template <class T>
void rook_factorization<T>::exchange_rows(std::size_t k, const pivot& chosen, std::size_t i,
                                          std::size_t j)
{
    if (i == j)
        return;
    const std::size_t t = k - first;
    for (std::size_t c = k; c < i; ++c)
        std::swap(columns(c, i), columns(c, j));
    std::swap(columns(i, i), columns(j, j));
    for (std::size_t r = i + 1; r < j; ++r) {
        const T kept = mirrored(columns(i, r));
        columns(i, r) = mirrored(columns(r, j));
        columns(r, j) = kept;
    }
    columns(i, j) = mirrored(columns(i, j));
    exchange_on(path, columns.row(i) + j + 1, columns.row(j) + j + 1, n - j - 1);
    for (std::size_t s = 0; s < t; ++s)
        std::swap(l(s, i), l(s, j));
    for (std::size_t s = 0; s < t + chosen.order; ++s) // those of the pivot among them
        std::swap(w(s, i), w(s, j));
    exchange_on(path, columns.row(i), columns.row(j), first);
    std::swap(result.permutation[i], result.permutation[j]);
}

// The diagonal of a Hermitian matrix is real, and so is the division by it.
template <class T>
void rook_factorization<T>::divide_by_number(std::size_t k, std::size_t t)
{
    const T d = w(t, k);
    T* const below = l.row(t) + k + 1;
    const std::size_t count = n - k - 1;
    result.diagonal[k] = d;
    if (d == T(0))
        return set_zero(below, count);
    std::copy_n(w.row(t) + k + 1, count, below);
    if (kind == symmetry::hermitian)
        divide_row(path, as_doubles(below), real_part(d), count * sizeof(T) / sizeof(double));
    else
        divide_row(path, below, d, count);
}

// With D's block [ e f̄ ; f g ] and the columns c, d of W: the columns of L are
// (d - c·(g/f))/(f̄·δ) and (c - d·(e/f̄))/(f·δ), δ = 1 - (e/f̄)·(g/f), free of overflow.
template <class T>
void rook_factorization<T>::divide_by_block(std::size_t k, std::size_t t)
{
    const T e = w(t, k);
    const T f = w(t, k + 1);
    const T g = w(t + 1, k + 1);
    result.diagonal[k] = e;
    result.diagonal[k + 1] = g;
    result.below[k] = f;
    const T e_by_f = e / mirrored(f);
    const T g_by_f = g / f;
    const T delta = T(1) - e_by_f * g_by_f;
    const std::size_t count = n - k - 2;
    const T* const c = w.row(t) + k + 2;
    const T* const d = w.row(t + 1) + k + 2;
    T* const left = l.row(t) + k + 2;
    T* const right = l.row(t + 1) + k + 2;
    l(t, k + 1) = T(0);
    std::copy_n(d, count, left);
    std::copy_n(c, count, right);
    subtract_scaled_on(path, left, c, g_by_f, count);
    subtract_scaled_on(path, right, d, e_by_f, count);
    divide_row(path, left, mirrored(f) * delta, count);
    divide_row(path, right, f * delta, count);
}

// Returns the end of the panel, which a block of order 2 may extend by one column.
template <class T>
std::size_t rook_factorization<T>::factor_panel()
{
    std::size_t k = first;
    while (k < n && k - first < panel_width) {
        const std::size_t t = k - first;
        const pivot chosen = find_pivot(k, t);
        exchange_rows(k, chosen, k, chosen.row);
        if (chosen.order == 1) {
            divide_by_number(k, t);
        } else {
            exchange_rows(k, chosen, k + 1, chosen.other_row);
            divide_by_block(k, t);
        }
        k += chosen.order;
    }
    return k;
}

// Tile j covers 64 columns from last + 64·j on.
template <class T>
void rook_factorization<T>::prepare_operands(std::size_t last)
{
    const std::size_t width = last - first;
    const block_view<T> rows{rows_of_w.data(), n - last, width};
    if (kind == symmetry::hermitian)
        adjoint_into(rows, w.sub(0, width, last, n));
    else
        transpose_into(rows, w.sub(0, width, last, n));
    for (std::size_t j = 0; j < tiles(n - last); ++j)
        for (std::size_t s = 0; s < width; ++s) {
            const std::size_t from = last + j * tile_columns;
            const T* const row = l.row(s);
            T* const tile_row = minus_l.data() + (j * width + s) * tile_stride;
            std::transform(row + from, row + std::min(from + tile_columns, n), tile_row,
                           [](const T& z) { return negated(z); });
        }
}

// Subtracts L·Wᴴ from the columns from `last` on. Strips of 64 end with the block on the diagonal,
// and each piece of one is written by itself.
template <class T>
void rook_factorization<T>::update_trailing(std::size_t last)
{
    prepare_operands(last);
    std::vector<piece> pieces;
    for (std::size_t column = last; column < n; column += tile_columns) {
        const std::size_t end = std::min(column + tile_columns, n);
        const std::size_t parts = ceil_div(end - last, strip_rows);
        const std::size_t height = round_up(ceil_div(end - last, parts), 8);
        for (std::size_t row = last; row < end; row += height)
            pieces.push_back({row, std::min(row + height, end), column});
    }
    const std::size_t mean_rows = std::min((n - last) / 2, strip_rows / 2);
    parallel_for(pieces.size(), mean_rows * tile_columns * (last - first) / 8,
                 [&](std::size_t i) { update(last, pieces[i]); });
}

template <class T>
void rook_factorization<T>::update(std::size_t last, const piece& part)
{
    const std::size_t width = last - first;
    const std::size_t tile = (part.column - last) / tile_columns;
    const std::size_t end = std::min(part.column + tile_columns, n);
    add_product<T>({rows_of_w.data() + (part.row - last) * width, part.last_row - part.row, width},
                   {.first = minus_l.data() + tile * width * tile_stride,
                    .rows = width,
                    .cols = end - part.column,
                    .stride = tile_stride},
                   columns.sub(part.row, part.last_row, part.column, end));
}

// The panel's columns of L, with their ones and zeros, take the place of its columns of A.
template <class T>
void rook_factorization<T>::keep_panel(std::size_t last)
{
    const std::size_t width = last - first;
    for (std::size_t t = 0; t < width; ++t) {
        set_zero(l.row(t) + first, t);
        l(t, first + t) = T(1);
        set_zero(columns.row(first + t) + last, n - last);
    }
    transpose_into(columns.sub(first, n, first, last), l.sub(0, width, first, n));
}

template <class T>
void rook_factorization<T>::factorize()
{
    while (first < n) {
        const std::size_t last = factor_panel();
        if (last < n)
            update_trailing(last);
        keep_panel(last);
        first = last;
    }
}

} // namespace
} // namespace detail

template <class T>
indefinite_decomposition<T>::indefinite_decomposition(detail::block_view<const T> a,
                                                      symmetry of_kind)
    : order(a.rows), kind(of_kind), diagonal(order), below(order), permutation(order)
{
    if (a.rows != a.cols)
        throw dimension_error("LDL decomposition requires a square matrix");
    for (std::size_t i = 0; i < order; ++i)
        detail::require_finite(a.row(i), i + 1, "LDL decomposition");
    std::iota(permutation.begin(), permutation.end(), std::size_t{0});
    lower = detail::uninitialized<T>(order * order);
    const detail::block_view<T> dense{lower.data(), order, order};
    if (detail::working_stride<T>(order) == order) {
        factorize(a, dense);
    } else {
        detail::spread_rows<T> work(order, order);
        factorize(a, work.view());
        detail::copy_block<T>(work.view(), dense);
    }
}

template <class T>
void indefinite_decomposition<T>::factorize(detail::block_view<const T> a, detail::block_view<T> l)
{
    const detail::loops_on_caller scope(order <= detail::greatest_serial_ldl<T>);
    detail::rook_factorization<T> factorization(l, kind, *this);
    factorization.take_lower(a);
    factorization.factorize();
}

template struct indefinite_decomposition<double>;
template struct indefinite_decomposition<detail::complex>;

} // namespace numerical
