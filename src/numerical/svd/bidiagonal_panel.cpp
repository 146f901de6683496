#include "numerical/svd/bidiagonal_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t tiles_per_group = 2;
constexpr std::size_t rows_per_index = 64;

template <class T>
bool is_zero(const T* x, std::size_t n)
{
    return std::all_of(x, x + n, [](const T& element) { return element == T(0); });
}

// x[j] -= Σₜ coefficients[t]·rows(t, j).
void subtract_column_sums(int path, double* x, const double* coefficients,
                          block_view<const double> rows)
{
    subtract_products_on(path, x, coefficients, rows.first, rows.stride, rows.rows, rows.cols);
}

void subtract_column_sums(int path, complex* x, const complex* coefficients,
                          block_view<const complex> rows)
{
    constexpr std::size_t tile = column_tile / 2;
    for (std::size_t from = 0; from < rows.cols; from += tile) {
        const std::size_t width = std::min(tile, rows.cols - from);
        std::array<complex, tile> sums{};
        add_column_sums_on(path, sums.data(), coefficients, rows.first + from, rows.stride,
                           rows.rows, width);
        for (std::size_t j = 0; j < width; ++j)
            x[from + j] -= sums[j];
    }
}

} // namespace

template <class T>
bidiagonal_panel<T>::bidiagonal_panel(block_view<T> matrix, std::size_t first_column,
                                      std::size_t last_column, bidiagonal_reduction<T>& into)
    : a(matrix), out(into), n(into.order), first(first_column), last(last_column),
      columns((last - first) * (n - first)), left(2 * (last - first) * n),
      right(2 * (last - first) * n)
{
    transpose_into<T>({columns.data(), last - first, n - first}, a.sub(first, n, first, last));
}

// Column c of A from a row down.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::matrix_column(std::size_t c, std::size_t from_row) const
{
    if (c < last) {
        const T* const column = columns.data() + (c - first) * (n - first);
        return aligned_vector<T>(column + (from_row - first), column + (n - first));
    }
    aligned_vector<T> column(n - from_row);
    for (std::size_t i = from_row; i < n; ++i)
        column[i - from_row] = a(i, c);
    return column;
}

// Element c of each of the rows.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::factor_column(const aligned_vector<T>& factor,
                                                     factor_rows rows, std::size_t c) const
{
    aligned_vector<T> column(rows.count);
    for (std::size_t t = 0; t < rows.count; ++t)
        column[t] = factor[(rows.from + rows.step * t) * n + c];
    return column;
}

// The rows' part from element c on, times x.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::dots(const aligned_vector<T>& factor, factor_rows rows,
                                            std::size_t c, const aligned_vector<T>& x) const
{
    aligned_vector<T> products(rows.count);
    add_row_dots_on(path, products.data(), factor.data() + rows.from * n + c, rows.step * n,
                    rows.count, x.data(), x.size());
    return products;
}

// x -= the combination of the rows' part from element c on.
template <class T>
void bidiagonal_panel<T>::subtract(T* x, std::size_t size, const aligned_vector<T>& coefficients,
                                   const aligned_vector<T>& factor, factor_rows rows,
                                   std::size_t c) const
{
    subtract_column_sums(path, x, coefficients.data(),
                         {.first = factor.data() + rows.from * n + c,
                          .rows = rows.count,
                          .cols = size,
                          .stride = rows.step * n});
}

// β of column c; its reflector goes to L.
template <class T>
T bidiagonal_panel<T>::reduce_column(std::size_t c)
{
    const std::size_t l = c - first;
    aligned_vector<T> u = matrix_column(c, c);
    subtract(u.data(), u.size(), factor_column(right, all(l), c), left, all(l), c);
    if (is_zero(u.data() + 1, u.size() - 1))
        return u[0];
    const T beta = householder_in_place(u);
    std::copy(u.begin(), u.end(), panel_left(l) + c);
    out.left_reflectors[c] = std::move(u);
    return beta;
}

// Elements [from, from + width) of row c, which is r, after the left reflection.
template <class T>
void bidiagonal_panel<T>::update_row(std::size_t c, T* r, std::size_t from, std::size_t width) const
{
    const factor_rows lefts = of_left_reflectors(c - first + 1); // that of this column included
    const factor_rows rights = of_right_reflectors(c - first);
    std::copy_n(a.row(c) + from, width, r);
    subtract(r, width, factor_column(left, lefts, c), right, lefts, from);
    subtract(r, width, factor_column(left, rights, c), right, rights, from);
}

