#pragma once

// How a thread's arithmetic rounds, and whether it flushes subnormal numbers to zero: the control
// bits of MXCSR and the control word of the x87 unit. Linux keeps them for each thread, and a new
// one begins with those of its maker; so workers take over the caller's for each job, as otherwise
// the bits of a result would depend on who ran which part of the loop.

namespace numerical::detail {

struct floating_control
{
    unsigned mxcsr; // without the flags of what has happened
    unsigned short x87;

    // The calling thread's.
    static floating_control current();

    // Gives the calling thread this control. Costs next to nothing if it has it already.
    void adopt() const;

    bool operator==(const floating_control&) const = default;
};

} // namespace numerical::detail
