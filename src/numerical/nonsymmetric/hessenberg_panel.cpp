#include "numerical/nonsymmetric/hessenberg_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// The number of rows that one task multiplies by a reflector.
constexpr std::size_t strip_rows = 64;

} // namespace

template <class T>
panel_reducer<T>::panel_reducer(block_view<T> matrix)
    : a(matrix), n(matrix.rows), columns(hessenberg_panel * n), vectors(hessenberg_panel * n),
      products(hessenberg_panel * n), factor(hessenberg_panel * hessenberg_panel),
      coefficients(2 * hessenberg_panel)
{
}

// The matrix keeps the panel's old columns as long as products with them are formed.
template <class T>
reduced_panel<T> panel_reducer<T>::reduce(std::size_t from, std::size_t to)
{
    first = from + 1;
    height = n - first;
    const std::size_t count = to - from;
    const block_view<T> in_place = a.sub(first, n, from, to);
    const block_view<T> by_columns{columns.data(), count, height, n};
    transpose_into<T>(by_columns, in_place);
    for (std::size_t p = 0; p < count; ++p) {
        bring_up_to_date(p);
        add_reflector(p);
    }
    transpose_into<T>(in_place, by_columns);
    return gathered(count);
}

// Column p of Qᴴ·A·Q for what the panel's reflectors so far make of Q = I - V·T·Vᴴ.
template <class T>
void panel_reducer<T>::bring_up_to_date(std::size_t p)
{
    if (p == 0)
        return;
    T* const x = column(p);
    T* const dots = coefficients.data();
    for (std::size_t q = 0; q < p; ++q)
        dots[q] = conjugate(v_row(q)[p - 1]);
    subtract_products_on(path, x, dots, products.data(), n, p, height);
    // x -= V·Tᴴ·(Vᴴx)
    row_dots(path, dots, x, vectors.data(), n, p, height);
    T* const turned = dots + hessenberg_panel;
    for (std::size_t q = 0; q < p; ++q) {
        turned[q] = 0;
        for (std::size_t l = 0; l <= q; ++l)
            turned[q] += finite_product(conjugate(factor_column(q)[l]), dots[l]);
    }
    subtract_products_on(path, x, turned, vectors.data(), n, p, height);
}

// Forms the reflector v of column p and appends it to V, T and Y, whose new column is
// 2·(A·v - Y·z) with z = Vᴴv.
template <class T>
void panel_reducer<T>::add_reflector(std::size_t p)
{
    T* const x = column(p);
    T* const v = v_row(p);
    T* const y = y_row(p);
    set_zero(v, height);
    set_zero(y, height);
    set_zero(factor_column(p), p + 1);
    aligned_vector<T> reflector = copy_of(x + p, height - p);
    if (is_zero_beyond_first(reflector))
        return;
    x[p] = householder_in_place(reflector);
    set_zero(x + p + 1, height - p - 1);
    std::copy(reflector.begin(), reflector.end(), v + p);

    T* const dots = coefficients.data();
    multiply_trailing(p, v + p, y);
    row_dots(path, dots, v, vectors.data(), n, p, height);
    subtract_products_on(path, y, dots, products.data(), n, p, height);
    for (std::size_t i = 0; i < height; ++i)
        y[i] *= 2.0;
    extend_factor(p, dots);
}

// The new column of T: -2·T·z above the element 2.
template <class T>
void panel_reducer<T>::extend_factor(std::size_t p, const T* dots)
{
    for (std::size_t q = 0; q < p; ++q) {
        const T twice = dots[q] * 2.0;
        for (std::size_t l = 0; l <= q; ++l)
            factor_column(p)[l] -= finite_product(factor_column(q)[l], twice);
    }
    factor_column(p)[p] = 2;
}

// y = A·v for the rows from `first` on and the columns beyond the panel's column p. Each strip of
// rows has one writer.
template <class T>
void panel_reducer<T>::multiply_trailing(std::size_t p, const T* v, T* y) const
{
    const std::size_t width = height - p;
    // The dots conjugate the rows of A, so v is passed and y returned conjugated.
    aligned_vector<T> vc = copy_of(v, width);
    conjugate_all(vc.data(), width);
    const auto multiply_strip = [&](std::size_t strip) {
        const std::size_t from = strip * strip_rows;
        const std::size_t count = std::min(strip_rows, height - from);
        row_dots(path, y + from, vc.data(), &a(first + from, first + p), a.stride, count, width);
        conjugate_all(y + from, count);
    };
    // Several times the time of a strip: the products of a panel follow one another while the
    // workers poll, and two threads read faster than one.
    parallel_for(ceil_div(height, strip_rows), 2 * strip_rows * width, multiply_strip);
}

template <class T>
reduced_panel<T> panel_reducer<T>::gathered(std::size_t count) const
{
    reduced_panel<T> panel{.block = {.offset = first,
                                     .rows = height,
                                     .count = count,
                                     .vectors = uninitialized<T>(height * count),
                                     .factor = zeros<T>(count * count)},
                           .minus_products = uninitialized<T>(height * count),
                           .adjoint = uninitialized<T>(count * height)};
    const block_view<const T> v_by_rows{vectors.data(), count, height, n};
    transpose_into<T>({panel.block.vectors.data(), height, count}, v_by_rows);
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t q = 0; q <= p; ++q)
            panel.block.factor[q * count + p] = factor[p * hessenberg_panel + q];
    transpose_into<T>({panel.minus_products.data(), height, count},
                      {.first = products.data(), .rows = count, .cols = height, .stride = n});
    for (T& element : panel.minus_products)
        element = negated(element);
    for (std::size_t p = 0; p < count; ++p)
        std::copy_n(v_by_rows.row(p), height, panel.adjoint.data() + p * height);
    conjugate_all(panel.adjoint.data(), panel.adjoint.size());
    return panel;
}

template class panel_reducer<double>;
template class panel_reducer<complex>;

} // namespace numerical::detail
