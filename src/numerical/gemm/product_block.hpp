#pragma once

// One block of the packed product, C += A·B: where its operands lie, and its tiles. How operands
// come into panels and C is cut into tasks stands in product_tasks.hpp.

#include "numerical/counts.hpp"
#include "numerical/gemm/blocking.hpp"
#include "numerical/gemm/product_operands.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace numerical::detail {

// A C or an A of at most this many elements is already in L2, and isn't prefetched.
constexpr std::size_t near_elements = std::size_t{1} << 15;

// How far ahead the rows of an A in place are prefetched, if they are several times as long.
constexpr std::size_t positions_ahead = 64;

inline std::uintptr_t address(const void* element)
{
    return reinterpret_cast<std::uintptr_t>(element);
}

// Rows a multiple of 4 KiB apart share one set of L1, where no more than eight lines of them fit.
template <class T>
bool shares_cache_sets(std::size_t stride)
{
    return stride * sizeof(T) % 4096 == 0;
}

// Where tiles find an operand: that of row or column x begins at first + (x - origin)·step. Packed
// panels of B are `depth` apart for each column, while the tiles on packed panels of A are told
// theirs; in place it is the operand's own stride.
template <class T>
struct panel_source
{
    const T* first;
    std::size_t step;
    std::size_t stride; // of A's rows in place, of B's positions, or of B's columns before packing
    bool in_place;
    std::size_t origin = 0; // the column of B that lies at `first`
    order_of_b order = order_of_b::by_rows;
};

// Kernels with tiles that pack an operand.
template <class Kernel>
concept packs_beside_tiles = requires
{
    Kernel::tile_packing_a;
    Kernel::tile_packing_b;
};

// A part of C, half open, that one thread computes.
struct task_range
{
    std::size_t first_row;
    std::size_t last_row;
    std::size_t first_col;
    std::size_t last_col;
};

// Columns of C, half open, whose panels of B stay in L2, and by how many columns the prefetch of C
// is ahead of its tiles.
struct col_group
{
    std::size_t first;
    std::size_t last;
    std::size_t cols_ahead;
};

// What the next tile on packed panels prefetches, and how many bytes it goes on every two
// positions.
struct panels_ahead
{
    std::uintptr_t next;
    std::size_t step;
};

// How C is cut into tasks: so many parts of the row panels, and of the groups of columns.
struct task_grid
{
    std::size_t row_panels;
    std::size_t down;
    std::size_t across;
};

// C[rows × cols] += A[rows × depth]·B[depth × cols], depth <= kc and cols <= nc.
template <class Kernel, class T>
struct product_block
{
    using tile_of = blocking<Kernel>;
    static constexpr std::size_t mr = tile_of::mr;
    static constexpr std::size_t nr = tile_of::nr;
    static constexpr std::size_t group_cols = group_panels * nr;

    std::size_t rows;
    std::size_t cols;
    std::size_t depth;
    panel_source<T> a;
    panel_source<T> b;
    T* c;
    std::size_t ldc;
    into_c into;
    std::size_t done_rows = 0; // the tiles of these have run
    // Operands of the batch's next product, C at the place of this block, to prefetch; else null.
    const T* next_a = nullptr;
    const T* next_b = nullptr;
    const T* next_c = nullptr;

    // Unless B is read in place: copies it into panels, `cols` rounded up to nr times `depth`, and
    // runs the tiles that do so on their way.
    void pack_b_into(T* panels);

    // Runs the other tiles.
    void multiply() const;

private:
    struct panels_of_a;
    struct panels_of_b;

    std::size_t groups() const { return ceil_div(cols, group_cols); }

    // Columns of a group of panels, or of several where those are short: together they take the
    // memory of one at full depth. Beside an A in place, which each group reads anew, from memory
    // perhaps, they take as much of L2 as they may.
    std::size_t cols_together() const
    {
        if (cols <= group_cols)
            return group_cols;
        const std::size_t of_groups = group_cols * std::max<std::size_t>(1, tile_of::kc / depth);
        return a.in_place ? std::max(of_groups, tile_of::panel_elements / depth / nr * nr)
                          : of_groups;
    }

