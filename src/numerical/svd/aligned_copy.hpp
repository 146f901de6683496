#pragma once

#include "numerical/gemm/block_view.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical::detail {

constexpr std::size_t line_bytes = 64;

// A copy of the matrix whose rows begin on cache lines, so that a stretch of a row touches no more
// lines than it fills, and lie an odd number of lines apart, so that those of a tile of columns
// spread over all sets of the caches.
template <class T>
class aligned_copy
{
public:
    static constexpr std::size_t line = line_bytes / sizeof(T); // elements of a cache line

    aligned_copy(const std::vector<T>& a, std::size_t n)
        : stride(odd_lines(n) * line), store(uninitialized<T>(n * stride + line))
    {
        const auto address = reinterpret_cast<std::uintptr_t>(store.data());
        first = store.data() + (line_bytes - address % line_bytes) % line_bytes / sizeof(T);
        for (std::size_t i = 0; i < n; ++i)
            std::copy_n(a.data() + i * n, n, first + i * stride);
    }

    block_view<T> view(std::size_t n) { return {first, n, n, stride}; }

private:
    static std::size_t odd_lines(std::size_t n) { return (n + line - 1) / line | 1; }

    std::size_t stride;
    std::vector<T> store;
    T* first;
};

} // namespace numerical::detail
