#include "numerical/runtime/parallel_for.hpp"

#include "numerical/runtime/topology.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t work_per_worker = 65536;
constexpr std::size_t chunks_per_worker = 4;

// With a call beside the loop the caller joins late; the remaining indices are shared more evenly
// in small chunks.
constexpr std::size_t chunks_per_worker_beside = 8;

// So many that a ticket of the pool can count them and their chunks.
constexpr std::size_t most_workers = 2047;
static_assert(most_workers <= most_helpers + 1);
static_assert(most_workers * std::max(chunks_per_worker, chunks_per_worker_beside) <= most_chunks);

// The work of one thread in a round: some 30 milliseconds.
constexpr std::size_t round_work = std::size_t{1} << 26;

// The thread's limit in a scope of loops_on_few; 0 means none.
constinit thread_local std::size_t most_in_scope = 0;

// The lower one of two limits.
std::size_t both_limits(std::size_t a, std::size_t b)
{
    return a == 0 || (b != 0 && b < a) ? b : a;
}

// The indices from `first` on of another loop.
struct later_indices
{
    chunk_runner run;
    const void* context;
    std::size_t first;
};

void run_later(const void* context, std::size_t begin, std::size_t end)
{
    const auto& later = *static_cast<const later_indices*>(context);
    later.run(later.context, later.first + begin, later.first + end);
}

// The workers that the loop's total work warrants; a product beyond 64 bits saturates.
std::size_t workers_by_work(std::size_t count, std::size_t work_per_index)
{
    std::size_t work = 0;
    if (__builtin_mul_overflow(count, work_per_index, &work))
        return (std::size_t{1} << 48) - 1;
    return work / work_per_worker;
}

// `tasks` can run at the same time.
std::optional<loop_split> split_for(std::size_t tasks, std::size_t per_worker, std::size_t count,
                                    std::size_t work_per_index)
{
    const std::size_t by_work = workers_by_work(count, work_per_index);
    if (by_work < 2) // small loops need not wait for the topology to be read
        return std::nullopt;
    const std::size_t threads = std::max<std::size_t>(allowed_threads(), 1);
    const std::size_t workers = std::min({threads, tasks, by_work, most_workers});
    if (workers < 2)
        return std::nullopt;
    const std::size_t chunks = std::min(per_worker * workers, count);
    const std::size_t chunk = count / chunks + (count % chunks != 0 ? 1 : 0);
    return loop_split{.count = count, .chunk = chunk, .chunks = chunks, .helpers = workers - 1};
}

} // namespace

std::atomic<std::size_t>& thread_cap()
{
    static constinit std::atomic<std::size_t> cap{0};
    return cap;
}

std::size_t allowed_threads()
{
    if (most_in_scope == 1)
        return 1;
    return both_limits(hardware_threads(), both_limits(thread_cap(), most_in_scope));
}

bool short_loops_pay()
{
    return thread_pool::gauge().short_loops_pay();
}

loops_on_few::loops_on_few(std::size_t most)
    : outer(std::exchange(most_in_scope, both_limits(most_in_scope, most)))
{
}

loops_on_few::~loops_on_few()
{
    most_in_scope = outer;
}

std::optional<loop_split> split_loop(std::size_t count, std::size_t work_per_index)
{
    return split_for(count, chunks_per_worker, count, work_per_index);
}

std::optional<loop_split> split_loop_beside(std::size_t count, std::size_t work_per_index)
{
    return split_for(count + 1, chunks_per_worker_beside, count, work_per_index);
}

bool run_in_pool(chunk_runner run, const void* context, const std::optional<loop_split>& split,
                 beside_runner beside_run, const void* beside_context)
{
    if (!split)
        return false;
    const interruption_pause paused; // a check may fork, or run a loop itself
    thread_pool* const pool = thread_pool::shared();
    return pool != nullptr && pool->try_run(run, context, *split, beside_run, beside_context);
}

void run_in_rounds(chunk_runner run, const void* context, std::size_t count,
                   std::size_t work_per_index)
{
    // Loops that stay on the calling thread contain others, which check by themselves.
    const bool is_short = work_per_index == 0 || count <= round_work / work_per_index;
    const std::size_t most =
        is_short ? count
                 : std::max<std::size_t>(round_work / work_per_index, 1) * allowed_threads();
    std::size_t first = 0;
    do {
        check_for_interruption();
        const std::size_t now = std::min(most, count - first);
        const later_indices later{run, context, first};
        if (!run_in_pool(run_later, &later, split_loop(now, work_per_index), nullptr, nullptr))
            run(context, first, first + now);
        first += now;
    } while (first < count);
}

} // namespace numerical::detail
