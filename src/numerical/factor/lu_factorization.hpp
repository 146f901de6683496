#pragma once

// The blocked factorization P·A = L·U of an m × n array in its place; lu.hpp has its entries.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The factorization of columns by halves (Toledo 1997) and, at its leaves, by blocks. A panel's
// exchanges of rows are applied to the columns right of it when those are next updated, tile by
// tile, and to the columns left of it once for a leaf and once for each half above it. So the panel
// can be factored while other threads still update the columns right of it, and no row is loaded
// only to be exchanged.
template <class T>
class lu_factorization
{
public:
    lu_factorization(block_view<T> matrix, std::size_t block_width);

    void factorize();

    // The same for a matrix that takes up a copy of `original` first, which has as many rows and
    // columns. Of a small one's copy only the first panel is waited for: the other columns are
    // copied beside its factorization. The error of require_finite, for "LU decomposition".
    void factorize_copy_of(block_view<const T> original);

    // Row i was exchanged with row exchanges[i], in ascending order of i.
    const std::vector<std::size_t>& row_exchanges() const { return exchanges; }

    bool singular() const { return met_zero_pivot; }

private:
    int path = gemm_path_current();
    block_view<T> a;
    std::size_t steps; // columns of L, rows of U
    std::size_t block;
    std::size_t most_by_blocks;
    std::vector<std::size_t> exchanges;
    aligned_vector<T> panel_store;  // of the panel that is being factored, by columns
    aligned_vector<T> minus_l;      // of the panel whose update runs, by rows
    aligned_vector<T> next_minus_l; // of the panel that is being factored
    aligned_vector<T> negative;     // the smaller operand of a product between halves
    bool met_zero_pivot = false;
    block_view<const T> to_copy{}; // until the first panel is factored

    void factorize_columns(std::size_t from, std::size_t to);
    void factorize_blocks(std::size_t from, std::size_t to);
    void factorize_first_panel(std::size_t panel_last);
    void factorize_panel(std::size_t panel_first, std::size_t panel_last);
    void keep_minus_l(std::size_t start, std::size_t end);
    void solve_rows(std::size_t first, std::size_t mid, std::size_t from, std::size_t to);
    void solve_panel_rows(std::size_t start, std::size_t end, std::size_t last);
    void update_beside_panel(std::size_t start, std::size_t end, std::size_t next_end,
                             std::size_t last);
    void update(std::size_t start, std::size_t end, std::size_t from, std::size_t to);
    void exchange_rows(std::size_t first, std::size_t last, std::size_t from, std::size_t to);
    void exchange_rows_in_tiles(std::size_t first, std::size_t last, std::size_t from,
                                std::size_t to);
    void exchange_rows_of_l(std::size_t from, std::size_t to);
};

} // namespace numerical::detail
