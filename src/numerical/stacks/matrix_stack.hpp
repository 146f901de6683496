#pragma once

// Stacks of matrices as the functions of stacks.hpp read them: nothing is copied where an operand
// is repeated along leading axes, since each place of the stack only names where its matrix begins.

#include "numerical/matrix.hpp"
#include "numerical/shape_list.hpp"
#include "numerical/strided/block_view.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

// Dense row-major rows × cols matrices, borrowed. The matrix of place i begins at
// first + offsets[i], or without offsets at first + i·step; a step of 0 repeats one matrix. Places
// may share elements.
template <class T>
struct matrix_stack
{
    const T* first;
    std::size_t rows;
    std::size_t cols;
    std::size_t step;
    const std::size_t* offsets = nullptr;

    const T* at(std::size_t i) const
    {
        return first + (offsets != nullptr ? offsets[i] : i * step);
    }

    detail::block_view<const T> view_of(std::size_t i) const { return {at(i), rows, cols}; }

    matrix<T> copy_of(std::size_t i) const
    {
        return {rows, cols, detail::copy_on_threads(at(i), rows * cols)};
    }
};

// Where an operand's matrices begin for the places of a broadcast stack.
struct stack_places
{
    std::size_t step;                 // from one place to the next
    std::vector<std::size_t> offsets; // where that doesn't do, of each place; else empty

    // An operand of the leading axes `own` in a stack of the leading axes `stack`, to which `own`
    // broadcasts; its matrices have `elements` each.
    stack_places(const shape_list& own, const shape_list& stack, std::size_t elements);

    // `places` must outlive the stack.
    template <class T>
    matrix_stack<T> operator()(const T* first, std::size_t rows, std::size_t cols) const
    {
        return {.first = first,
                .rows = rows,
                .cols = cols,
                .step = step,
                .offsets = offsets.empty() ? nullptr : offsets.data()};
    }
};

} // namespace numerical
