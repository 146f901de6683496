#pragma once

// The job of the pool: a range of indices cut into chunks, which the caller and the workers take in
// turn. One object serves all loops, one after the other, and a loop that finds the workers polling
// costs little more than the passing of two cache lines between the cores.
//
// The caller takes chunks from the front of the range and the workers from its back, so that the
// same thread mostly gets the same columns in loops that follow one another, and has them in its
// cache.
//
// All claims are compare-and-swaps of one word, the ticket, which holds the number of the job, the
// seats left for workers and the range of chunks left. Who claims a chunk keeps the job open until
// the chunk is reported as done. So what describes the job may be read after a claim and not
// before: it is written while no chunk is out, and published by the ticket.

#include "numerical/runtime/floating_control.hpp"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <vector>

namespace numerical::detail {

// Runs the indices [begin, end) of a loop.
using chunk_runner = void (*)(const void* context, std::size_t begin, std::size_t end);

// The index that means no core set.
constexpr std::size_t no_core_set = static_cast<std::size_t>(-1);

// How a loop is cut, and how many workers may join the caller.
struct loop_split
{
    std::size_t count;
    std::size_t chunk;  // indices in a chunk
    std::size_t chunks; // slots; the last ones may be empty, as `chunk` is rounded up
    std::size_t helpers;
};

// What a ticket has room for.
constexpr std::size_t most_chunks = (std::size_t{1} << 14) - 1;
constexpr std::size_t most_helpers = (std::size_t{1} << 12) - 1;

class pool_job
{
public:
    // Opens the job with the loop, of most_chunks and most_helpers at most. The caller of this
    // function, who alone may call the next two for this job, runs on the core set `home_set`.
    void post(chunk_runner run, const void* context, const loop_split& split, std::size_t home_set);

    // Claims and runs chunks until none is left.
    void work_as_caller() noexcept;

    // Waits until all chunks are done, polling at first, then sleeping. The exception of the lowest
    // failed slot, null if none failed.
    std::exception_ptr wait_until_finished();

    // Whether workers ran chunks of the job, after its end.
    bool had_help() const { return done_by_caller != chunks; }

    // The number of the last job posted.
    std::uint32_t number() const { return number_of(ticket.load()); }

    // The core set on which the caller of that job runs.
    std::size_t home_set() const { return home.load(std::memory_order_relaxed); }

    // Takes part in the job of this number if it has a seat and a chunk left.
    void work_as_helper(std::uint32_t wanted) noexcept;

private:
    // from the highest bits down: 24 of the number, 12 of the seats left, 14 of the first chunk
    // left and 14 of the last one's successor
    alignas(64) std::atomic<std::uint64_t> ticket{0};
    std::atomic<std::size_t> home{no_core_set};
    chunk_runner run = nullptr;
    const void* context = nullptr;
    std::size_t count = 0;
    std::size_t chunk = 0;
    std::size_t chunks = 0;
    floating_control control{}; // the caller's

    // Written by those who have run a chunk, on another cache line than the claims.
    alignas(64) std::atomic<std::size_t> done_by_helpers{0};
    std::atomic<bool> caller_sleeps{false};
    std::atomic<bool> failed{false};

    alignas(64) std::size_t done_by_caller = 0;
    std::vector<std::exception_ptr> errors; // by slot, each written by the slot's one owner
    std::mutex mutex;                       // pairs with `finished`
    std::condition_variable finished;

    static constexpr std::uint64_t one_at_back = 1;
    static constexpr std::uint64_t one_in_front = std::uint64_t{1} << 14;
    static constexpr std::uint64_t one_seat = std::uint64_t{1} << 28;
    static constexpr std::uint64_t one_number = std::uint64_t{1} << 40;

    static std::size_t back(std::uint64_t of) { return of % one_in_front; }

    static std::size_t front(std::uint64_t of) { return of % one_seat / one_in_front; }

    static bool has_chunk(std::uint64_t of) { return front(of) != back(of); }

    static bool has_seat(std::uint64_t of) { return of % one_number >= one_seat; }

    static std::uint32_t number_of(std::uint64_t of)
    {
        return static_cast<std::uint32_t>(of / one_number);
    }

    void run_chunk(std::size_t slot) noexcept;
};

} // namespace numerical::detail
