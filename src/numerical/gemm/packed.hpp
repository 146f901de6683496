#pragma once

// The packed product C += A·B, by blocks for the caches: one phase copies a block's operands into
// panels, the next runs the tiles, and each is one parallel loop. A tile of C has one writer in a
// phase and receives its products in ascending inner order, so the result depends neither on the
// number of threads nor on whether an operand was packed or read where it lies.

#include "numerical/counts.hpp"
#include "numerical/gemm/blocking.hpp"
#include "numerical/gemm/packing.hpp"
#include "numerical/gemm/product_operands.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace numerical::detail {

// Below this many multiply-adds a second thread doesn't repay the start of a loop, not even where
// few columns leave the tiles half empty.
constexpr std::size_t serial_products = std::size_t{1} << 17;

// A C of at most this many elements is already in L2, so its tiles aren't prefetched.
constexpr std::size_t near_elements = std::size_t{1} << 15;

inline std::uintptr_t address(const void* element)
{
    return reinterpret_cast<std::uintptr_t>(element);
}

// Where tiles find an operand: the panel of row or column x begins at first + x·step. Packed panels
// are `depth` apart for each row or column; in place it is the operand's own stride.
template <class T>
struct panel_source
{
    const T* first;
    std::size_t step;
    std::size_t stride; // of A's rows in place, of B's positions, or of B's columns before packing
    bool in_place;
    order_of_b order = order_of_b::by_rows;
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
    // Operands of the batch's next product, C at the place of this block, to prefetch; else null.
    const T* next_a = nullptr;
    const T* next_b = nullptr;
    const T* next_c = nullptr;

    std::size_t groups() const { return ceil_div(cols, group_cols); }

    std::size_t tile_rows() const { return a.in_place ? tile_of::mr_in_place : mr; }

    // Copies into panels what isn't read in place, and points the sources at the panels.
    void pack(const packing_storage<T>& panels);
    void multiply() const;

private:
    std::size_t rows_per_task() const;
    void multiply_group(std::size_t first_row, std::size_t last_row, std::size_t first_col) const;
    tile_operands_of<T> tile_at(std::size_t i, std::size_t j) const;
    void run_tile(const tile_operands_of<T>& operands) const;
};

// The first indices pack a group of B's panels each, those after them some rows of A: a panel has
// one writer.
template <class Kernel, class T>
void product_block<Kernel, T>::pack(const packing_storage<T>& panels)
{
    const std::size_t groups_of_b = b.in_place ? 0 : groups();
    const std::size_t parts_of_a = a.in_place ? 0 : ceil_div(rows, tile_of::pack_rows);
    const auto pack_part = [&](std::size_t t) {
        if (t < groups_of_b) {
            const std::size_t first = t * group_cols;
            const std::size_t last = std::min(first + group_cols, cols);
            if constexpr (Kernel::parts == 2)
                pack_parts_of_b<nr>(b.first, b.stride, first, last, depth, panels.b);
            else if (b.order == order_of_b::by_columns)
                pack_a<nr>(b.first, b.stride, first, last, depth,
                           panels.b); // its rows, side by side
            else
                pack_b<nr>(b.first, b.stride, first, last, depth, panels.b);
        } else {
            const std::size_t first = (t - groups_of_b) * tile_of::pack_rows;
            const std::size_t last = std::min(first + tile_of::pack_rows, rows);
            if constexpr (Kernel::parts == 2)
                pack_parts_of_a<mr>(a.first, a.stride, first, last, depth, panels.a);
            else
                pack_a<mr>(a.first, a.stride, first, last, depth, panels.a);
        }
    };
    parallel_for(groups_of_b + parts_of_a, depth * tile_of::pack_work, pack_part);
    if (!a.in_place)
        a = {.first = panels.a, .step = Kernel::parts * depth, .stride = mr, .in_place = false};
    if (!b.in_place)
        b = {.first = panels.b, .step = depth, .stride = nr, .in_place = false};
}

// Rows of C for a tile task, so that each thread gets about four tasks.
template <class Kernel, class T>
std::size_t product_block<Kernel, T>::rows_per_task() const
{
    const std::size_t wanted = ceil_div(4 * allowed_threads(), groups());
    return std::min(ceil_div(ceil_div(rows, tile_rows()), wanted), tile_of::task_panels) *
           tile_rows();
}

