#pragma once

// Computations in progress. The loops of one are often some hundred microseconds apart, where a
// panel is factorized or an iteration runs on one thread, and between loops that close a worker
// should poll: to wake one from its sleep takes 10 to 15 microseconds of the caller's time, and the
// worker comes 25 to 80 microseconds later (measured on a virtual machine). Between computations
// the processors are left to others soon.

#include <atomic>
#include <cstddef>

namespace numerical::detail {

// On a cache line of its own: workers that poll read it.
struct alignas(64) computation_count
{
    std::atomic<std::size_t> value{0};
};

// Of all threads. A forked child keeps what its parent counted; its workers then poll longer.
inline constinit computation_count computations_in_progress;

inline bool computes()
{
    return computations_in_progress.value.load(std::memory_order_relaxed) != 0;
}

// Counts as a computation for its lifetime.
class computation_scope
{
public:
    computation_scope() { computations_in_progress.value.fetch_add(1, std::memory_order_relaxed); }

    computation_scope(const computation_scope&) = delete;
    computation_scope& operator=(const computation_scope&) = delete;

    ~computation_scope() { computations_in_progress.value.fetch_sub(1, std::memory_order_relaxed); }
};

} // namespace numerical::detail
