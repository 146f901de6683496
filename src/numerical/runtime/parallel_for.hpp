#pragma once

// The only ways into the thread pool. A loop with work for fewer than two workers, a nested loop
// and a loop in a forked child run on the calling thread; so neither function fails for want of
// the pool, and the results must not depend on how the indices are spread.
//
// `work_per_index` is the estimated cost of one index; one worker is warranted for each 65536
// units of work, about 20 to 40 microseconds. 0 means: stay on the calling thread.

#include "numerical/runtime/thread_pool.hpp"

#include <atomic>
#include <cstddef>
#include <optional>

namespace numerical::detail {

// The user's limit on the threads of a loop; 0 means none. Read anew by each loop.
std::atomic<std::size_t>& thread_cap();

// The threads that a loop may use now: hardware_threads(), or the cap if that is lower.
std::size_t allowed_threads();

// How to cut the loop for the pool; nothing if it should run serially.
std::optional<loop_split> split_loop(std::size_t count, std::size_t work_per_index);

// Hands the loop to the pool; false if there is no split or no pool to be had, and nothing was run.
bool run_in_pool(chunk_runner run, const void* context, const std::optional<loop_split>& split,
                 beside_runner beside, const void* beside_context);

// body(i) once for each i < count. An exception ends its chunk and is rethrown here.
template <class F>
void parallel_for(std::size_t count, std::size_t work_per_index, const F& body)
{
    const chunk_runner run = [](const void* context, std::size_t begin, std::size_t end) {
        const F& each = *static_cast<const F*>(context);
        for (std::size_t i = begin; i < end; ++i)
            each(i);
    };
    if (!run_in_pool(run, &body, split_loop(count, work_per_index), nullptr, nullptr))
        run(&body, 0, count);
}

// The same with beside() once on the calling thread, while the workers begin with body; on the
// serial way beside() runs first.
template <class F, class G>
void parallel_for_beside(std::size_t count, std::size_t work_per_index, const F& body,
                         const G& beside)
{
    const chunk_runner run = [](const void* context, std::size_t begin, std::size_t end) {
        const F& each = *static_cast<const F*>(context);
        for (std::size_t i = begin; i < end; ++i)
            each(i);
    };
    const beside_runner run_beside = [](const void* context) {
        (*static_cast<const G*>(context))();
    };
    if (run_in_pool(run, &body, split_loop(count, work_per_index), run_beside, &beside))
        return;
    beside();
    run(&body, 0, count);
}

} // namespace numerical::detail
