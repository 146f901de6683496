#pragma once

// The tiles of unfused.hpp for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/unfused.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// A vector of a row of B, and what a row of C gains of it.
template <class T, class Lanes>
struct unfused_factor;

template <class Lanes>
struct unfused_factor<double, Lanes>
{
    typename Lanes::vector entries;

    explicit unfused_factor(typename Lanes::vector b) : entries(b) {}

    typename Lanes::vector times(const double* a) const
    {
        return Lanes::times(Lanes::all(*a), entries);
    }
};

template <class Lanes>
struct unfused_factor<std::complex<double>, Lanes>
{
    typename Lanes::complex_factor entries;

    explicit unfused_factor(typename Lanes::vector b) : entries(b) {}

    typename Lanes::vector times(const double* a) const { return entries.times(a[0], a[1]); }
};

// One tile of C in registers: `rows` rows of `vectors` vectors.
template <class Lanes, std::size_t rows, std::size_t vectors>
struct unfused_tile
{
    using vector = typename Lanes::vector;
    vector sum[rows][vectors];

    template <class Access>
    void load(const double* c, std::size_t ldc, const Access& access)
    {
#pragma GCC unroll 16
        for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v)
                sum[r][v] = access.load(c + r * ldc + v * Lanes::width);
    }

    void clear()
    {
#pragma GCC unroll 16
        for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v)
                sum[r][v] = Lanes::zero();
    }

    // The terms of one depth index.
    template <class Factor, bool subtracts, class Access>
    void gain(const double* a, std::size_t a_row, const double* b, const Access& access)
    {
#pragma GCC unroll 16
        for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v) {
                const Factor factor(access.load(b + v * Lanes::width));
                const vector term = factor.times(a + r * a_row);
                sum[r][v] =
                    subtracts ? Lanes::minus(sum[r][v], term) : Lanes::plus(sum[r][v], term);
            }
    }

    // A sum of numbers may be NaN without any of them being it, which only costs a second try.
    bool may_have_nan() const
    {
        vector all = sum[0][0];
#pragma GCC unroll 16
        for (std::size_t n = 1; n < rows * vectors; ++n)
            all = Lanes::plus(all, sum[n / vectors][n % vectors]);
        return Lanes::has_nan(all);
    }

    template <class Access>
    void store(double* c, std::size_t ldc, const Access& access) const
    {
#pragma GCC unroll 16
        for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectors; ++v)
                access.store(c + r * ldc + v * Lanes::width, sum[r][v]);
    }
};

// The tile of `rows` rows from row i and of `cols` columns from column j on.
template <class Lanes, std::size_t rows, std::size_t vectors, bool subtracts, class T, class Access>
void multiply_tile(const unfused_operands<T>& p, std::size_t i, std::size_t j, std::size_t cols,
                   const Access& access)
{
    constexpr std::size_t doubles = sizeof(T) / sizeof(double);
    T* const tile_of_c = p.c + i * p.ldc + j;
    const T* const rows_of_a = p.a + i * p.a_row;
    auto* const c = reinterpret_cast<double*>(tile_of_c);
    const auto* a = reinterpret_cast<const double*>(rows_of_a);
    const auto* b = reinterpret_cast<const double*>(p.b + j);
    unfused_tile<Lanes, rows, vectors> tile;
    if (p.update == unfused_update::overwrite)
        tile.clear();
    else
        tile.load(c, p.ldc * doubles, access);
    for (std::size_t l = 0; l < p.depth; ++l, a += p.a_step * doubles, b += p.ldb * doubles)
        tile.template gain<unfused_factor<T, Lanes>, subtracts>(a, p.a_row * doubles, b, access);
    if constexpr (doubles == 2)
        if (tile.may_have_nan())
            return plain_unfused({.rows = rows,
                                  .cols = cols,
                                  .depth = p.depth,
                                  .a = rows_of_a,
                                  .a_row = p.a_row,
                                  .a_step = p.a_step,
                                  .b = p.b + j,
                                  .ldb = p.ldb,
                                  .c = tile_of_c,
                                  .ldc = p.ldc,
                                  .update = p.update});
    tile.store(c, p.ldc * doubles, access);
}

template <class Lanes, std::size_t rows, std::size_t vectors, bool subtracts, class T>
void multiply_rows_from(const unfused_operands<T>& p, std::size_t i)
{
    constexpr std::size_t doubles = sizeof(T) / sizeof(double);
    constexpr std::size_t in_vector = Lanes::width / doubles; // numbers
    const whole_vector<Lanes> whole;
    std::size_t j = 0;
    for (; j + vectors * in_vector <= p.cols; j += vectors * in_vector)
        multiply_tile<Lanes, rows, vectors, subtracts>(p, i, j, vectors * in_vector, whole);
    if constexpr (vectors > 2)
        for (; j + 2 * in_vector <= p.cols; j += 2 * in_vector)
            multiply_tile<Lanes, rows, 2, subtracts>(p, i, j, 2 * in_vector, whole);
    for (; j + in_vector <= p.cols; j += in_vector)
        multiply_tile<Lanes, rows, 1, subtracts>(p, i, j, in_vector, whole);
    if (j < p.cols)
        multiply_tile<Lanes, rows, 1, subtracts>(p, i, j, p.cols - j,
                                                 last_vector<Lanes>((p.cols - j) * doubles));
}

template <class Lanes, std::size_t tall, std::size_t wide, bool subtracts, class T>
void multiply_all_rows(const unfused_operands<T>& p)
{
    std::size_t i = 0;
    for (; i + tall <= p.rows; i += tall)
        multiply_rows_from<Lanes, tall, wide, subtracts>(p, i);
    for (; i + 4 <= p.rows; i += 4)
        multiply_rows_from<Lanes, 4, 2, subtracts>(p, i);
    for (; i < p.rows; ++i)
        multiply_rows_from<Lanes, 1, 4, subtracts>(p, i);
}

// In tiles of `tall` rows of `wide` vectors, then of 4 × 2 and of 1 × 4.
template <class Lanes, std::size_t tall, std::size_t wide, class T>
void multiply_in_tiles(const unfused_operands<T>& p)
{
    if (p.update == unfused_update::subtract)
        multiply_all_rows<Lanes, tall, wide, true>(p);
    else
        multiply_all_rows<Lanes, tall, wide, false>(p);
}

} // namespace
} // namespace numerical::detail
