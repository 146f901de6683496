#include "numerical/eigen/tridiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/hermitian_product.hpp"
#include "numerical/eigen/symmetric_steps.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/longest_at_ends.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// Whole tiles of the vector paths. What a strip has above the diagonal is for nothing.
constexpr std::size_t update_strip_rows = 48;

// Of a strip of the update, on the scale of parallel_for. A thread does 15 to 20 real products in a
// nanosecond, or a fourth of complex ones. As the pool is awake from the products with vectors, a
// loop of 100 microseconds repays it, and a complex one, whose matrix is shared by the products
// with vectors from lower orders on, of 50 (measured).
template <class T>
std::size_t strip_work(std::size_t cols, std::size_t depth)
{
    constexpr std::size_t products_per_unit = std::is_same_v<T, double> ? 16 : 2;
    return update_strip_rows * (cols / 2) * depth / products_per_unit;
}

// Of a pass over `rows` vectors on the elements that are finished together. A thread does about as
// many products in a nanosecond as in products of matrices, and the pool is awake.
template <class T>
constexpr std::size_t piece_work(std::size_t rows)
{
    return 2 * 64 * rows * sizeof(T) / sizeof(double);
}

// To negate and conjugate an element, on the same scale.
template <class T>
constexpr std::size_t work_to_negate = sizeof(T) / sizeof(double) * 4;

template <class T>
class reducer
{
public:
    reducer(aligned_vector<T>& matrix, std::size_t order, std::size_t most_columns,
            std::vector<aligned_vector<T>>& list, aligned_vector<T>& subdiagonal);

    // Columns [from, to), then the trailing matrix.
    void reduce_panel(std::size_t from, std::size_t to);

private:
    void reduce_column(std::size_t k, std::size_t p);
    void multiply(std::size_t k, std::size_t p);
    void reflect(std::size_t k, std::size_t p);
    void set_coefficients(std::size_t at, std::size_t from, std::size_t to);
    void update_trailing(std::size_t to, std::size_t count);

    const int path = gemm_path_current();
    const std::size_t n;
    const std::size_t stride; // of columns and of vectors
    const block_view<T> a;
    std::vector<aligned_vector<T>>& reflectors;
    aligned_vector<T>& sub;

    // Row p of `columns` is column p of the panel, each at its absolute indices. `vectors` holds
    // V and W of the panel in turn, V[p] in row 2p and W[p] in row 2p + 1, so that both leave a
    // vector in one pass. Only indices beyond a vector's own column are in use.
    aligned_vector<T> columns;
    aligned_vector<T> vectors;
    aligned_vector<T> of_product; // coefficients of V and W in A·v
    aligned_vector<T> of_column;  // and in the next column
    std::size_t width = 0;        // of the panel
    std::size_t subtracted = 0;   // pairs that have been subtracted from the next column
    aligned_vector<T> left;
    aligned_vector<T> right;
    aligned_vector<T> partials;

    T* panel_v(std::size_t p) { return vectors.data() + 2 * p * stride; }

    T* panel_w(std::size_t p) { return vectors.data() + (2 * p + 1) * stride; }
};

template <class T>
reducer<T>::reducer(aligned_vector<T>& matrix, std::size_t order, std::size_t most_columns,
                    std::vector<aligned_vector<T>>& list, aligned_vector<T>& subdiagonal)
    : n(order), stride(spread_stride<T>(order)), a{matrix.data(), order, order}, reflectors(list),
      sub(subdiagonal)
{
    const std::size_t widest = std::min(most_columns, n - 1);
    columns = uninitialized<T>(widest * stride);
    vectors = uninitialized<T>(2 * widest * stride);
    of_product.resize(2 * widest);
    of_column.resize(2 * widest);
    left = uninitialized<T>(2 * widest * n);
    right = uninitialized<T>(2 * widest * n);
}

template <class T>
void reducer<T>::reduce_panel(std::size_t from, std::size_t to)
{
    transpose_into<T>(
        {.first = columns.data() + from, .rows = to - from, .cols = n - from, .stride = stride},
        a.sub(from, n, from, to));
    width = to - from;
    subtracted = 0;
    for (std::size_t k = from; k < to; ++k)
        reduce_column(k, k - from);
    update_trailing(to, to - from);
}

// The next column of the panel loses its products with the pairs [from, to), in which it is `at`.
template <class T>
void reducer<T>::set_coefficients(std::size_t at, std::size_t from, std::size_t to)
{
    for (std::size_t q = from; q < to; ++q) {
        of_column[2 * q] = conjugate(panel_w(q)[at]);
        of_column[2 * q + 1] = conjugate(panel_v(q)[at]);
    }
}