// Neighbouring indices share A panels and move through B; each writes its own block of C.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply() const
{
    if (rows * cols * depth * Kernel::parts < serial_products) {
        for (std::size_t g = 0; g < groups(); ++g)
            multiply_group(0, rows, g * group_cols);
        return;
    }
    const std::size_t task_rows = rows_per_task();
    const auto multiply_part = [&](std::size_t t) {
        const std::size_t first = t / groups() * task_rows;
        multiply_group(first, std::min(first + task_rows, rows), t % groups() * group_cols);
    };
    parallel_for(groups() * ceil_div(rows, task_rows),
                 Kernel::parts * depth * task_rows * tile_of::tile_work_16 / 16, multiply_part);
}

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

// While a tile runs, the tile of C below it is prefetched: far enough ahead at a small depth, and
// still in L2 at a large one. In a batch it is the tile of the next product, of whose A and B each
// tile prefetches the lines that follow those of the tile before.
template <class Kernel, class T>
tile_operands_of<T> product_block<Kernel, T>::tile_at(std::size_t i, std::size_t j) const
{
    T* const tile_c = c + i * ldc + j;
    tile_operands_of<T> tile{.kc = depth,
                             .a = a.first + i * a.step,
                             .lda = a.stride,
                             .b = b.first + j * b.step,
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
    } else if (rows * cols > near_elements) {
        tile.next_c += tile_rows() * ldc * sizeof(T);
    }
    return tile;
}

template <class Kernel, class T>
void product_block<Kernel, T>::multiply_group(std::size_t first_row, std::size_t last_row,
                                              std::size_t first_col) const
{
    const std::size_t last_col = std::min(first_col + group_cols, cols);
    for (std::size_t i = first_row; i < last_row; i += tile_rows())
        for (std::size_t j = first_col; j < last_col; j += nr)
            run_tile(tile_at(i, j));
}

// Operands that few tiles use are read where they lie: a packed copy would cost more than it saves.
// Rows of A that lie a multiple of 4 KiB apart would share one set of L1. Complex tiles that
// read B in place read A in place too.
template <class Kernel>
bool reads_a_in_place(std::size_t m, std::size_t n, std::size_t lda)
{
    using tile_of = blocking<Kernel>;
    const bool with_b = Kernel::parts == 2 && m <= tile_of::in_place_rows;
    return (n <= tile_of::in_place_cols || with_b) && lda % 512 != 0;
}

template <class Kernel>
bool reads_b_in_place(std::size_t m, bool a_in_place)
{
    using tile_of = blocking<Kernel>;
    if (a_in_place)
        return m <= tile_of::in_place_rows_beside_a;
    return Kernel::parts == 1 && m <= tile_of::in_place_rows;
}

template <class Kernel, class T>
bool reads_both_in_place(const product_operands<T>& p)
{
    return reads_a_in_place<Kernel>(p.m, p.n, p.lda) && reads_b_in_place<Kernel>(p.m, true);
}

// For a complex kernel all operands are doubles, B and C of twice the columns: n, the strides and
// the pointers are theirs, while k counts complex positions.
template <class Kernel, class T>
void gemm_packed(const product_operands<T>& p)
{
    using tile_of = blocking<Kernel>;
    const bool a_in_place = reads_a_in_place<Kernel>(p.m, p.n, p.lda);
    const bool by_columns = p.b_order == order_of_b::by_columns;
    const bool b_in_place = !by_columns && reads_b_in_place<Kernel>(p.m, a_in_place);
    const auto multiply_blocks = [&](const auto& pack) {
        for (std::size_t j = 0; j < p.n; j += tile_of::nc)
            for (std::size_t l = 0; l < p.k; l += tile_of::kc) {
                const T* const b = p.b + (by_columns ? j * p.ldb + l : l * p.ldb + j);
                product_block<Kernel, T> block{.rows = p.m,
                                               .cols = std::min(p.n - j, tile_of::nc),
                                               .depth = std::min(p.k - l, tile_of::kc),
                                               .a = {.first = p.a + Kernel::parts * l,
                                                     .step = p.lda,
                                                     .stride = p.lda,
                                                     .in_place = a_in_place},
                                               .b = {.first = b,
                                                     .step = 1,
                                                     .stride = p.ldb,
                                                     .in_place = b_in_place,
                                                     .order = p.b_order},
                                               .c = p.c + j,
                                               .ldc = p.ldc,
                                               .into = l == 0 ? p.into : into_c::add};
                pack(block);
                block.multiply();
            }
    };
    if (a_in_place && b_in_place)
        return multiply_blocks([](const auto&) {});
    // An operand that stays where it lies has no panels: for a tall A they would be larger than C.
    const std::size_t depth = std::min(p.k, tile_of::kc);
    const std::size_t panel_rows = a_in_place ? 0 : round_up(p.m, tile_of::mr);
    const std::size_t width = std::min(p.n, tile_of::nc);
    const std::size_t panel_cols = b_in_place ? 0 : round_up(width, tile_of::nr);
    const packing_storage<T> panels(panel_rows * depth * Kernel::parts, panel_cols * depth);
    multiply_blocks([&](auto& block) { block.pack(panels); });
}

