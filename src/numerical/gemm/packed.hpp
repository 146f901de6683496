#pragma once

// The packed product C += A·B, by blocks for the caches: one phase copies a block's operands into
// panels, the next runs the tiles, and each is one parallel loop. A tile of C has one writer in a
// phase and receives its products in ascending inner order, so the result depends neither on the
// number of threads nor on whether an operand was packed or read where it lies.

#include "numerical/gemm/blocking.hpp"
#include "numerical/gemm/packing.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

inline std::size_t ceil_div(std::size_t n, std::size_t d)
{
    return n / d + (n % d != 0 ? 1 : 0);
}

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
    const T* a;
    std::size_t lda;
    const T* b;
    std::size_t ldb;
    T* c;
    std::size_t ldc;

    std::size_t groups() const { return ceil_div(cols, group_cols); }

    void pack(const packing_storage<T>& panels) const;
    void multiply(const packing_storage<T>& panels) const;

private:
    std::size_t rows_per_task() const;
    void multiply_group(const packing_storage<T>& panels, std::size_t first_row,
                        std::size_t last_row, std::size_t first_col) const;
};

// Index t packs a group of B's panels, or, after the groups, some rows of A: a panel has one
// writer.
template <class Kernel, class T>
void product_block<Kernel, T>::pack(const packing_storage<T>& panels) const
{
    const auto pack_part = [&](std::size_t t) {
        if (t < groups()) {
            const std::size_t first = t * group_cols;
            pack_b<nr>(b, ldb, first, std::min(first + group_cols, cols), depth, panels.b);
        } else {
            const std::size_t first = (t - groups()) * tile_of::pack_rows;
            pack_a<mr>(a, lda, first, std::min(first + tile_of::pack_rows, rows), depth, panels.a);
        }
    };
    parallel_for(groups() + ceil_div(rows, tile_of::pack_rows), depth * tile_of::pack_work,
                 pack_part);
}

// Rows of C for a tile task, so that each thread gets about four tasks.
template <class Kernel, class T>
std::size_t product_block<Kernel, T>::rows_per_task() const
{
    const std::size_t wanted = ceil_div(4 * allowed_threads(), groups());
    return std::min(ceil_div(ceil_div(rows, mr), wanted), tile_of::task_panels) * mr;
}

// Neighbouring indices share A panels and move through B; each writes its own block of C.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply(const packing_storage<T>& panels) const
{
    const std::size_t task_rows = rows_per_task();
    const auto multiply_part = [&](std::size_t t) {
        const std::size_t first = t / groups() * task_rows;
        multiply_group(panels, first, std::min(first + task_rows, rows), t % groups() * group_cols);
    };
    parallel_for(groups() * ceil_div(rows, task_rows),
                 depth * task_rows * tile_of::tile_work_16 / 16, multiply_part);
}

template <class Kernel, class T>
void product_block<Kernel, T>::multiply_group(const packing_storage<T>& panels,
                                              std::size_t first_row, std::size_t last_row,
                                              std::size_t first_col) const
{
    const std::size_t last_col = std::min(first_col + group_cols, cols);
    for (std::size_t i = first_row; i < last_row; i += mr)
        for (std::size_t j = first_col; j < last_col; j += nr)
            Kernel::tile(depth, panels.a + i * depth, panels.b + j * depth, nr, c + i * ldc + j,
                         ldc, std::min(rows - i, mr), std::min(cols - j, nr));
}

template <class Kernel, class T>
void gemm_packed(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda,
                 const T* b, std::size_t ldb, T* c, std::size_t ldc)
{
    using tile_of = blocking<Kernel>;
    const std::size_t depth = std::min(k, tile_of::kc);
    const std::size_t width = std::min(n, tile_of::nc);
    const packing_storage<T> panels(ceil_div(m, tile_of::mr) * tile_of::mr * depth,
                                    ceil_div(width, tile_of::nr) * tile_of::nr * depth);
    for (std::size_t j = 0; j < n; j += tile_of::nc)
        for (std::size_t p = 0; p < k; p += tile_of::kc) {
            const product_block<Kernel, T> block{m,
                                                 std::min(n - j, tile_of::nc),
                                                 std::min(k - p, tile_of::kc),
                                                 a + p,
                                                 lda,
                                                 b + p * ldb + j,
                                                 ldb,
                                                 c + j,
                                                 ldc};
            block.pack(panels);
            block.multiply(panels);
        }
}

} // namespace numerical::detail
