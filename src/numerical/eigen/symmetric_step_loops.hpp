#pragma once

// The pass of symmetric_step.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/eigen/symmetric_step.hpp"

namespace numerical::detail {
namespace {

// The numbers of some rows, each in all lanes.
template <class Lanes, std::size_t count>
struct row_factors
{
    typename Lanes::vector of[count];

    explicit row_factors(const double* numbers)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            of[i] = Lanes::all(numbers[i]);
    }
};

// `count` rows of the matrix from row r on, the first at `a`, with the block at the diagonal from
// column `diagonal` on. sums[i] is row i's product with x in its lanes.
template <class Lanes, std::size_t count>
void step_in_rows(double* a, const step_rows& rows, std::size_t r, std::size_t diagonal,
                  const step_vectors& vectors, typename Lanes::vector* sums)
{
    using vector = typename Lanes::vector;
    const auto [v, w, x, y] = vectors;
    const std::size_t stride = rows.stride; // not read again after each store
    const std::size_t cols = rows.cols;
    const row_factors<Lanes, count> row_v(v + r);
    const row_factors<Lanes, count> row_w(w + r);
    const row_factors<Lanes, count> row_x(x + r);
    vector own[count];
    vector entries[count];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        own[i] = Lanes::zero();
    const auto update = [&](std::size_t j) {
        const vector column_v = Lanes::load(v + j);
        const vector column_w = Lanes::load(w + j);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            double* const at = a + i * stride + j;
            const vector half = Lanes::less(Lanes::load(at), row_v.of[i], column_w);
            entries[i] = Lanes::less(half, row_w.of[i], column_v);
            Lanes::store(at, entries[i]);
        }
        const vector with = Lanes::load(x + j);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            own[i] = Lanes::more(own[i], entries[i], with);
    };
    std::size_t j = diagonal;
#pragma GCC unroll 4
    for (std::size_t c = 0; c < step_block; c += Lanes::width, j += Lanes::width)
        update(j);
    for (; j < cols; j += Lanes::width) {
        update(j);
        vector gain = Lanes::times(row_x.of[0], entries[0]);
#pragma GCC unroll 8
        for (std::size_t i = 1; i < count; ++i)
            gain = Lanes::more(gain, row_x.of[i], entries[i]);
        Lanes::store(y + j, Lanes::plus(Lanes::load(y + j), gain));
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        sums[i] = own[i];
}

// `together` rows are in registers at a time.
template <class Lanes, std::size_t together>
void symmetric_step(const step_rows& rows, const step_vectors& vectors)
{
    constexpr std::size_t width = Lanes::width;
    for (std::size_t b = rows.from; b < rows.to; b += step_block) {
        typename Lanes::vector sums[step_block / width][width];
        auto* const by_row = &sums[0][0];
        for (std::size_t i = 0; i < step_block; i += together)
            step_in_rows<Lanes, together>(rows.matrix + (b + i) * rows.stride, rows, b + i, b,
                                          vectors, by_row + i);
        for (std::size_t c = 0; c < step_block / width; ++c) {
            double* const y = vectors.y + b + c * width;
            Lanes::store(y, Lanes::plus(Lanes::load(y), Lanes::sums_of(sums[c])));
        }
    }
}

} // namespace
} // namespace numerical::detail
