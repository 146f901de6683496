#pragma once

// The complex pass of symmetric_step.hpp for vectors of any width. For the kernels' own sources
// only: unnamed, as the vectors are.

#include "numerical/eigen/symmetric_step.hpp"
#include "numerical/gemm/kernels/complex_sums.hpp"

namespace numerical::detail {
namespace {

// The parts of some rows' numbers, which are given conjugated, each in all lanes.
template <class Lanes, std::size_t count>
struct complex_row_factors
{
    typename Lanes::vector re[count];
    typename Lanes::vector im[count];

    explicit complex_row_factors(const double* conjugates)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            re[i] = Lanes::all(conjugates[2 * i]);
            im[i] = Lanes::all(-conjugates[2 * i + 1]);
        }
    }
};

// The same as factors of whole numbers: re·z + im·swapped(z) is the product with z.
template <class Lanes, std::size_t count>
struct complex_row_multipliers
{
    typename Lanes::vector re[count];
    typename Lanes::vector im[count];

    explicit complex_row_multipliers(const double* conjugates)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            re[i] = Lanes::all(conjugates[2 * i]);
            im[i] = Lanes::alternating(-conjugates[2 * i + 1]);
        }
    }
};

// `count` rows of the matrix from row r on, the first at `a`, with the block at the diagonal from
// column `diagonal` on. y gains the rows' products with x after the columns' part.
template <class Lanes, std::size_t count>
void hermitian_step_in_rows(double* a, const step_rows& rows, std::size_t r, std::size_t diagonal,
                            const step_vectors& vectors)
{
    using vector = typename Lanes::vector;
    const auto [v, w, x, y] = vectors;
    const std::size_t stride = 2 * rows.stride; // not read again after each store
    const std::size_t end = 2 * rows.cols;
    double* const z = y + end;
    const complex_row_multipliers<Lanes, count> row_v(v + 2 * r);
    const complex_row_multipliers<Lanes, count> row_w(w + 2 * r);
    const complex_row_factors<Lanes, count> row_x(x + 2 * r);
    complex_sums<Lanes> own[count];
    vector entries[count];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        own[i].clear();
    const auto update = [&](std::size_t j) {
        const vector column_v = Lanes::load(v + j);
        const vector column_w = Lanes::load(w + j);
        const vector swapped_v = Lanes::swapped(column_v);
        const vector swapped_w = Lanes::swapped(column_w);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            double* const at = a + i * stride + j;
            vector entry = Lanes::less(Lanes::load(at), row_v.re[i], column_w);
            entry = Lanes::less(entry, row_v.im[i], swapped_w);
            entry = Lanes::less(entry, row_w.re[i], column_v);
            entries[i] = Lanes::less(entry, row_w.im[i], swapped_v);
            Lanes::store(at, entries[i]);
        }
        const vector with = Lanes::load(x + j);
        const vector swapped = Lanes::swapped(with);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            own[i].add(entries[i], with, swapped);
    };
    std::size_t j = 2 * diagonal;
#pragma GCC unroll 8
    for (std::size_t c = 0; c < 2 * step_block; c += Lanes::width, j += Lanes::width)
        update(j);
    for (; j < end; j += Lanes::width) {
        update(j);
        vector by_re = Lanes::load(y + j);
        vector by_im = Lanes::load(z + j);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            by_re = Lanes::more(by_re, row_x.re[i], entries[i]);
            by_im = Lanes::more(by_im, row_x.im[i], entries[i]);
        }
        Lanes::store(y + j, by_re);
        Lanes::store(z + j, by_im);
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) {
        const std::complex<double> dot = own[i].conjugate_dot();
        y[2 * (r + i)] += dot.real();
        y[2 * (r + i) + 1] += dot.imag();
    }
}

// `together` rows are in registers at a time.
template <class Lanes, std::size_t together>
void hermitian_step(const step_rows& rows, const step_vectors& vectors)
{
    for (std::size_t r = rows.from; r < rows.to; r += together)
        hermitian_step_in_rows<Lanes, together>(rows.matrix + 2 * r * rows.stride, rows, r,
                                                r - r % step_block, vectors);
}

} // namespace
} // namespace numerical::detail
