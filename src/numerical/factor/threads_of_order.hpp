#pragma once

#include "numerical/runtime/parallel_for.hpp"

#include <cstddef>

namespace numerical::detail {

// The greatest order that one thread factorizes as fast as two: beyond it the second repays its
// waking, where it sleeps, and the passing of the columns between the cores.
struct greatest_serial_order
{
    std::size_t if_short_loops_pay;
    std::size_t otherwise;

    bool holds(std::size_t order) const
    {
        return order <= if_short_loops_pay || (order <= otherwise && !short_loops_pay());
    }
};

// How many threads the loops of a triangular factorization take, for loops_on_few: the caller alone
// for a serial order, a few up to 512, where a loop ends after some microseconds and waking and
// feeding many would take longer, and any number beyond.
inline std::size_t threads_of_order(std::size_t order, const greatest_serial_order& serial)
{
    constexpr std::size_t greatest_of_few = 512;
    constexpr std::size_t few = 4;
    return serial.holds(order) ? 1 : order <= greatest_of_few ? few : 0;
}

} // namespace numerical::detail
