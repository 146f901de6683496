#pragma once

// An edge tile by way of a small buffer. Included by kernel files: no library headers but
// <cstddef>.

#include "numerical/gemm/tile_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Runs tile(c, ldc), which works on MR × NR elements, on a copy of the tile's block of C, or on
// zeros where C is not to be read. The rest of the copy is discarded.
template <std::size_t MR, std::size_t NR, class F>
inline void through_edge(const tile_operands& t, const F& tile)
{
    if (t.rows == MR && t.cols == NR)
        return tile(t.c, t.ldc);
    alignas(64) double buffer[MR * NR] = {};
    if (t.into == into_c::add)
        for (std::size_t r = 0; r < t.rows; ++r)
            for (std::size_t j = 0; j < t.cols; ++j)
                buffer[r * NR + j] = t.c[r * t.ldc + j];
    tile(buffer, NR);
    for (std::size_t r = 0; r < t.rows; ++r)
        for (std::size_t j = 0; j < t.cols; ++j)
            t.c[r * t.ldc + j] = buffer[r * NR + j];
}

} // namespace
} // namespace numerical::detail
