#pragma once

// Long sums by halves: runs of some length are summed as the kernels do it, and the runs' sums are
// added in a tree. The rounding error grows with the length of a run and the logarithm of their
// number instead of with the whole length (Higham 1993), and the order depends on the
// length alone.

#include "numerical/counts.hpp"

#include <cstddef>

namespace numerical::detail {

// Where a sum of n > run terms is halved: behind whole runs.
constexpr std::size_t first_half(std::size_t n, std::size_t run)
{
    return ceil_div(n, run) / 2 * run;
}

// sum_of(from, to) is the sum of at most `run` terms.
template <class F>
auto sum_by_halves(std::size_t from, std::size_t to, std::size_t run, const F& sum_of)
    -> decltype(sum_of(from, to))
{
    if (to - from <= run)
        return sum_of(from, to);
    const std::size_t middle = from + first_half(to - from, run);
    return sum_by_halves(from, middle, run, sum_of) + sum_by_halves(middle, to, run, sum_of);
}

} // namespace numerical::detail
