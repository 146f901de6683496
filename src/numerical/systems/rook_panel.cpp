#include "numerical/systems/rook_panel.hpp"

#include "numerical/factor/lu_panel.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/moduli.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// (1 + √17)/8, for which the bound on the growth of a block of order 2 equals that of two blocks of
// order 1 (Bunch and Kaufman 1977).
constexpr double pivot_threshold = 0.6403882032022076;

// Between these magnitudes the reciprocal of a divisor neither overflows nor loses digits.
constexpr double least_inverted = 0x1p-1000;
constexpr double greatest_inverted = 0x1p1000;

template <class T>
bool may_be_inverted(const T& divisor)
{
    const double size = modulus(divisor);
    return size >= least_inverted && size <= greatest_inverted;
}

// L := w/d. Zero divides only zeros, or a NaN that overflow has left.
template <class T>
void divide_column(int path, block_quotients<T> block, const T& d, std::size_t count)
{
    const bool is_quotient = d != T(0) && !may_be_inverted(d);
    block.minus_inverse[0][0] = is_quotient || d == T(0) ? T(0) : T(-1) / d;
    divide_by_block_on(path, block, count);
    if (is_quotient) {
        T* const quotients = reinterpret_cast<T*>(block.l[0]);
        std::copy_n(reinterpret_cast<const T*>(block.w[0]), count, quotients);
        divide_row(path, quotients, d, count);
    }
}

// x - factor·y, |factor| < 1.
template <class T>
struct column_difference
{
    const T* x;
    T factor;
    const T* y;
};

// quotients := numerators/divisor, where the divisor may not be inverted.
template <class T>
void divide_difference(int path, T* quotients, const column_difference<T>& numerators,
                       const T& divisor, std::size_t count)
{
    std::copy_n(numerators.x, count, quotients);
    subtract_scaled_on(path, quotients, numerators.y, numerators.factor, count);
    divide_row(path, quotients, divisor, count);
}

// A number all of whose bits are set.
template <class T>
T every_bit()
{
    const double part = std::bit_cast<double>(~std::uint64_t{0});
    if constexpr (std::is_same_v<T, double>)
        return part;
    else
        return {part, part};
}

} // namespace

template <class T>
rook_panel<T>::rook_panel(block_view<const T> upper_triangle, std::size_t panel_width,
                          indefinite_decomposition<T>& factors)
    : triangle(upper_triangle), kind(factors.kind), n(upper_triangle.rows), width(panel_width),
      result(factors), store(uninitialized<T>((2 * (width + 1) + kept_columns + 2) * stride())),
      sizes(std::is_same_v<T, double> ? 0 : n), coefficients(width + 1)
{
    T* next = store.data();
    const auto take_rows = [&](std::size_t rows) {
        return std::exchange(next, next + rows * stride());
    };
    l = {.first = take_rows(width + 1), .rows = width + 1, .cols = n, .stride = stride()};
    minus_w = {.first = take_rows(width + 1), .rows = width + 1, .cols = n, .stride = stride()};
    for (searched_column& each : searched)
        each.values = take_rows(1);
    left = take_rows(1);
    open = take_rows(1);
}

template <class T>
void rook_panel<T>::begin(std::size_t from)
{
    first = from;
    first_left = from;
    pivots.clear();
    for (searched_column& column : searched) {
        column.row = nowhere;
        column.visit = 0;
    }
    const std::size_t line = line_of_first();
    for (T* const mask : {left, open}) {
        std::fill(mask + line, mask + first, T(0));
        std::fill(mask + first, mask + n, every_bit<T>());
    }
}

template <class T>
bool rook_panel<T>::is_pivot(std::size_t row) const
{
    return std::find(pivots.begin(), pivots.end(), row) != pivots.end();
}

// The kept column that has waited longest, or else the first that is left.
template <class T>
std::size_t rook_panel<T>::first_visited()
{
    const searched_column* longest = nullptr;
    for (const searched_column& column : searched)
        if (column.row != nowhere && (longest == nullptr || column.visit < longest->visit))
            longest = &column;
    if (longest != nullptr)
        return longest->row;
    while (is_pivot(first_left))
        ++first_left;
    return first_left;
}

// column[first ... n) := column `row` of A, whose part below the diagonal is stored as a row.
template <class T>
void rook_panel<T>::load(searched_column& column, std::size_t row)
{
    for (std::size_t i = first; i < row; ++i)
        column.values[i] = triangle(i, row);
    std::copy_n(&triangle(row, row), n - row, column.values + row);
    if (kind == symmetry::hermitian)
        conjugate_all(column.values + row, n - row);
    column.row = row;
    column.terms = 0;
}

