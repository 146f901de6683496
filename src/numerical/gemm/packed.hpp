#pragma once

// The packed product C += A·B, by blocks for the caches (product_tasks.hpp). A tile of C has one
// writer at a time and receives its products in ascending inner order, so the result depends
// neither on the number of threads nor on whether an operand was packed or read where it lies.

#include "numerical/counts.hpp"
#include "numerical/gemm/product_tasks.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Operands that few tiles use are read where they lie: a packed copy would cost more than it saves.
// Rows of A that share cache sets are packed. Complex tiles that read B in place read A in place
// too.
template <class Kernel, class T>
bool reads_a_in_place(std::size_t m, std::size_t n, std::size_t lda)
{
    using tile_of = blocking<Kernel>;
    const bool with_b = Kernel::parts == 2 && m <= tile_of::in_place_rows;
    return (n <= tile_of::in_place_cols || with_b) && !shares_cache_sets<T>(lda);
}

template <class Kernel>
bool reads_b_in_place(std::size_t m, bool a_in_place)
{
    using tile_of = blocking<Kernel>;
    if (a_in_place)
        return m <= tile_of::in_place_rows_beside_a;
    return m <= tile_of::own_panel_rows;
}

template <class Kernel, class T>
bool reads_both_in_place(const product_operands<T>& p)
{
    return reads_a_in_place<Kernel, T>(p.m, p.n, p.lda) && reads_b_in_place<Kernel>(p.m, true);
}

// The most positions of a block. Beside an A in place the panels of few columns are deeper: long
// rows of A are what the processor prefetches best.
template <class Kernel>
std::size_t depth_of_block(std::size_t n, bool a_in_place, bool b_in_place)
{
    using tile_of = blocking<Kernel>;
    if (b_in_place)
        return depth_in_place;
    const std::size_t deep = a_in_place ? tile_of::panel_elements / round_up(n, tile_of::nr) : 0;
    return std::max(deep, tile_of::kc);
}

// The rows of C that a thread takes through all blocks of a product with both operands in place:
// those of a tile where C is so small, beside its depth, that the loops of single blocks wouldn't
// repay their starts, and otherwise all.
template <class Kernel, class T>
std::size_t rows_through_blocks(const product_operands<T>& p)
{
    constexpr std::size_t least_work = 131072; // of a loop for two threads
    const std::size_t work = work_of_position<Kernel>(p.m, p.n);
    const bool deep = work * depth_in_place < least_work && work * p.k >= least_work;
    return deep ? blocking<Kernel>::mr_in_place : p.m;
}

// For a complex kernel all operands are doubles, B and C of twice the columns: n, the strides and
// the pointers are theirs, while k counts complex positions.
template <class Kernel, class T>
void gemm_packed(const product_operands<T>& p)
{
    using tile_of = blocking<Kernel>;
    const bool a_in_place = reads_a_in_place<Kernel, T>(p.m, p.n, p.lda);
    const bool by_columns = p.b_order == order_of_b::by_columns;
    const bool b_in_place = !by_columns && reads_b_in_place<Kernel>(p.m, a_in_place);
    const std::size_t kc = depth_of_block<Kernel>(p.n, a_in_place, b_in_place);
    const auto multiply_blocks = [&](std::size_t first, std::size_t last, const auto& pack) {
        for (std::size_t j = 0; j < p.n; j += tile_of::nc)
            for (std::size_t l = 0; l < p.k; l += kc) {
                const T* const b = p.b + (by_columns ? j * p.ldb + l : l * p.ldb + j);
                product_block<Kernel, T> block{
                    .rows = last - first,
                    .cols = std::min(p.n - j, tile_of::nc),
                    .depth = std::min(p.k - l, kc),
                    .a = {.first = p.a + first * p.lda + Kernel::parts * l,
                          .step = p.lda,
                          .stride = p.lda,
                          .in_place = a_in_place},
                    .b = {.first = b,
                          .step = 1,
                          .stride = p.ldb,
                          .in_place = b_in_place,
                          .order = p.b_order},
                    .c = p.c + first * p.ldc + j,
                    .ldc = p.ldc,
                    .into = l == 0 ? p.into : into_c::add};
                pack(block);
                block.multiply();
            }
    };
    if (a_in_place && b_in_place) {
        const auto no_packing = [](const auto&) {};
        const std::size_t rows = rows_through_blocks<Kernel>(p);
        if (rows == p.m)
            return multiply_blocks(0, p.m, no_packing);
        const auto multiply_rows = [&](std::size_t i) {
            multiply_blocks(i * rows, std::min(i * rows + rows, p.m), no_packing);
        };
        return parallel_for(ceil_div(p.m, rows), work_of_position<Kernel>(rows, p.n) * p.k,
                            multiply_rows);
    }
    // An operand that stays where it lies has no panels: for a tall A they would be larger than C.
    const std::size_t depth = std::min(p.k, kc);
    const std::size_t width = std::min(p.n, tile_of::nc);
    const std::size_t panel_cols = b_in_place ? 0 : round_up(width, tile_of::nr);
    const packing_storage<T> panels(0, panel_cols * depth);
    multiply_blocks(0, p.m, [&](auto& block) { block.pack_b_into(panels.b); });
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
                block.pack_b_into(panels.b);
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
    if (!reads_both_in_place<Kernel>(p) || p.k > depth_in_place) {
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
