#pragma once

// Fewer cases for runs in which each takes long.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

namespace test {

// All of the cases, or under NUMERICAL_TEST_SAMPLE=5 a fifth of them. Which ones depends on `turn`,
// the size of the cases or their path: over a test's sizes or paths all come by, and none is
// without a case. For the address sanitizer, as the addresses that are used depend on sizes and
// paths and little on values.
template <class Case>
std::vector<Case> sampled(std::vector<Case> all, std::size_t turn)
{
    const char* const asked = std::getenv("NUMERICAL_TEST_SAMPLE");
    if (asked == nullptr || all.empty())
        return all;
    const std::size_t share =
        std::clamp<std::size_t>(std::strtoul(asked, nullptr, 10), 1, all.size());
    std::vector<Case> taken;
    for (std::size_t i = turn % share; i < all.size(); i += share)
        taken.push_back(std::move(all[i]));
    return taken;
}

} // namespace test
