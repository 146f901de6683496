#pragma once

// The process's one pool of workers, one pinned to each physical core. It holds at most one job: a
// range of indices cut into chunks, which the caller and the workers take in turn. There is no
// queue: a caller that finds the pool busy, by nesting or by another thread, runs its loop itself.
//
// Ordering: `mutex` guards `job`; `generation` is raised under it and read without it by
// spinning workers; `busy` is the claim on the pool, and with it on the right to post a job. In a
// job `next_chunk` hands out chunks, and the sequentially consistent `done_chunks` publishes what
// they wrote, `errors` included, to the waiting caller.

#include "numerical/runtime/floating_control.hpp"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <sched.h>
#include <sys/types.h>
#include <vector>

namespace numerical::detail {

// Runs the indices [begin, end) of a loop.
using chunk_runner = void (*)(const void* context, std::size_t begin, std::size_t end);
using beside_runner = void (*)(const void* context);

// The index that means no core set.
constexpr std::size_t no_core_set = static_cast<std::size_t>(-1);

struct pool_job
{
    chunk_runner run;
    const void* context;
    std::size_t count;
    std::size_t chunk;        // indices in a chunk
    std::size_t chunks;       // slots; the last ones may be empty, as `chunk` is rounded up
    std::size_t helpers;      // workers that may join the caller
    std::size_t home_set;     // core set on which the caller runs
    floating_control control; // the caller's
    std::atomic<std::size_t> joined{0};
    std::atomic<std::size_t> next_chunk{0};
    std::atomic<std::size_t> done_chunks{0};
    std::mutex mutex; // pairs with `finished`
    std::condition_variable finished;
    std::vector<std::exception_ptr> errors; // by chunk slot, each written by the slot's one owner

    // Claims and runs chunks until none is left.
    void work() noexcept;

    // Waits until all chunks are done, polling at first, then sleeping.
    void wait_until_finished();

    // The exception of the lowest failed slot, null if none failed.
    std::exception_ptr first_error() const;
};

// How a loop is cut, and how many workers may join the caller.
struct loop_split
{
    std::size_t count;
    std::size_t chunk;
    std::size_t chunks;
    std::size_t helpers;
};

class thread_pool
{
public:
    // The process's pool, made at the first call and never destroyed: workers are detached and end
    // with the process. Null while another thread is making it, and permanently in a process that
    // was forked at that moment. std::system_error if a thread can't be started; the next
    // call tries again.
    static thread_pool* shared();

    // Posts the loop, takes part in it and waits. False means that nothing was run and the caller
    // must run the loop: the pool is busy, or the process is a fork without workers. `beside_run`,
    // if any, runs once on the calling thread while the workers begin. Rethrows the exception of
    // `beside_run`, otherwise that of the lowest failed chunk slot, after the loop has come to its
    // end.
    bool try_run(chunk_runner run, const void* context, const loop_split& split,
                 beside_runner beside_run, const void* beside_context);

private:
    std::mutex mutex; // guards `job`, the sleepers, and `generation` against lost wake-ups
    std::condition_variable wake;
    std::shared_ptr<pool_job> job;    // the last one posted
    std::size_t sleepers = 0;         // workers waiting for `wake`
    std::vector<char> sleeper_on_set; // for each core set, whether its worker is waiting
    std::atomic<std::uint64_t> generation{0};
    std::atomic<bool> busy{false};
    std::size_t worker_count = 0;
    std::vector<long> set_of_cpu; // core set of each CPU, -1 for none; read-only after start
    pid_t owner_pid = 0;

    void start();
    void start_worker(std::size_t id, const std::vector<cpu_set_t>& sets);
    std::shared_ptr<pool_job> post(chunk_runner run, const void* context, const loop_split& split);
    std::size_t current_core_set() const;
    [[noreturn]] void serve(std::size_t id);
    void sleep_until_posted(std::unique_lock<std::mutex>& lock, std::size_t id, std::uint64_t seen);
    bool sleeps_elsewhere(std::size_t home_set) const;
    void spin_for_job(std::uint64_t seen) const;
};

} // namespace numerical::detail
