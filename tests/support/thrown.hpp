#pragma once

// What an action throws, so that a test asserts the whole text.

#include <string>

namespace test {

// The text of the exception of class E that `action` throws; any other exception passes on and
// fails the test.
template <class E, class F>
std::string text_thrown_by(F action)
{
    try {
        action();
    } catch (const E& error) {
        return error.what();
    }
    return "nothing was thrown";
}

} // namespace test