// Computes, with column c's left reflector, y; r, the conjugate of row c right of the diagonal; and
// the product A·r below row c. Sums over columns are taken by groups of tiles, added in order.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::sweep(std::size_t c, aligned_vector<T>& r)
{
    const std::size_t l = c - first;
    const std::size_t size = n - c - 1;
    aligned_vector<T> conjugate_u = out.left_reflectors[c];
    conjugate_all(conjugate_u.data(), conjugate_u.size());
    const aligned_vector<T> weights = dots(left, all(l), c, conjugate_u);
    T* const y = panel_left_update(l);

    const auto sweep_tile = [&](std::size_t from, std::size_t width, T* w) {
        std::array<T, tile_columns> sums{};
        add_column_sums_on(path, sums.data(), conjugate_u.data(), a.row(c) + from, a.stride,
                           size + 1, width);
        subtract(sums.data(), width, weights, right, all(l), from);
        for (std::size_t j = 0; j < width; ++j)
            y[from + j] = 2.0 * sums[j];
        T* const stretch = r.data() + (from - c - 1);
        update_row(c, stretch, from, width);
        for (std::size_t j = 0; j < width; ++j)
            stretch[j] = conjugate(stretch[j]);
        add_row_dots_on(path, w, a.row(c + 1) + from, a.stride, size, stretch, width);
    };
    // Tiles end at multiples of their width, where cache lines do.
    const std::size_t group_columns = tiles_per_group * tile_columns;
    const std::size_t first_group = (c + 1) / group_columns;
    const std::size_t groups = (n - 1) / group_columns + 1 - first_group;
    aligned_vector<T> partial(groups * size);
    const auto sweep_group = [&](std::size_t g) {
        const std::size_t end = std::min((first_group + g + 1) * group_columns, n);
        std::size_t from = std::max(c + 1, (first_group + g) * group_columns);
        while (from < end) {
            const std::size_t to = std::min((from / tile_columns + 1) * tile_columns, end);
            sweep_tile(from, to - from, partial.data() + g * size);
            from = to;
        }
    };
    constexpr std::size_t work_of_element = std::is_same_v<T, double> ? 4 : 8;
    parallel_for(groups, work_of_element * size * size / groups, sweep_group);
    for (std::size_t g = 1; g < groups; ++g)
        for (std::size_t i = 0; i < size; ++i)
            partial[i] += partial[g * size + i];
    partial.resize(size);
    return partial;
}

// A·v below row c, without the sweep.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::multiply_right(std::size_t c,
                                                      const aligned_vector<T>& v) const
{
    aligned_vector<T> w(v.size());
    const auto multiply_rows = [&](std::size_t b) {
        const std::size_t from = b * rows_per_index;
        add_row_dots_on(path, w.data() + from, a.row(c + 1 + from) + c + 1, a.stride,
                        std::min(rows_per_index, v.size() - from), v.data(), v.size());
    };
    parallel_for(ceil_div(v.size(), rows_per_index), 2 * rows_per_index * v.size(), multiply_rows);
    return w;
}

// A·v from w = A·r: r begins with `first_of_r`, and its reflector v maps it to β·e₁.
template <class T>
aligned_vector<T> bidiagonal_panel<T>::product_from_sweep(std::size_t c, aligned_vector<T> w,
                                                          T first_of_r, T beta,
                                                          const aligned_vector<T>& v) const
{
    const double length = modulus(T(first_of_r - beta)) / modulus(v[0]);
    const aligned_vector<T> column = matrix_column(c + 1, c + 1);
    for (std::size_t i = 0; i < w.size(); ++i)
        w[i] = (w[i] - finite_product(beta, column[i])) / length;
    return w;
}

// x = 2·(A - Lᵀ·R)·v from w = A·v.
template <class T>
void bidiagonal_panel<T>::store_right(std::size_t c, aligned_vector<T> w, aligned_vector<T> v)
{
    const std::size_t l = c - first;
    const factor_rows lefts = of_left_reflectors(l + 1);
    const factor_rows rights = of_right_reflectors(l);
    subtract(w.data(), w.size(), dots(right, lefts, c + 1, v), left, lefts, c + 1);
    subtract(w.data(), w.size(), dots(right, rights, c + 1, v), left, rights, c + 1);
    T* const x = panel_right_update(l) + c + 1;
    T* const conjugate_v = panel_right(l) + c + 1;
    for (std::size_t i = 0; i < w.size(); ++i) {
        x[i] = 2.0 * w[i];
        conjugate_v[i] = conjugate(v[i]);
    }
    out.right_reflectors[c] = std::move(v);
}

template <class T>
void bidiagonal_panel<T>::reduce(std::size_t c, T& d, T& e)
{
    d = reduce_column(c);
    if (c + 1 == n)
        return;
    aligned_vector<T> r(n - c - 1);
    aligned_vector<T> w;
    if (out.left_reflectors[c].empty()) {
        update_row(c, r.data(), c + 1, r.size());
        conjugate_all(r.data(), r.size());
    } else {
        w = sweep(c, r);
    }
    e = conjugate(r[0]);
    if (is_zero(r.data() + 1, r.size() - 1))
        return;
    // Products with a tiny r have lost digits to underflow.
    const auto counts = [](const T& element) { return modulus(element) >= tiny_magnitude; };
    const bool usable = !w.empty() && std::any_of(r.begin(), r.end(), counts);
    const T first_of_r = r[0];
    const T beta = householder_in_place(r);
    e = conjugate(beta);
    w = usable ? product_from_sweep(c, std::move(w), first_of_r, beta, r) : multiply_right(c, r);
    store_right(c, std::move(w), std::move(r));
}

// The trailing block gains -Lᵀ·R, first all u·y, then all x·vᴴ, as one product.
template <class T>
void bidiagonal_panel<T>::update_trailing()
{
    if (last == n)
        return;
    const std::size_t terms = 2 * (last - first);
    const std::size_t size = n - last;
    const auto place = [=](std::size_t row) { return row / 2 + (row % 2) * (terms / 2); };
    aligned_vector<T> minus_left(size * terms);
    aligned_vector<T> ordered_right(terms * size);
    for (std::size_t t = 0; t < terms; ++t) {
        const T* const l = left.data() + t * n + last;
        const T* const r = right.data() + t * n + last;
        for (std::size_t i = 0; i < size; ++i)
            minus_left[i * terms + place(t)] = negated(l[i]);
        std::copy(r, r + size, ordered_right.data() + place(t) * size);
    }
    add_product<T>({minus_left.data(), size, terms}, {ordered_right.data(), terms, size},
                   a.sub(last, n, last, n));
}

template class bidiagonal_panel<double>;
template class bidiagonal_panel<complex>;

} // namespace numerical::detail
