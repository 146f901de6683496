#pragma once

// Products of small matrices, the sum over the inner positions in ascending order from zero. For
// the kernels' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

template <class rounding, class number>
unsigned multiply_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t rows = operands.rows;
    const std::size_t cols = operands.cols;
    const std::size_t depth = operands.depth;
    const tile<number> a{operands.scratch, depth};
    const tile<number> b{a.at(rows, 0), cols};
    const tile<number> c{b.at(depth, 0), cols};
    interleave(operands.a, rows * depth * number::doubles, a.first);
    interleave(operands.b, depth * cols * number::doubles, b.first);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j) {
            number sum = number::all(0);
            for (std::size_t k = 0; k < depth; ++k)
                sum = rounding::more(sum, a(i, k), b(k, j));
            suspects.add(sum.has_nan());
            c.set(i, j, sum);
        }
    separate(c.first, rows * cols * number::doubles, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
