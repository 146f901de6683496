#include "numerical/stacks/stack_error.hpp"

#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>

namespace {

using numerical::stack_error;
using numerical::detail::first_failure;

TEST(first_failure, is_that_of_the_lowest_index)
{
    first_failure failures;
    for (const std::size_t index : {5, 2, 7})
        failures.attempt(index, [&] { throw std::runtime_error(std::to_string(index)); });
    try {
        failures.rethrow();
        FAIL() << "nothing was thrown";
    } catch (const stack_error& failure) {
        EXPECT_EQ(failure.index(), 2u);
        EXPECT_STREQ(failure.what(), "2");
    }
}

TEST(first_failure, lets_lack_of_memory_pass_as_no_failure_of_a_matrix)
{
    first_failure failures;
    EXPECT_THROW(failures.attempt(3, [] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_NO_THROW(failures.rethrow());
}

} // namespace
