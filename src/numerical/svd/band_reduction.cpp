#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/factor/wide_qr_panel.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/band_bidiagonal.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// A dense rows × cols array, to be written before it is read, that is a block.
template <class T>
struct dense_block
{
    aligned_vector<T> elements;
    block_view<T> view;

    dense_block(std::size_t rows, std::size_t cols)
        : elements(uninitialized<T>(rows * cols)), view{elements.data(), rows, cols}
    {
    }
};

// C = A·B, whatever C held.
template <class T>
void set_product(block_view<const std::type_identity_t<T>> a,
                 block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    gemm_new<T>(c.rows, c.cols, a.cols, a.first, a.stride, b.first, b.stride, c.first, c.stride);
}

// C = AᴴB.
template <class T>
void set_adjoint_product(block_view<const std::type_identity_t<T>> a,
                         block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    for (std::size_t i = 0; i < c.rows; ++i)
        set_zero(c.row(i), c.cols);
    add_adjoint_product<T>(a, b, c);
}

template <class T>
block_view<const T> vectors_of(const reflector_block<T>& q)
{
    return {q.vectors.data(), q.rows, q.count};
}

template <class T>
block_view<const T> factor_of(const reflector_block<T>& q)
{
    return {q.factor.data(), q.count, q.count};
}

// -Tᴴ·(VᴴC), by which Qᴴ·C = C + V·that.
template <class T>
void left_weights(const reflector_block<T>& q, block_view<const T> c, block_view<T> weights)
{
    dense_block<T> along(q.count, c.cols);
    set_adjoint_product<T>(vectors_of(q), c, along.view);
    aligned_vector<T> minus_factor = negated_copy(factor_of(q));
    set_adjoint_product<T>({minus_factor.data(), q.count, q.count}, along.view, weights);
}

// Rows become lower triangular by reflections from the right, which are the result.
template <class T>
reflector_block<T> reduce_rows(block_view<T> rows)
{
    const std::size_t width = rows.rows;
    const std::size_t length = rows.cols;
    const std::size_t count = std::min(width, length);
    aligned_vector<T> columns = adjoint_copy<T>(rows);
    const block_view<T> all{columns.data(), length, width};
    reflector_block<T> q = factor_wide_qr_panel(all.sub(0, length, 0, count), 0);
    apply_reflector_block<block_operator::adjoint>(q, columns, width, count, width);
    for (std::size_t i = 0; i < width; ++i)
        for (std::size_t j = 0; j < length; ++j)
            rows(i, j) = j > i ? T(0) : conjugate(columns[j * width + i]);
    return q;
}

// Columns [from, to) become upper triangular by Q from the left, then rows [from, to) right of them
// lower triangular by P from the right. The rows see Q at once. What lies below them sees both in
// one product: with Q = I - V·S·Vᴴ and P = I - U·T·Uᴴ,
//
//     QᴴA·P = A + V·Y - X·Uᴴ    Y = -Sᴴ·(VᴴA)    X = (A·U + V·(Y·U))·T
template <class T>
void reduce_columns_and_rows(aligned_vector<T>& a, std::size_t n, std::size_t from, std::size_t to)
{
    const block_view<T> all{a.data(), n, n};
    const reflector_block<T> q = factor_wide_qr_panel(all.sub(from, n, from, to), from);
    if (to == n)
        return;
    const std::size_t width = to - from;
    const std::size_t length = n - to;
    const block_view<const T> v = vectors_of(q);
    const block_view<const T> v_above = v.sub(0, width, 0, width);
    const block_view<const T> v_below = v.sub(width, q.rows, 0, width);

    dense_block<T> right(2 * width, length); // Y above Uᴴ
    const block_view<T> y = right.view.sub(0, width, 0, length);
    left_weights<T>(q, all.sub(from, n, to, n), y);
    const block_view<T> rows = all.sub(from, to, to, n);
    add_product<T>(v_above, y, rows);
    const reflector_block<T> p = reduce_rows(rows);
    const block_view<const T> u = vectors_of(p);
    transpose_into<T>(right.view.sub(width, width + p.count, 0, length), u);
    for (std::size_t i = width * length; i < (width + p.count) * length; ++i)
        right.elements[i] = conjugate(right.elements[i]);

    const block_view<T> below = all.sub(to, n, to, n);
    dense_block<T> along(length, p.count); // A·U + V·(Y·U)
    set_product<T>(below, u, along.view);
    dense_block<T> inner(width, p.count);
    set_product<T>(y, u, inner.view);
    add_product<T>(v_below, inner.view, along.view);

    const std::size_t depth = width + p.count;
    dense_block<T> left(length, depth); // V beside -X
    for (std::size_t i = 0; i < length; ++i)
        std::copy_n(v_below.row(i), width, left.view.row(i));
    aligned_vector<T> minus_factor = negated_copy(factor_of(p));
    set_product<T>(along.view, {minus_factor.data(), p.count, p.count},
                   left.view.sub(0, length, width, depth));
    add_product<T>(left.view, right.view.sub(0, depth, 0, length), below);
}

} // namespace

// A row panel begins right of the column panel beside it:
//
//     [ R  L          ]
//     [    R  L       ]
//     [       A22     ]
template <class T>
upper_band<T> reduce_to_band(aligned_vector<T> a, std::size_t n, std::size_t width)
{
    upper_band<T> band(n, width);
    for (std::size_t from = 0; from < n; from += width)
        reduce_columns_and_rows(a, n, from, std::min(from + width, n));
    for (std::size_t i = 0; i < n; ++i)
        std::copy_n(a.data() + i * n + i, std::min(width + 1, n - i), &band(i, i));
    return band;
}

template upper_band<double> reduce_to_band(aligned_vector<double>, std::size_t, std::size_t);
template upper_band<complex> reduce_to_band(aligned_vector<complex>, std::size_t, std::size_t);

} // namespace numerical::detail
