#pragma once

// Whether a loop of a microsecond or two ends sooner on two threads than on one. A cache line
// passes between two cores in 70 to 130 nanoseconds where they share a cache and in up to 400 where
// they don't; and the host of a virtual machine, which moves its processors within seconds, at
// times gives two of them the speed of one. So the pool times a loop without other purpose now and
// then, at the end of one with a purpose, while the workers poll.

#include <atomic>
#include <chrono>
#include <cstdint>

namespace numerical::detail {

class loop_gauge
{
public:
    // Loops after which it is timed again, at a cost of half a percent of loops of two
    // microseconds.
    static constexpr std::uint32_t loops_between = 1024;

    // Of computations that stay serial because short loops don't pay, this many ask before one of
    // them is let onto the pool, to find out whether they still don't.
    static constexpr std::uint32_t asks_between = 256;

    // Whether it is to be timed now, at the end of a loop.
    bool due_after_loop();

    // What the loop took of two threads and of one.
    void record(std::chrono::nanoseconds on_two, std::chrono::nanoseconds on_one);

    // Whether short loops pay, as far as is known: true before the first is timed.
    bool short_loops_pay();

private:
    enum class state { unknown, paying, not_paying };

    std::atomic<state> known{state::unknown};
    std::atomic<std::uint32_t> loops{0};
    std::atomic<std::uint32_t> asks{0};
};

} // namespace numerical::detail
