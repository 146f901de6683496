#pragma once

// Where a tile finds its rows of A. Included by kernel files: no library headers but <cstddef> and
// <cstdint>.
// Of complex rows these are the real parts; the imaginary ones begin at `imaginary`. A tile
// prefetches the next product's operands if `prefetches_next`, otherwise the row of B that is
// ahead(ldb) doubles on; b_in_place says whether that may begin within a line.

#include <cstddef>
#include <cstdint>

namespace numerical::detail {
namespace {

// Nothing is read, so the address may lie outside of any object.
[[gnu::always_inline]] inline void prefetch(std::uintptr_t address)
{
    __builtin_prefetch(reinterpret_cast<const void*>(address));
}

// A packed panel: the mr rows of a position side by side.
template <std::size_t mr>
struct packed_rows
{
    static constexpr std::size_t most = mr;
    static constexpr bool prefetches_next = false;
    static constexpr bool b_in_place = false;
    const double* first;

    packed_rows(const double* panel, std::size_t /*lda*/) : first(panel) {}

    template <std::size_t r>
    const double* row() const
    {
        return first + r;
    }

    void advance() { first += mr; }

    static constexpr std::size_t ahead(std::size_t /*ldb*/) { return 128; }

    static constexpr bool conjugated = false;

    // The panel of the imaginary parts follows.
    static const double* imaginary(const double* panel, std::size_t depth)
    {
        return panel + depth * mr;
    }
};

// A where it lies, its positions `step` doubles apart. Every third row has a pointer and the two
// after it are reached by an index: one pointer per row wouldn't fit in the registers.
template <std::size_t mr, std::size_t step>
struct rows_in_place
{
    static constexpr std::size_t most = mr;
    static constexpr bool prefetches_next = true;
    const double* row0;
    const double* row3;
    const double* row6;
    std::size_t lda;

    rows_in_place(const double* a, std::size_t stride)
        : row0(a), row3(a + 3 * stride), row6(a + 6 * stride), lda(stride)
    {
    }

    template <std::size_t r>
    const double* row() const
    {
        if constexpr (r < 3)
            return row0 + r * lda;
        else if constexpr (r < 6)
            return row3 + (r - 3) * lda;
        else
            return row6 + (r - 6) * lda;
    }

    void advance()
    {
        row0 += step;
        row3 += step;
        row6 += step;
    }

    static constexpr std::size_t ahead(std::size_t /*ldb*/) { return 0; } // of no use

    static constexpr bool conjugated = false;

    static const double* imaginary(const double* a, std::size_t /*depth*/) { return a + 1; }
};

// The adjoint of an A where it lies: a position of the adjoint is a row of A, its elements side by
// side, `step` doubles each. The tile sees to the sign of the imaginary parts. B mostly lies in
// place: no hardware prefetcher foresees rows that are more than a page apart.
template <std::size_t mr, std::size_t step>
struct adjoint_rows
{
    static constexpr std::size_t most = mr;
    static constexpr bool prefetches_next = false;
    static constexpr bool b_in_place = true;
    static constexpr bool conjugated = true;
    const double* first;
    std::size_t lda;

    adjoint_rows(const double* a, std::size_t stride) : first(a), lda(stride) {}

    template <std::size_t r>
    const double* row() const
    {
        return first + r * step;
    }

    void advance() { first += lda; }

    static constexpr std::size_t ahead(std::size_t ldb) { return 16 * ldb; }

    static const double* imaginary(const double* a, std::size_t /*depth*/) { return a + 1; }
};

} // namespace
} // namespace numerical::detail
