#pragma once

// Where a tile finds its rows of A. Included by kernel files: no library headers but <cstddef> and
// <cstdint>.
// Of complex rows a tile runs over the real parts and then over the imaginary ones. It prefetches
// the next product's operands if `prefetches_next`, its own later positions of A if
// `prefetches_far`, otherwise the row of B that is ahead(ldb) doubles on; b_in_place says whether
// that may begin within a line, and prefetches_right whether what the tile on its right reads of a
// position is prefetched into L2.

#include "numerical/gemm/tile_kernels.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

// Nothing is read, so the address may lie outside of any object.
[[gnu::always_inline]] inline void prefetch(std::uintptr_t address)
{
    __builtin_prefetch(reinterpret_cast<const void*>(address));
}

[[gnu::always_inline]] inline void prefetch_into_l2(std::uintptr_t address)
{
    constexpr int read = 0;
    constexpr int l2 = 2;
    __builtin_prefetch(reinterpret_cast<const void*>(address), read, l2);
}

// A packed panel: the mr rows of a position side by side.
template <std::size_t mr>
struct packed_rows
{
    static constexpr std::size_t most = mr;
    static constexpr bool prefetches_next = false;
    static constexpr bool prefetches_panels = true;
    static constexpr bool prefetches_right = false;
    static constexpr bool prefetches_far = false;
    static constexpr bool b_in_place = false;
    const double* first;

    static packed_rows real_parts(const tile_operands& t) { return {t.a}; }

    // The panel of the imaginary parts follows.
    static packed_rows imaginary_parts(const tile_operands& t) { return {t.a + t.kc * mr}; }

    template <std::size_t r>
    const double* row() const
    {
        return first + r;
    }

    void advance() { first += mr; }

    static constexpr std::size_t ahead(std::size_t /*ldb*/) { return 128; }

    static constexpr bool conjugated = false;
};

// The same beside a B that lies in place: the tile prefetches the `nr` columns of the next one.
template <std::size_t mr, std::size_t nr>
struct packed_rows_beside_b : packed_rows<mr>
{
    static constexpr bool prefetches_panels = false;
    static constexpr bool b_in_place = true;

    static packed_rows_beside_b real_parts(const tile_operands& t) { return {{t.a}}; }

    static constexpr std::size_t ahead(std::size_t /*ldb*/) { return nr; }
};

template <std::size_t mr, std::size_t step>
struct far_rows_in_place;

// A where it lies, its positions `step` doubles apart. Every third row has a pointer and the two
// after it are reached by an index: one pointer per row wouldn't fit in the registers.
template <std::size_t mr, std::size_t doubles>
struct rows_in_place
{
    static constexpr std::size_t most = mr;
    static constexpr std::size_t step = doubles;
    using whole_far = far_rows_in_place<mr, step>; // all rows of a tile, from memory
    static constexpr bool prefetches_next = true;
    static constexpr bool prefetches_panels = false;
    static constexpr bool prefetches_right = false;
    static constexpr bool prefetches_far = false;
    const double* row0;
    const double* row3;
    const double* row6;
    const double* row9;
    std::size_t lda;

    rows_in_place(const double* a, std::size_t stride)
        : row0(a), row3(a + 3 * stride), row6(a + 6 * stride), row9(a + 9 * stride), lda(stride)
    {
    }

    static rows_in_place real_parts(const tile_operands& t) { return {t.a, t.lda}; }

    static rows_in_place imaginary_parts(const tile_operands& t) { return {t.a + 1, t.lda}; }

    template <std::size_t r>
    const double* row() const
    {
        if constexpr (r < 3)
            return row0 + r * lda;
        else if constexpr (r < 6)
            return row3 + (r - 3) * lda;
        else if constexpr (r < 9)
            return row6 + (r - 6) * lda;
        else
            return row9 + (r - 9) * lda;
    }

    void advance()
    {
        row0 += step;
        row3 += step;
        row6 += step;
        row9 += step;
    }

    static constexpr std::size_t ahead(std::size_t /*ldb*/) { return 0; } // of no use

    static constexpr bool conjugated = false;
};

// The same, of rows that come from memory: each is prefetched by t.ahead_a bytes.
template <std::size_t mr, std::size_t step>
struct far_rows_in_place : rows_in_place<mr, step>
{
    static constexpr bool prefetches_far = true;

    static far_rows_in_place real_parts(const tile_operands& t) { return {{t.a, t.lda}}; }

    static far_rows_in_place imaginary_parts(const tile_operands& t) { return {{t.a + 1, t.lda}}; }
};

// The same, and each position that the tile has used is copied into a packed panel.
template <std::size_t mr, std::size_t step>
struct rows_into_panel : rows_in_place<mr, step>
{
    using in_place = rows_in_place<mr, step>;
    static constexpr bool prefetches_next = false;
    static constexpr bool b_in_place = false;
    double* panel;

    rows_into_panel(const double* a, std::size_t stride, double* to)
        : in_place(a, stride), panel(to)
    {
    }

    static rows_into_panel real_parts(const tile_operands& t) { return {t.a, t.lda, t.panel}; }

    static rows_into_panel imaginary_parts(const tile_operands& t)
    {
        return {t.a + 1, t.lda, t.panel + t.kc * mr};
    }

    // As integers, through general registers: scalar loads and stores of vector registers would
    // hold up the multiplications, by a third of the tile's time on Zen 4.
    template <std::size_t r = 0>
    [[gnu::always_inline]] void copy_from() const
    {
        if constexpr (r < mr) {
            std::uint64_t bits;
            __builtin_memcpy(&bits, this->template row<r>(), sizeof(bits));
            __builtin_memcpy(panel + r, &bits, sizeof(bits));
            copy_from<r + 1>();
        }
    }

    void advance()
    {
        copy_from();
        panel += mr;
        in_place::advance();
    }

    static constexpr std::size_t ahead(std::size_t ldb) { return packed_rows<mr>::ahead(ldb); }
};

// The adjoint of an A where it lies: a position of the adjoint is a row of A, its elements side by
// side, `step` doubles each. The tile sees to the sign of the imaginary parts. B mostly lies in
// place: no hardware prefetcher foresees rows that are more than a page apart.
template <std::size_t mr, std::size_t step>
struct adjoint_rows
{
    static constexpr std::size_t most = mr;
    static constexpr bool prefetches_next = false;
    static constexpr bool prefetches_panels = false;
    static constexpr bool prefetches_right = true;
    static constexpr bool prefetches_far = false;
    static constexpr bool b_in_place = true;
    static constexpr bool conjugated = true;
    const double* first;
    std::size_t lda;

    static adjoint_rows real_parts(const tile_operands& t) { return {t.a, t.lda}; }

    static adjoint_rows imaginary_parts(const tile_operands& t) { return {t.a + 1, t.lda}; }

    template <std::size_t r>
    const double* row() const
    {
        return first + r * step;
    }

    void advance() { first += lda; }

    static constexpr std::size_t ahead(std::size_t ldb) { return 16 * ldb; }
};

} // namespace
} // namespace numerical::detail
