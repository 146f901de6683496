#pragma once

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace numerical::detail {

// An n × n matrix whose rows begin on cache lines, so that a run of a row touches no more lines
// than it fills, and lie an odd number of lines apart, so that those of a tile of columns spread
// over all sets of the caches.
template <class T>
class aligned_rows
{
public:
    static constexpr std::size_t line = line_elements<T>;

    // The capacity a vector needs for its rows to be padded in place.
    static std::size_t room(std::size_t n) { return n * spread_stride<T>(n) + line; }

    aligned_rows(aligned_vector<T> a, std::size_t n) : stride(spread_stride<T>(n))
    {
        if (a.capacity() >= room(n)) {
            store.swap(a); // which leaves `a` empty, as a move need not
            store.resize(room(n));
        } else {
            store = uninitialized<T>(room(n));
        }
        const T* const rows = a.empty() ? store.data() : a.data();
        const auto address = reinterpret_cast<std::uintptr_t>(store.data());
        first = store.data() + (line_bytes - address % line_bytes) % line_bytes / sizeof(T);
        for (std::size_t i = n; i-- > 0;)
            std::copy_backward(rows + i * n, rows + (i + 1) * n, first + i * stride + n);
    }

    block_view<T> view(std::size_t n)
    {
        return {.first = first, .rows = n, .cols = n, .stride = stride};
    }

private:
    std::size_t stride;
    aligned_vector<T> store;
    T* first;
};

} // namespace numerical::detail
