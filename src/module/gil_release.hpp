#pragma once

// The interpreter lock, given up for the length of a kernel that Ctrl-C can end.

#include "binding/gil.hpp"
#include "numerical/runtime/interruption.hpp"

#include <optional>

namespace numerical::boundary {

namespace binding = marlinth::binding;
using binding::gil_release_threshold;

// Gives the lock up if `wanted`. On the main thread, the only one on which Python handles signals,
// the engine meanwhile lets their handlers run now and then; what a handler raises ends the call.
class gil_release
{
public:
    explicit gil_release(bool wanted);

    // Takes the lock back now.
    void end()
    {
        questions.reset();
        released.end();
    }

private:
    binding::gil_release released;
    std::optional<detail::interruption_scope> questions; // ends first
};

} // namespace numerical::boundary
