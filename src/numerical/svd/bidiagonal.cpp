#include "numerical/svd/bidiagonal.hpp"

#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t tile_columns = 64;

template <class T>
bool is_zero(const T* x, std::size_t n)
{
    return std::all_of(x, x + n, [](const T& element) { return element == T(0); });
}

double dot(int path, const double* a, const double* b, std::size_t n)
{
    return dot_on(path, a, b, n);
}

complex dot(int, const complex* a, const complex* b, std::size_t n)
{
    return plain_dot(a, b, n);
}

// Some of the rows of a panel's factors: `count` of them from `from` on, every `step`-th.
struct factor_rows
{
    std::size_t from;
    std::size_t step;
    std::size_t count;
};

// Columns [first, last) of the reduction. While they are worked on, the matrix is A - Lᵀ·R, with A
// as it was before the panel. Column l adds two rows to L and to R. The left reflector u goes to
// row 2l of L and y = 2·uᴴ·(the matrix) beside it to R; x = 2·(the matrix)·v goes to row 2l + 1 of
// L and the conjugate of the right reflector v beside it to R. Without a reflector they stay zero.
template <class T>
class bidiagonal_panel
{
public:
    bidiagonal_panel(std::vector<T>& matrix, std::size_t first_column, std::size_t last_column,
                     bidiagonal_reduction<T>& into);

    // Reflect column c from the left, so that nothing stands below (c, c), and row c from the
    // right, so that nothing stands right of (c, c + 1). What then stands there is returned.
    T reduce_column(std::size_t c);
    T reduce_row(std::size_t c);

    void update_trailing();

private:
    static factor_rows all(std::size_t l) { return {0, 1, 2 * l}; }

    static factor_rows of_left_reflectors(std::size_t l) { return {0, 2, l}; }

    static factor_rows of_right_reflectors(std::size_t l) { return {1, 2, l}; }

    std::vector<T> column_of(const std::vector<T>& factor, factor_rows rows, std::size_t c) const;
    std::vector<T> dots(const std::vector<T>& factor, factor_rows rows, std::size_t c,
                        const std::vector<T>& x) const;
    void subtract(std::vector<T>& x, const std::vector<T>& coefficients,
                  const std::vector<T>& factor, factor_rows rows, std::size_t c) const;
    void multiply_left(std::size_t c, const std::vector<T>& u);
    void multiply_right(std::size_t c, const std::vector<T>& v);

    std::vector<T>& a;
    bidiagonal_reduction<T>& out;
    std::size_t n;
    std::size_t first;
    std::size_t last;
    std::vector<T> columns; // those of the panel, each in one stretch, from row `first` down
    std::vector<T> left;    // L
    std::vector<T> right;   // R
    int path = gemm_path_current();
};

template <class T>
bidiagonal_panel<T>::bidiagonal_panel(std::vector<T>& matrix, std::size_t first_column,
                                      std::size_t last_column, bidiagonal_reduction<T>& into)
    : a(matrix), out(into), n(into.order), first(first_column), last(last_column),
      columns((last - first) * (n - first)), left(2 * (last - first) * n),
      right(2 * (last - first) * n)
{
    const std::size_t rows = n - first;
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t l = 0; l < last - first; ++l)
            columns[l * rows + i] = a[(first + i) * n + first + l];
}

// Element c of each of the rows.
template <class T>
std::vector<T> bidiagonal_panel<T>::column_of(const std::vector<T>& factor, factor_rows rows,
                                              std::size_t c) const
{
    std::vector<T> column(rows.count);
    for (std::size_t t = 0; t < rows.count; ++t)
        column[t] = factor[(rows.from + rows.step * t) * n + c];
    return column;
}

// The rows' part from element c on, times x.
template <class T>
std::vector<T> bidiagonal_panel<T>::dots(const std::vector<T>& factor, factor_rows rows,
                                         std::size_t c, const std::vector<T>& x) const
{
    std::vector<T> products(rows.count);
    for (std::size_t t = 0; t < rows.count; ++t)
        products[t] =
            dot(path, factor.data() + (rows.from + rows.step * t) * n + c, x.data(), x.size());
    return products;
}

// x -= the combination of the rows' part from element c on.
template <class T>
void bidiagonal_panel<T>::subtract(std::vector<T>& x, const std::vector<T>& coefficients,
                                   const std::vector<T>& factor, factor_rows rows,
                                   std::size_t c) const
{
    subtract_products_on(path, x.data(), coefficients.data(), factor.data() + rows.from * n + c,
                         rows.step * n, rows.count, x.size());
}

template <class T>
T bidiagonal_panel<T>::reduce_column(std::size_t c)
{
    const std::size_t l = c - first;
    const T* const column = columns.data() + l * (n - first);
    std::vector<T> x(column + l, column + (n - first));
    subtract(x, column_of(right, all(l), c), left, all(l), c);
    if (is_zero(x.data() + 1, x.size() - 1))
        return x[0];
    const T beta = householder_in_place(x);
    multiply_left(c, x);
    std::copy(x.begin(), x.end(), left.begin() + static_cast<std::ptrdiff_t>(2 * l * n + c));
    out.left_reflectors[c] = std::move(x);
    return beta;
}

