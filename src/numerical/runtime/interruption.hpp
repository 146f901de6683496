#pragma once

// How a call that takes long is ended before it is done, as by Ctrl-C. Whoever makes the call opens
// an interruption_scope with a question; the engine asks it at intervals on the calling thread,
// only between loops, where no worker runs anything of the call. To end the call the question
// throws.
//
// One thread of the process at a time can be interrupted. For all others, and without a scope, a
// look costs the reading of one number.

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace numerical::detail {

// A question throws classes derived from this, which the engine never catches: it is no failure
// of an operand, which a loop over many of them would note and go on.
struct interruption
{
};

using interruption_question = void (*)(void* context);

// The thread that has a scope; 0 for none.
inline constinit std::atomic<pthread_t> interruptible_thread{0};

inline bool may_be_interrupted()
{
    const pthread_t thread = interruptible_thread.load(std::memory_order_relaxed);
    return thread != 0 && thread == pthread_self();
}

// Asks if the last time is long enough ago, about 30 to 60 milliseconds. For the thread of the
// scope.
void ask_if_due();

// For the joints of what takes long and runs no loop of parallel_for, which looks by itself.
inline void look_for_interruption()
{
    if (may_be_interrupted())
        ask_if_due();
}

// Makes the calling thread the one that is asked, until the end of the scope; scopes of one thread
// may be nested, as where a question itself makes such a call. The question must be one that can be
// asked in the middle of a call; the scope is no longer in force meanwhile.
class interruption_scope
{
public:
    interruption_scope(interruption_question ask, void* context);
    interruption_scope(const interruption_scope&) = delete;
    interruption_scope& operator=(const interruption_scope&) = delete;
    ~interruption_scope();

private:
    interruption_question outer_question;
    void* outer_context;
    pthread_t outer_thread;
};

// While it lives, the calling thread isn't asked.
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
