// In this program the system refuses new threads until it is told not to.

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/topology.hpp"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <system_error>
#include <vector>

namespace {

std::atomic<bool> refused{false};
std::atomic<int> started{0};

using create_function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument)
{
    if (refused)
        return EAGAIN;
    ++started;
    static const auto original =
        reinterpret_cast<create_function>(dlsym(RTLD_NEXT, "pthread_create"));
    return original(thread, attributes, run, argument);
}

// As many as make loops ask for the pool on any machine.
std::size_t numerical::detail::hardware_threads()
{
    return 2;
}

namespace {

using numerical::detail::parallel_for;

constexpr std::size_t heavy = 1 << 20;

std::vector<int> runs_of(std::size_t count, std::size_t work)
{
    std::vector<int> runs(count);
    parallel_for(count, work, [&](std::size_t i) { ++runs[i]; });
    return runs;
}

TEST(pool_without_threads, reports_the_failure_and_is_tried_again_by_the_next_loop)
{
    refused = true;
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_THROW(runs_of(100, heavy), std::system_error);
    EXPECT_EQ(runs_of(100, 0), std::vector<int>(100, 1)); // a small loop asks for none
    EXPECT_EQ(started, 0);

    refused = false;
    EXPECT_EQ(runs_of(100, heavy), std::vector<int>(100, 1));
    EXPECT_GT(started, 0);
    const int all = started;
    EXPECT_EQ(runs_of(100, heavy), std::vector<int>(100, 1));
    EXPECT_EQ(started, all); // one pool, from then on
}

} // namespace
