#pragma once

// Vectors of elements that begin on a line of 64 bytes. malloc aligns to 16 bytes, so that a vector
// of eight elements would lie across two lines, and each store of a tile's row would touch both: a
// complex product of order 64 takes a fifth longer, a complex QR of order 256 a seventh.

#include "numerical/counts.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace numerical {
namespace detail {

// Asks std::allocator for a line more than needed and keeps, before the first line boundary, where
// the block began. aligned_alloc would split a block and free its ends at each call: small products
// take 10 to 40 % longer by it.
template <class T>
class line_allocator
{
public:
    using value_type = T;

    line_allocator() = default;

    template <class U>
    line_allocator(const line_allocator<U>&)
    {
    }

    T* allocate(std::size_t count)
    {
        if (is_short(count))
            return std::allocator<T>().allocate(count);
        char* const block = std::allocator<char>().allocate(bytes_of(count));
        const auto address = reinterpret_cast<std::uintptr_t>(block) + sizeof(block);
        const std::size_t skipped = round_up(address, line_bytes) - address + sizeof(block);
        char* const first = block + skipped;
        std::memcpy(first - sizeof(block), &block, sizeof(block));
        return reinterpret_cast<T*>(first);
    }

    void deallocate(T* first, std::size_t count)
    {
        if (is_short(count))
            return std::allocator<T>().deallocate(first, count);
        char* block;
        std::memcpy(&block, reinterpret_cast<char*>(first) - sizeof(block), sizeof(block));
        std::allocator<char>().deallocate(block, bytes_of(count));
    }

    friend bool operator==(const line_allocator&, const line_allocator&) { return true; }

    friend bool operator!=(const line_allocator&, const line_allocator&) { return false; }

private:
    static bool is_short(std::size_t count) { return count < 4 * line_bytes / sizeof(T); }

    static std::size_t bytes_of(std::size_t count) { return count * sizeof(T) + 2 * line_bytes; }
};

} // namespace detail

template <class T>
using aligned_vector = std::vector<T, detail::line_allocator<T>>;

} // namespace numerical
