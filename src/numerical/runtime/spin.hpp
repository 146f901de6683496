#pragma once

// Waiting for another thread without sleeping, for as long as the loops of a computation follow one
// another.

#include "numerical/runtime/computation.hpp"

#include <chrono>
#include <sched.h>
#include <xmmintrin.h>

namespace numerical::detail {

// The loops of a blocked factorization follow one another within this time, so that no worker
// sleeps between them.
constexpr std::chrono::microseconds spin_time{100};

// Polls between two yields of the processor: these take about half a microsecond together, as long
// as a yield that finds no other thread to run.
constexpr int polls_in_a_row = 32;

// Polls for at most about `spin_time`; true once `ready` is true. The processor is yielded in
// between, so that a thread which shares it can run.
template <class Ready>
bool spin_until(const Ready& ready)
{
    const auto poll_in_a_row = [&ready] {
        for (int poll = 0; poll < polls_in_a_row; ++poll) {
            if (ready())
                return true;
            _mm_pause();
        }
        return false;
    };
    if (poll_in_a_row())
        return true;
    const auto end = std::chrono::steady_clock::now() + spin_time;
    do {
        sched_yield();
        if (poll_in_a_row())
            return true;
    } while (std::chrono::steady_clock::now() < end);
    return ready();
}

// In a computation a thread polls for this many spells of `spin_time`, two milliseconds: the
// longest stretches of one thread's work between loops, such as early deflation of order 1000, last
// about that long.
constexpr int spells_in_computation = 20;

// Repeats spin(), a spell that returns whether what is waited for has come, for as long as a
// computation is in progress; once, if none is. The last spell's answer.
template <class Spin>
bool repeat_in_computation(const Spin& spin)
{
    for (int spell = 1; !spin(); ++spell)
        if (spell == spells_in_computation || !computes())
            return false;
    return true;
}

// Polls as spin_until does, and longer in a computation.
template <class Ready>
bool spin_through_computation(const Ready& ready)
{
    return repeat_in_computation([&ready] { return spin_until(ready); });
}

} // namespace numerical::detail
