#include "numerical/elementwise/booleans.hpp"

#include "numerical/aligned_vector.hpp"
#include "special_numbers.hpp"

#include <cstddef>
#include <gtest/gtest.h>
#include <random>

namespace {

using test::special;

// A few places that decide, far apart: every block of the search and every form of the walk.
TEST(booleans, answers_are_those_of_counts)
{
    using numerical::detail::boolean_reduction;
    using numerical::detail::walk_shape;
    std::mt19937 source(9);
    for (const walk_shape walk :
         {walk_shape{1, 5000, 1}, walk_shape{7, 100, 1}, walk_shape{3, 70, 5},
          walk_shape{1, 1000, 33}, walk_shape{2, 0, 3}, walk_shape{4, 0, 1}})
        for (const double common : {0.0, 1.0})
            for (const std::size_t others : {0, 1, 20}) {
                const std::size_t count = walk.outer * walk.extent * walk.inner;
                numerical::aligned_vector<double> x(count, common);
                for (std::size_t i = 0; i < others && count != 0; ++i)
                    x[source() % count] = common == 0 ? special[source() % special.size()] : -0.0;
                const auto any = booleans_along(boolean_reduction::any, x.data(), walk);
                const auto all = booleans_along(boolean_reduction::all, x.data(), walk);
                const auto counts = true_counts(x.data(), walk);
                for (std::size_t o = 0; o < walk.outer; ++o)
                    for (std::size_t k = 0; k < walk.inner; ++k) {
                        std::ptrdiff_t expected = 0;
                        for (std::size_t j = 0; j < walk.extent; ++j)
                            expected += x[(o * walk.extent + j) * walk.inner + k] != 0 ? 1 : 0;
                        const std::size_t at = o * walk.inner + k;
                        const auto extent = static_cast<std::ptrdiff_t>(walk.extent);
                        ASSERT_EQ(counts[at], expected);
                        ASSERT_EQ(any[at], expected != 0);
                        ASSERT_EQ(all[at], expected == extent);
                    }
            }
}

} // namespace