// x is column k from the diagonal down, y what lies below the diagonal.
template <class T>
void reducer<T>::reduce_column(std::size_t k, std::size_t p)
{
    T* const x = columns.data() + p * stride + k;
    set_coefficients(k, subtracted, p);
    subtract_products_on(path, x, of_column.data() + 2 * subtracted,
                         vectors.data() + 2 * subtracted * stride + k, stride, 2 * (p - subtracted),
                         n - k);
    subtracted = 0;
    a(k, k) = x[0];

    aligned_vector<T> y(x + 1, x + (n - k));
    T* const v = panel_v(p) + k + 1;
    T* const w = panel_w(p) + k + 1;
    if (std::all_of(y.begin() + 1, y.end(), [](const T& element) { return element == T(0); })) {
        sub[k] = y[0];
        std::fill_n(v, y.size(), T(0));
        std::fill_n(w, y.size(), T(0));
        return;
    }
    sub[k] = householder_in_place(y);
    std::copy(y.begin(), y.end(), v);
    multiply(k, p);
    reflect(k, p);
    reflectors[k + 1] = std::move(y);
}

// w = A·v, from the trailing matrix of the panel's start and the pairs of V and W before p. The
// pass over these takes the next column along, which they are subtracted from as well.
template <class T>
void reducer<T>::multiply(std::size_t k, std::size_t p)
{
    const std::size_t from = k + 1;
    const std::size_t len = n - from;
    const std::size_t terms = 2 * p;
    T* const v = panel_v(p) + from;
    T* const w = panel_w(p) + from;
    hermitian_product<T> product(a.sub(from, n, from, n), v, w, partials);
    product.multiply([&] {
        row_dots(path, of_product.data(), v, vectors.data() + from, stride, terms, len);
        for (std::size_t q = 0; q < p; ++q) // V is multiplied by Wᴴ·v, W by Vᴴ·v
            std::swap(of_product[2 * q], of_product[2 * q + 1]);
    });
    const bool has_next = p + 1 < width;
    T* const next = columns.data() + (p + 1) * stride + from;
    if (has_next) {
        set_coefficients(from, 0, p);
        subtracted = p;
    }
    constexpr std::size_t piece = hermitian_product<T>::most_added;
    const auto finish_piece = [&](std::size_t i) {
        const std::size_t first = i * piece;
        const std::size_t last = std::min(first + piece, len);
        const T* const pairs = vectors.data() + from + first;
        product.add_up(first, last);
        subtract_products_on(path, w + first, of_product.data(), pairs, stride, terms,
                             last - first);
        if (has_next)
            subtract_products_on(path, next + first, of_column.data(), pairs, stride, terms,
                                 last - first);
    };
    parallel_for(ceil_div(len, piece), piece_work<T>(product.results() + 2 * terms), finish_piece);
}

// w becomes 2w - 2(vᴴw)·v: with that H·A·H is A - v·wᴴ - w·vᴴ.
template <class T>
void reducer<T>::reflect(std::size_t k, std::size_t p)
{
    const std::size_t len = n - k - 1;
    T* const v = panel_v(p) + k + 1;
    T* const w = panel_w(p) + k + 1;
    T projection; // vᴴw
    row_dots(path, &projection, w, v, stride, 1, len);
    for (std::size_t i = 0; i < len; ++i)
        w[i] *= 2.0;
    subtract_scaled_on(path, w, v, T(2) * projection, len);
}

