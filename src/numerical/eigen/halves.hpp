#pragma once

// The two halves of a problem of divide and conquer, one after the other or side by side. They are
// independent and take equal time, so that two threads solve them with no more than one loop
// between them, while the loops within a small problem are too short for the pool. What runs on a
// thread of the pool has no loops of its own there, so with more threads only small problems go
// side by side.

#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <cstddef>

namespace numerical::detail {

// Up to this order, on two threads and on more. A pair must not take long: a call can't be
// interrupted meanwhile.
constexpr std::size_t paired_order_on_two_threads = 2048;
constexpr std::size_t paired_order = 512;

// Of a half of a problem of order n, on the scale of parallel_for. About 100 microseconds from
// order 100 on.
constexpr std::size_t work_of_half(std::size_t n)
{
    return n * n * 8;
}

inline bool halves_go_side_by_side(std::size_t n)
{
    const bool two = allowed_threads() == 2;
    return n <= (two ? paired_order_on_two_threads : paired_order) &&
           split_loop(2, work_of_half(n)).has_value();
}

// upper(workspace) and lower(workspace), in this order or at the same time, for a problem of order
// n. Side by side the lower half has a workspace of its own.
template <class Workspace, class Upper, class Lower>
void solve_both_halves(std::size_t n, Workspace& workspace, const Upper& upper, const Lower& lower)
{
    if (!halves_go_side_by_side(n)) {
        upper(workspace);
        lower(workspace);
        return;
    }
    Workspace of_lower;
    parallel_for(2, work_of_half(n),
                 [&](std::size_t half) { half == 0 ? upper(workspace) : lower(of_lower); });
}

} // namespace numerical::detail