    // C is prefetched by the tile before, or by as many tiles as take 0.2 microseconds: by then its
    // lines are there, even from memory, and still in L1.
    col_group group_of(std::size_t first, std::size_t last) const
    {
        constexpr std::size_t products_ahead = 12288;
        return {first, last, nr * std::max<std::size_t>(1, products_ahead / (mr * nr * depth))};
    }

    std::size_t tile_rows() const { return a.in_place ? tile_of::mr_in_place : mr; }

    std::size_t panel_size() const { return mr * Kernel::parts * depth; }

    // Of `left` rows those of the next panel. Two panels share the last ones where half a panel or
    // less would remain: a tile of few rows waits for its loads and its own sums. But beside a deep
    // B in place the first tiles are the larger ones, as they wait for memory too.
    std::size_t panel_rows(std::size_t left) const
    {
        constexpr std::size_t deep = 64;
        const bool shared = left > mr && left - mr <= mr / 2 && (!b.in_place || depth <= deep);
        return shared ? (left + 1) / 2 : std::min(left, mr);
    }

    bool packs_b_beside_tiles() const;
    bool packs_own_b(const task_range& task) const;
    void pack_a_panel(std::size_t i, std::size_t count, T* panel) const;
    void pack_b_panels(std::size_t first, std::size_t last, T* panels) const;
    void multiply_and_pack_b(std::size_t i, const col_group& group, const T* panel_of_a,
                             T* panels) const;
    task_grid tasks() const;

    void multiply_task(const task_range& task) const
    {
        if (a.in_place)
            multiply_with_a_in_place(task);
        else
            multiply_and_pack_a(task);
    }

    void multiply_with_a_in_place(const task_range& task) const;
    panels_ahead panels_after(const col_group& group, const task_range& task) const;
    void multiply_and_pack_a(const task_range& task) const;
    std::size_t pack_a_at(std::size_t i, std::size_t count, const col_group& group, T* panel) const;
    tile_operands_of<T> tile_at(std::size_t i, std::size_t j, const col_group& group) const;
    void run_tile(const tile_operands_of<T>& operands) const;
};

template <class Kernel, class T>
void product_block<Kernel, T>::run_tile(const tile_operands_of<T>& operands) const
{
    if constexpr (tile_of::in_place_rows_beside_a != 0)
        if (b.in_place && a.in_place)
            return Kernel::tile_in_place(operands);
    if constexpr (tile_of::in_place_cols != 0)
        if (a.in_place)
            return Kernel::tile_a_in_place(operands);
    Kernel::tile(operands);
}

// While a tile runs, one that comes soon in its group is prefetched. In a batch it is the tile of
// the next product, of whose A and B each tile prefetches the lines that follow those of the tile
// before.
template <class Kernel, class T>
tile_operands_of<T> product_block<Kernel, T>::tile_at(std::size_t i, std::size_t j,
                                                      const col_group& group) const
{
    T* const tile_c = c + i * ldc + j;
    tile_operands_of<T> tile{.kc = depth,
                             .a = a.first + i * a.step,
                             .lda = a.stride,
                             .b = b.first + (j - b.origin) * b.step,
                             .ldb = b.stride,
                             .c = tile_c,
                             .ldc = ldc,
                             .rows = std::min(rows - i, tile_rows()),
                             .cols = std::min(cols - j, nr),
                             .next_c = address(tile_c),
                             .into = into};
    if (next_c != nullptr) {
        const std::size_t number = i / tile_of::mr_in_place * ceil_div(cols, nr) + j / nr;
        const std::size_t prefetched = number * (depth / 2) * line_bytes;
        tile.next_a = address(next_a) + prefetched;
        tile.next_b = address(next_b) + prefetched;
        tile.next_c = address(next_c + i * ldc + j);
        return tile;
    }
    if (j == group.first && depth >= 4 * positions_ahead && rows * depth > near_elements)
        tile.ahead_a = positions_ahead * Kernel::parts * sizeof(T);
    if (rows * cols > near_elements) {
        const std::size_t next_j = j + group.cols_ahead;
        const std::size_t below = (i + tile_rows()) * ldc + group.first;
        tile.next_c = address(next_j < group.last ? c + i * ldc + next_j
                                                  : c + below + (next_j - group.last) / nr * nr);
    }
    return tile;
}

} // namespace numerical::detail
