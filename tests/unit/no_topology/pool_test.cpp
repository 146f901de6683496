// This program can't read the topology: it defines core_sets_from() itself, in place of the
// library's, and believes in four hardware threads.

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/topology.hpp"

#include <atomic>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

std::vector<cpu_set_t> numerical::detail::core_sets_from(const cpu_set_t&,
                                                         const std::string&) noexcept
{
    return {};
}

cpu_set_t numerical::detail::allowed_cpus()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof allowed, &allowed);
    return allowed;
}

std::size_t numerical::detail::hardware_threads()
{
    return 4;
}

namespace {

using namespace numerical::detail;

constexpr std::size_t heavy = 1 << 20; // work that warrants every worker

// Threads that took part in a loop whose indices wait until so many have come: if one sits out, the
// loop has no end, however fast or busy the machine.
std::set<std::thread::id> participants(std::size_t awaited)
{
    std::mutex mutex;
    std::set<std::thread::id> seen;
    std::condition_variable arrived;
    parallel_for(4 * awaited, heavy, [&](std::size_t) {
        std::unique_lock lock(mutex);
        if (seen.insert(std::this_thread::get_id()).second)
            arrived.notify_all();
        arrived.wait(lock, [&] { return seen.size() >= awaited; });
    });
    return seen;
}

TEST(pool_without_topology, has_a_worker_less_than_hardware_threads_and_none_sits_out)
{
    EXPECT_EQ(participants(4).size(), 4U);
    EXPECT_EQ(participants(4).count(std::this_thread::get_id()), 1U);
}

TEST(pool_without_topology, does_not_pin_its_workers)
{
    const cpu_set_t all = allowed_cpus();
    std::atomic<int> pinned = 0;
    parallel_for(64, heavy, [&](std::size_t) {
        const cpu_set_t mine = allowed_cpus();
        if (!CPU_EQUAL(&mine, &all))
            ++pinned;
    });
    EXPECT_EQ(pinned, 0);
}

TEST(pool_without_topology, runs_each_index_once)
{
    std::vector<int> runs(1001);
    parallel_for(runs.size(), heavy, [&](std::size_t i) { ++runs[i]; });
    EXPECT_EQ(runs, std::vector<int>(1001, 1));
}

} // namespace
