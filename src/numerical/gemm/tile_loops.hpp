#pragma once

// The register tiles of tile_kernels.hpp for vectors of any width. For the kernels' own sources
// only: unnamed, as the vectors are.
//
// Columns says which columns a tile has, one vector of them or two, and how vectors of a row of B
// are loaded, and those of C too if masks_c; otherwise C has room for whole vectors. Its `vectors`
// are lanes with imaginary_positions, the positions per iteration of the imaginary products.

#include "numerical/counts.hpp"
#include "numerical/gemm/rows_of_a.hpp"
#include "numerical/gemm/tile_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

// The elements of a tile, and how those of B are stored: in a panel the parts of complex numbers
// are separate already.
enum class elements { real, complex_apart, complex_in_place };

// Two vectors of complex numbers as one of their real and one of their imaginary parts. The shuffle
// permutes the numbers, and is its own inverse.
template <class Lanes>
struct vector_pair
{
    typename Lanes::vector first;
    typename Lanes::vector second;

    vector_pair deinterleaved() const
    {
        return {Lanes::even_lanes(first, second), Lanes::odd_lanes(first, second)};
    }
};

// Row r of the tile and, by recursion, those below. Each accumulator is a variable of its own: as
// an element of an array, or reached through a call, it might live in memory.
template <std::size_t r, std::size_t rows, class Columns>
struct tile_rows
{
    using vectors = typename Columns::vectors;
    using pair = vector_pair<vectors>;
    typename vectors::vector first;
    typename vectors::vector second;
    tile_rows<r + 1, rows, Columns> below;

    [[gnu::always_inline]] void load(const Columns& columns, const double* c, std::size_t ldc)
    {
        if constexpr (Columns::masks_c)
            first = columns.load_first(c);
        else
            first = vectors::load(c);
        if constexpr (Columns::has_second && Columns::masks_c)
            second = columns.load_second(c);
        else if constexpr (Columns::has_second)
            second = vectors::load(c + vectors::width);
        below.load(columns, c + ldc, ldc);
    }

    [[gnu::always_inline]] void clear()
    {
        first = vectors::zero();
        if constexpr (Columns::has_second)
            second = vectors::zero();
        below.clear();
    }

    [[gnu::always_inline]] void deinterleave()
    {
        const pair parts = pair{first, second}.deinterleaved();
        first = parts.first;
        second = parts.second;
        below.deinterleave();
    }

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows& a, const pair& b)
    {
        const auto scale = vectors::all(*a.template row<r>());
        first = vectors::more(first, scale, b.first);
        if constexpr (Columns::has_second)
            second = vectors::more(second, scale, b.second);
        below.add(a, b);
    }

    // The products of imaginary parts of A with the parts of B.
    template <class Rows>
    [[gnu::always_inline]] void add_imaginary(const Rows& a, const pair& b)
    {
        const auto scale = vectors::all(*a.template row<r>());
        if constexpr (Rows::conjugated) {
            first = vectors::more(first, scale, b.second);
            second = vectors::less(second, scale, b.first);
        } else {
            first = vectors::less(first, scale, b.second);
            second = vectors::more(second, scale, b.first);
        }
        below.add_imaginary(a, b);
    }

    [[gnu::always_inline]] void store(const Columns& columns, double* c, std::size_t ldc) const
    {
        if constexpr (Columns::masks_c)
            columns.store_first(c, first);
        else
            vectors::store(c, first);
        if constexpr (Columns::has_second && Columns::masks_c)
            columns.store_second(c, second);
        else if constexpr (Columns::has_second)
            vectors::store(c + vectors::width, second);
        below.store(columns, c + ldc, ldc);
    }
};

template <std::size_t rows, class Columns>
struct tile_rows<rows, rows, Columns>
{
    using pair = vector_pair<typename Columns::vectors>;

    [[gnu::always_inline]] void load(const Columns&, const double*, std::size_t) {}

    [[gnu::always_inline]] void clear() {}

    [[gnu::always_inline]] void deinterleave() {}

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows&, const pair&)
    {
    }

    template <class Rows>
    [[gnu::always_inline]] void add_imaginary(const Rows&, const pair&)
    {
    }

    [[gnu::always_inline]] void store(const Columns&, double*, std::size_t) const {}
};

// Columns that write each position of B which they load in place into a packed panel.
template <class Columns>
constexpr bool packs_b = requires(Columns columns)
{
    columns.panel;
};

