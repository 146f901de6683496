#pragma once

#include <cstddef>

namespace numerical::detail {

// How many threads the loops of a triangular factorization take, for loops_on_few: the caller alone
// up to `greatest_serial`, a few up to 512, where a loop ends after some microseconds and waking
// and feeding many would take longer, and any number beyond.
constexpr std::size_t threads_of_order(std::size_t order, std::size_t greatest_serial)
{
    constexpr std::size_t greatest_of_few = 512;
    constexpr std::size_t few = 4;
    return order <= greatest_serial ? 1 : order <= greatest_of_few ? few : 0;
}

} // namespace numerical::detail
