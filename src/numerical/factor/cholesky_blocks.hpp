#pragma once

// The blocked Cholesky factorization of a lower triangle in its place; cholesky.hpp has its
// entries. Nothing is written above the diagonal blocks, and those end with zeros above it.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/runtime/shrinking_shares.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Right-looking by block columns, lower triangle:
//          first  last  next
//   first [ L11              ]   L11 from A11;
//    last [ L21   A22        ]   L21 = A21·L11⁻ᴴ;
//    next [ L31   A32   A33  ]   A22 and A32 lose L21·L21ᴴ and L31·L21ᴴ, and A22 is factored at
//                                once, while other threads update A33.
// Within a group of blocks A33 ends with the group; the columns right of it are updated once, by
// all of the group.
template <class T>
class cholesky_blocks
{
public:
    cholesky_blocks(block_view<T> matrix, std::size_t block_width);

    void factorize();

private:
    // A part of a block column of the trailing matrix.
    struct piece
    {
        std::size_t row;
        std::size_t last_row;
        std::size_t column;
    };

    block_view<T> a;
    std::size_t order;
    std::size_t block;
    int path;
    std::size_t group_width;     // columns of a group
    std::size_t group_stride;    // of minus_l21: rows 2 KiB apart would share cache sets
    std::size_t group = 0;       // first column of the one that is being factored
    aligned_vector<T> columns;   // the diagonal block that is being factored, by columns
    aligned_vector<T> l11;       // contiguous by rows, conjugated off the diagonal, which is real
    aligned_vector<T> minus_l21; // of the group, by rows
    aligned_vector<T> adjoint;   // L21ᴴ of the group, in tiles of 64 columns, one after the other
    std::vector<piece> pieces;
    std::vector<std::size_t> share_ends; // pieces up to the end of each share
    std::size_t rows_of_pieces = 0;

    std::size_t tiles_below(std::size_t row) const;
    T* minus_l21_at(std::size_t row, std::size_t column);
    T* adjoint_at(std::size_t row, std::size_t column);
    void factor_diagonal_block(std::size_t first, std::size_t last);
    void factor_rows_below(std::size_t first, std::size_t last);
    void factor_tile(block_view<T> rows, block_view<T> minus_rows, block_view<T> tile);
    void update_beside_diagonal_block(std::size_t from, std::size_t last, std::size_t end);
    void cut_pieces(std::size_t last, std::size_t end);
    void cut_column(std::size_t column, std::size_t rows_before, const shrinking_shares& cut_at);
    void update(std::size_t from, std::size_t last, const piece& part);
    void subtract_product(std::size_t from, std::size_t last, const piece& part, std::size_t cols);
};

} // namespace numerical::detail
