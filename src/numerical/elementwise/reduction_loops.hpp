#pragma once

// The loops behind reduction_kernels.hpp, plain C++ that the compiler turns into vector code for
// the target that includes them. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/reduction_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// sums[k] += the numbers of column k of `rows` rows, `step` apart, one after the other.
template <std::size_t rows>
void add_rows(double* __restrict sums, const double* __restrict first, std::size_t step,
              std::size_t width)
{
    for (std::size_t k = 0; k < width; ++k) {
        double sum = sums[k];
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            sum += first[r * step + k];
        sums[k] = sum;
    }
}

// out[k] = ((r0 + r1) + (r2 + r3)) + ((r4 + r5) + (r6 + r7)) of eight rows, `step` apart.
void fold_rows(double* __restrict out, const double* __restrict row, std::size_t step,
               std::size_t width)
{
    for (std::size_t k = 0; k < width; ++k)
        out[k] =
            ((row[k] + row[step + k]) + (row[2 * step + k] + row[3 * step + k])) +
            ((row[4 * step + k] + row[5 * step + k]) + (row[6 * step + k] + row[7 * step + k]));
}

// Adds the rows from 8 on up to the last multiple of eight to eight rows of accumulators. Row by
// row, so that memory is read in its order; wide rows three at a time, whose accumulators then need
// not be read and written for each. Narrow rows that lie close are one long row.
void accumulate_rows(const row_block& block, double* accumulators)
{
    const std::size_t stride = block.stride;
    const std::size_t width = block.width;
    const std::size_t last = block.rows / 8 * 8;
    std::size_t i = 8;
    if (stride == width && width < 64) {
        for (; i < last; i += 8)
            add_rows<1>(accumulators, block.first + i * stride, 0, 8 * width);
        return;
    }
    for (; i + 24 <= last; i += 24)
        for (std::size_t j = 0; j < 8; ++j)
            add_rows<3>(accumulators + j * width, block.first + (i + j) * stride, 8 * stride,
                        width);
    for (; i < last; ++i)
        add_rows<1>(accumulators + i % 8 * width, block.first + i * stride, 0, width);
}

void short_column_sums(const row_block& block, double* sums, double* scratch)
{
    const std::size_t width = block.width;
    const std::size_t full = block.rows / 8 * 8;
    if (full == 0) {
        for (std::size_t k = 0; k < width; ++k)
            sums[k] = 0.0;
    } else if (full == 8) {
        fold_rows(sums, block.first, block.stride, width);
    } else {
        for (std::size_t j = 0; j < 8; ++j)
            __builtin_memcpy(scratch + j * width, block.first + j * block.stride,
                             width * sizeof(double));
        accumulate_rows(block, scratch);
        fold_rows(sums, scratch, width, width);
    }
    for (std::size_t i = full; i < block.rows; ++i)
        add_rows<1>(sums, block.first + i * block.stride, 0, width);
}

void column_sums(const row_block& block, double* sums, double* scratch)
{
    if (block.rows <= pairwise_limit) {
        short_column_sums(block, sums, scratch);
        return;
    }
    const std::size_t half = pairwise_half(block.rows);
    const auto [first, rows, stride, width] = block;
    double* right = scratch;
    column_sums({first, half, stride, width}, sums, scratch + width);
    column_sums({first + half * stride, rows - half, stride, width}, right, scratch + width);
    add_rows<1>(sums, right, 0, width);
}

struct lesser
{
    static bool wins(double x, double y) { return x < y; }
};

struct greater
{
    static bool wins(double x, double y) { return x > y; }
};

constexpr std::size_t lanes = 8;

unsigned long nan_mask(double x)
{
    return x != x ? ~0UL : 0UL;
}

// Goes on with `blocks` blocks of eight in `parts` neighbouring runs at once, for independent
// chains of comparisons. Equal numbers keep their order, as the runs are merged in theirs.
template <class C, std::size_t parts>
void meet_blocks(const double* p, std::size_t blocks, double* best, unsigned long* flags)
{
    const std::size_t run = blocks / parts * lanes;
    double found[parts * lanes];
    for (std::size_t s = 0; s < parts; ++s)
        for (std::size_t j = 0; j < lanes; ++j)
            found[s * lanes + j] = s == 0 ? best[j] : p[s * run + j];
    for (std::size_t i = 0; i < run; i += lanes)
        for (std::size_t s = 0; s < parts; ++s)
            for (std::size_t j = 0; j < lanes; ++j) {
                const double x = p[s * run + i + j];
                double& kept = found[s * lanes + j];
                kept = C::wins(x, kept) ? x : kept;
                flags[j] |= nan_mask(x);
            }
    for (std::size_t j = 0; j < lanes; ++j)
        for (std::size_t s = 0; s < parts; ++s)
            best[j] = C::wins(found[s * lanes + j], best[j]) ? found[s * lanes + j] : best[j];
}

template <class C>
extreme_found contiguous(const double* p, std::size_t n)
{
    extreme_found result{p[0], false};
    const std::size_t full = n / lanes * lanes;
    if (full != 0) {
        double best[lanes];
        unsigned long flags[lanes] = {};
        for (std::size_t j = 0; j < lanes; ++j)
            best[j] = p[j];
        const std::size_t in_parts = n / (4 * lanes) * (4 * lanes);
        meet_blocks<C, 4>(p, in_parts / lanes, best, flags);
        meet_blocks<C, 1>(p + in_parts, (full - in_parts) / lanes, best, flags);
        for (std::size_t j = 0; j < lanes; ++j) {
            result.value = C::wins(best[j], result.value) ? best[j] : result.value;
            result.nan |= flags[j] != 0;
        }
    }
    for (std::size_t i = full; i < n; ++i) {
        result.value = C::wins(p[i], result.value) ? p[i] : result.value;
        result.nan |= p[i] != p[i];
    }
    return result;
}

template <class C, std::size_t rows>
void meet_rows(const double* __restrict first, std::size_t stride, std::size_t width,
               double* __restrict extremes, unsigned long* __restrict flags)
{
    for (std::size_t k = 0; k < width; ++k) {
        double best = extremes[k];
        unsigned long flag = flags[k];
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            const double x = first[r * stride + k];
            best = C::wins(x, best) ? x : best;
            flag |= nan_mask(x);
        }
        extremes[k] = best;
        flags[k] = flag;
    }
}

template <class C>
void of_columns(const row_block& block, double* extremes, unsigned long* flags)
{
    const auto [first, rows, stride, width] = block;
    for (std::size_t k = 0; k < width; ++k) {
        extremes[k] = first[k];
        flags[k] = 0;
    }
    std::size_t i = 0;
    for (; i + 4 <= rows; i += 4)
        meet_rows<C, 4>(first + i * stride, stride, width, extremes, flags);
    for (; i < rows; ++i)
        meet_rows<C, 1>(first + i * stride, stride, width, extremes, flags);
}

constexpr reduction_kernels reduction_of_this_target{
    column_sums, contiguous<lesser>, contiguous<greater>, of_columns<lesser>, of_columns<greater>};

} // namespace
} // namespace numerical::detail
