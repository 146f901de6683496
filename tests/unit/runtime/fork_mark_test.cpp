#include "numerical/runtime/fork_mark.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using numerical::detail::fork_mark;

// What a forked child finds, without running anything of the test framework.
template <class F>
bool in_child(const F& question)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(question() ? 1 : 0);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status) == 1;
}

class fork_mark_by : public testing::TestWithParam<bool>
{
};

TEST_P(fork_mark_by, holds_in_its_process_and_in_no_child_of_that)
{
    const fork_mark mark(GetParam());
    EXPECT_TRUE(mark.in_marked_process());
    EXPECT_FALSE(in_child([&] { return mark.in_marked_process(); }));
    EXPECT_FALSE(in_child([&] { return in_child([&] { return mark.in_marked_process(); }); }));
    EXPECT_TRUE(mark.in_marked_process());
}

TEST_P(fork_mark_by, of_a_child_holds_there)
{
    EXPECT_TRUE(in_child([] { return fork_mark(GetParam()).in_marked_process(); }));
}

INSTANTIATE_TEST_SUITE_P(memory_or_process_id, fork_mark_by, testing::Bool());

} // namespace
