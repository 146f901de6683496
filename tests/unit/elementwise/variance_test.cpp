#include "numerical/elementwise/variance.hpp"

#include "numerical/aligned_vector.hpp"
#include "waves.hpp"

#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>

namespace {

using numerical::detail::variances;
using numerical::detail::walk_shape;
using test::eps;
using test::plain;
using test::walks;
using test::waves;

TEST(variance, are_those_of_extended_precision)
{
    for (const walk_shape& walk : walks) {
        const auto x = waves(walk.outer * walk.extent * walk.inner);
        const auto found = variances(x.data(), walk, 0.0);
        for (std::size_t i = 0; i < found.size(); ++i) {
            const std::size_t o = i / walk.inner;
            const std::size_t k = i % walk.inner;
            const long double mean =
                plain(walk, o, k, [&](std::size_t at) { return x[at]; }) / walk.extent;
            const long double exact =
                plain(walk, o, k, [&](std::size_t at) { return (x[at] - mean) * (x[at] - mean); }) /
                walk.extent;
            EXPECT_NEAR(found[i], static_cast<double>(exact), 32 * eps);
        }
    }
}

TEST(variance, without_degrees_of_freedom_are_nan)
{
    const numerical::aligned_vector<double> x{1, 2};
    EXPECT_EQ(variances(x.data(), {1, 2, 1}, 1.0)[0], 0.5);
    EXPECT_TRUE(std::isnan(variances(x.data(), {1, 2, 1}, 2.0)[0]));
    EXPECT_TRUE(std::isnan(variances(x.data(), {2, 0, 1}, 0.0)[0]));
}

} // namespace
