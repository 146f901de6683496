#pragma once

// How fast the workers answer: whether a loop of a microsecond or two ends sooner on two threads
// than on one. A cache line passes between two cores in 70 to 100 nanoseconds where they share a
// cache and in up to 400 where they don't, and the host of a virtual machine moves its cores from
// one to the other within seconds. So the pool times an answer now and then, at the end of a loop,
// while the workers poll.

#include <atomic>
#include <chrono>
#include <cstdint>

namespace numerical::detail {

class answer_gauge
{
public:
    // An answer takes three to four passages of a cache line.
    static constexpr std::chrono::nanoseconds slowest_fast_answer{700};

    // Loops after which an answer is timed again, at a cost of about 0.1 % of loops of two
    // microseconds.
    static constexpr std::uint32_t loops_between = 256;

    // Of a computation that stays serial because answers are slow, this many ask before one of them
    // is let onto the pool, to find out whether they still are.
    static constexpr std::uint32_t asks_between = 256;

    // Whether an answer is to be timed now, at the end of a loop.
    bool due_after_loop();

    void record(std::chrono::nanoseconds answer);

    // Whether answers are fast, as far as is known: true before the first is timed.
    bool fast();

private:
    enum class state { unknown, fast, slow };

    std::atomic<state> answers{state::unknown};
    std::atomic<std::uint32_t> loops{0};
    std::atomic<std::uint32_t> asks{0};
};

} // namespace numerical::detail
