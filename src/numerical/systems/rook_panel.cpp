#include "numerical/systems/rook_panel.hpp"

#include "numerical/factor/lu_panel.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/moduli.hpp"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// (1 + √17)/8, for which the bound on the growth of a block of order 2 equals that of two blocks of
// order 1 (Bunch and Kaufman 1977).
constexpr double pivot_threshold = 0.6403882032022076;

} // namespace

// Zeros at first, as runs that begin on a line read elements before k too.
template <class T>
rook_panel<T>::rook_panel(block_view<T> triangles, std::size_t panel_width,
                          indefinite_decomposition<T>& factors)
    : columns(triangles), kind(factors.kind), n(triangles.rows), width(panel_width),
      result(factors), store(zeros<T>((2 * (width + 1) + kept_columns) * stride())),
      sizes(std::is_same_v<T, double> ? 0 : n), coefficients(width + 1)
{
    const std::size_t block = (width + 1) * stride();
    l = {.first = store.data(), .rows = width + 1, .cols = n, .stride = stride()};
    w = {.first = store.data() + block, .rows = width + 1, .cols = n, .stride = stride()};
    T* column = store.data() + 2 * block;
    for (searched_column& each : searched) {
        each.values = column;
        column += stride();
    }
}

template <class T>
void rook_panel<T>::forget_searched()
{
    for (searched_column& column : searched) {
        column.row = nowhere;
        column.visit = 0;
    }
}

// The kept column that has waited longest, or else column k.
template <class T>
std::size_t rook_panel<T>::first_visited(std::size_t k) const
{
    const searched_column* longest = nullptr;
    for (const searched_column& column : searched)
        if (column.row != nowhere && (longest == nullptr || column.visit < longest->visit))
            longest = &column;
    return longest == nullptr ? k : longest->row;
}

// column[k ... n) := column `row` of A, whose part above the diagonal is stored as a row.
template <class T>
void rook_panel<T>::load(searched_column& column, std::size_t row, std::size_t k)
{
    for (std::size_t i = k; i < row; ++i)
        column.values[i] = mirrored(columns(i, row));
    std::copy(&columns(row, row), columns.row(row) + n, column.values + row);
    column.row = row;
    column.terms = 0;
}

// Subtracts from the column's rows [k ... n) the contribution of the panel's columns before k, as
// far as it is missing. The run begins on a line, and what it leaves before k is of no use.
template <class T>
void rook_panel<T>::bring_up_to_date(searched_column& column, std::size_t k)
{
    const std::size_t from = column.terms;
    const std::size_t to = k - first;
    for (std::size_t s = from; s < to; ++s)
        coefficients[s] = mirrored(w(s, column.row));
    const std::size_t line = k / line_elements<T> * line_elements<T>;
    subtract_products_on(path, column.values + line, coefficients.data() + from, l.row(from) + line,
                         l.stride, to - from, n - line);
    if (T& diagonal = column.values[column.row]; kind == symmetry::hermitian)
        diagonal = real_part(diagonal);
    column.terms = to;
}

// The updated column `row`; one that has to be loaded takes the place of the column whose visit is
// the longest ago.
template <class T>
typename rook_panel<T>::searched_column& rook_panel<T>::visit(std::size_t row, std::size_t k)
{
    searched_column* found = &searched[0];
    for (searched_column& column : searched)
        if (column.row == row || (found->row != row && column.visit < found->visit))
            found = &column;
    if (found->row != row)
        load(*found, row, k);
    bring_up_to_date(*found, k);
    found->visit = ++visits;
    return *found;
}

template <class T>
double rook_panel<T>::size_of_diagonal(const searched_column& column) const
{
    return modulus(column.values[column.row]);
}

// The first of the largest of the moduli from k on; NaN, from overflow, has none.
template <class T>
typename rook_panel<T>::largest_element rook_panel<T>::largest_of(const double* moduli,
                                                                  std::size_t k) const
{
    std::size_t from = k;
    while (from != n && std::isnan(moduli[from]))
        ++from;
    if (from == n)
        return {0, k};
    const std::size_t place = from + first_largest(path, moduli + from, n - from);
    return {std::abs(moduli[place]), place};
}

