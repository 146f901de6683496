#pragma once

// The only entries to the thread pool. A loop with work for fewer than two workers, a nested loop
// and a loop in a forked child run on the calling thread. Neither function therefore fails for lack
// of a pool, and results must not depend on how the indices are distributed.
//
// `work_per_index` is the estimated cost of one index; one worker is warranted for each 65536
// units of work, about 20 to 40 microseconds. 0 keeps the loop on the calling thread.
//
// If the caller can be interrupted, interruption is checked before the loop and, in a long loop,
// between rounds of indices.

#include "numerical/runtime/interruption.hpp"
#include "numerical/runtime/thread_pool.hpp"

#include <atomic>
#include <cstddef>
#include <optional>

namespace numerical::detail {

// The user's limit on the threads of a loop; 0 means none. Each loop reads it.
std::atomic<std::size_t>& thread_cap();

// The threads that a loop may use now: hardware_threads(), or the lowest of the cap and the limits
// of scopes of loops_on_few if that is lower.
std::size_t allowed_threads();

// Whether a loop of a microsecond or two is worth its start, by how long one lately took
// (loop_gauge.hpp). It may change from one call to the next, so only the number of threads may
// depend on it.
bool short_loops_pay();

// While it lives, the loops of the calling thread take at most this many threads, 1 being the
// thread itself; 0 sets no limit. For whole computations whose loops are so short that to start
// them on more, and to move their data between cores, costs more than the others save.
class loops_on_few
{
public:
    explicit loops_on_few(std::size_t most);
    loops_on_few(const loops_on_few&) = delete;
    loops_on_few& operator=(const loops_on_few&) = delete;
    ~loops_on_few();

private:
    std::size_t outer;
};

// How to cut the loop for the pool; nothing if it should run serially. A call beside the loop
// occupies the calling thread, so that even a single index is worth the start of a helper.
std::optional<loop_split> split_loop(std::size_t count, std::size_t work_per_index);
std::optional<loop_split> split_loop_beside(std::size_t count, std::size_t work_per_index);

// Runs the loop in the pool; false, with nothing run, if there is no split or no pool available.
bool run_in_pool(chunk_runner run, const void* context, const std::optional<loop_split>& split,
                 beside_runner beside_run, const void* beside_context);

// The loop on the pool, or else on the calling thread, in rounds between which interruption is
// checked.
void run_in_rounds(chunk_runner run, const void* context, std::size_t count,
                   std::size_t work_per_index);

// body(i) once for each i < count. An exception ends its chunk and is rethrown here.
template <class F>
void parallel_for(std::size_t count, std::size_t work_per_index, const F& body)
{
    const chunk_runner run = [](const void* context, std::size_t begin, std::size_t end) {
        const F& each = *static_cast<const F*>(context);
        for (std::size_t i = begin; i < end; ++i)
            each(i);
    };
    if (may_be_interrupted())
        run_in_rounds(run, &body, count, work_per_index);
    else if (!run_in_pool(run, &body, split_loop(count, work_per_index), nullptr, nullptr))
        run(&body, 0, count);
}

// The same, and beside() once on the calling thread while the workers begin with body; in a serial
// loop beside() runs first.
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
    check_for_interruption();
    if (run_in_pool(run, &body, split_loop_beside(count, work_per_index), run_beside, &beside))
        return;
    beside();
    if (may_be_interrupted())
        run_in_rounds(run, &body, count, work_per_index);
    else
        run(&body, 0, count);
}

} // namespace numerical::detail
