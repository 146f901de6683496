#include "numerical/runtime/loop_gauge.hpp"

namespace numerical::detail {

bool loop_gauge::due_after_loop()
{
    const std::uint32_t before = loops.load(std::memory_order_relaxed);
    loops.store(before + 1, std::memory_order_relaxed);
    return before % loops_between == 0 || known.load(std::memory_order_relaxed) == state::unknown;
}

// An eighth, at least, must be gained.
void loop_gauge::record(std::chrono::nanoseconds on_two, std::chrono::nanoseconds on_one)
{
    known.store(8 * on_two <= 7 * on_one ? state::paying : state::not_paying,
                std::memory_order_relaxed);
}

bool loop_gauge::short_loops_pay()
{
    if (known.load(std::memory_order_relaxed) != state::not_paying)
        return true;
    if (asks.fetch_add(1, std::memory_order_relaxed) % asks_between != asks_between - 1)
        return false;
    known.store(state::unknown, std::memory_order_relaxed);
    return true;
}

} // namespace numerical::detail
