#pragma once

// Whether this process is the one that made an object, or a child forked from it. A loop asks at
// its start, so the answer is a byte that the kernel clears in every child, and no system call.

#include <cstddef>
#include <sys/types.h>

namespace numerical::detail {

class fork_mark
{
public:
    // Marks the calling process. Kernels before 4.14 can't clear memory in a child; there, and
    // where `by_memory` is false, process ids are compared.
    explicit fork_mark(bool by_memory = true);
    fork_mark(const fork_mark&) = delete;
    fork_mark& operator=(const fork_mark&) = delete;
    ~fork_mark();

    bool in_marked_process() const;

private:
    volatile char* mark; // alone on its page; null where process ids are compared
    std::size_t page_size;
    pid_t process;
};

} // namespace numerical::detail