// The row of B that is `ahead` bytes on. One that begins within a line ends in one line more.
template <class Rows, std::size_t nr>
[[gnu::always_inline]] inline void prefetch_row(const double* b, std::size_t ahead)
{
    const std::uintptr_t row = reinterpret_cast<std::uintptr_t>(b) + ahead;
    for (std::size_t at = 0; at < nr; at += line_elements<double>)
        prefetch(row + at * sizeof(double));
    if constexpr (Rows::b_in_place)
        prefetch(row + (nr - 1) * sizeof(double));
}

// The lines that the tile on the right reads of this row of B, but for one that it shares with this
// tile.
template <std::size_t nr>
[[gnu::always_inline]] inline void prefetch_right(const double* b)
{
    const std::uintptr_t row = reinterpret_cast<std::uintptr_t>(b);
    for (std::size_t at = nr + line_elements<double> - 1; at < 2 * nr; at += line_elements<double>)
        prefetch_into_l2(row + at * sizeof(double));
}

template <class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline vector_pair<typename Columns::vectors>
position_of(const double* b, Columns& columns, std::size_t ahead)
{
    using vectors = typename Columns::vectors;
    if constexpr (!Rows::prefetches_next)
        prefetch_row<Rows, 2 * vectors::width>(b, ahead);
    if constexpr (Rows::prefetches_right)
        prefetch_right<2 * vectors::width>(b);
    if constexpr (packs_b<Columns>) {
        vector_pair<vectors> position{columns.load_first(b), columns.load_second(b)};
        if constexpr (kind == elements::complex_in_place)
            position = position.deinterleaved();
        columns.write(position.first, position.second);
        return position;
    }
    if constexpr (kind == elements::complex_apart)
        return {vectors::load(b), vectors::load(b + vectors::width)};
    const auto first = columns.load_first(b);
    if constexpr (!Columns::has_second)
        return {first, first};
    else if constexpr (kind == elements::complex_in_place)
        return vector_pair<vectors>{first, columns.load_second(b)}.deinterleaved();
    else
        return {first, columns.load_second(b)};
}

// The positions that one line of A holds, from p on: at each of them a line of one row or, of
// complex numbers, of two rows is prefetched `ahead` bytes further on.
template <std::size_t p, class Rows, class Position>
[[gnu::always_inline]] inline void add_far_line(const Rows& a, const Position& add_position,
                                                std::size_t ahead)
{
    constexpr std::size_t r = p * Rows::step;
    if constexpr (r < line_elements<double>) {
        if constexpr (r < Rows::most)
            prefetch(reinterpret_cast<std::uintptr_t>(a.template row<r>()) + ahead);
        if constexpr (Rows::step == 2 && r + 1 < Rows::most)
            prefetch(reinterpret_cast<std::uintptr_t>(a.template row<r + 1>()) + ahead);
        add_position();
        add_far_line<p + 1>(a, add_position, ahead);
    }
}

// The positions that fill whole lines of A. Returns the pairs of positions that are left.
template <class Rows, class Position>
[[gnu::always_inline]] inline std::size_t add_far_lines(const Rows& a, const Position& add_position,
                                                        std::size_t ahead, std::size_t pairs)
{
    static_assert(Rows::most <= line_elements<double>);
    constexpr std::size_t pairs_of_line = line_elements<double> / Rows::step / 2;
    for (; pairs >= pairs_of_line; pairs -= pairs_of_line)
        add_far_line<0>(a, add_position, ahead);
    return pairs;
}

