#pragma once

#include <cstddef>
#include <cstdint>

namespace numerical::detail {

// The elements before `out` lies on a vector's boundary: stores that cross lines of the cache cost
// a tenth of a long row's time.
template <class T>
std::size_t before_boundary(const T* out, std::size_t n)
{
    constexpr std::size_t vector = 32;
    constexpr std::size_t long_row = 256;
    const std::size_t past = reinterpret_cast<std::uintptr_t>(out) % vector;
    return n < long_row || past % sizeof(T) != 0 ? 0 : (vector - past) % vector / sizeof(T);
}

} // namespace numerical::detail
