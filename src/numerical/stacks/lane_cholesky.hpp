#pragma once

// Cholesky factorization, of real matrices in up to two blocks, of complex ones in one. For the
// kernels' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

constexpr std::size_t cholesky_block = 16;

template <class rounding, class number>
number less_products(number sum, tile<number> l, std::size_t i, std::size_t j, std::size_t from,
                     std::size_t to)
{
    for (std::size_t t = from; t < to; ++t)
        sum = rounding::less(sum, l(j, t).conjugated(), l(i, t));
    return sum;
}

// The sum of element (i, j) over the columns before j. Within a diagonal block every product and
// every difference is rounded; the rows below the first block are a substitution, fused; and what
// both take from the second diagonal block is a product of its own.
template <class trailing, class number>
number less_dot(number sum, tile<number> l, std::size_t i, std::size_t j)
{
    if (i < cholesky_block)
        return less_products<rounded>(sum, l, i, j, 0, j);
    if (j < cholesky_block)
        return less_products<fused>(sum, l, i, j, 0, j);
    sum = less_products<trailing>(sum, l, i, j, 0, cholesky_block);
    return less_products<rounded>(sum, l, i, j, cholesky_block, j);
}

template <class trailing, class number>
void factor_column(tile<number> a, std::size_t n, std::size_t j, suspicion& suspects)
{
    const vector pivot = less_dot<trailing>(a(j, j), a, j, j).re;
    suspects.add(lanes::at_least(lanes::all(0), pivot));
    number diagonal = number::all(0);
    diagonal.re = lanes::root(pivot);
    suspects.add(diagonal.has_nan());
    a.set(j, j, diagonal);
    const divisor_of<number> divisor(diagonal);
    suspects.add(divisor.is_unsafe());
    for (std::size_t i = j + 1; i < n; ++i) {
        const number element = divisor.divide(less_dot<trailing>(a(i, j), a, i, j), suspects);
        suspects.add(element.has_nan());
        a.set(i, j, element);
        a.set(j, i, number::all(0));
    }
}

template <class trailing, class number>
unsigned cholesky_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t n = operands.rows;
    const std::size_t count = n * n * number::doubles;
    interleave(operands.a, count, operands.scratch);
    suspects.add(not_finite<number>(operands.scratch, n * n));
    const tile<number> a{operands.scratch, n};
    for (std::size_t j = 0; j < n; ++j)
        factor_column<trailing>(a, n, j, suspects);
    separate(a.first, count, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