// Subtracts the contribution of the panel's columns so far, as far as it is missing, and finds the
// largest element beside the diagonal. The run begins on a line.
template <class T>
void rook_panel<T>::bring_up_to_date(searched_column& column)
{
    const std::size_t from = column.terms;
    const std::size_t to = pivots.size();
    for (std::size_t s = from; s < to; ++s)
        coefficients[s] = -minus_w(s, column.row);
    const std::size_t line = line_of_first();
    open[column.row] = T(0);
    const largest_in_column found =
        update_and_search_on<T>(path, {.column = column.values + line,
                                       .n = n - line,
                                       .left = left + line,
                                       .searched = open + line,
                                       .coefficients = coefficients.data() + from,
                                       .columns = l.row(from) + line,
                                       .stride = l.stride,
                                       .count = to - from});
    open[column.row] = every_bit<T>();
    if (T& diagonal = column.values[column.row]; kind == symmetry::hermitian)
        diagonal = real_part(diagonal);
    column.terms = to;
    column.largest = largest_beside_diagonal(column, {found.size, line + found.place});
}

// The updated column `row`; one that has to be loaded takes the place of the column whose visit is
// the longest ago.
template <class T>
typename rook_panel<T>::searched_column& rook_panel<T>::visit(std::size_t row)
{
    searched_column* found = &searched[0];
    for (searched_column& column : searched)
        if (column.row == row || (found->row != row && column.visit < found->visit))
            found = &column;
    if (found->row != row)
        load(*found, row);
    bring_up_to_date(*found);
    found->visit = ++visits;
    return *found;
}

template <class T>
double rook_panel<T>::size_of_diagonal(const searched_column& column) const
{
    return modulus(column.values[column.row]);
}

// Of a real column what was found.
template <class T>
largest_in_column rook_panel<T>::largest_beside_diagonal(searched_column& column,
                                                         const largest_in_column& found)
{
    if constexpr (std::is_same_v<T, double>)
        return found;
    else
        return is_safe_square(found.size) ? largest_in_column{std::sqrt(found.size), found.place}
                                          : largest_modulus_beside_diagonal(column);
}

// The squares of the moduli tell, unless they may have overflowed or underflowed: the moduli
// themselves take as long as the products. The diagonal element stands aside.
template <class T>
largest_in_column rook_panel<T>::largest_modulus_beside_diagonal(searched_column& column)
{
    const T diagonal = std::exchange(column.values[column.row], T(0));
    moduli_of(column.values + first, sizes.data() + first, n - first);
    column.values[column.row] = diagonal;
    std::size_t from = first;
    while (from != n && std::isnan(sizes[from]))
        ++from;
    if (from == n)
        return {0, first};
    const std::size_t place = from + first_largest(path, sizes.data() + from, n - from);
    return {sizes[place], place};
}

// The row of the column becomes that of a pivot. Its values stay until the next search.
template <class T>
void rook_panel<T>::take(searched_column& column)
{
    pivots.push_back(column.row);
    left[column.row] = open[column.row] = T(0);
    column.row = nowhere;
    column.visit = 0;
}

// Takes the next block of D, of order 1 or 2.
template <class T>
void rook_panel<T>::take_next_pivot()
{
    const std::size_t t = pivots.size();
    searched_column* at = &visit(first_visited());
    largest_in_column below = at->largest;
    // NaN is taken too: there may be nothing else.
    if (!(size_of_diagonal(*at) < pivot_threshold * below.size)) {
        take(*at);
        return divide_by_number(t, at->values);
    }
    for (;;) {
        searched_column& next = visit(below.place);
        const largest_in_column other = next.largest;
        if (size_of_diagonal(next) >= pivot_threshold * other.size) {
            take(next);
            return divide_by_number(t, next.values);
        }
        if (other.place == at->row || other.size <= below.size) {
            take(*at);
            take(next);
            return divide_by_pair(t, at->values, next.values);
        }
        at = &next;
        below = other;
    }
}

// The block of L and -W that begins with column t of the panel, of these columns of W.
template <class T>
template <class Number>
block_quotients<Number> rook_panel<T>::block_at(std::size_t t, std::initializer_list<const T*> w)
{
    const std::size_t line = line_of_first();
    const bool conjugates = !std::is_same_v<T, double> && kind == symmetry::hermitian;
    block_quotients<Number> block{};
    block.signs[0] = -1;
    block.signs[1] = conjugates ? 1 : -1;
    for (const T* const column : w) {
        const std::size_t i = block.order++;
        block.w[i] = as_doubles(column + line);
        block.l[i] = as_doubles(l.row(t + i) + line);
        block.minus_w[i] = as_doubles(minus_w.row(t + i) + line);
    }
    return block;
}

