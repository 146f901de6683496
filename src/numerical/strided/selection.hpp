#pragma once

// Elements of a tensor selected by arrays of positions, which indexing by lists, arrays and masks
// is reduced to, for reading and for a changed copy. Ranges alone are handled by take.hpp.
//
// The result is produced in row-major order by loops, one for each axis that a range selects and
// one for all axes of the broadcast arrays of positions together. The element at i, j, ... lies
//
//     origin + place(i) + place(j) + ...
//
// elements from the first of the source, where place(i) is i·stride for a range and table[i] for
// the arrays.

#include "numerical/aligned_vector.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>
#include <vector>

namespace numerical {

struct selection_loop
{
    std::size_t count;
    std::ptrdiff_t stride; // unused by the loop that reads the table
    bool by_table;         // at most one loop of a selection
};

struct selection
{
    shape_list shape; // of the result
    std::ptrdiff_t origin = 0;
    std::vector<selection_loop> loops;    // the last one runs fastest
    aligned_vector<std::ptrdiff_t> table; // offsets of the elements that the arrays name
    std::size_t table_axis = 0;           // first axis of the result that the arrays make
    std::size_t table_rank = 0;           // and how many they make
};

// The selected elements. Every one must lie in the tensor.
template <class T>
tensor<T> gather(const tensor<T>& a, const selection& from);

enum class counted { from_front, from_either_end };

// The elements of `a` at positions along an axis; in the shape of the result that axis is replaced
// by the shape of the positions. Positions lie in [-extent, extent), negative ones counting from
// the end; in [0, extent) if all are counted from the front.
template <class T>
tensor<T> gather_along(const tensor<T>& a, std::size_t axis, const positions& places, counted from);

// Elements along an axis, by separate places for each run. The shape of the places, which equals
// that of `a` except for the axis, is that of the result. Places as above.
template <class T>
tensor<T> gather_each_along(const tensor<T>& a, std::size_t axis, const positions& places);

// The elements where the mask, of the same shape, is true, in row-major order; `count` of them.
template <class T>
tensor<T> gather_masked(const tensor<T>& a, const booleans& mask, std::size_t count);

enum class update_operation { set, add, multiply, minimum, maximum };

// A copy of `a` in which each selected element is replaced by `operation` of itself and its value.
// The values broadcast to the selection's shape: dimension_error "values of shape (2,) cannot be
// broadcast to the selected shape (3,)". A place that is selected several times receives its values
// in row-major order: `set` keeps the last one, sums and products accumulate all. Minimum and
// maximum give NaN where either side is NaN.
template <class T>
tensor<T> updated(const tensor<T>& a, const selection& at, update_operation operation,
                  const tensor<T>& values);

} // namespace numerical
