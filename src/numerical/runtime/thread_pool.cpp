#include "numerical/runtime/thread_pool.hpp"

#include "numerical/runtime/topology.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>

namespace numerical::detail {
namespace {

// The loops of a blocked factorization follow one another within this time, so that no worker
// sleeps between them.
constexpr std::chrono::microseconds spin_time{100};

// Polls for at most `spin_time`, yielding the processor in between; true once `ready` is true.
template <class Ready>
bool spin_until(const Ready& ready)
{
    const auto end = std::chrono::steady_clock::now() + spin_time;
    do {
        if (ready())
            return true;
        sched_yield();
    } while (std::chrono::steady_clock::now() < end);
    return ready();
}

// Gives up the claim on the pool when the caller leaves, by return or by exception.
class claim
{
public:
    explicit claim(std::atomic<bool>& flag) : busy(flag) {}

    claim(const claim&) = delete;
    claim& operator=(const claim&) = delete;

    ~claim() { busy = false; }

private:
    std::atomic<bool>& busy;
};

// Blocks the calling thread's signals for a scope, so that the threads started in it inherit them
// blocked: a signal for the process goes to one of the program's own threads, which may have
// blocked it to receive it by sigwait or signalfd. Signals that a thread causes itself stay
// unblocked, or the program's handlers would not see them.
class signals_blocked
{
public:
    signals_blocked()
    {
        sigset_t all;
        sigfillset(&all);
        for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
            sigdelset(&all, own);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }

