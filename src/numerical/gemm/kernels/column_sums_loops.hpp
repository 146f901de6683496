#pragma once

// The column sums of gemv_transposed.hpp for vectors of any width. For the kernels' own sources
// only: unnamed, as the vectors are.

#include "numerical/counts.hpp"
#include "numerical/gemm/kernels/gemv_transposed.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"

namespace numerical::detail {
namespace {

constexpr std::size_t rows_ahead = 12;

// `vectors` vectors of each row, the last of them by `last`. `each` is two for complex numbers:
// sums with the real and with the imaginary part of a coefficient.
template <class Lanes, std::size_t each, std::size_t vectors, class Every, class Last>
void add_block_sums(double* sums, const double* coefficients, const double* rows,
                    std::size_t stride, std::size_t count, const Every& every, const Last& last)
{
    constexpr std::size_t width = Lanes::width;
    typename Lanes::vector sum[each][vectors];
#pragma GCC unroll 2
    for (std::size_t k = 0; k < each; ++k)
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            sum[k][v] = Lanes::zero();
    for (std::size_t i = 0; i < count; ++i) {
        const double* const row = rows + i * stride;
        typename Lanes::vector scale[each];
#pragma GCC unroll 2
        for (std::size_t k = 0; k < each; ++k)
            scale[k] = Lanes::all(coefficients[each * i + k]);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v) {
            if (v * width % line_elements<double> == 0)
                __builtin_prefetch(row + rows_ahead * stride + v * width);
            const auto entries =
                v + 1 < vectors ? every.load(row + v * width) : last.load(row + v * width);
#pragma GCC unroll 2
            for (std::size_t k = 0; k < each; ++k)
                sum[k][v] = Lanes::more(sum[k][v], scale[k], entries);
        }
    }
#pragma GCC unroll 8
    for (std::size_t v = 0; v < vectors; ++v) {
        auto total = sum[0][v];
        if constexpr (each == 2) // (c + i·s)·(Re a, Im a) is c·(Re a, Im a) + s·(-Im a, Re a)
            total = Lanes::plus(total, Lanes::turned(sum[1][v]));
        double* const out = sums + v * width;
        if (v + 1 < vectors)
            Lanes::store(out, Lanes::plus(Lanes::load(out), total));
        else
            last.store(out, Lanes::plus(last.load(out), total));
    }
}

// `vectors` vectors or fewer, as many as n doubles need.
template <class Lanes, std::size_t each, std::size_t vectors>
void add_last_sums(double* sums, const double* coefficients, const double* rows, std::size_t stride,
                   std::size_t count, std::size_t n)
{
    constexpr std::size_t before = (vectors - 1) * Lanes::width;
    if (n <= before) {
        if constexpr (vectors > 1)
            add_last_sums<Lanes, each, vectors - 1>(sums, coefficients, rows, stride, count, n);
    } else {
        const auto every = every_lane<Lanes, each>();
        if (n == before + Lanes::width)
            add_block_sums<Lanes, each, vectors>(sums, coefficients, rows, stride, count, every,
                                                 every);
        else
            add_block_sums<Lanes, each, vectors>(sums, coefficients, rows, stride, count, every,
                                                 last_vector<Lanes>(n - before));
    }
}

// In blocks of at most `most` sums, which stay in registers.
template <class Lanes, std::size_t each, std::size_t most>
void add_sums(double* sums, const double* coefficients, const double* rows, std::size_t stride,
              std::size_t count, std::size_t n)
{
    constexpr std::size_t vectors = most / each;
    constexpr std::size_t block = vectors * Lanes::width;
    for (std::size_t j = 0; j < n; j += block)
        add_last_sums<Lanes, each, vectors>(sums + j, coefficients, rows + j, stride, count,
                                            n - j < block ? n - j : block);
}

} // namespace
} // namespace numerical::detail
