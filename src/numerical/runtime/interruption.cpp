#include "numerical/runtime/interruption.hpp"

#include <x86intrin.h>

namespace numerical::detail {
namespace {

// Long enough that a question which waits some milliseconds, for the interpreter lock, isn't
// noticed in the time of the call.
constexpr std::uint64_t interval = std::uint64_t{1} << 27; // ticks of the time stamp counter

// Of the thread in interruptible_thread, which alone reads and writes them.
constinit interruption_question question = nullptr;
constinit void* question_context = nullptr;
constinit std::uint64_t last_time = 0;

} // namespace

void ask_if_due()
{
    if (__rdtsc() - last_time < interval)
        return;
    {
        const interruption_pause paused;
        question(question_context);
    }
    last_time = __rdtsc();
}

interruption_scope::interruption_scope(interruption_question ask, void* context)
    : outer_question(question), outer_context(question_context),
      outer_thread(interruptible_thread.load(std::memory_order_relaxed))
{
    question = ask;
    question_context = context;
    last_time = __rdtsc();
    interruptible_thread.store(pthread_self(), std::memory_order_relaxed);
}

interruption_scope::~interruption_scope()
{
    interruptible_thread.store(outer_thread, std::memory_order_relaxed);
    question = outer_question;
    question_context = outer_context;
}

} // namespace numerical::detail
