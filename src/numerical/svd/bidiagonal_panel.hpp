#pragma once

// Some columns of the blocked reduction to bidiagonal form, and the rows right of them.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv_transposed.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/svd/bidiagonal_reduction.hpp"

#include <cstddef>

namespace numerical::detail {

// Some of the rows of a panel's factors: `count` of them from `from` on, every `step`-th.
struct factor_rows
{
    std::size_t from;
    std::size_t step;
    std::size_t count;
};

// Columns [first, last) of the reduction. While they are worked on, the matrix is A - Lᵀ·R, with A
// as it was before the panel. Column l adds two rows to L and to R. The left reflector u goes to
// row 2l of L and y = 2·uᴴ·(the matrix) beside it to R; x = 2·(the matrix)·v goes to row 2l + 1 of
// L and the conjugate of the right reflector v beside it to R. Without a reflector they stay zero.
//
// The products uᴴ·A and A·v take most of the time, and are bound by reading A. The vector v comes
// from row c after the left reflection, which a tile of columns of uᴴ·A completes for these
// columns. So both products go over A together, tile by tile (Howell, Demmel, Fulton,
// Hammarling and Marmol 2008): with r for that row, conjugated, and v = (r - β·e₁)/‖r - β·e₁‖,
// A·v follows from A·r and the first column of A.
template <class T>
class bidiagonal_panel
{
public:
    bidiagonal_panel(block_view<T> matrix, std::size_t first_column, std::size_t last_column,
                     bidiagonal_reduction<T>& into);

    // Reflects column c from the left, which makes the elements below (c, c) zero, and row c from
    // the right, which does so right of (c, c + 1). These two elements are stored in d and e.
    void reduce(std::size_t c, T& d, T& e);

    void update_trailing();

private:
    // A tile of the matrix, all rows, stays in the L2 cache.
    static constexpr std::size_t tile_columns = column_tile * sizeof(double) / sizeof(T);

    static factor_rows all(std::size_t l) { return {0, 1, 2 * l}; }

    static factor_rows of_left_reflectors(std::size_t l) { return {0, 2, l}; }

    static factor_rows of_right_reflectors(std::size_t l) { return {1, 2, l}; }

    // The four rows of column l: u and the conjugate of v, y and x.
    T* panel_left(std::size_t l) { return left.data() + 2 * l * n; }

    T* panel_right(std::size_t l) { return right.data() + (2 * l + 1) * n; }

    T* panel_left_update(std::size_t l) { return right.data() + 2 * l * n; }

    T* panel_right_update(std::size_t l) { return left.data() + (2 * l + 1) * n; }

    aligned_vector<T> matrix_column(std::size_t c, std::size_t from_row) const;
    aligned_vector<T> factor_column(const aligned_vector<T>& factor, factor_rows rows,
                                    std::size_t c) const;
    aligned_vector<T> dots(const aligned_vector<T>& factor, factor_rows rows, std::size_t c,
                           const aligned_vector<T>& x) const;
    void subtract(T* x, std::size_t size, const aligned_vector<T>& coefficients,
                  const aligned_vector<T>& factor, factor_rows rows, std::size_t c) const;

    T reduce_column(std::size_t c);
    void update_row(std::size_t c, T* r, std::size_t from, std::size_t width) const;
    aligned_vector<T> sweep(std::size_t c, aligned_vector<T>& r);
    aligned_vector<T> multiply_right(std::size_t c, const aligned_vector<T>& v) const;
    aligned_vector<T> product_from_sweep(std::size_t c, aligned_vector<T> w, T first_of_r, T beta,
                                         const aligned_vector<T>& v) const;
    void store_right(std::size_t c, aligned_vector<T> w, aligned_vector<T> v);

    block_view<T> a;
    bidiagonal_reduction<T>& out;
    std::size_t n;
    std::size_t first;
    std::size_t last;
    aligned_vector<T> columns; // those of the panel, each contiguous, from row `first` down
    aligned_vector<T> left;    // L
    aligned_vector<T> right;   // R
    int path = gemm_path_current();
};

} // namespace numerical::detail