// Two positions per iteration: as fast as one, while four would spill. Where there is something to
// prefetch, the loop is cut into a part for each row, before which that row of the next tile is
// prefetched: all at one time they would take every miss buffer and hold up the panels.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline void add_products(tile_rows<0, rows, Columns>& sum, Columns& columns,
                                                const tile_operands& t)
{
    constexpr std::size_t nr = 2 * Columns::vectors::width;
    Rows a = Rows::real_parts(t);
    const double* b = t.b;
    const std::size_t ahead = Rows::ahead(t.ldb) * sizeof(double);
    const auto add_position = [&]() __attribute__((always_inline))
    {
        sum.add(a, position_of<Rows, kind>(b, columns, ahead));
        a.advance();
        b += t.ldb;
    };
    if (t.kc % 2 != 0)
        add_position();
    std::size_t left = t.kc / 2;
    if constexpr (Rows::prefetches_far)
        left = add_far_lines(a, add_position, t.ahead_a, left);
    const bool near = t.next_c == reinterpret_cast<std::uintptr_t>(t.c);
    if constexpr (Rows::prefetches_next)
        if (near) {
            for (; left != 0; --left) {
                add_position();
                add_position();
            }
            return;
        }
    std::uintptr_t next = t.next_c;
    std::uintptr_t next_a = t.next_a;
    std::uintptr_t next_b = t.next_b;
    const auto prefetch_line = [](std::uintptr_t & stretch) __attribute__((always_inline))
    {
        if constexpr (Rows::prefetches_next) {
            prefetch(stretch);
            stretch += line_bytes;
        }
    };
    const auto prefetch_panels = [&]() __attribute__((always_inline))
    {
        if constexpr (Rows::prefetches_panels) {
            prefetch_into_l2(next_b);
            next_b += t.step_b;
        }
    };
    const std::size_t stretches = near ? 1 : rows;
    const std::size_t stretch = left / rows;
    for (std::size_t r = stretches; r != 0; --r, next += t.ldc * sizeof(double)) {
        for (std::size_t at = 0; at < nr; at += line_elements<double>)
            prefetch(next + at * sizeof(double));
        prefetch(next + (nr - 1) * sizeof(double));
        const std::size_t after = r == 1 ? 0 : left - stretch;
        for (; left != after; --left) {
            prefetch_panels();
            prefetch_line(next_a);
            add_position();
            prefetch_line(next_b);
            add_position();
        }
    }
}

// The second pass of a complex product, by the imaginary parts of A. It finds B as `source` says.
template <std::size_t rows, class Rows, elements kind, class Columns, class Source>
[[gnu::always_inline]] inline void add_imaginary_products(tile_rows<0, rows, Columns>& sum,
                                                          Source source, const tile_operands& t)
{
    constexpr std::size_t together = Columns::vectors::imaginary_positions;
    static_assert(together == 1 || together == 2);
    Rows a = Rows::imaginary_parts(t);
    const double* b = t.b;
    const std::size_t ahead = Rows::ahead(t.ldb) * sizeof(double);
    const auto add_position = [&]() __attribute__((always_inline))
    {
        sum.add_imaginary(a, position_of<Rows, kind>(b, source, ahead));
        a.advance();
        b += t.ldb;
    };
    if (t.kc % together != 0)
        add_position();
    for (std::size_t left = t.kc / together; left != 0; --left) {
        add_position();
        if constexpr (together == 2)
            add_position();
    }
}

// The operands once the first pass has packed B.
template <class Columns>
tile_operands with_packed_b(const tile_operands& t)
{
    tile_operands packed = t;
    packed.b = t.panel;
    packed.ldb = 2 * Columns::vectors::width;
    return packed;
}

// A function for each shape, so that no shape's registers suffer from another's.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::noinline]] void run_tile(const tile_operands& t, Columns columns)
{
    tile_rows<0, rows, Columns> sum;
    if (t.into == into_c::store) {
        sum.clear();
    } else {
        sum.load(columns, t.c, t.ldc);
        if constexpr (kind != elements::real)
            sum.deinterleave();
    }
    add_products<rows, Rows, kind>(sum, columns, t);
    if constexpr (kind != elements::real) {
        if constexpr (packs_b<Columns>)
            add_imaginary_products<rows, packed_rows<rows>, elements::complex_apart>(
                sum, typename Columns::unpacking{}, with_packed_b<Columns>(t));
        else
            add_imaginary_products<rows, Rows, kind>(sum, columns, t);
        sum.deinterleave();
    }
    double* c = t.c;
    asm("" : "+r"(c)); // the rows' addresses are made anew: kept, they would take registers
    sum.store(columns, c, t.ldc);
}

template <std::size_t most, class Rows, elements kind, class Columns>
void run_rows(const tile_operands& t, Columns columns)
{
    if constexpr (most != 0) {
        if (t.rows != most)
            return run_rows<most - 1, Rows, kind>(t, columns);
        if constexpr (requires { typename Rows::whole_far; } && most == Rows::most)
            if (t.ahead_a != 0)
                return run_tile<most, typename Rows::whole_far, kind>(t, columns);
        run_tile<most, Rows, kind>(t, columns);
    }
}

} // namespace
} // namespace numerical::detail
