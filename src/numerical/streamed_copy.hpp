#pragma once

// Copies into large new blocks past the caches. A plain store first reads its cache line, and the
// written lines evict the source: for a block as large as a core's share of L3 that is a third of a
// copy's traffic and half of a fill's. Non-temporal stores of whole lines read nothing.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace numerical::detail {

// The size in bytes from which on a block is written past the caches.
constexpr std::size_t streamed_block_bytes = std::size_t{10} << 20;

void stream_bytes(const void* from, std::size_t bytes, void* to);

// Repeats 16 bytes; `to` is aligned to 8 bytes, and to 16 if the halves differ.
void stream_pattern(const void* pattern, std::size_t bytes, void* to);

// Writes parts of a new block of this many elements; returns the end of what it wrote.
template <class T>
class block_writer
{
    static_assert(std::is_trivially_copyable_v<T> && (sizeof(T) == 8 || sizeof(T) == 16));

public:
    explicit block_writer(std::size_t elements)
        : streams(elements >= streamed_block_bytes / sizeof(T))
    {
    }

    T* copy(const T* from, std::size_t count, T* to) const
    {
        if (streams)
            stream_bytes(from, count * sizeof(T), to);
        else
            std::copy_n(from, count, to);
        return to + count;
    }

    T* fill(const T& value, std::size_t count, T* to) const
    {
        if (!streams)
            return std::fill_n(to, count, value);
        constexpr std::size_t times = 16 / sizeof(T);
        T pattern[times];
        std::fill_n(pattern, times, value);
        stream_pattern(pattern, count * sizeof(T), to);
        return to + count;
    }

private:
    bool streams;
};

} // namespace numerical::detail
