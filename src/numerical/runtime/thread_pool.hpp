#pragma once

// The process's one pool of workers, one pinned to each physical core. It holds at most one job: a
// range of indices cut into chunks, which the caller and the workers take in turn. There is no
// queue: a caller that finds the pool busy, by nesting or by another thread, runs its loop itself.
//
// Ordering: `busy` is the claim on the pool, and with it on the right to post a job (pool_job.hpp);
// `mutex` guards the workers' state of sleep. A worker adds itself to `sleepers` before it looks
// for a job a last time, and a caller posts its job before it reads `sleepers`, all sequentially
// consistent: so either the worker sees the job or the caller sees the sleeper.

#include "numerical/runtime/fork_mark.hpp"
#include "numerical/runtime/loop_gauge.hpp"
#include "numerical/runtime/pool_job.hpp"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <sched.h>
#include <vector>

namespace numerical::detail {

using beside_runner = void (*)(const void* context);

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

    // Of the process's workers, of whichever pool.
    static loop_gauge& gauge();

private:
    struct worker
    {
        std::size_t set = no_core_set;
        std::condition_variable wake;
        bool asleep = false;
    };

    // The number of workers asleep, times 2³², plus the sum of their core sets, counted from 1 on.
    std::atomic<std::uint64_t> sleepers{0};
    std::atomic<bool> busy{false};
    pool_job job;
    std::mutex mutex; // guards `asleep` of the workers
    std::vector<worker> workers;
    std::size_t started = 0;
    std::vector<long> set_of_cpu; // core set of each CPU, -1 for none; read-only after start
    fork_mark maker;

    void start();
    void start_worker(worker& fresh, const cpu_set_t* cpus);
    std::size_t current_core_set() const;
    [[noreturn]] void serve(worker& self);
    void sleep_until_posted(worker& self, std::uint32_t seen);
    bool sleeps_elsewhere(std::size_t home_set) const;
    void wake_elsewhere(std::size_t home_set, std::size_t helpers);
    void time_short_loops(std::size_t home_set);
};

} // namespace numerical::detail
