#include "numerical/systems/indefinite.hpp"

#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t panel_width = 32;

// (1 + √17)/8, for which the bound on the growth of a block of order 2 equals that of two blocks of
// order 1 (Bunch and Kaufman 1977).
constexpr double pivot_threshold = 0.6403882032022076;

struct largest_element
{
    double size = 0;
    std::size_t place = 0;
};

// The first of the largest elements of x[from ... to).
template <class T>
largest_element largest_of(const T* x, std::size_t from, std::size_t to)
{
    largest_element found{0, from};
    for (std::size_t i = from; i < to; ++i)
        if (const double size = larger_modulus(found.size, x[i]); size > found.size)
            found = {size, i};
    return found;
}

// The lower triangle is stored by columns: row k of `columns` is column k of A from the diagonal
// on. The columns of a panel are updated one by one, when the pivot search reaches them. All others
// stay unchanged until the panel is done; then L·Wᴴ with W = L·D is subtracted from them by
// products.
template <class T>
class rook_factorization
{
public:
    rook_factorization(block_view<T> lower_by_columns, symmetry of_kind,
                       indefinite_decomposition<T>& factors)
        : columns(lower_by_columns), kind(of_kind), n(lower_by_columns.rows), result(factors),
          l_store(uninitialized<T>((panel_width + 1) * n)),
          w_store(uninitialized<T>((panel_width + 1) * n)), l{l_store.data(), panel_width + 1, n},
          w{w_store.data(), panel_width + 1, n}, candidate(n), coefficients(panel_width + 1)
    {
    }

    void factorize();

    // An exchange of rows i < j, made by the panel of columns that begins at `panel`.
    struct exchange
    {
        std::size_t panel;
        std::size_t i;
        std::size_t j;
    };

    const std::vector<exchange>& exchanges() const { return made; }

private:
    int path = gemm_path_current();
    block_view<T> columns;
    symmetry kind;
    std::size_t n;
    indefinite_decomposition<T>& result;
    std::vector<T> l_store;
    std::vector<T> w_store;
    block_view<T> l; // of the panel, columns lying as rows
    block_view<T> w;
    std::vector<T> candidate; // the column that the search is at, brought up to date
    std::vector<T> coefficients;
    std::vector<exchange> made;
    std::size_t first = 0; // column of A at which the panel begins

    struct pivot
    {
        std::size_t order;
        std::size_t row;       // goes to the first place, that of a block of order 1 or 2
        std::size_t other_row; // to the second of a block of order 2
    };

    T mirrored(const T& z) const { return kind == symmetry::hermitian ? conjugate(z) : z; }

    T real_diagonal(const T& z) const { return kind == symmetry::hermitian ? T(real_part(z)) : z; }

    std::size_t factor_panel();
    void bring_up_to_date(T* column, std::size_t k, std::size_t t, std::size_t row);
    void load_column(T* column, std::size_t k, std::size_t t, std::size_t row);
    pivot find_pivot(std::size_t k, std::size_t t);
    void exchange_rows(std::size_t k, const pivot& chosen, std::size_t i, std::size_t j);
    void divide_by_number(std::size_t k, std::size_t t);
    void divide_by_block(std::size_t k, std::size_t t);
    void update_trailing(std::size_t last);
};

// Subtracts from column[k ... n) the contribution of the panel's t columns to column `row` of A.
template <class T>
void rook_factorization<T>::bring_up_to_date(T* column, std::size_t k, std::size_t t,
                                             std::size_t row)
{
    for (std::size_t s = 0; s < t; ++s)
        coefficients[s] = mirrored(w(s, row));
    subtract_products_on(path, column + k, coefficients.data(), l.first + k, n, t, n - k);
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

// On return w.row(t) holds the column of the pivot, and for a block of order 2 w.row(t + 1) that of
// the second row.
template <class T>
typename rook_factorization<T>::pivot rook_factorization<T>::find_pivot(std::size_t k,
                                                                        std::size_t t)
{
    T* const column = w.row(t);
    load_column(column, k, t, k);
    largest_element below = largest_of(column, k + 1, n);
    if (modulus(column[k]) >= pivot_threshold * below.size)
        return {1, k, k};
    for (std::size_t row = k;;) {
        const std::size_t next = below.place;
        load_column(candidate.data(), k, t, next);
        largest_element other = largest_of(candidate.data(), k, next);
        if (const largest_element beyond = largest_of(candidate.data(), next + 1, n);
            beyond.size > other.size)
            other = beyond;
        const bool is_large = modulus(candidate[next]) >= pivot_threshold * other.size;
        const bool is_rooks = other.place == row || other.size <= below.size;
        if (is_large) {
            std::copy(candidate.begin() + std::ptrdiff_t(k), candidate.end(), column + k);
            return {1, next, next};
        }
        if (is_rooks) {
            std::copy(candidate.begin() + std::ptrdiff_t(k), candidate.end(), w.row(t + 1) + k);
            return {2, row, next};
        }
        std::copy(candidate.begin() + std::ptrdiff_t(k), candidate.end(), column + k);
        row = next;
        below = other;
    }
}

//         k   i   j
//     k [ .           ]   rows and columns i and j of the part from k on change places; of the
//     i [ a   b       ]   triangle that means a with c, b with e, the column from i to j with the
//     j [ c   d   e   ]   row (d and its like, mirrored), f with g. The columns of the panel change
//       [     f   g   ]   their elements, earlier ones later.
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
    exchange_runs(columns.row(i) + j + 1, columns.row(j) + j + 1, n - j - 1);
    for (std::size_t s = 0; s < t; ++s)
        std::swap(l(s, i), l(s, j));
    for (std::size_t s = 0; s < t + chosen.order; ++s) // those of the pivot among them
        std::swap(w(s, i), w(s, j));
    std::swap(result.permutation[i], result.permutation[j]);
    made.push_back({first, i, j});
}

