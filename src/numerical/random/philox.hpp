#pragma once

// Random bits as a function of a counter and a key (Philox 4×32 with ten rounds: Salmon, Moraes,
// Dror and Shaw 2011). Each element of a sequence is computed independently, so that the sequence
// depends on the seed alone, however its elements are distributed among threads.

#include <array>
#include <cstdint>

namespace numerical::random {

using philox_block = std::array<std::uint32_t, 4>;
using philox_key = std::array<std::uint32_t, 2>;

inline philox_block philox(philox_block counter, philox_key key)
{
    constexpr std::uint64_t multipliers[] = {0xD2511F53, 0xCD9E8D57};
    constexpr philox_key increments = {0x9E3779B9, 0xBB67AE85};
    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        const std::uint64_t first = multipliers[0] * counter[0];
        const std::uint64_t second = multipliers[1] * counter[2];
        const auto high = [](std::uint64_t x) { return static_cast<std::uint32_t>(x >> 32); };
        const auto low = [](std::uint64_t x) { return static_cast<std::uint32_t>(x); };
        counter = {high(second) ^ counter[1] ^ key[0], low(second),
                   high(first) ^ counter[3] ^ key[1], low(first)};
        key[0] += increments[0];
        key[1] += increments[1];
    }
    return counter;
}

} // namespace numerical::random
