#pragma once

// Cholesky factorization by rows of L. For the kernels' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

// Every product and every difference rounded, in the order of the columns.
template <class number>
number less_dot(number sum, tile<number> l, std::size_t i, std::size_t j)
{
    for (std::size_t t = 0; t < j; ++t)
        sum = rounded::less(sum, l(j, t).conjugated(), l(i, t));
    return sum;
}

template <class number>
void factor_column(tile<number> a, std::size_t n, std::size_t j, suspicion& suspects)
{
    const vector pivot = less_dot(a(j, j), a, j, j).re;
    suspects.add(lanes::at_least(lanes::all(0), pivot));
    number diagonal = number::all(0);
    diagonal.re = lanes::root(pivot);
    suspects.add(diagonal.has_nan());
    a.set(j, j, diagonal);
    const divisor_of<number> divisor(diagonal);
    suspects.add(divisor.is_unsafe());
    for (std::size_t i = j + 1; i < n; ++i) {
        const number element = divisor.divide(less_dot(a(i, j), a, i, j), suspects);
        suspects.add(element.has_nan());
        a.set(i, j, element);
        a.set(j, i, number::all(0));
    }
}

template <class number>
unsigned cholesky_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t n = operands.rows;
    const std::size_t count = n * n * number::doubles;
    interleave(operands.a, count, operands.scratch);
    suspects.add(not_finite<number>(operands.scratch, n * n));
    const tile<number> a{operands.scratch, n};
    for (std::size_t j = 0; j < n; ++j)
        factor_column(a, n, j, suspects);
    separate(a.first, count, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