template <class T>
void rook_factorization<T>::divide_by_number(std::size_t k, std::size_t t)
{
    const T d = w(t, k);
    result.diagonal[k] = d;
    for (std::size_t i = k + 1; i < n; ++i)
        l(t, i) = d == T(0) ? T(0) : w(t, i) / d;
}

// With D's block [ e f̄ ; f g ] and the columns c, d of W: the columns of L are
// (c·(g/f) - d)/(f̄·δ) and (d·(e/f̄) - c)/(f·δ), δ = (e/f̄)·(g/f) - 1, free of overflow.
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
    const T delta = e_by_f * g_by_f - T(1);
    const T first_divisor = mirrored(f) * delta;
    const T second_divisor = f * delta;
    l(t, k + 1) = T(0);
    for (std::size_t i = k + 2; i < n; ++i) {
        const T c = w(t, i);
        const T d = w(t + 1, i);
        l(t, i) = (finite_product(c, g_by_f) - d) / first_divisor;
        l(t + 1, i) = (finite_product(d, e_by_f) - c) / second_divisor;
    }
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

// Subtracts L·Wᴴ from the columns from `last` on, in blocks of columns from the diagonal block
// down.
template <class T>
void rook_factorization<T>::update_trailing(std::size_t last)
{
    const std::size_t width = last - first;
    const std::size_t rest = n - last;
    std::vector<T> minus_w = uninitialized<T>(rest * width);
    for (std::size_t i = 0; i < rest; ++i)
        for (std::size_t s = 0; s < width; ++s)
            minus_w[i * width + s] = negated(mirrored(w(s, last + i)));
    const block_view<const T> left{minus_w.data(), rest, width};
    for (std::size_t i = 0; i < rest; i += panel_width) {
        const std::size_t to = std::min(i + panel_width, rest);
        add_product<T>(left.sub(i, to, 0, width), l.sub(0, width, last + i, n),
                       columns.sub(last + i, last + to, last + i, n));
    }
}

template <class T>
void rook_factorization<T>::factorize()
{
    while (first < n) {
        const std::size_t last = factor_panel();
        if (last < n)
            update_trailing(last);
        for (std::size_t k = first; k < last; ++k)
            std::copy(l.row(k - first) + k + 1, l.row(k - first) + n, &columns(k, k) + 1);
        first = last;
    }
}

} // namespace
} // namespace detail

template <class T>
indefinite_decomposition<T>::indefinite_decomposition(matrix<T>&& a, symmetry of_kind)
    : order(a.rows), kind(of_kind), diagonal(order), below(order), permutation(order)
{
    if (a.rows != a.cols)
        throw dimension_error("LDL decomposition requires a square matrix");
    detail::require_finite_lower(a, "LDL decomposition");
    std::iota(permutation.begin(), permutation.end(), std::size_t{0});
    const std::size_t n = order;
    std::vector<T> store = detail::uninitialized<T>(n * n);
    const detail::block_view<T> columns{store.data(), n, n};
    detail::transpose_into<T>(columns, {a.data.data(), n, n});
    detail::rook_factorization<T> factorization(columns, kind, *this);
    factorization.factorize();

    lower = std::move(a.data);
    const detail::block_view<T> l{lower.data(), n, n};
    detail::transpose_into<T>(l, columns);
    for (std::size_t i = 0; i < n; ++i) {
        l(i, i) = T(1);
        detail::set_zero(l.row(i) + i + 1, n - i - 1);
    }
    // Finished columns take the exchanges of the later panels.
    for (const auto& [panel, i, j] : factorization.exchanges())
        detail::exchange_runs(l.row(i), l.row(j), panel);
}

template struct indefinite_decomposition<double>;
template struct indefinite_decomposition<detail::complex>;

} // namespace numerical