// A22 -= V·Wᴴ + W·Vᴴ on and below the diagonal, by strips of rows that end at their own diagonal:
// the longest are at both ends of the loop, where threads begin, so that they end together. The
// right factor has the sign, as its rows lie as they are multiplied.
template <class T>
void reducer<T>::update_trailing(std::size_t to, std::size_t count)
{
    const std::size_t t = n - to;
    const std::size_t depth = 2 * count;
    const auto negate_row = [&](std::size_t row) {
        const T* const from = row < count ? panel_w(row) : panel_v(row - count);
        std::transform(from + to, from + n, right.data() + row * t,
                       [](const T& x) { return negated(conjugate(x)); });
    };
    parallel_for(depth, t * work_to_negate<T>, negate_row);
    const std::size_t strips = ceil_div(t, update_strip_rows);
    const auto update_strip = [&](std::size_t i) {
        const std::size_t r = longest_at_ends(i, strips) * update_strip_rows;
        const std::size_t end = std::min(r + update_strip_rows, t);
        const block_view<T> v_and_w{left.data() + r * depth, end - r, depth};
        transpose_into<T>(
            v_and_w.sub(0, end - r, 0, count),
            {.first = panel_v(0) + to + r, .rows = count, .cols = end - r, .stride = 2 * stride});
        transpose_into<T>(
            v_and_w.sub(0, end - r, count, depth),
            {.first = panel_w(0) + to + r, .rows = count, .cols = end - r, .stride = 2 * stride});
        add_product<T>(v_and_w, {.first = right.data(), .rows = depth, .cols = end, .stride = t},
                       a.sub(to + r, to + end, to, to + end));
    };
    parallel_for(strips, strip_work<T>(t, depth), update_strip);
}

// The subdiagonal as it is, or, if complex, by its moduli with the phases that make it so, and a
// last 0.
void make_real(const aligned_vector<double>& sub, aligned_vector<double>& phases,
               aligned_vector<double>& e)
{
    std::fill(phases.begin(), phases.end(), 1.0);
    std::copy(sub.begin(), sub.end() - 1, e.begin());
    e.back() = 0;
}

void make_real(const aligned_vector<complex>& sub, aligned_vector<complex>& phases,
               aligned_vector<double>& e)
{
    phases[0] = 1;
    for (std::size_t i = 0; i + 1 < sub.size(); ++i) {
        phases[i + 1] = std::conj(phase_of(sub[i])) * phases[i];
        e[i] = std::abs(sub[i]);
    }
    e.back() = 0;
}

// Panels, then steps.
template <class T>
void reduce_columns(aligned_vector<T>& a, std::size_t n, reduction_form form,
                    std::vector<aligned_vector<T>>& reflectors, aligned_vector<double>& d,
                    aligned_vector<T>& sub)
{
    const bool fastest = form == reduction_form::fastest;
    const std::size_t panel = fastest ? fastest_panel(n) : fixed_panel;
    const std::size_t by_steps = fastest ? most_order_of_steps<T> : 0;
    std::size_t from = 0;
    if (n >= 2 && n > by_steps) {
        reducer<T> columns(a, n, panel, reflectors, sub);
        for (; from < n - 1 && n - from > by_steps; from += panel)
            columns.reduce_panel(from, std::min(from + panel, n - 1));
    }
    const bool is_left = from < n && by_steps != 0;
    for (std::size_t i = 0; i < (is_left ? from : n); ++i)
        d[i] = real_part(a[i * n + i]);
    if (is_left)
        reduce_by_steps<T>({&a[from * n + from], n - from, n - from, n}, 1, &reflectors[from],
                           &d[from], &sub[from]);
}

} // namespace

template <class T>
tridiagonal_reduction<T> tridiagonalize(aligned_vector<T>& a, std::size_t n,
                                        aligned_vector<double>& d, aligned_vector<double>& e,
                                        reduction_form form)
{
    tridiagonal_reduction<T> reduction{std::vector<aligned_vector<T>>(n), aligned_vector<T>(n)};
    aligned_vector<T> sub(n);
    reduce_columns(a, n, form, reduction.reflectors, d, sub);
    make_real(sub, reduction.phases, e);
    return reduction;
}

template <class T>
void tridiagonalize_for_values(block_view<const std::type_identity_t<T>> lower, double scale,
                               aligned_vector<double>& d, aligned_vector<double>& e)
{
    aligned_vector<T> sub(lower.rows);
    aligned_vector<T> phases(lower.rows);
    reduce_by_steps<T>(lower, scale, nullptr, d.data(), sub.data());
    make_real(sub, phases, e);
}

template tridiagonal_reduction<double> tridiagonalize(aligned_vector<double>&, std::size_t,
                                                      aligned_vector<double>&,
                                                      aligned_vector<double>&, reduction_form);
template tridiagonal_reduction<complex> tridiagonalize(aligned_vector<complex>&, std::size_t,
                                                       aligned_vector<double>&,
                                                       aligned_vector<double>&, reduction_form);
template void tridiagonalize_for_values<double>(block_view<const double>, double,
                                                aligned_vector<double>&, aligned_vector<double>&);
template void tridiagonalize_for_values<complex>(block_view<const complex>, double,
                                                 aligned_vector<double>&, aligned_vector<double>&);

} // namespace numerical::detail
