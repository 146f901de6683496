#pragma once

// Element-wise work on two tensors of different shapes. Shapes are aligned at their last axes; a
// missing axis counts as extent 1, and an axis of extent 1 is repeated along the other operand's.

#include "numerical/aligned_vector.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/axes.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>
#include <utility>

namespace numerical {

// The shape of the result; dimension_error "operands could not be broadcast together with shapes
// (2, 3) (4,)".
shape_list broadcast_shape(const shape_list& a, const shape_list& b);

namespace detail {

// The stride of an operand, in elements, for each axis of a result of that rank: 0 along the axes
// where it is repeated.
shape_list broadcast_strides(const shape_list& shape, std::size_t rank);

// Which operand moves along a row of the result; the other contributes one element to the whole
// row.
enum class row_form { both, left, right };

// The loops over a broadcast result, row by row. Axes of extent 1 are left out, and adjacent axes
// that are contiguous in both operands are joined, so that rows are as long as possible and no row
// of more than one element repeats both operands.
struct broadcast_walk
{
    shape_list shape;
    std::size_t count;                // elements of the result
    short_list<strided_axis<2>> axes; // strides of the left operand and the right one; at least one

    broadcast_walk(const shape_list& a, const shape_list& b);

    std::size_t row_length() const { return axes.back().extent; }

    row_form form() const;

    // Calls row(left, right, out) with the offsets of the first elements of each row, in the order
    // of the result.
    template <class Row>
    void each_row(const Row& row) const;
};

template <class Row>
void broadcast_walk::each_row(const Row& row) const
{
    if (count == 0)
        return;
    std::size_t out = 0;
    for_each_position<2>(axes.span().first(axes.size() - 1), {}, [&](const offsets<2>& at) {
        row(at[0], at[1], out);
        out += row_length();
    });
}

// Whether b is a single number to be repeated along a, so that the result has the shape of a.
template <class T, class U>
bool is_number_to(const tensor<T>& a, const tensor<U>& b)
{
    return b.data.size() == 1 && b.shape.size() <= a.shape.size();
}

// The result of row(form, a, b, out, n), which writes n elements from operands that move by `form`.
// Like shapes and a number on one side, which is what most operands are, are a single row.
template <class Out, class T, class U, class Row>
tensor<Out> broadcast_rows(const tensor<T>& a, const tensor<U>& b, Row row)
{
    const auto single_row = [&](row_form form, const auto& like) {
        aligned_vector<Out> data = uninitialized<Out>(like.data.size());
        row(form, a.data.data(), b.data.data(), data.data(), data.size());
        return tensor<Out>(like.shape, std::move(data));
    };
    if (is_number_to(a, b))
        return single_row(row_form::left, a);
    if (is_number_to(b, a))
        return single_row(row_form::right, b);
    if (a.shape == b.shape)
        return single_row(row_form::both, a);
    broadcast_walk walk(a.shape, b.shape);
    aligned_vector<Out> data = uninitialized<Out>(walk.count);
    const row_form form = walk.form();
    walk.each_row([&](std::size_t left, std::size_t right, std::size_t out) {
        row(form, a.data.data() + left, b.data.data() + right, data.data() + out,
            walk.row_length());
    });
    return tensor<Out>(std::move(walk.shape), std::move(data));
}

} // namespace detail

// f(x, y) for every pair of elements that broadcasting brings together.
template <class T, class F>
tensor<T> broadcast_apply(const tensor<T>& a, const tensor<T>& b, F f)
{
    using detail::row_form;
    return detail::broadcast_rows<T>(
        a, b, [&f](row_form form, const T* x, const T* y, T* out, std::size_t n) {
            const std::size_t step_x = form == row_form::right ? 0 : 1;
            const std::size_t step_y = form == row_form::left ? 0 : 1;
            for (std::size_t j = 0; j < n; ++j)
                out[j] = f(x[j * step_x], y[j * step_y]);
        });
}

// pow of the C library for every pair of elements, cpow for complex ones.
template <class T>
tensor<T> pow(const tensor<T>& a, const tensor<T>& b);

} // namespace numerical
