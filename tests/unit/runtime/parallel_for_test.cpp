#include "numerical/runtime/parallel_for.hpp"

#include "numerical/runtime/topology.hpp"
#include "paths.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using numerical::detail::loops_on_few;
using numerical::detail::parallel_for;
using numerical::detail::parallel_for_beside;
using numerical::detail::split_loop;
using numerical::detail::split_loop_beside;

constexpr std::size_t heavy = 1 << 20; // work that warrants every worker

// How often each index of a loop ran.
std::vector<int> runs_of(std::size_t count, std::size_t work)
{
    std::vector<int> runs(count);
    parallel_for(count, work, [&](std::size_t i) { ++runs[i]; });
    return runs;
}

bool all_once(const std::vector<int>& runs)
{
    return std::all_of(runs.begin(), runs.end(), [](int n) { return n == 1; });
}

// The text that reaches the caller of a loop in which the indices in `failing` throw their number.
std::string error_of_loop(const std::set<std::size_t>& failing)
{
    try {
        parallel_for(64, heavy, [&](std::size_t i) {
            if (failing.count(i) != 0)
                throw std::runtime_error(std::to_string(i));
        });
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(parallel_for, runs_each_index_once)
{
    for (const std::size_t count : {0, 1, 2, 3, 7, 8, 9, 100, 1001})
        for (const std::size_t work : {std::size_t{0}, std::size_t{1}, heavy})
            EXPECT_TRUE(all_once(runs_of(count, work))) << count << " " << work;
}

TEST(parallel_for, stays_on_the_calling_thread_without_work_for_two)
{
    const auto stays = [](std::size_t count, std::size_t work) {
        std::atomic<bool> left = false;
        const auto home = std::this_thread::get_id();
        parallel_for(count, work, [&](std::size_t) {
            if (std::this_thread::get_id() != home)
                left = true;
        });
        return !left;
    };
    EXPECT_TRUE(stays(1000, 0));
    EXPECT_TRUE(stays(1, heavy));
    EXPECT_TRUE(stays(131071, 1));
    const test::thread_limit one(1);
    EXPECT_TRUE(stays(1000, heavy));
}

TEST(split_loop, warrants_one_worker_for_each_65536_units)
{
    EXPECT_FALSE(split_loop(131071, 1));
    EXPECT_FALSE(split_loop(2, 65535));
    EXPECT_FALSE(split_loop(0, heavy));
    EXPECT_FALSE(split_loop(1, heavy));
    EXPECT_FALSE(split_loop(1000, 0));
    if (numerical::detail::hardware_threads() >= 2) {
        ASSERT_TRUE(split_loop(131072, 1));
        EXPECT_EQ(split_loop(131072, 1)->helpers, 1U);
    }
}

TEST(split_loop, beside_a_call_has_a_helper_for_one_index)
{
    EXPECT_FALSE(split_loop_beside(1, 131071));
    EXPECT_FALSE(split_loop_beside(0, heavy));
    if (numerical::detail::hardware_threads() >= 2) {
        ASSERT_TRUE(split_loop_beside(1, 131072));
        EXPECT_EQ(split_loop_beside(1, 131072)->helpers, 1U);
        EXPECT_EQ(split_loop_beside(1, 131072)->chunks, 1U);
    }
    const test::thread_limit one(1);
    EXPECT_FALSE(split_loop_beside(1000, heavy));
}

TEST(split_loop, takes_an_overflowing_product_for_the_largest_work)
{
    if (numerical::detail::hardware_threads() < 2)
        GTEST_SKIP();
    const auto split = split_loop(std::size_t{1} << 40, std::size_t{1} << 40);
    ASSERT_TRUE(split);
    EXPECT_EQ(split->helpers + 1, numerical::detail::allowed_threads());
}

TEST(loops_on_few, keeps_loops_on_the_caller_to_the_end_of_the_outer_scope)
{
    const std::size_t threads = numerical::detail::allowed_threads();
    const auto ids = [] {
        std::vector<std::thread::id> of_index(64);
        parallel_for(64, heavy, [&](std::size_t i) { of_index[i] = std::this_thread::get_id(); });
        return std::set<std::thread::id>(of_index.begin(), of_index.end());
    };
    {
        const loops_on_few outer(1);
        EXPECT_EQ(numerical::detail::allowed_threads(), 1U);
        EXPECT_FALSE(split_loop(64, heavy));
        EXPECT_FALSE(split_loop_beside(64, heavy));
        EXPECT_EQ(ids(), std::set<std::thread::id>{std::this_thread::get_id()});
        {
            const loops_on_few inner(4);
            EXPECT_EQ(numerical::detail::allowed_threads(), 1U);
        }
        EXPECT_EQ(numerical::detail::allowed_threads(), 1U);
        std::thread([&] { EXPECT_EQ(numerical::detail::allowed_threads(), threads); }).join();
    }
    EXPECT_EQ(numerical::detail::allowed_threads(), threads);
}

TEST(loops_on_few, is_a_limit_only_where_it_is_the_lowest)
{
    const std::size_t threads = numerical::detail::allowed_threads();
    const loops_on_few unlimited(0);
    EXPECT_EQ(numerical::detail::allowed_threads(), threads);
    const loops_on_few more(threads + 1);
    EXPECT_EQ(numerical::detail::allowed_threads(), threads);
    const loops_on_few two(2);
    EXPECT_EQ(numerical::detail::allowed_threads(), std::min<std::size_t>(threads, 2));
    const loops_on_few inner_without_limit(0);
    EXPECT_EQ(numerical::detail::allowed_threads(), std::min<std::size_t>(threads, 2));
    const test::thread_limit one(1);
    EXPECT_EQ(numerical::detail::allowed_threads(), 1U);
}

TEST(allowed_threads, is_the_cap_only_where_that_is_lower)
{
    const std::size_t hardware = numerical::detail::hardware_threads();
    EXPECT_EQ(numerical::detail::allowed_threads(), hardware);
    {
        const test::thread_limit one(1);
        EXPECT_EQ(numerical::detail::allowed_threads(), 1U);
    }
    const test::thread_limit many(hardware + 7);
    EXPECT_EQ(numerical::detail::allowed_threads(), hardware);
}

TEST(parallel_for, inside_a_body_runs_serially_and_the_outer_loop_goes_on)
{
    std::vector<int> runs(64 * 16);
    parallel_for(64, heavy, [&](std::size_t i) {
        const auto home = std::this_thread::get_id();
        parallel_for(16, heavy, [&](std::size_t j) {
            if (std::this_thread::get_id() == home)
                ++runs[i * 16 + j];
        });
    });
    EXPECT_TRUE(all_once(runs));
}

void yield_times(int count)
{
    for (int i = 0; i < count; ++i)
        std::this_thread::yield();
}

// Workers poll for 100 microseconds, some hundred yields, before they sleep.
TEST(parallel_for, runs_each_index_once_whether_workers_poll_or_sleep)
{
    constexpr std::size_t count = 40;
    for (const int yields : {0, 100, 200, 400, 5000})
        for (int round = 0; round < 100; ++round) {
            std::vector<std::size_t> found(count);
            parallel_for(count, heavy, [&](std::size_t i) { found[i] = i * round; });
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_EQ(found[i], i * round) << yields;
            yield_times(yields);
        }
}

// A worker that has looked at one loop may reach for a chunk when the next one is under way.
TEST(parallel_for, runs_each_index_once_in_loops_that_follow_one_another)
{
    std::vector<int> runs(9);
    for (int round = 1; round <= 20000; ++round) {
        const std::size_t count = 2 + round % 8;
        parallel_for(count, heavy, [&](std::size_t i) { ++runs[i]; });
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(std::exchange(runs[i], 0), 1) << round;
    }
}

TEST(parallel_for, waits_asleep_for_a_worker_that_takes_long)
{
    const auto home = std::this_thread::get_id();
    const bool has_worker = numerical::detail::hardware_threads() >= 2;
    std::atomic<bool> left = false;
    std::atomic<int> done = 0;
    parallel_for(2, heavy, [&](std::size_t) {
        if (std::this_thread::get_id() != home) {
            left = true;
            yield_times(10000);
        } else {
            while (has_worker && !left) // until the other index has gone to the worker
                std::this_thread::yield();
        }
        ++done;
    });
    EXPECT_EQ(done, 2);
    EXPECT_EQ(left, has_worker);
}

TEST(parallel_for, from_several_threads_at_once_gives_each_its_result)
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller)
        callers.emplace_back([&wrong] {
            for (int round = 0; round < 200; ++round)
                if (!all_once(runs_of(50, heavy)))
                    ++wrong;
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(wrong, 0);
}

TEST(parallel_for, rethrows_the_lowest_failed_chunk_and_the_pool_stays_usable)
{
    EXPECT_EQ(error_of_loop({63, 5, 40}), "5");
    EXPECT_EQ(error_of_loop({63}), "63");
    EXPECT_EQ(error_of_loop({}), "");
    EXPECT_TRUE(all_once(runs_of(1000, heavy)));
}

TEST(parallel_for_beside, runs_the_other_body_once_on_the_calling_thread)
{
    for (const std::size_t work : {std::size_t{0}, heavy})
        for (const std::size_t count : {0, 1, 40}) {
            std::vector<int> runs(count);
            std::thread::id where;
            int besides = 0;
            parallel_for_beside(
                count, work, [&](std::size_t i) { ++runs[i]; },
                [&] {
                    ++besides;
                    where = std::this_thread::get_id();
                });
            EXPECT_TRUE(all_once(runs));
            EXPECT_EQ(besides, 1);
            EXPECT_EQ(where, std::this_thread::get_id());
        }
}

TEST(parallel_for_beside, runs_the_other_body_first_on_the_serial_way)
{
    std::vector<int> order;
    parallel_for_beside(
        2, 0, [&](std::size_t i) { order.push_back(static_cast<int>(i)); },
        [&] { order.push_back(-1); });
    EXPECT_EQ(order, (std::vector<int>{-1, 0, 1}));
}

TEST(parallel_for_beside, prefers_the_other_bodys_exception)
{
    const auto run = [] {
        parallel_for_beside(
            40, heavy, [](std::size_t) { throw std::runtime_error("chunk"); },
            [] { throw std::runtime_error("beside"); });
    };
    try {
        run();
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "beside");
    }
    EXPECT_TRUE(all_once(runs_of(100, heavy)));
}

// Exit code of a forked child that runs `body`: 0 if that returned true.
template <class F>
int child_result(const F& body)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(body() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// The signals that a thread of this process blocks, one bit each, from signal 1 on.
std::uint64_t blocked_by(const std::filesystem::path& task)
{
    std::ifstream status(task / "status");
    for (std::string word; status >> word;)
        if (word == "SigBlk:") {
            status >> word;
            return std::stoull(word, nullptr, 16);
        }
    return 0;
}

constexpr std::uint64_t bit_of(int signal)
{
    return std::uint64_t{1} << (signal - 1);
}

// A signal that the program blocks in its own threads, to wait for it, would otherwise be delivered
// to a worker.
TEST(thread_pool, leaves_the_signals_of_the_process_to_its_other_threads)
{
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    EXPECT_TRUE(all_once(runs_of(100, heavy)));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGCHLD, SIGSEGV})
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;

    const std::string self = std::to_string(gettid());
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() == self)
            continue;
        const std::uint64_t blocked = blocked_by(task.path());
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGCHLD, SIGALRM})
            EXPECT_NE(blocked & bit_of(signal), 0) << signal;
