#pragma once

// An edge tile by way of a small buffer. Included by kernel files: no library headers but
// <cstddef>.

#include <cstddef>

namespace numerical::detail {
namespace {

// Runs tile(c, ldc), which works on MR × NR elements, on a copy of the rows × cols block at c. What
// the tile does to the rest of the copy is thrown away.
template <std::size_t MR, std::size_t NR, class F>
inline void through_edge(double* c, std::size_t ldc, std::size_t rows, std::size_t cols,
                         const F& tile)
{
    if (rows == MR && cols == NR)
        return tile(c, ldc);
    alignas(64) double buffer[MR * NR] = {};
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t j = 0; j < cols; ++j)
            buffer[r * NR + j] = c[r * ldc + j];
    tile(buffer, NR);
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t j = 0; j < cols; ++j)
            c[r * ldc + j] = buffer[r * NR + j];
}

} // namespace
} // namespace numerical::detail
