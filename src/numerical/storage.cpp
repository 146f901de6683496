#include "numerical/storage.hpp"

#include <cstdint>
#include <cstring>
#include <sys/mman.h>

namespace numerical::detail {
namespace {

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

void clear_new_block(void* block, std::size_t bytes)
{
    constexpr std::size_t always_fresh = std::size_t{32} << 20; // M_MMAP_THRESHOLD's upper bound
    if (bytes == 0)
        return;
    const whole_pages inside(block, bytes, std::size_t{4} << 10);
    char* end = static_cast<char*>(block) + bytes;
    // Private pages that have been given back are zero when they are next touched, fresh or not.
    if (bytes < always_fresh || madvise(inside.from, inside.size(), MADV_DONTNEED) != 0) {
        std::memset(block, 0, bytes);
        return;
    }
    std::memset(block, 0, static_cast<std::size_t>(inside.from - static_cast<char*>(block)));
    std::memset(inside.to, 0, static_cast<std::size_t>(end - inside.to));
}

} // namespace numerical::detail
