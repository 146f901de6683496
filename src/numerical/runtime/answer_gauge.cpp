#include "numerical/runtime/answer_gauge.hpp"

namespace numerical::detail {

bool answer_gauge::due_after_loop()
{
    const std::uint32_t before = loops.load(std::memory_order_relaxed);
    loops.store(before + 1, std::memory_order_relaxed);
    return before % loops_between == 0 || answers.load(std::memory_order_relaxed) == state::unknown;
}

void answer_gauge::record(std::chrono::nanoseconds answer)
{
    answers.store(answer <= slowest_fast_answer ? state::fast : state::slow,
                  std::memory_order_relaxed);
}

bool answer_gauge::fast()
{
    if (answers.load(std::memory_order_relaxed) != state::slow)
        return true;
    if (asks.fetch_add(1, std::memory_order_relaxed) % asks_between != asks_between - 1)
        return false;
    answers.store(state::unknown, std::memory_order_relaxed);
    return true;
}

} // namespace numerical::detail
