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

// Adds the rows from 8 up to the last multiple of eight to eight rows of accumulators, row by row,
// so that memory is read in order. Wide rows are added three at a time, which loads and stores
// their accumulators once for the three. Contiguous narrow rows are treated as one long row.
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
    column_sums({.first = first, .rows = half, .stride = stride, .width = width}, sums,
                scratch + width);
    column_sums(
        {.first = first + half * stride, .rows = rows - half, .stride = stride, .width = width},
        right, scratch + width);
    add_rows<1>(sums, right, 0, width);
}

// The comparisons of extremes on the vectors of Unit, which defines
//   type, width, zero, load, store, least and greatest of (x, best), where best stays if the two
//   are equal or one is a NaN, and either_nan(marks, x, y), marks with all bits set where x or y is
//   a NaN, and any(marks).
struct lesser
{
    static bool wins(double x, double y) { return x < y; }

    template <class Unit>
    static typename Unit::type better(typename Unit::type x, typename Unit::type best)
    {
        return Unit::least(x, best);
    }
};

struct greater
{
    static bool wins(double x, double y) { return x > y; }

    template <class Unit>
    static typename Unit::type better(typename Unit::type x, typename Unit::type best)
    {
        return Unit::greatest(x, best);
    }
};

constexpr std::size_t lanes = 8;

// The extreme of eight lanes, taken in the order of their positions.
template <class Unit>
struct lane_extremes
{
    static constexpr std::size_t count = lanes / Unit::width;
    typename Unit::type best[count];

    explicit lane_extremes(const double* p)
    {
        for (std::size_t v = 0; v < count; ++v)
            best[v] = Unit::load(p + v * Unit::width);
    }

    template <class C>
    void meet(const lane_extremes& other)
    {
        for (std::size_t v = 0; v < count; ++v)
            best[v] = C::template better<Unit>(other.best[v], best[v]);
    }

    template <class C>
    void meet(const double* p, typename Unit::type& nan)
    {
        for (std::size_t v = 0; v < count; v += 2) {
            const auto x = Unit::load(p + v * Unit::width);
            const auto y = Unit::load(p + (v + 1) * Unit::width);
            best[v] = C::template better<Unit>(x, best[v]);
            best[v + 1] = C::template better<Unit>(y, best[v + 1]);
            nan = Unit::either_nan(nan, x, y);
        }
    }
};

// Continues with `count` numbers, a multiple of 32, as four neighbouring runs side by side, whose
// chains of comparisons are independent. The runs are merged in their order, so that the first of
// equal numbers stays.
template <class C, class Unit>
void meet_four_runs(const double* p, std::size_t count, lane_extremes<Unit>& found,
                    typename Unit::type& nan)
{
    const std::size_t run = count / 4;
    lane_extremes<Unit> first = found;
    lane_extremes<Unit> second(p + run);
    lane_extremes<Unit> third(p + 2 * run);
    lane_extremes<Unit> fourth(p + 3 * run);
    for (std::size_t i = 0; i < run; i += lanes) {
        first.template meet<C>(p + i, nan);
        second.template meet<C>(p + run + i, nan);
        third.template meet<C>(p + 2 * run + i, nan);
        fourth.template meet<C>(p + 3 * run + i, nan);
    }
    first.template meet<C>(second);
    first.template meet<C>(third);
    first.template meet<C>(fourth);
    found = first;
}

// Compares `count` numbers, a multiple of eight. The four runs are long, or so short that the
// hardware prefetcher sees them as one stream: with runs of a few cache lines to some pages it
// would start anew each time.
template <class C, class Unit>
void meet_numbers(const double* p, std::size_t count, lane_extremes<Unit>& found,
                  typename Unit::type& nan)
{
    constexpr std::size_t long_enough = 32768;
    constexpr std::size_t short_block = 128;
    constexpr std::size_t four_lanes = 4 * lanes;
    std::size_t i = 0;
    if (count >= long_enough) {
        i = count / four_lanes * four_lanes;
        meet_four_runs<C>(p, i, found, nan);
    }
    for (; i + short_block <= count; i += short_block)
        meet_four_runs<C>(p + i, short_block, found, nan);
    for (; i < count; i += lanes)
        found.template meet<C>(p + i, nan);
}

template <class C, class Unit>
extreme_found contiguous(const double* p, std::size_t n)
{
    extreme_found result{p[0], false};
    const std::size_t full = n / lanes * lanes;
    if (full != 0) {
        lane_extremes<Unit> found(p);
        auto nan = Unit::zero();
        meet_numbers<C>(p, full, found, nan);
        double best[lanes];
        for (std::size_t v = 0; v < found.count; ++v)
            Unit::store(best + v * Unit::width, found.best[v]);
        for (const double x : best)
            result.value = C::wins(x, result.value) ? x : result.value;
        result.nan = Unit::any(nan);
    }
    for (std::size_t i = full; i < n; ++i) {
        result.value = C::wins(p[i], result.value) ? p[i] : result.value;
        result.nan |= p[i] != p[i];
    }
    return result;
}

// A NaN propagates: its mask, all bits set, is itself a NaN and is never replaced.
template <class C, class Unit, std::size_t rows>
void meet_rows(const double* __restrict first, std::size_t stride, std::size_t width,
               double* __restrict extremes)
{
    std::size_t k = 0;
    for (; k + Unit::width <= width; k += Unit::width) {
        auto best = Unit::load(extremes + k);
#pragma GCC unroll 8
        for (std::size_t r = 0; r < rows; ++r) {
            const auto x = Unit::load(first + r * stride + k);
            best = Unit::either_nan(C::template better<Unit>(x, best), x, x);
        }
        Unit::store(extremes + k, best);
    }
    for (; k < width; ++k)
        for (std::size_t r = 0; r < rows; ++r) {
            const double x = first[r * stride + k];
            extremes[k] = C::wins(x, extremes[k]) || x != x ? x : extremes[k];
        }
}

template <class C, class Unit>
void of_columns(const row_block& block, double* extremes)
{
    const auto [first, rows, stride, width] = block;
    for (std::size_t k = 0; k < width; ++k)
        extremes[k] = first[k];
    std::size_t i = 1;
    for (; i + 8 <= rows; i += 8)
        meet_rows<C, Unit, 8>(first + i * stride, stride, width, extremes);
    for (; i < rows; ++i)
        meet_rows<C, Unit, 1>(first + i * stride, stride, width, extremes);
}

template <class Unit>
constexpr reduction_kernels reduction_by{
    .column_sums = column_sums,
    .least = contiguous<lesser, Unit>,
    .greatest = contiguous<greater, Unit>,
    .least_of_columns = of_columns<lesser, Unit>,
    .greatest_of_columns = of_columns<greater, Unit>,
};

} // namespace
} // namespace numerical::detail
