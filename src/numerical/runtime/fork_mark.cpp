#include "numerical/runtime/fork_mark.hpp"

#include <sys/mman.h>
#include <unistd.h>

namespace numerical::detail {
namespace {

// A page that a child sees full of zeros; null if there is none to be had.
char* page_cleared_by_fork(std::size_t size)
{
    void* const page =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return nullptr;
    if (madvise(page, size, MADV_WIPEONFORK) == 0)
        return static_cast<char*>(page);
    munmap(page, size);
    return nullptr;
}

} // namespace

fork_mark::fork_mark(bool by_memory)
    : page_size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), process(getpid())
{
    mark = by_memory ? page_cleared_by_fork(page_size) : nullptr;
    if (mark != nullptr)
        *mark = 1;
}

fork_mark::~fork_mark()
{
    if (mark != nullptr)
        munmap(const_cast<char*>(mark), page_size);
}

bool fork_mark::in_marked_process() const
{
    return mark != nullptr ? *mark != 0 : process == getpid();
}

} // namespace numerical::detail
