#include "numerical/runtime/thread_pool.hpp"

#include "numerical/runtime/spin.hpp"
#include "numerical/runtime/topology.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <emmintrin.h>
#include <memory>
#include <thread>
#include <unistd.h>
#include <utility>

namespace numerical::detail {
namespace {

// Gives up the claim on the pool when the caller leaves, by return or by exception.
class claim
{
public:
    explicit claim(std::atomic<bool>& flag) : busy(flag) {}

    claim(const claim&) = delete;
    claim& operator=(const claim&) = delete;

    ~claim() { busy.store(false, std::memory_order_release); }

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
        fresh->start();
    } catch (...) {
        if (fresh != nullptr && fresh->started != 0)
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

    const std::size_t count = sets.empty() ? hardware_threads() - 1 : sets.size();
    workers = std::vector<worker>(count);
    for (std::size_t i = 0; i < count; ++i) {
        workers[i].set = sets.empty() ? no_core_set : i;
        start_worker(workers[i], sets.empty() ? nullptr : &sets[i]);
    }
}

void thread_pool::start_worker(worker& fresh, const cpu_set_t* cpus)
{
    const signals_blocked inherited;
    const bool pinned = cpus != nullptr;
    const cpu_set_t own = pinned ? *cpus : cpu_set_t{};
    std::thread([this, &fresh, pinned, own] {
        if (pinned)
            sched_setaffinity(0, sizeof own, &own);
        serve(fresh);
    }).detach();
    ++started;
}

namespace {

constexpr std::uint64_t one_sleeper = std::uint64_t{1} << 32;

std::uint64_t sleeper_on(std::size_t set)
{
    return one_sleeper + (set == no_core_set ? 0 : set + 1);
}

} // namespace

void thread_pool::sleep_until_posted(worker& self, std::uint32_t seen)
{
    std::unique_lock lock(mutex);
    self.asleep = true;
    sleepers += sleeper_on(self.set);
    if (job.number() == seen)
        self.wake.wait(lock, [&self] { return !self.asleep; });
    if (std::exchange(self.asleep, false))
        sleepers -= sleeper_on(self.set);
}

// Whether a worker other than that of the caller's core sleeps. Waking that one would only take the
// processor from the caller: it doesn't join the caller's job.
bool thread_pool::sleeps_elsewhere(std::size_t home_set) const
{
    const std::uint64_t now = sleepers;
    return now != 0 && (home_set == no_core_set || now != sleeper_on(home_set));
}

void thread_pool::wake_elsewhere(std::size_t home_set, std::size_t helpers)
{
    const std::lock_guard lock(mutex);
    for (worker& other : workers) {
        if (!other.asleep || (home_set != no_core_set && other.set == home_set))
            continue;
        other.asleep = false;
        sleepers -= sleeper_on(other.set);
        other.wake.notify_one();
        if (--helpers == 0)
            return;
    }
}

void thread_pool::serve(worker& self)
{
    std::uint32_t seen = 0;
    bool spin = true;
    for (;;) {
        const auto posted = [&] { return job.number() != seen; };
        if (!spin || !spin_through_computation(posted))
            sleep_until_posted(self, seen);
        seen = job.number();

        // The caller works on this worker's core, and two threads of a job must not share one. A
        // worker that doesn't join doesn't spin either.
        const bool sits_out = self.set != no_core_set && self.set == job.home_set();
        spin = !sits_out;
        if (!sits_out)
            job.work_as_helper(seen);
    }
}

std::size_t thread_pool::current_core_set() const
{
    const int cpu = sched_getcpu();
    if (cpu < 0 || static_cast<std::size_t>(cpu) >= set_of_cpu.size())
        return no_core_set;
    return static_cast<std::size_t>(set_of_cpu[static_cast<std::size_t>(cpu)]);
}

loop_gauge& thread_pool::gauge()
{
    static constinit loop_gauge of_process;
    return of_process;
}

namespace {

constexpr std::size_t numbers_to_sum = 512;

// Each index is half of a loop of about a microsecond: sums that keep a core's adders busy, which
// two processors of one core share. Not inlined, or those of known numbers would be known.
[[gnu::noinline]] void sum_repeatedly(const void* numbers, std::size_t begin, std::size_t end)
{
    constexpr int repetitions = 16;
    const auto* const of = static_cast<const double*>(numbers);
    for (std::size_t half = begin; half < end; ++half) {
        __m128d sums[8] = {};
        for (int r = 0; r < repetitions; ++r)
            for (std::size_t i = 0; i < numbers_to_sum; i += 16)
                for (std::size_t l = 0; l < 8; ++l)
                    sums[l] = _mm_add_pd(sums[l], _mm_load_pd(of + i + 2 * l));
        for (std::size_t l = 1; l < 8; ++l)
            sums[0] = _mm_add_pd(sums[0], sums[l]);
        [[maybe_unused]] const volatile double used = _mm_cvtsd_f64(sums[0]);
    }
}

} // namespace

// The shortest of some loops on two threads, and on one. None is recorded if the workers have
// stopped to poll.
void thread_pool::time_short_loops(std::size_t home_set)
{
    using clock = std::chrono::steady_clock;
    constexpr int trials = 4;
    constexpr loop_split halves{.count = 2, .chunk = 1, .chunks = 2, .helpers = 1};
    alignas(64) static constexpr double numbers[numbers_to_sum] = {};
    clock::duration on_two = clock::duration::max();
    clock::duration on_one = clock::duration::max();
    bool had_help = false;
    for (int trial = 0; trial < trials; ++trial) {
        const clock::time_point start = clock::now();
        job.post(sum_repeatedly, numbers, halves, home_set);
        job.work_as_caller();
        static_cast<void>(job.wait_until_finished());
        const clock::time_point middle = clock::now();
        sum_repeatedly(numbers, 0, 2);
        had_help = had_help || job.had_help();
        on_two = std::min(on_two, middle - start);
        on_one = std::min(on_one, clock::now() - middle);
    }
    if (had_help)
        gauge().record(on_two, on_one);
}

bool thread_pool::try_run(chunk_runner run, const void* context, const loop_split& split,
                          beside_runner beside_run, const void* beside_context)
{
    // Before any lock: in a forked child a lock may be held by a thread that doesn't exist there.
    if (!maker.in_marked_process())
        return false;
    bool expected = false;
    if (!busy.compare_exchange_strong(expected, true))
        return false;
    const claim claimed(busy);

    const std::size_t home_set = current_core_set();
    job.post(run, context, split, home_set);
    if (sleeps_elsewhere(home_set))
        wake_elsewhere(home_set, split.helpers);
    std::exception_ptr beside_error;
    if (beside_run != nullptr) {
        try {
            beside_run(beside_context);
        } catch (...) {
            beside_error = std::current_exception();
        }
    }
    job.work_as_caller();
    const std::exception_ptr loop_error = job.wait_until_finished();
    if (job.had_help() && gauge().due_after_loop())
        time_short_loops(home_set);
    if (beside_error == nullptr)
        beside_error = loop_error;
    if (beside_error != nullptr)
        std::rethrow_exception(beside_error);
    return true;
}

} // namespace numerical::detail
