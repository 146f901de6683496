#pragma once

// Arithmetic on counts, and the cache line that many of them come from. Free of everything else, so
// that kernel files may include it.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t line_bytes = 64;

// The elements of a cache line.
template <class T>
constexpr std::size_t line_elements = line_bytes / sizeof(T);

// n/d rounded up, for any n and d > 0.
constexpr std::size_t ceil_div(std::size_t n, std::size_t d)
{
    return n / d + (n % d != 0 ? 1 : 0);
}

// The least multiple of d that is no less than n.
constexpr std::size_t round_up(std::size_t n, std::size_t d)
{
    return ceil_div(n, d) * d;
}

} // namespace numerical::detail