// y = 2·uᴴ·(A - Lᵀ·R) right of column c, by tiles of columns.
template <class T>
void bidiagonal_panel<T>::multiply_left(std::size_t c, const std::vector<T>& u)
{
    const std::size_t l = c - first;
    std::vector<T> conjugate_u(u.size());
    std::vector<T> minus_conjugate_u(u.size());
    for (std::size_t i = 0; i < u.size(); ++i) {
        conjugate_u[i] = conjugate(u[i]);
        minus_conjugate_u[i] = negated(conjugate_u[i]);
    }
    const std::vector<T> weights = dots(left, all(l), c, conjugate_u);
    T* const y = right.data() + 2 * l * n;

    const auto multiply_tile = [&](std::size_t tile) {
        const std::size_t from = c + 1 + tile_columns * tile;
        const std::size_t width = std::min(n - from, tile_columns);
        std::array<T, tile_columns> sums{};
        subtract_products_on(path, sums.data(), minus_conjugate_u.data(), a.data() + c * n + from,
                             n, u.size(), width);
        subtract_products_on(path, sums.data(), weights.data(), right.data() + from, n,
                             weights.size(), width);
        for (std::size_t j = 0; j < width; ++j)
            y[from + j] = 2.0 * sums[j];
    };
    parallel_for((n - c + tile_columns - 2) / tile_columns, (n - c) * tile_columns, multiply_tile);
}

template <class T>
T bidiagonal_panel<T>::reduce_row(std::size_t c)
{
    const std::size_t l = c - first;
    const auto row = a.begin() + static_cast<std::ptrdiff_t>(c * n);
    std::vector<T> r(row + static_cast<std::ptrdiff_t>(c + 1),
                     row + static_cast<std::ptrdiff_t>(n));
    const factor_rows lefts = of_left_reflectors(l + 1); // that of this very column included
    const factor_rows rights = of_right_reflectors(l);
    subtract(r, column_of(left, lefts, c), right, lefts, c + 1);
    subtract(r, column_of(left, rights, c), right, rights, c + 1);
    if (is_zero(r.data() + 1, r.size() - 1))
        return r[0];
    for (T& element : r)
        element = conjugate(element);
    const T beta = householder_in_place(r);
    multiply_right(c, r);
    T* const v = right.data() + (2 * l + 1) * n + c + 1;
    for (std::size_t j = 0; j < r.size(); ++j)
        v[j] = conjugate(r[j]);
    out.right_reflectors[c] = std::move(r);
    return conjugate(beta);
}

// x = 2·(A - Lᵀ·R)·v below row c.
template <class T>
void bidiagonal_panel<T>::multiply_right(std::size_t c, const std::vector<T>& v)
{
    const std::size_t l = c - first;
    const factor_rows lefts = of_left_reflectors(l + 1);
    const factor_rows rights = of_right_reflectors(l);
    const std::vector<T> left_weights = dots(right, lefts, c + 1, v);
    const std::vector<T> right_weights = dots(right, rights, c + 1, v);

    std::vector<T> w(v.size());
    const auto multiply_row = [&](std::size_t i) {
        w[i] = dot(path, a.data() + (c + 1 + i) * n + c + 1, v.data(), v.size());
    };
    parallel_for(w.size(), (n - c) * 2, multiply_row);
    subtract(w, left_weights, left, lefts, c + 1);
    subtract(w, right_weights, left, rights, c + 1);
    T* const x = left.data() + (2 * l + 1) * n + c + 1;
    for (std::size_t i = 0; i < w.size(); ++i)
        x[i] = 2.0 * w[i];
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
    std::vector<T> minus_left(size * terms);
    std::vector<T> ordered_right(terms * size);
    for (std::size_t t = 0; t < terms; ++t) {
        const T* const l = left.data() + t * n + last;
        const T* const r = right.data() + t * n + last;
        for (std::size_t i = 0; i < size; ++i)
            minus_left[i * terms + place(t)] = negated(l[i]);
        std::copy(r, r + size, ordered_right.data() + place(t) * size);
    }
    const block_view<T> whole{a.data(), n, n, n};
    add_product({minus_left.data(), size, terms, terms}, {ordered_right.data(), terms, size, size},
                whole.sub(last, n, last, n));
}

// The bidiagonal matrix as it came out.
void take_diagonals(bidiagonal_reduction<double>& out, std::vector<double> d, std::vector<double> e)
{
    out.d = std::move(d);
    out.e = std::move(e);
}

// The moduli, with the phases moved into the bases: with D and E unitary and diagonal,
// conj(D[k])·d[k]·E[k] and conj(D[k])·e[k]·E[k+1] are made non-negative one after the other, from
// E[0] = 1 on.
void take_diagonals(bidiagonal_reduction<complex>& out, const std::vector<complex>& d,
                    const std::vector<complex>& e)
{
    complex right = 1;
    for (std::size_t k = 0; k < out.order; ++k) {
        out.left_phases[k] = std::conj(phase_of(d[k] * right));
        right = std::conj(phase_of(out.left_phases[k] * e[k]));
        out.right_phases[k] = right;
        out.d[k] = modulus(d[k]);
        out.e[k] = modulus(e[k]);
    }
}

} // namespace

template <class T>
bidiagonal_reduction<T> bidiagonalize(std::vector<T> a, std::size_t n)
{
    if (n < blocked_bidiagonal_order)
        return bidiagonalize_unblocked(std::move(a), n);
    bidiagonal_reduction<T> out(n);
    std::vector<T> d(n);
    std::vector<T> e(n);
    for (std::size_t first = 0; first < n; first += bidiagonal_panel_columns) {
        const std::size_t last = std::min(first + bidiagonal_panel_columns, n);
        bidiagonal_panel<T> panel(a, first, last, out);
        for (std::size_t c = first; c < last; ++c) {
            d[c] = panel.reduce_column(c);
            if (c + 1 < n)
                e[c] = panel.reduce_row(c);
        }
        panel.update_trailing();
    }
    take_diagonals(out, std::move(d), std::move(e));
    return out;
}

template bidiagonal_reduction<double> bidiagonalize(std::vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize(std::vector<complex>, std::size_t);

} // namespace numerical::detail
