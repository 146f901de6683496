#include "numerical/elementwise/places.hpp"

#include "numerical/aligned_vector.hpp"
#include "special_numbers.hpp"

#include <cstddef>
#include <functional>
#include <gtest/gtest.h>

namespace {

using test::nan;

TEST(places, the_first_extreme_is_found_in_any_block)
{
    for (const std::size_t at : {0, 1, 511, 512, 4095, 4096, 8191, 8192, 9999}) {
        numerical::aligned_vector<double> x(10000, 1.0);
        x[at] = 2.0;
        x[9999] = 2.0;
        const auto place = [&] {
            return numerical::detail::extreme_places(x.data(), {1, x.size(), 1},
                                                     std::greater<double>())[0];
        };
        EXPECT_EQ(place(), static_cast<std::ptrdiff_t>(at));
        x[5000] = nan;
        EXPECT_EQ(place(), 5000);
    }
}

} // namespace
