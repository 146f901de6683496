#pragma once

// Fewer cases for runs in which each takes long.

#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

namespace test {

// All of the cases, or under NUMERICAL_TEST_SAMPLE a third of them. Which third depends on `turn`,
// the size of the cases or their path: over a test's sizes or paths all come by. For the address
// sanitizer, as the addresses that are used depend on sizes and paths, of which none is left out,
// and little on values.
template <class Case>
std::vector<Case> sampled(std::vector<Case> all, std::size_t turn)
{
    constexpr std::size_t share = 3;
    if (std::getenv("NUMERICAL_TEST_SAMPLE") == nullptr)
        return all;
    std::vector<Case> taken;
    for (std::size_t i = turn % share; i < all.size(); i += share)
        taken.push_back(std::move(all[i]));
    return taken;
}

} // namespace test
