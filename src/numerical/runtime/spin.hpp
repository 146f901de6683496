#pragma once

// Waiting for another thread without sleeping, for as long as the loops of a computation follow one
// another.

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

} // namespace numerical::detail
