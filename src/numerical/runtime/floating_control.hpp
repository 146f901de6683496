#pragma once

// The rounding mode of a thread, and whether it flushes subnormal numbers to zero: the control bits
// of MXCSR and the control word of the x87 unit. Linux keeps them for each thread, and a new thread
// inherits those of its creator. Workers therefore adopt the caller's for each job; otherwise the
// bits of a result would depend on which thread ran which part of the loop.

namespace numerical::detail {

struct floating_control
{
    unsigned mxcsr; // without the exception flags
    unsigned short x87;

    // The control of the calling thread.
    static floating_control current();

    // Sets this control on the calling thread; nearly free if it is set already.
    void adopt() const;

    bool operator==(const floating_control&) const = default;
};

} // namespace numerical::detail