// The diagonal of a Hermitian matrix is real, and so is the division by it.
template <class T>
void rook_panel<T>::divide_by_number(std::size_t t, const T* of_w)
{
    const T d = of_w[pivots[t]];
    const std::size_t count = n - line_of_first();
    result.diagonal[first + t] = d;
    if (kind == symmetry::hermitian)
        divide_column(path, block_at<double>(t, {of_w}), real_part(d),
                      count * sizeof(T) / sizeof(double));
    else
        divide_column(path, block_at<T>(t, {of_w}), d, count);
    l(t, pivots[t]) = T(0);
}

// With D's block [ e f̄ ; f g ] and the columns c, d of W: the columns of L are
// (d - c·(g/f))/(f̄·δ) and (c - d·(e/f̄))/(f·δ), δ = 1 - (e/f̄)·(g/f), free of overflow.
template <class T>
void rook_panel<T>::divide_by_pair(std::size_t t, const T* c, const T* d)
{
    const std::size_t row = pivots[t];
    const std::size_t other_row = pivots[t + 1];
    const T e = c[row];
    const T f = c[other_row];
    const T g = d[other_row];
    result.diagonal[first + t] = e;
    result.diagonal[first + t + 1] = g;
    result.below[first + t] = f;
    const T e_by_f = e / mirrored(f);
    const T g_by_f = g / f;
    const T delta = T(1) - e_by_f * g_by_f;
    const T divisor = mirrored(f) * delta;
    const T other_divisor = f * delta;
    const std::size_t line = line_of_first();
    const std::size_t count = n - line;
    block_quotients<T> block = block_at<T>(t, {c, d});
    const bool are_inverted = may_be_inverted(divisor) && may_be_inverted(other_divisor);
    if (are_inverted) {
        block.minus_inverse[0][0] = g_by_f / divisor;
        block.minus_inverse[0][1] = T(-1) / divisor;
        block.minus_inverse[1][0] = T(-1) / other_divisor;
        block.minus_inverse[1][1] = e_by_f / other_divisor;
    }
    divide_by_block_on(path, block, count);
    if (!are_inverted) {
        divide_difference<T>(path, l.row(t) + line, {d + line, g_by_f, c + line}, divisor, count);
        divide_difference<T>(path, l.row(t + 1) + line, {c + line, e_by_f, d + line}, other_divisor,
                             count);
    }
    for (const std::size_t s : {t, t + 1})
        l(s, row) = l(s, other_row) = T(0);
}

// Row first + t changes places with the row of pivot t, which an exchange before may have moved: if
// it's one of the panel's own, the rows first to first + count.
template <class T>
void rook_panel<T>::find_exchanges()
{
    const std::size_t count = pivots.size();
    std::vector<std::size_t> places(count); // of the rows first, first + 1, ...
    std::iota(places.begin(), places.end(), first);
    std::vector<std::size_t> rows = places; // at these places
    exchanges.clear();
    for (std::size_t t = 0; t < count; ++t) {
        const std::size_t pivot = pivots[t];
        const bool is_own = pivot < first + count;
        const std::size_t place = is_own ? std::exchange(places[pivot - first], first + t) : pivot;
        if (place == first + t)
            continue;
        exchanges.push_back({first + t, place});
        places[rows[t] - first] = place;
        if (place < first + count)
            rows[place - first] = rows[t];
    }
    moves.clear();
    for (std::size_t t = 0; t < count; ++t)
        if (places[t] >= first + count)
            moves.push_back({places[t], first + t});
    std::sort(moves.begin(), moves.end(),
              [](const row_move& x, const row_move& y) { return x.to < y.to; });
}

// Brings the elements of the panel's columns, and of the permutation, to their places; those of W
// that the update needs.
template <class T>
void rook_panel<T>::exchange_rows()
{
    for (const row_exchange& rows : exchanges)
        std::swap(result.permutation[rows.row], result.permutation[rows.other_row]);
    for (std::size_t t = 0; t < pivots.size(); ++t) {
        for (const row_exchange& rows : exchanges)
            std::swap(l(t, rows.row), l(t, rows.other_row));
        set_zero(l.row(t) + first, t);
        l(t, first + t) = T(1);
        for (const row_move& move : moves)
            minus_w(t, move.to) = minus_w(t, move.from);
    }
}

template <class T>
std::size_t rook_panel<T>::factor(std::size_t from)
{
    begin(from);
    while (first + pivots.size() < n && pivots.size() < width)
        take_next_pivot();
    find_exchanges();
    exchange_rows();
    return first + pivots.size();
}

template class rook_panel<double>;
template class rook_panel<complex>;

} // namespace numerical::detail
