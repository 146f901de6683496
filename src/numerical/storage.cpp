#include "numerical/storage.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

namespace numerical::detail {
namespace {

constexpr std::size_t most_kept = std::size_t{32} << 20; // the upper bound of M_MMAP_THRESHOLD

// The pages that lie wholly within a block; none if `to` isn't beyond `from`.
struct whole_pages
{
    char* from;
    char* to;

    whole_pages(void* block, std::size_t bytes, std::size_t page)
    {
        const auto first = reinterpret_cast<std::uintptr_t>(block);
        from = reinterpret_cast<char*>((first + page - 1) & ~(page - 1));
        to = reinterpret_cast<char*>((first + bytes) & ~(page - 1));
    }

    std::size_t size() const { return static_cast<std::size_t>(to - from); }
};

} // namespace

void advise_whole_pages(void* block, std::size_t bytes)
{
    const whole_pages inside(block, bytes, std::size_t{2} << 20);
    if (inside.from < inside.to)
        madvise(inside.from, inside.size(), MADV_HUGEPAGE);
}

void keep_freed_blocks()
{
    // With its header and rounded up to pages the block must not be larger than the bound. No page
    // of it is touched. A compiler may leave out an allocation that nothing observes.
    void* volatile block = std::malloc(most_kept - (std::size_t{8} << 10));
    std::free(block);
}

void clear_new_block(void* block, std::size_t bytes)
{
    if (bytes == 0)
        return;
    const whole_pages inside(block, bytes, std::size_t{4} << 10);
    char* end = static_cast<char*>(block) + bytes;
    // Private pages that have been given back are zero when they are next touched, fresh or not.
    if (bytes < most_kept || madvise(inside.from, inside.size(), MADV_DONTNEED) != 0) {
        std::memset(block, 0, bytes);
        return;
    }
    std::memset(block, 0, static_cast<std::size_t>(inside.from - static_cast<char*>(block)));
    std::memset(inside.to, 0, static_cast<std::size_t>(end - inside.to));
}

} // namespace numerical::detail
