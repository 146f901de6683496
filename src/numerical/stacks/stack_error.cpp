#include "numerical/stacks/stack_error.hpp"

#include <utility>

namespace numerical {
namespace {

std::string text_of(const std::exception_ptr& failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

} // namespace

stack_error::stack_error(std::size_t failing_index, std::exception_ptr failure)
    : place(failing_index),
      failure_of_one(std::move(failure)), // NOLINT: a member that holds an exception, not a throw
      text(text_of(failure_of_one))
{
}

void detail::first_failure::keep(std::size_t index, std::exception_ptr failure)
{
    const std::lock_guard<std::mutex> held(lock);
    if (index >= lowest.load(std::memory_order_relaxed))
        return;
    lowest.store(index, std::memory_order_relaxed);
    cause = std::move(failure);
}

void detail::first_failure::rethrow() const
{
    if (cause != nullptr)
        throw stack_error(lowest.load(std::memory_order_relaxed), cause);
}

} // namespace numerical
