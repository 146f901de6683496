#pragma once

// The order in which sweeps chase bulges down a band, pipelined over the pool (Bischof, Lang and
// Sun 2000). Step k of a sweep may begin when the sweep before it has done step k + 2, and touches
// nothing that this one touches from step k + 3 on. So sweeps form groups, each sweep
// two steps behind the one before, and a group proceeds by segments of steps: a tile of some sweeps
// on one segment of the band stays in L1 and L2. A group is the work of one thread, which takes
// segment t once the group before has done segment t + 1: groups in progress are two segments
// apart and touch different parts.
//
// Whatever the number of threads, an element goes through the same steps in the same order.

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <sched.h>
#include <vector>

namespace numerical::detail {

constexpr std::size_t sweeps_of_group = 2;
constexpr std::size_t steps_of_stretch = 2 * sweeps_of_group;

// Groups that follow one another down the band. Threads take them in order, so that the group which
// a thread waits for is in the hands of another one or done.
class sweep_groups
{
public:
    explicit sweep_groups(std::size_t count) : stretches_done(count) {}

    // run(stretch) for each stretch of a group, when the group before has gone far enough.
    template <class F>
    void run(std::size_t group, std::size_t stretches, const F& run_stretch)
    {
        const done_at_exit whole{stretches_done[group]};
        for (std::size_t t = 0; t < stretches; ++t) {
            if (group != 0)
                wait_for(stretches_done[group - 1], t + 2);
            run_stretch(t);
            stretches_done[group].store(t + 1, std::memory_order_release);
        }
    }

private:
    static constexpr std::size_t all = static_cast<std::size_t>(-1);

    // The group's last word, also if it ends by an exception: no other waits for it in vain.
    struct done_at_exit
    {
        std::atomic<std::size_t>& done;

        ~done_at_exit() { done.store(all, std::memory_order_release); }
    };

    // What the group has written before it raised the count is seen afterwards.
    static void wait_for(const std::atomic<std::size_t>& done, std::size_t stretches)
    {
        while (done.load(std::memory_order_acquire) < stretches)
            sched_yield();
    }

    std::vector<std::atomic<std::size_t>> stretches_done; // of each group
};

// step(workspace, s, k) for all s < sweeps and k < steps_of(s), which must not grow with s. Each
// thread makes a Workspace.
template <class Workspace, class Steps, class Step>
void run_sweeps(std::size_t sweeps, const Steps& steps_of, std::size_t work_per_step,
                const Step& step)
{
    const auto run_tile = [&](Workspace& workspace, std::size_t first, std::size_t stretch) {
        const std::size_t last = std::min(first + sweeps_of_group, sweeps);
        for (std::size_t s = first; s < last; ++s) {
            const std::size_t behind = 2 * (s - first);
            const std::size_t from = stretch * steps_of_stretch;
            const std::size_t to = std::min(from + steps_of_stretch, steps_of(s) + behind);
            for (std::size_t k = std::max(from, behind); k < to; ++k)
                step(workspace, s, k - behind);
        }
    };
    const auto stretches_of = [&](std::size_t first) {
        return ceil_div(steps_of(first) + 2 * (sweeps_of_group - 1), steps_of_stretch);
    };

    // In rounds of groups, between which a call can be interrupted.
    constexpr std::size_t work_of_round = std::size_t{1} << 25;
    for (std::size_t from = 0; from < sweeps;) {
        const std::size_t stretches = stretches_of(from);
        const std::size_t work = work_per_step * steps_of_stretch * sweeps_of_group * stretches;
        const std::size_t most = work_of_round / std::max<std::size_t>(work, 1) + 1;
        const std::size_t groups = std::min(most, ceil_div(sweeps - from, sweeps_of_group));
        sweep_groups pipeline(groups);
        std::atomic<std::size_t> next{0};
        const auto run_groups = [&](std::size_t) {
            Workspace workspace;
            for (std::size_t g = next++; g < groups; g = next++) {
                const std::size_t first = from + g * sweeps_of_group;
                pipeline.run(g, stretches_of(first),
                             [&](std::size_t t) { run_tile(workspace, first, t); });
            }
        };
        const std::size_t at_once = std::min((stretches + 1) / 2, groups);
        parallel_for(at_once, work * groups / at_once, run_groups);
        from += groups * sweeps_of_group;
    }
}

} // namespace numerical::detail