    signals_blocked(const signals_blocked&) = delete;
    signals_blocked& operator=(const signals_blocked&) = delete;

    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before;
};

} // namespace

void pool_job::work() noexcept
{
    for (;;) {
        const std::size_t slot = next_chunk.fetch_add(1);
        if (slot >= chunks)
            return;
        try {
            run(context, slot * chunk, std::min((slot + 1) * chunk, count));
        } catch (...) {
            errors[slot] = std::current_exception();
        }
        if (done_chunks.fetch_add(1) + 1 == chunks) {
            const std::lock_guard lock(mutex);
            finished.notify_all();
        }
    }
}

void pool_job::wait_until_finished()
{
    const auto all_done = [this] { return done_chunks == chunks; };
    if (spin_until(all_done))
        return;
    std::unique_lock lock(mutex);
    finished.wait(lock, all_done);
}

std::exception_ptr pool_job::first_error() const
{
    const auto failed = [](const std::exception_ptr& error) { return error != nullptr; };
    const auto first = std::find_if(errors.begin(), errors.end(), failed);
    return first == errors.end() ? nullptr : *first;
}

// No lock and no function-local static: a fork while another thread is inside the first call would
// leave the child with a guard that no thread releases.
thread_pool* thread_pool::shared()
{
    static constinit std::atomic<thread_pool*> pool{nullptr};
    static constinit std::atomic<pid_t> maker{0};
    if (thread_pool* const made = pool.load(std::memory_order_acquire))
        return made;
    pid_t nobody = 0;
    if (!maker.compare_exchange_strong(nobody, getpid()))
        return pool.load(std::memory_order_acquire);
    std::unique_ptr<thread_pool> fresh;
    try {
        fresh = std::make_unique<thread_pool>();
        fresh->owner_pid = getpid();
        fresh->start();
    } catch (...) {
        if (fresh != nullptr && fresh->worker_count != 0)
            static_cast<void>(fresh.release()); // the workers that have started use it
        maker = 0;
        throw;
    }
    pool.store(fresh.get(), std::memory_order_release);
    return fresh.release();
}

void thread_pool::start()
{
    const std::vector<cpu_set_t> sets = core_sets_from(allowed_cpus(), system_cpu_root);
    set_of_cpu.assign(CPU_SETSIZE, -1);
    for (std::size_t set = 0; set < sets.size(); ++set)
        for (std::size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu)
            if (CPU_ISSET(cpu, &sets[set]))
                set_of_cpu[cpu] = static_cast<long>(set);

    sleeper_on_set.assign(sets.size(), 0);
    for (std::size_t id = 0; id < sets.size(); ++id)
        start_worker(id, sets);
    if (sets.empty())
        for (std::size_t started = 1; started < hardware_threads(); ++started)
            start_worker(no_core_set, sets);
}

void thread_pool::start_worker(std::size_t id, const std::vector<cpu_set_t>& sets)
{
    const signals_blocked inherited;
    std::thread([this, id, sets] {
        if (id < sets.size())
            sched_setaffinity(0, sizeof(cpu_set_t), &sets[id]);
        serve(id);
    }).detach();
    ++worker_count;
}

void thread_pool::spin_for_job(std::uint64_t seen) const
{
    spin_until([this, seen] { return generation != seen; });
}

void thread_pool::sleep_until_posted(std::unique_lock<std::mutex>& lock, std::size_t id,
                                     std::uint64_t seen)
{
    if (generation != seen)
        return;
    const bool has_set = id < sleeper_on_set.size();
    ++sleepers;
    if (has_set)
        sleeper_on_set[id] = 1;
    wake.wait(lock, [this, seen] { return generation != seen; });
    --sleepers;
    if (has_set)
        sleeper_on_set[id] = 0;
}

// Whether a worker other than that of the caller's core sleeps. Waking that one would only take the
// processor from the caller: it doesn't join the caller's job.
bool thread_pool::sleeps_elsewhere(std::size_t home_set) const
{
    const bool at_home = home_set < sleeper_on_set.size() && sleeper_on_set[home_set] != 0;
    return sleepers > (at_home ? 1 : 0);
}

void thread_pool::serve(std::size_t id)
{
    std::uint64_t seen = 0;
    bool spin = true;
    for (;;) {
        if (spin)
            spin_for_job(seen);
        std::unique_lock lock(mutex);
        sleep_until_posted(lock, id, seen);
        seen = generation;
        const std::shared_ptr<pool_job> current = job;
        lock.unlock();

        // The caller works on this worker's core, and two threads of a job must not share one. A
        // worker that doesn't join doesn't spin either.
        const bool sits_out = id != no_core_set && id == current->home_set;
        spin = !sits_out;
        if (!sits_out && current->joined.fetch_add(1) < current->helpers) {
            current->control.adopt();
            current->work();
        }
    }
}

std::size_t thread_pool::current_core_set() const
{
    const int cpu = sched_getcpu();
    if (cpu < 0 || static_cast<std::size_t>(cpu) >= set_of_cpu.size())
        return no_core_set;
    return static_cast<std::size_t>(set_of_cpu[static_cast<std::size_t>(cpu)]);
}

std::shared_ptr<pool_job> thread_pool::post(chunk_runner run, const void* context,
                                            const loop_split& split)
{
    auto posted = std::make_shared<pool_job>();
    posted->run = run;
    posted->context = context;
    posted->count = split.count;
    posted->chunk = split.chunk;
    posted->chunks = split.chunks;
    posted->helpers = split.helpers;
    posted->home_set = current_core_set();
    posted->control = floating_control::current();
    posted->errors.resize(split.chunks);
    bool notify = false;
    {
        const std::lock_guard lock(mutex);
        job = posted;
        generation.fetch_add(1);
        notify = sleeps_elsewhere(posted->home_set);
    }
    if (notify)
        wake.notify_all();
    return posted;
}

bool thread_pool::try_run(chunk_runner run, const void* context, const loop_split& split,
                          beside_runner beside_run, const void* beside_context)
{
    // Before any lock: in a forked child a lock may be held by a thread that doesn't exist there.
    if (owner_pid != getpid())
        return false;
    bool expected = false;
    if (!busy.compare_exchange_strong(expected, true))
        return false;
    const claim claimed(busy);

    const std::shared_ptr<pool_job> posted = post(run, context, split);
    std::exception_ptr beside_error;
    if (beside_run != nullptr) {
        try {
            beside_run(beside_context);
        } catch (...) {
            beside_error = std::current_exception();
        }
    }
    posted->work();
    posted->wait_until_finished();
    if (beside_error == nullptr)
        beside_error = posted->first_error();
    if (beside_error != nullptr)
        std::rethrow_exception(beside_error);
    return true;
}

} // namespace numerical::detail
