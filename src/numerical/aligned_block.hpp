#pragma once

// Memory that a thread keeps for its panels and its scratch. It begins on a line of 64 bytes; a
// large block lies on huge pages of its own. On pages of 4 KiB large products take 1 to 3 % longer:
// a panel spans more of them than L1's translation buffer holds.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/storage.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {

constexpr std::size_t huge_page_bytes = std::size_t{2} << 20;

// A block of this many bytes or more is large.
constexpr std::size_t least_on_huge_pages = std::size_t{256} << 10;

// Elements of any value.
template <class T>
class aligned_block
{
public:
    aligned_block() = default;

    explicit aligned_block(std::size_t count) : store(uninitialized<T>(with_room(count)))
    {
        if (is_large())
            advise_whole_pages(store.data(), store.size() * sizeof(T));
    }

    // The elements that there is room for.
    std::size_t size() const { return store.empty() ? 0 : store.size() - alignment() / sizeof(T); }

    T* data()
    {
        const auto address = reinterpret_cast<std::uintptr_t>(store.data());
        return reinterpret_cast<T*>((address + alignment() - 1) & ~(alignment() - 1));
    }

private:
    aligned_vector<T> store;

    // With what is skipped before the first boundary; large blocks end with a whole page.
    static std::size_t with_room(std::size_t count)
    {
        if (count < least_on_huge_pages / sizeof(T))
            return count + line_elements<T>;
        constexpr std::size_t page = huge_page_bytes / sizeof(T);
        return round_up(count, page) + page;
    }

    bool is_large() const { return store.size() * sizeof(T) >= 2 * huge_page_bytes; }

    std::size_t alignment() const { return is_large() ? huge_page_bytes : line_bytes; }
};

} // namespace numerical::detail
