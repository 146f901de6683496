#pragma once

// Release of the interpreter lock for the length of a kernel that Ctrl-C can interrupt.

#include "binding/gil.hpp"
#include "numerical/runtime/computation.hpp"
#include "numerical/runtime/interruption.hpp"

#include <optional>

namespace numerical::boundary {

namespace binding = marlinth::binding;
using binding::gil_release_threshold;

// Releases the lock if `wanted`. On the main thread, the only one on which Python handles signals,
// the engine lets their handlers run at intervals; an exception of a handler ends the call. While
// the lock is released, the pool's workers take it that their next loop comes soon.
class gil_release
{
public:
    explicit gil_release(bool wanted);

    // Takes the lock back now.
    void end()
    {
        checks.reset();
        computation.reset();
        released.end();
    }

private:
    binding::gil_release released;
    std::optional<detail::computation_scope> computation;
    std::optional<detail::interruption_scope> checks; // ends first
};

} // namespace numerical::boundary
