#pragma once

// The passes of bidiagonal_step.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/svd/bidiagonal_step.hpp"
#include "numerical/svd/bidiagonal_step_numbers.hpp"

namespace numerical::detail {
namespace {

// The sums of eight lanes of column after column.
template <class Lanes>
using lane_sums = typename Lanes::vector[step_row_block][step_row_block / Lanes::width];

// Each taken by halves, whatever the width.
template <class Lanes>
inline void fold_lanes(const lane_sums<Lanes>& lines, double* sums)
{
    using vector = typename Lanes::vector;
    constexpr std::size_t width = Lanes::width;
    constexpr std::size_t count = step_row_block / width;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < step_row_block; i += width) {
        vector part[count];
#pragma GCC unroll 8
        for (std::size_t h = 0; h < count; ++h) {
            vector rows[width];
#pragma GCC unroll 8
            for (std::size_t r = 0; r < width; ++r)
                rows[r] = lines[i + r][h];
            part[h] = Lanes::sums_of(rows);
        }
        for (std::size_t left = count; left > 1; left /= 2)
            for (std::size_t h = 0; h < left / 2; ++h)
                part[h] = Lanes::plus(part[2 * h], part[2 * h + 1]);
        Lanes::store(sums + i, part[0]);
    }
}

// `together` columns have their factors and sums in registers at a time.
template <class Numbers, std::size_t together>
void update_tile(const step_tile& tile, const step_columns& columns, const step_rows& rows,
                 double* sums)
{
    constexpr std::size_t parts = Numbers::parts;
    constexpr std::size_t width = Numbers::lanes::width;
    constexpr std::size_t column = parts * step_row_block; // doubles of a block
    const auto [u, x, next] = columns;
    const std::size_t end = parts * tile.rows;
    lane_sums<typename Numbers::lanes> lines;
    for (std::size_t from = 0; from < step_block_doubles / column; from += together) {
        Numbers y[together];
        Numbers v[together];
        Numbers sum[step_row_block / width][together];
#pragma GCC unroll 8
        for (std::size_t c = 0; c < together; ++c) {
            y[c] = Numbers::all(rows.y + parts * (from + c));
            v[c] = Numbers::all(rows.v + parts * (from + c));
#pragma GCC unroll 4
            for (auto& of_lanes : sum)
                of_lanes[c] = Numbers::zero();
        }
        double* block = tile.first + from * column;
        for (std::size_t i = 0; i < end; i += column, block += step_block_doubles)
#pragma GCC unroll 4
            for (std::size_t h = 0; h < step_row_block / width; ++h) {
                const Numbers of_u = Numbers::load(u + i + h * width);
                const Numbers of_x = Numbers::load(x + i + h * width);
                const Numbers of_next = Numbers::load(next + i + h * width);
#pragma GCC unroll 8
                for (std::size_t c = 0; c < together; ++c) {
                    double* const at = block + c * column + h * width;
                    Numbers entries = Numbers::load(at);
                    entries.subtract_product(of_u, y[c]);
                    entries.subtract_product(of_x, v[c]);
                    entries.store(at);
                    sum[h][c].add_adjoint_product(of_next, entries);
                }
            }
#pragma GCC unroll 8
        for (std::size_t c = 0; c < together; ++c)
#pragma GCC unroll 4
            for (std::size_t h = 0; h < step_row_block / width; ++h)
                sum[h][c].put(&lines[parts * (from + c)], h);
    }
    fold_lanes<typename Numbers::lanes>(lines, sums);
}

// Backwards, as the end of a tile that exceeds L1 is still there.
template <class Numbers>
void multiply_tile(const step_tile& tile, const double* weights, double* products)
{
    constexpr std::size_t parts = Numbers::parts;
    constexpr std::size_t width = Numbers::lanes::width;
    constexpr std::size_t column = parts * step_row_block;
    constexpr std::size_t count = step_block_doubles / column;
    Numbers weight[count];
#pragma GCC unroll 8
    for (std::size_t c = 0; c < count; ++c)
        weight[c] = Numbers::all(weights + parts * c);
    for (std::size_t b = tile.rows / step_row_block; b-- > 0;)
#pragma GCC unroll 4
        for (std::size_t h = 0; h < step_row_block / width; ++h) {
            const double* const block = tile.first + b * step_block_doubles + h * width;
            Numbers even = Numbers::load(products + b * column + h * width);
            Numbers odd = Numbers::zero();
#pragma GCC unroll 8
            for (std::size_t c = 0; c < count; c += 2) {
                even.add_product(Numbers::load(block + c * column), weight[c]);
                odd.add_product(Numbers::load(block + (c + 1) * column), weight[c + 1]);
            }
            even.add(odd);
            even.store(products + b * column + h * width);
        }
}

template <class Numbers>
void follow_column(const step_followed& of, const step_scalars& by, double* x, double* column)
{
    constexpr std::size_t block = Numbers::parts * step_row_block;
    constexpr std::size_t width = Numbers::lanes::width;
    const Numbers share = Numbers::all(by.share_of_first);
    const Numbers along = Numbers::all(by.along);
    const Numbers y = Numbers::all(by.y);
    const Numbers v = Numbers::all(by.v);
    const auto scale = Numbers::lanes::all(by.scale);
    const auto two = Numbers::lanes::all(2);
    for (std::size_t i = 0; i < of.rows / step_row_block; ++i)
        for (std::size_t h = 0; h < step_row_block; h += width) {
            const std::size_t at = i * block + h;
            Numbers entries = Numbers::load(of.in_tile + i * step_block_doubles + h);
            const Numbers next = Numbers::load(of.next + at);
            Numbers weighed = Numbers::load(of.products + at);
            weighed.subtract_product(share, entries);
            weighed.multiply(scale);
            weighed.subtract_product(along, next);
            weighed.multiply(two);
            weighed.store(x + at);
            entries.subtract_product(y, next);
            entries.subtract_product(v, weighed);
            entries.store(column + at);
        }
}

} // namespace
} // namespace numerical::detail
