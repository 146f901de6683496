#pragma once

// The failure of one matrix of a stack: what the single call on that matrix throws, and where in
// the stack it stands.

#include "numerical/runtime/interruption.hpp"

#include <atomic>
#include <cstddef>
#include <exception>
#include <limits>
#include <mutex>
#include <new>
#include <string>

namespace numerical {

class stack_error : public std::exception
{
public:
    stack_error(std::size_t failing_index, std::exception_ptr failure);

    std::size_t index() const { return place; }

    // The single call's exception.
    const std::exception_ptr& cause() const { return failure_of_one; }

    // The text of the cause.
    const char* what() const noexcept override { return text.c_str(); }

private:
    std::size_t place;
    std::exception_ptr failure_of_one;
    std::string text;
};

namespace detail {

// Collects the failures of a loop over a stack. The first in the order of the stack is kept,
// whatever order threads meet them in: a matrix is passed over only after one before it has failed.
class first_failure
{
public:
    // f(), unless an earlier matrix has failed.
    template <class F>
    void attempt(std::size_t index, const F& f)
    {
        if (index >= lowest.load(std::memory_order_relaxed))
            return;
        try {
            f();
        } catch (const interruption&) {
            throw;
        } catch (const std::bad_alloc&) { // the process's failure, not this matrix's
            throw;
        } catch (...) {
            keep(index, std::current_exception());
        }
    }

    // Throws stack_error if there was a failure. To be called when the loop is over.
    void rethrow() const;

private:
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    std::atomic<std::size_t> lowest{none}; // written under the lock
    std::mutex lock;                       // orders `cause`
    std::exception_ptr cause;

    void keep(std::size_t index, std::exception_ptr failure);
};

} // namespace detail
} // namespace numerical
