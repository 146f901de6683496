#include "numerical/storage.hpp"

#include <cstdint>
#include <sys/mman.h>

namespace numerical::detail {

void advise_huge_pages(void* block, std::size_t bytes)
{
    constexpr std::size_t least = std::size_t{4} << 20;
    constexpr std::uintptr_t page = std::uintptr_t{2} << 20;
    if (bytes < least)
        return;
    const auto from = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const auto to = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    if (from < to)
        madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}

} // namespace numerical::detail
