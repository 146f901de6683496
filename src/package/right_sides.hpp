#pragma once

// Right-hand sides of systems with a matrix or a stack of them: a vector, used for every matrix, or
// matrices with one right-hand side in each column, whose leading axes broadcast with those of the
// systems.

#include "package/matrices.hpp"

#include <cstddef>

namespace numerical::package {

// `lead` of the whole stack, and one matrix of rows × cols for each place.
struct right_sides
{
    shape_list own;
    shape_list lead;
    std::size_t rows;
    std::size_t cols;
    bool vectors;

    std::size_t count() const { return detail::element_count(lead); }
};

// ValueError "solve takes right-hand sides of rank 1 and more, not a number", or one for leading
// axes that don't broadcast.
right_sides right_sides_of(const shape_list& lead, const shape_list& b, const char* function);

// A tensor for solutions of `rows` unknowns.
template <class T>
tensor<T> unset_solutions(const right_sides& sides, std::size_t rows)
{
    return sides.vectors ? unset_stack<T>(sides.lead, {rows})
                         : unset_stack<T>(sides.lead, {rows, sides.cols});
}

} // namespace numerical::package
