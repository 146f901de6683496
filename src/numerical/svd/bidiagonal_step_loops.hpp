#pragma once

// The passes of bidiagonal_step.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/svd/bidiagonal_step.hpp"

namespace numerical::detail {
namespace {

// `together` vectors of a row are in registers at a time, and of `apart` rows the sums.
template <class Lanes, std::size_t parts, std::size_t together, std::size_t apart>
void update_tile(const step_tile& tile, const step_columns& columns, const step_lines& lines,
                 double* sums)
{
    using vector = typename Lanes::vector;
    constexpr std::size_t width = Lanes::width;
    const auto [u, x, next] = columns;
    const std::size_t rows = tile.rows;
    const std::size_t stride = lines.stride;
    for (std::size_t from = 0; from < step_tile_doubles; from += together * width) {
        vector line[2 * parts][together];
        vector sum[apart][parts][together];
#pragma GCC unroll 8
        for (std::size_t c = 0; c < together; ++c) {
#pragma GCC unroll 4
            for (std::size_t t = 0; t < 2 * parts; ++t)
                line[t][c] = Lanes::load(
                    (t < parts ? lines.y + t * stride : lines.v + (t - parts) * stride) + from +
                    c * width);
#pragma GCC unroll 4
            for (std::size_t s = 0; s < apart * parts; ++s)
                sum[s / parts][s % parts][c] = Lanes::zero();
        }
        double* row = tile.first + from;
        for (std::size_t i = 0; i < rows; i += apart)
#pragma GCC unroll 2
            for (std::size_t r = 0; r < apart; ++r, row += step_tile_doubles) {
                const std::size_t at = (i + r) * parts;
                vector entries[together];
#pragma GCC unroll 8
                for (std::size_t c = 0; c < together; ++c)
                    entries[c] = Lanes::load(row + c * width);
#pragma GCC unroll 4
                for (std::size_t t = 0; t < 2 * parts; ++t) {
                    const vector factor = Lanes::all(t < parts ? u[at + t] : x[at + t - parts]);
#pragma GCC unroll 8
                    for (std::size_t c = 0; c < together; ++c)
                        entries[c] = Lanes::less(entries[c], factor, line[t][c]);
                }
#pragma GCC unroll 8
                for (std::size_t c = 0; c < together; ++c)
                    Lanes::store(row + c * width, entries[c]);
#pragma GCC unroll 2
                for (std::size_t p = 0; p < parts; ++p) {
                    const vector factor = Lanes::all(next[at + p]);
#pragma GCC unroll 8
                    for (std::size_t c = 0; c < together; ++c)
                        sum[r][p][c] = Lanes::more(sum[r][p][c], factor, entries[c]);
                }
            }
#pragma GCC unroll 2
        for (std::size_t p = 0; p < parts; ++p)
#pragma GCC unroll 8
            for (std::size_t c = 0; c < together; ++c) {
                vector total = sum[0][p][c];
                if constexpr (apart == 2)
                    total = Lanes::plus(total, sum[1][p][c]);
                Lanes::store(sums + p * step_tile_doubles + from + c * width, total);
            }
    }
}

template <class Lanes, std::size_t parts>
void multiply_tile(const step_tile& tile, const double* weights, double* products,
                   std::size_t stride)
{
    using vector = typename Lanes::vector;
    constexpr std::size_t width = Lanes::width;
    constexpr std::size_t together = step_tile_doubles / width;
    const std::size_t rows = tile.rows;
    for (std::size_t p = 0; p < parts; ++p) {
        vector weight[together];
#pragma GCC unroll 8
        for (std::size_t c = 0; c < together; ++c)
            weight[c] = Lanes::load(weights + p * step_tile_doubles + c * width);
        double* const out = products + p * stride;
        for (std::size_t i = rows; i > 0;) {
            i -= width;
            const double* row = tile.first + i * step_tile_doubles;
            vector sums[width];
#pragma GCC unroll 8
            for (std::size_t r = 0; r < width; ++r, row += step_tile_doubles) {
                sums[r] = Lanes::times(Lanes::load(row), weight[0]);
#pragma GCC unroll 8
                for (std::size_t c = 1; c < together; ++c)
                    sums[r] = Lanes::more(sums[r], Lanes::load(row + c * width), weight[c]);
            }
            Lanes::store(out + i, Lanes::plus(Lanes::load(out + i), Lanes::sums_of(sums)));
        }
    }
}

} // namespace
} // namespace numerical::detail