#ifndef __SANITIZE_THREAD__ // whose own thread blocks these as well
        for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
            EXPECT_EQ(blocked & bit_of(signal), 0) << signal;
#endif
    }
}

TEST(parallel_for, in_a_forked_child_runs_serially)
{
    EXPECT_TRUE(all_once(runs_of(100, heavy))); // the parent has used the pool
    const int status = child_result([] {
        const auto home = std::this_thread::get_id();
        bool at_home = true;
        parallel_for(100, heavy,
                     [&](std::size_t) { at_home &= std::this_thread::get_id() == home; });
        return at_home && all_once(runs_of(100, heavy));
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(all_once(runs_of(100, heavy)));
}

TEST(parallel_for, in_a_child_forked_while_a_job_runs_does_not_wait_for_it)
{
    std::atomic<bool> stop = false;
    std::atomic<bool> started = false;
    std::thread worker([&] {
        while (!stop) {
            runs_of(64, heavy);
            started = true;
            started.notify_one();
        }
    });
    // The address sanitizer takes a lock for the first allocation from a place, and a child that is
    // forked while another thread holds it waits for ever.
    started.wait(false);
    for (int round = 0; round < 20; ++round)
        EXPECT_EQ(child_result([] { return all_once(runs_of(100, heavy)); }), 0);
    stop = true;
    worker.join();
}

} // namespace
