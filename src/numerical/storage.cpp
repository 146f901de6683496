#include "numerical/storage.hpp"

#include <cstdint>
#include <sys/mman.h>

namespace numerical::detail {

void advise_whole_pages(void* block, std::size_t bytes)
{
    constexpr std::uintptr_t page = std::uintptr_t{2} << 20;
    const auto from = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const auto to = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    if (from < to)
        madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}

} // namespace numerical::detail
