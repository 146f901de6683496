#pragma once

// Interruption of long calls, as by Ctrl-C. The caller opens an interruption_scope with a check,
// which the engine calls at intervals on the calling thread, only between loops, when no worker
// runs any part of the call. To end the call the check throws.
//
// One thread of the process at a time can be interrupted. On all others, and without a scope, an
// opportunity to check costs the reading of one number.

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace numerical::detail {

// Base of the classes that a check throws. The engine never catches it: it is no failure of an
// operand, which a loop over many operands would record before it continues.
struct interruption
{
};

using interruption_check = void (*)(void* context);

// The thread that has a scope; 0 for none.
inline constinit std::atomic<pthread_t> interruptible_thread{0};

inline bool may_be_interrupted()
{
    const pthread_t thread = interruptible_thread.load(std::memory_order_relaxed);
    return thread != 0 && thread == pthread_self();
}

// Calls the check if the last call was long enough ago, about 30 to 60 milliseconds. Only for the
// thread of the scope.
void check_if_due();

// For steps of long methods that run no loop of parallel_for, which checks by itself.
inline void check_for_interruption()
{
    if (may_be_interrupted())
        check_if_due();
}

// Makes the calling thread the interruptible one until the end of the scope. Scopes of one thread
// may be nested, as when a check itself makes such a call. The check runs in the middle of a call,
// while the scope is suspended.
class interruption_scope
{
public:
    interruption_scope(interruption_check function, void* context);
    interruption_scope(const interruption_scope&) = delete;
    interruption_scope& operator=(const interruption_scope&) = delete;
    ~interruption_scope();

private:
    interruption_check outer_check;
    void* outer_context;
    pthread_t outer_thread;
};

// Suspends the checks on the calling thread for its lifetime.
class interruption_pause
{
public:
    interruption_pause() : thread(may_be_interrupted() ? pthread_self() : 0)
    {
        if (thread != 0)
            interruptible_thread.store(0, std::memory_order_relaxed);
    }

    interruption_pause(const interruption_pause&) = delete;
    interruption_pause& operator=(const interruption_pause&) = delete;

    ~interruption_pause()
    {
        if (thread != 0)
            interruptible_thread.store(thread, std::memory_order_relaxed);
    }

private:
    pthread_t thread;
};

} // namespace numerical::detail
