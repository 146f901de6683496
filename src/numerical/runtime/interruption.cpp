#include "numerical/runtime/interruption.hpp"

#include <x86intrin.h>

namespace numerical::detail {
namespace {

// Long enough that a check which waits some milliseconds for the interpreter lock hardly adds to
// the time of the call.
constexpr std::uint64_t interval = std::uint64_t{1} << 27; // ticks of the time stamp counter

// The state of the thread in interruptible_thread, which alone reads and writes it.
constinit interruption_check check = nullptr;
constinit void* check_context = nullptr;
constinit std::uint64_t last_time = 0;

} // namespace

void check_if_due()
{
    if (__rdtsc() - last_time < interval)
        return;
    {
        const interruption_pause paused;
        check(check_context);
    }
    last_time = __rdtsc();
}

interruption_scope::interruption_scope(interruption_check function, void* context)
    : outer_check(check), outer_context(check_context),
      outer_thread(interruptible_thread.load(std::memory_order_relaxed))
{
    check = function;
    check_context = context;
    last_time = __rdtsc();
    interruptible_thread.store(pthread_self(), std::memory_order_relaxed);
}

interruption_scope::~interruption_scope()
{
    interruptible_thread.store(outer_thread, std::memory_order_relaxed);
    check = outer_check;
    check_context = outer_context;
}

} // namespace numerical::detail
