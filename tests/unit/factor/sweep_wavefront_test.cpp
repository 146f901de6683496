#include "numerical/factor/sweep_wavefront.hpp"

#include "paths.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using numerical::detail::run_sweeps;
using numerical::detail::sweeps_of_group;

struct no_workspace
{
};

// Work figure 0: on the calling thread, one group after the other.
TEST(sweep_wavefront, takes_every_step_once_after_those_it_rests_on)
{
    for (const std::size_t sweeps : {0, 1, 2, 3, 4, 5, 8, 9, 30})
        for (const std::size_t most_steps : {1, 2, 3, 7, 8, 9, 25}) {
            const auto steps_of = [=](std::size_t s) {
                return std::max<std::size_t>(1, most_steps - std::min(most_steps, s / 2));
            };
            std::vector<std::size_t> done(sweeps); // steps of each sweep
            const auto step = [&](no_workspace&, std::size_t s, std::size_t k) {
                ASSERT_EQ(k, done[s]) << "sweep " << s;
                if (s > 0) {
                    ASSERT_GE(done[s - 1], std::min(k + 3, steps_of(s - 1)));
                }
                ++done[s];
            };
            run_sweeps<no_workspace>(sweeps, steps_of, 0, step);
            for (std::size_t s = 0; s < sweeps; ++s)
                EXPECT_EQ(done[s], steps_of(s)) << "sweep " << s << " of " << sweeps;
        }
}

// Every other group is slow, so that the next one would overtake it if it didn't wait. The work
// figures make all sweeps one round, some rounds, and a round for each group.
TEST(sweep_wavefront, keeps_its_order_on_any_number_of_threads)
{
    constexpr std::size_t sweeps = 41;
    const auto steps_of = [](std::size_t s) { return 3 + (sweeps - s) / 3; };
    for (const std::size_t work_per_step :
         {std::size_t{1} << 12, std::size_t{1} << 16, std::size_t{1} << 26})
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            std::vector<std::atomic<std::size_t>> done(sweeps);
            std::atomic<std::size_t> early{0};
            const auto step = [&](no_workspace&, std::size_t s, std::size_t k) {
                for (int turn = 0; turn < 100 && s / sweeps_of_group % 2 == 0; ++turn)
                    std::this_thread::yield();
                if (k != done[s] || (s > 0 && done[s - 1] < std::min(k + 3, steps_of(s - 1))))
                    ++early;
                ++done[s];
            };
            run_sweeps<no_workspace>(sweeps, steps_of, work_per_step, step);
            EXPECT_EQ(early, 0U) << threads << " threads, work " << work_per_step;
            for (std::size_t s = 0; s < sweeps; ++s)
                EXPECT_EQ(done[s], steps_of(s)) << "sweep " << s;
        }
}

TEST(sweep_wavefront, ends_with_the_exception_of_a_step)
{
    const auto steps_of = [](std::size_t) { return std::size_t{40}; };
    for (const std::size_t threads : test::thread_counts) {
        const test::thread_limit limit(threads);
        const auto step = [](no_workspace&, std::size_t s, std::size_t k) {
            if (s == 31 && k == 17)
                throw std::runtime_error("step 17");
        };
        EXPECT_THROW(run_sweeps<no_workspace>(100, steps_of, 1 << 14, step), std::runtime_error)
            << threads;
    }
}

TEST(sweep_wavefront, gives_a_thread_one_workspace)
{
    struct counting
    {
        std::size_t uses = 0;
    };

    std::size_t workspaces = 0;
    const auto steps_of = [](std::size_t) { return std::size_t{20}; };
    run_sweeps<counting>(8, steps_of, 0, [&](counting& own, std::size_t, std::size_t) {
        workspaces += own.uses++ == 0;
    });
    EXPECT_EQ(workspaces, 1U);
}

} // namespace
