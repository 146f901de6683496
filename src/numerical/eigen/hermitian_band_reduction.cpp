#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

// Whole tiles of the vector paths. What a strip's diagonal block has above its diagonal is for
// nothing.
constexpr std::size_t band_strip_rows = 48;

// A dense rows × cols array that is a block.
template <class T>
struct dense_block
{
    std::vector<T> elements;
    block_view<T> view;

    dense_block(std::size_t rows, std::size_t cols)
        : elements(zeros<T>(rows * cols)), view{elements.data(), rows, cols}
    {
    }
};

// The lower triangle in both its places, with a real diagonal.
template <class T>
void mirror(block_view<T> to, block_view<const T> lower)
{
    for (std::size_t i = 0; i < lower.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            to(i, j) = lower(i, j);
            to(j, i) = conjugate(lower(i, j));
        }
        to(i, i) = real_part(lower(i, i));
    }
}

// A·V for a Hermitian A held by its lower triangle. Each strip of rows serves left of its diagonal
// block in both its roles, as itself and as the adjoint above the diagonal.
template <class T>
dense_block<T> hermitian_block_product(block_view<const T> a, block_view<const T> v)
{
    const std::size_t n = a.rows;
    dense_block<T> product(n, v.cols);
    dense_block<T> adjoint(v.cols, n);
    dense_block<T> square(band_strip_rows, band_strip_rows);
    for (std::size_t from = 0; from < n; from += band_strip_rows) {
        const std::size_t to = std::min(from + band_strip_rows, n);
        const block_view<const T> strip = a.sub(from, to, 0, from);
        const block_view<const T> beside = v.sub(from, to, 0, v.cols);
        const block_view<T> rows = product.view.sub(from, to, 0, v.cols);
        add_product<T>(strip, v.sub(0, from, 0, v.cols), rows);
        add_adjoint_product<T>(beside, strip, adjoint.view.sub(0, v.cols, 0, from));
        const block_view<T> diagonal = square.view.sub(0, to - from, 0, to - from);
        mirror(diagonal, a.sub(from, to, from, to));
        add_product<T>(diagonal, beside, rows);
    }
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < v.cols; ++j)
            product.view(i, j) += conjugate(adjoint.view(j, i));
    return product;
}

// W with QᴴAQ = A - W·Vᴴ - V·Wᴴ for Q = I - V·T·Vᴴ: with Y = A·V·T it is Y - V·S/2, where
// S = Tᴴ·(VᴴY) (Dongarra, Sorensen and Hammarling 1989).
template <class T>
dense_block<T> update_factor(block_view<const T> a, const reflector_block<T>& q)
{
    const std::size_t count = q.count;
    const block_view<const T> v{q.vectors.data(), q.rows, count};
    const block_view<const T> factor{q.factor.data(), count, count};
    const dense_block<T> along = hermitian_block_product(a, v);
    dense_block<T> w(q.rows, count);
    add_product<T>(along.view, factor, w.view);

    dense_block<T> inner(count, count);
    add_adjoint_product<T>(v, w.view, inner.view);
    dense_block<T> half(count, count);
    add_adjoint_product<T>(factor, inner.view, half.view);
    for (T& x : half.elements)
        x *= -0.5;
    add_product<T>(v, half.view, w.view);
    return w;
}

// A -= W·Vᴴ + V·Wᴴ on and below the diagonal, by strips of rows that end at their own diagonal.
template <class T>
void update_lower(block_view<T> a, block_view<const T> v, block_view<const T> w)
{
    const std::size_t n = a.rows;
    const std::size_t count = v.cols;
    dense_block<T> left(n, 2 * count);
    dense_block<T> right(2 * count, n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < count; ++j) {
            left.view(i, j) = negated(w(i, j));
            left.view(i, count + j) = negated(v(i, j));
            right.view(j, i) = conjugate(v(i, j));
            right.view(count + j, i) = conjugate(w(i, j));
        }
    for (std::size_t from = 0; from < n; from += band_strip_rows) {
        const std::size_t to = std::min(from + band_strip_rows, n);
        add_product<T>(left.view.sub(from, to, 0, 2 * count), right.view.sub(0, 2 * count, 0, to),
                       a.sub(from, to, 0, to));
    }
}

// Columns [from, to) become upper triangular below row `to`, and what lies right of them follows.
template <class T>
void reduce_columns(block_view<T> a, std::size_t from, std::size_t to)
{
    const std::size_t width = to - from;
    const std::size_t length = a.rows - to;
    const std::size_t count = std::min(width, length);
    const block_view<T> panel = a.sub(to, a.rows, from, to);
    std::vector<T> columns = uninitialized<T>(length * width);
    for (std::size_t i = 0; i < length; ++i)
        std::copy_n(panel.row(i), width, columns.data() + i * width);

    std::vector<std::vector<T>> reflectors(count);
    factor_qr_panel(columns, length, width, reflectors, 0, count);
    const reflector_block<T> q = gather_reflectors(reflectors, 0, count, length);
    apply_reflector_block<block_operator::adjoint>(q, columns, width, count, width);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < width; ++j)
            panel(i, j) = j < i ? T(0) : columns[i * width + j];

    const block_view<T> trailing = a.sub(to, a.rows, to, a.rows);
    const dense_block<T> w = update_factor<T>(trailing, q);
    update_lower<T>(trailing, {q.vectors.data(), length, count}, w.view);
}

} // namespace

template <class T>
hermitian_band<T> reduce_to_hermitian_band(std::vector<T> a, std::size_t n, std::size_t width)
{
    hermitian_band<T> band(n, width);
    const block_view<T> all{a.data(), n, n};
    for (std::size_t from = 0; from + width < n; from += width)
        reduce_columns(all, from, from + width);
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t first = i - std::min(i, width);
        std::copy_n(&all(i, first), i + 1 - first, &band(i, first));
        for (std::size_t j = first; j < i; ++j)
            band(j, i) = conjugate(band(i, j));
    }
    return band;
}

template hermitian_band<double> reduce_to_hermitian_band(std::vector<double>, std::size_t,
                                                         std::size_t);
template hermitian_band<complex> reduce_to_hermitian_band(std::vector<complex>, std::size_t,
                                                          std::size_t);

} // namespace numerical::detail
