#pragma once

// The order in which sweeps chase bulges down a band, pipelined over the pool (Bischof, Lang and
// Sun 2000). Step k of a sweep may begin when the sweep before it has done step k + 2, and touches
// nothing that this one touches from step k + 3 on. So sweeps form groups, each sweep
// two steps behind the one before, and a group proceeds by segments of steps: a tile of some sweeps
// on one segment of the band stays in L1 and L2. Groups start two waves apart, so that those active
// in one wave touch different parts.
//
//     segment    0  1  2  3  4 ...        the wave in which it is computed
//     group 0    0  1  2  3  4
//     group 1    2  3  4  5  6
//     group 2    4  5  6  7  8
//
// Whatever the number of threads, an element goes through the same steps in the same order.

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t sweeps_of_group = 4;
constexpr std::size_t steps_of_stretch = 2 * sweeps_of_group;

// step(workspace, s, k) for all s < sweeps and k < steps_of(s), which must not grow with s. Each
// tile makes a Workspace.
template <class Workspace, class Steps, class Step>
void run_sweeps(std::size_t sweeps, const Steps& steps_of, std::size_t work_per_step,
                const Step& step)
{
    if (sweeps == 0)
        return;
    const auto run_tile = [&](std::size_t group, std::size_t stretch) {
        Workspace workspace;
        const std::size_t first = group * sweeps_of_group;
        const std::size_t last = std::min(first + sweeps_of_group, sweeps);
        for (std::size_t s = first; s < last; ++s) {
            const std::size_t behind = 2 * (s - first);
            const std::size_t from = stretch * steps_of_stretch;
            const std::size_t to = std::min(from + steps_of_stretch, steps_of(s) + behind);
            for (std::size_t k = std::max(from, behind); k < to; ++k)
                step(workspace, s, k - behind);
        }
    };
    const std::size_t groups = ceil_div(sweeps, sweeps_of_group);
    const std::size_t steps = steps_of(0) + 2 * (sweeps_of_group - 1);
    const std::size_t stretches = ceil_div(steps, steps_of_stretch);
    for (std::size_t wave = 0; wave < stretches + 2 * (groups - 1); ++wave) {
        const std::size_t first = wave < stretches ? 0 : (wave - stretches) / 2 + 1;
        const std::size_t last = std::min(wave / 2 + 1, groups);
        const auto run_group = [&](std::size_t i) { run_tile(first + i, wave - 2 * (first + i)); };
        parallel_for(last - first, work_per_step * sweeps_of_group * steps_of_stretch, run_group);
    }
}

} // namespace numerical::detail
