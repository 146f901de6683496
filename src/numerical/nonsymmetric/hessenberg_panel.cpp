#include "numerical/nonsymmetric/hessenberg_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/both_roles.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
template <class T>
panel_reducer<T>::panel_reducer(block_view<T> matrix)
    : a(matrix), n(matrix.rows), stride(round_up(n, line_elements<T>)),
      columns(uninitialized<T>(hessenberg_panel * stride)),
      vectors(zeros<T>(hessenberg_panel * stride)),
      products(uninitialized<T>(hessenberg_panel * stride)),
      row_products(uninitialized<T>(row_blocks{n}.count() * hessenberg_panel * stride)),
      factor(hessenberg_panel * hessenberg_panel), coefficients(2 * hessenberg_panel)
{
}

// The matrix keeps the panel's old columns as long as products with them are formed.
template <class T>
reduced_panel<T> panel_reducer<T>::reduce(std::size_t from, std::size_t to)
{
    first = from + 1;
    height = n - first;
    margin = first % line_elements<T>;
    const std::size_t count = to - from;
    const block_view<T> in_place = a.sub(first, n, from, to);
    const block_view<T> by_columns{column(0), count, height, stride};
    transpose_into<T>(by_columns, in_place);
    for (std::size_t p = 0; p < count; ++p) {
        bring_up_to_date(p);
        add_reflector(p);
    }
    transpose_into<T>(in_place, by_columns);
    reduced_panel<T> panel{.first = first,
                           .height = height,
                           .v = {v_row(0), count, height, stride},
                           .y = {y_row(0), count, height, stride},
                           .factor = {factor.data(), count, count, hessenberg_panel},
                           .us = {}};
    for (std::size_t block = 0; block < blocks().count(); ++block)
        panel.us.push_back({u_row(block, 0), count, height, stride});
    return panel;
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
    subtract_products_on(path, x, dots, y_row(0), stride, p, height);
    // x -= V·Tᴴ·(Vᴴx)
    row_dots(path, dots, x, v_row(0), stride, p, height);
    T* const turned = dots + hessenberg_panel;
    for (std::size_t q = 0; q < p; ++q) {
        turned[q] = 0;
        for (std::size_t l = 0; l <= q; ++l)
            turned[q] += finite_product(conjugate(factor_column(q)[l]), dots[l]);
    }
    subtract_products_on(path, x, turned, v_row(0), stride, p, height);
}

// Forms the reflector v of column p and appends it to V, T and Y, whose new column is
// 2·(A·v - Y·z) with z = Vᴴv, and to Vᴴ·A.
template <class T>
void panel_reducer<T>::add_reflector(std::size_t p)
{
    T* const x = column(p);
    T* const v = v_row(p);
    T* const y = y_row(p);
    set_zero(v - margin, height + margin);
    set_zero(y, height);
    set_zero(factor_column(p), p + 1);
    aligned_vector<T> reflector = copy_of(x + p, height - p);
    if (is_zero_beyond_first(reflector)) {
        for (std::size_t block = 0; block < blocks().count(); ++block)
            set_zero(u_row(block, p), height);
        return;
    }
    x[p] = householder_in_place(reflector);
    set_zero(x + p + 1, height - p - 1);
    std::copy(reflector.begin(), reflector.end(), v + p);

    T* const dots = coefficients.data();
    multiply_trailing(p);
    row_dots(path, dots, v, v_row(0), stride, p, height);
    subtract_products_on(path, y, dots, y_row(0), stride, p, height);
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

// A·v and vᴴ·A for the rows from `first` on and the columns from the panel's column p on, or up to
// a line before it, where v is zero. Each block of rows has one writer. One thread goes through
// them to and fro, as L2 still holds those that it read last.
template <class T>
void panel_reducer<T>::multiply_trailing(std::size_t p)
{
    const std::size_t left = (first + p) / line_elements<T> * line_elements<T>;
    const std::size_t width = n - left;
    const T* const v = v_row(p);
    aligned_vector<T> adjoint = copy_of(v, height);
    conjugate_all(adjoint.data(), height);
    const bool backwards = p % 2 != 0 && allowed_threads() == 1;
    const auto multiply_block = [&](std::size_t index) {
        const std::size_t block = backwards ? blocks().count() - 1 - index : index;
        const std::size_t from = blocks().begin(block);
        const std::size_t to = blocks().begin(block + 1);
        T* const u = u_row(block, p) + left - first;
        set_zero(u, width);
        both_roles_on<T>(path, {.rows = &a(first + from, left),
                                .stride = a.stride,
                                .count = to - from,
                                .n = width,
                                .x = v + left - first,
                                .y = y_row(p) + from,
                                .w = adjoint.data() + from,
                                .u = u});
    };
    // The products of a panel follow one another while the workers poll, so that one of two
    // microseconds is worth a start.
    const std::size_t work = 4 * sizeof(T) / sizeof(double) * blocks().begin(1) * width;
    parallel_for(blocks().count(), work, multiply_block);
}

template class panel_reducer<double>;
template class panel_reducer<complex>;

} // namespace numerical::detail