// C += AᴴB for a k × m A, which is read in place. For few rows of C, which alone would reuse a
// packed panel of B.
template <class Kernel, class T>
void gemm_adjoint_tiles(const product_operands<T>& p)
{
    using tile_of = blocking<Kernel>;
    const bool b_in_place = p.n <= Kernel::in_place_cols_of_b;
    const std::size_t panel_cols = round_up(std::min(p.n, tile_of::nc), tile_of::nr);
    const packing_storage<T> panels(0, b_in_place ? 0 : panel_cols * std::min(p.k, tile_of::kc));
    for (std::size_t j = 0; j < p.n; j += tile_of::nc)
        for (std::size_t l = 0; l < p.k; l += tile_of::kc) {
            product_block<Kernel, T> block{.rows = p.m,
                                           .cols = std::min(p.n - j, tile_of::nc),
                                           .depth = std::min(p.k - l, tile_of::kc),
                                           .a = {.first = p.a + l * p.lda,
                                                 .step = Kernel::parts,
                                                 .stride = p.lda,
                                                 .in_place = true},
                                           .b = {.first = p.b + l * p.ldb + j,
                                                 .step = 1,
                                                 .stride = p.ldb,
                                                 .in_place = b_in_place},
                                           .c = p.c + j,
                                           .ldc = p.ldc,
                                           .into = l == 0 ? p.into : into_c::add};
            if (!b_in_place)
                block.pack(panels);
            block.multiply();
        }
}

// Whether to prefetch the next product of a batch, with this many elements in its operands and its
// result: not if all come from L3, nor if they are so small that the hardware prefetcher keeps up,
// nor so large that they would leave L2 before they are used.
inline bool worth_prefetching_next(std::size_t batches, std::size_t elements)
{
    constexpr std::size_t far_elements = std::size_t{1} << 20;
    constexpr std::size_t least_elements = 3072;
    return batches * elements > far_elements && least_elements <= elements &&
           elements <= near_elements;
}

// `batches` products, of which p is the first; the operands of each lie `steps` behind those of the
// one before. place(i, multiply) calls multiply(c, next) with the place for product i and with the
// memory of a C that is needed after it.
template <class Kernel, class T, class Place>
void gemm_packed_batch(std::size_t batches, const product_operands<T>& p, const batch_steps& steps,
                       const Place& place)
{
    const std::size_t work = p.m * p.n * p.k / 16;
    if (!reads_both_in_place<Kernel>(p) || p.k > blocking<Kernel>::kc) {
        const auto multiply_one = [&](std::size_t i) {
            place(i, [&](T* c, const T*) { gemm_packed<Kernel>(p.later(i, steps, c)); });
        };
        return parallel_for(batches, work, multiply_one);
    }
    const bool prefetches = worth_prefetching_next(batches, p.m * p.k + p.k * p.n + p.m * p.n);
    const product_block<Kernel, T> first{
        .rows = p.m,
        .cols = p.n,
        .depth = p.k,
        .a = {.first = p.a, .step = p.lda, .stride = p.lda, .in_place = true},
        .b = {.first = p.b, .step = 1, .stride = p.ldb, .in_place = true},
        .c = p.c,
        .ldc = p.ldc,
        .into = p.into};
    const auto multiply_one = [&](std::size_t i) {
        place(i, [&](T* c, const T* next) {
            product_block<Kernel, T> block = first;
            block.a.first += i * steps.a;
            block.b.first += i * steps.b;
            block.c = c;
            if (prefetches) {
                block.next_a = block.a.first + steps.a;
                block.next_b = block.b.first + steps.b;
                block.next_c = next;
            }
            block.multiply();
        });
    };
    parallel_for(batches, work, multiply_one);
}

} // namespace numerical::detail
