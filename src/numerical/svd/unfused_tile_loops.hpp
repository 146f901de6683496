#pragma once

// Tiles of the unfused product for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/svd/unfused_tile.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// A vector of a row of B, and what a row of C gains from it.
template <class Lanes>
struct real_strip
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 1; // of an element
    vector entries;

    static real_strip load(const double* b) { return {Lanes::load(b)}; }

    vector plus_multiple(vector sum, const double* a) const
    {
        return Lanes::plus(sum, Lanes::times(Lanes::all(*a), entries));
    }
};

// a·b = Re a·b + Im a·(i·b): each part is rounded as in the quick formula.
template <class Lanes>
struct complex_strip
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 2;
    vector entries;
    vector turned;

    static complex_strip load(const double* b)
    {
        const vector entries = Lanes::load(b);
        return {entries, Lanes::turned(entries)};
    }

    vector plus_multiple(vector sum, const double* a) const
    {
        return Lanes::plus(sum, Lanes::plus(Lanes::times(Lanes::all(a[0]), entries),
                                            Lanes::times(Lanes::all(a[1]), turned)));
    }
};

template <class Lanes, template <class> class Strip, std::size_t rows>
void add_to_tile(std::size_t depth, const double* a, const double* b, double* c, std::size_t ldc)
{
    using strip = Strip<Lanes>;
    constexpr std::size_t vectors = unfused_tile_doubles / Lanes::width; // of a row
    typename Lanes::vector sums[rows][vectors];
#pragma GCC unroll 16
    for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 2
        for (std::size_t v = 0; v < vectors; ++v)
            sums[r][v] = Lanes::load(c + r * ldc + v * Lanes::width);
    for (std::size_t p = 0; p < depth; ++p) {
        const double* const column = a + p * rows * strip::doubles;
        const double* const row = b + p * unfused_tile_doubles;
        strip of_row[vectors];
#pragma GCC unroll 2
        for (std::size_t v = 0; v < vectors; ++v)
            of_row[v] = strip::load(row + v * Lanes::width);
#pragma GCC unroll 16
        for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 2
            for (std::size_t v = 0; v < vectors; ++v)
                sums[r][v] = of_row[v].plus_multiple(sums[r][v], column + r * strip::doubles);
    }
#pragma GCC unroll 16
    for (std::size_t r = 0; r < rows; ++r)
#pragma GCC unroll 2
        for (std::size_t v = 0; v < vectors; ++v)
            Lanes::store(c + r * ldc + v * Lanes::width, sums[r][v]);
}

} // namespace
} // namespace numerical::detail
