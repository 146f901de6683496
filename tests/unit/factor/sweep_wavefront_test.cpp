#include "numerical/factor/sweep_wavefront.hpp"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace {

using numerical::detail::run_sweeps;

struct no_workspace
{
};

// Work figure 0: on the calling thread, in the order of the waves.
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

TEST(sweep_wavefront, gives_each_tile_a_workspace_of_its_own)
{
    struct counting
    {
        std::size_t uses = 0;
    };

    std::size_t tiles = 0;
    const auto steps_of = [](std::size_t) { return std::size_t{20}; };
    run_sweeps<counting>(
        8, steps_of, 0, [&](counting& own, std::size_t, std::size_t) { tiles += own.uses++ == 0; });
    EXPECT_EQ(tiles, 2U * 4U); // two groups; 20 steps and 6 behind, in stretches of 8
}

} // namespace
