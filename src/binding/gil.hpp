#pragma once

// The interpreter lock, released for the duration of a kernel.

#include "binding/python.hpp"

#include <cstddef>
#include <cxxabi.h>
#include <exception>
#include <unistd.h>
#include <utility>

namespace marlinth::binding {

// From this many elements of the principal operand a kernel runs without the lock. Below, releasing
// it costs more than other threads gain.
constexpr std::size_t gil_release_threshold = 4096;

// Releases the lock if `wanted`, and acquires it again at the end of the scope or before. In
// between no Python object may be touched.
//
// A thread that acquires the lock after the end of the interpreter doesn't return: CPython up to
// 3.13 ends it by pthread_exit, which unwinds the stack. So the destructor must let a forced unwind
// pass. If it runs because of a C++ exception, a second one can't pass; the thread then waits for
// the end of the process instead, as CPython 3.14 does with all such threads.
class gil_release
{
public:
    explicit gil_release(bool wanted)
        : exceptions(std::uncaught_exceptions()), state(wanted ? PyEval_SaveThread() : nullptr)
    {
    }

    gil_release(const gil_release&) = delete;
    gil_release& operator=(const gil_release&) = delete;

    ~gil_release() noexcept(false) { end(); }

    // While the lock is given up, on the main thread: takes it, runs Python's handlers of the
    // signals that came meanwhile, and gives it up again. False with the error set if a handler
    // raised.
    bool run_signal_handlers()
    {
        PyEval_RestoreThread(state);
        const bool passed = PyErr_CheckSignals() == 0;
        state = PyEval_SaveThread();
        return passed;
    }

    // Acquires the lock now.
    void end()
    {
        PyThreadState* saved = std::exchange(state, nullptr);
        if (saved == nullptr)
            return;
        if (std::uncaught_exceptions() == exceptions)
            PyEval_RestoreThread(saved);
        else
            restore_or_wait(saved);
    }

private:
    int exceptions; // in flight at the start of the scope
    PyThreadState* state;

    // The handler's reference is bound to nothing, as a forced unwind has no object.
    [[gnu::noinline]] __attribute__((no_sanitize("null"))) static void
    restore_or_wait(PyThreadState* saved)
    {
        try {
            PyEval_RestoreThread(saved);
        } catch (const abi::__forced_unwind&) {
            for (;;)
                pause();
        }
    }
};

} // namespace marlinth::binding