// The diagonal element stands aside while the others are compared.
template <class T>
typename rook_panel<T>::largest_element
rook_panel<T>::largest_beside_diagonal(const searched_column& column, std::size_t k)
{
    double* moduli;
    if constexpr (std::is_same_v<T, double>) {
        moduli = column.values;
    } else {
        moduli = sizes.data();
        moduli_of(column.values + k, moduli + k, n - k);
    }
    const double diagonal = std::exchange(moduli[column.row], 0);
    const largest_element found = largest_of(moduli, k);
    moduli[column.row] = diagonal;
    return found;
}

// The column becomes that of place k in W.
template <class T>
void rook_panel<T>::take(searched_column& column, std::size_t k, std::size_t place)
{
    std::copy(column.values + k, column.values + n, w.row(place - first) + k);
    column.row = nowhere;
    column.visit = 0;
}

template <class T>
typename rook_panel<T>::pivot rook_panel<T>::find_pivot(std::size_t k)
{
    searched_column* at = &visit(first_visited(k), k);
    largest_element below = largest_beside_diagonal(*at, k);
    const std::size_t start = at->row;
    // NaN is taken too: there may be nothing else.
    if (!(size_of_diagonal(*at) < pivot_threshold * below.size)) {
        take(*at, k, k);
        return {1, start, start};
    }
    for (;;) {
        searched_column& next = visit(below.place, k);
        const std::size_t row = at->row;
        const std::size_t next_row = next.row;
        const largest_element other = largest_beside_diagonal(next, k);
        if (size_of_diagonal(next) >= pivot_threshold * other.size) {
            take(next, k, k);
            return {1, next_row, next_row};
        }
        if (other.place == row || other.size <= below.size) {
            take(*at, k, k);
            take(next, k, k + 1);
            return {2, row, next_row};
        }
        at = &next;
        below = other;
    }
}

// Row and column j of the trailing matrix give way to row and column i, whose place a pivot takes:
//
//         i   r   j
//     i [ a   b   c  d ]   The pivot's column is in W already, so that nothing goes from j to i: e
//     r [     .   f    ]   becomes a, f becomes b, mirrored, and g becomes d.
//     j [         e  g ]
template <class T>
void rook_panel<T>::move_out(std::size_t i, std::size_t j)
{
    for (std::size_t r = i + 1; r < j; ++r)
        columns(r, j) = mirrored(columns(i, r));
    columns(j, j) = columns(i, i);
    std::copy(columns.row(i) + j + 1, columns.row(i) + n, columns.row(j) + j + 1);
}

// Exchanges rows i and j in the panel, whose W has the columns before `last`; L gets those of the
// pivot later.
template <class T>
void rook_panel<T>::bring_to_place(std::size_t i, std::size_t j, std::size_t last)
{
    if (i == j)
        return;
    move_out(i, j);
    for (std::size_t s = 0; s < last - first; ++s) {
        std::swap(l(s, i), l(s, j));
        std::swap(w(s, i), w(s, j));
    }
    for (searched_column& column : searched) {
        if (column.row == nowhere)
            continue;
        std::swap(column.values[i], column.values[j]);
        if (column.row == i)
            column.row = j;
    }
    std::swap(result.permutation[i], result.permutation[j]);
    exchanges.push_back({i, j});
}

// The diagonal of a Hermitian matrix is real, and so is the division by it.
template <class T>
void rook_panel<T>::divide_by_number(std::size_t k)
{
    const std::size_t t = k - first;
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
void rook_panel<T>::divide_by_block(std::size_t k)
{
    const std::size_t t = k - first;
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

template <class T>
void rook_panel<T>::complete_l(std::size_t last)
{
    for (std::size_t t = 0; t < last - first; ++t) {
        set_zero(l.row(t) + first, t);
        l(t, first + t) = T(1);
    }
}

template <class T>
std::size_t rook_panel<T>::factor(std::size_t from)
{
    first = from;
    exchanges.clear();
    forget_searched();
    std::size_t k = first;
    while (k < n && k - first < width) {
        const pivot chosen = find_pivot(k);
        const std::size_t next = k + chosen.order;
        bring_to_place(k, chosen.row, next);
        if (chosen.order == 1) {
            divide_by_number(k);
        } else {
            // Row k may have been the other one.
            bring_to_place(k + 1, chosen.other_row == k ? chosen.row : chosen.other_row, next);
            divide_by_block(k);
        }
        k = next;
    }
    complete_l(k);
    return k;
}

template class rook_panel<double>;
template class rook_panel<complex>;

} // namespace numerical::detail
