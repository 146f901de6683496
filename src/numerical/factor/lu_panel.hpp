#pragma once

// The panel of the LU factorization: a few columns of the matrix, from the diagonal down, factored
// by partial pivoting. The panel is a private copy stored by columns, so that the pivot search,
// the division by the pivot and the updates of a column run over contiguous memory.

#include "numerical/gemm/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

template <class T>
class lu_panel
{
public:
    // Row j of `columns` is column j of the panel, whose first row is row `panel_first` of the
    // matrix; it ends in at least panel_padding spare elements (lu_columns.hpp). exchanges[k]
    // receives the matrix row with which row panel_first + k was exchanged, if it was with another.
    lu_panel(block_view<T> panel_columns, std::size_t first_row, std::size_t block_width,
             std::size_t* exchanged_with);

    void factorize() { factorize_columns(0, columns.rows); }

    // Whether a column's largest pivot was zero.
    bool singular() const { return met_zero_pivot; }

private:
    block_view<T> columns;
    std::size_t rows; // of the matrix in a column
    std::size_t panel_first;
    std::size_t block;
    std::size_t* exchanges;
    int path;
    bool met_zero_pivot = false;

    void factorize_columns(std::size_t from, std::size_t to);
    void factorize_leaf(std::size_t from, std::size_t to);
    void solve_unit_lower(std::size_t from, std::size_t mid, std::size_t to);
    void apply_columns(std::size_t run, std::size_t end, std::size_t from, std::size_t to);
    std::size_t largest_from(std::size_t k) const;
    std::size_t eliminate_next_column(std::size_t run, std::size_t k);
    void exchange_rows(std::size_t k, std::size_t p);
};

// The position of the first element of greatest modulus among x[0..n), n > 0; 0 if x[0] is NaN;
// other NaNs are skipped. The modulus is that of `modulus`, not |Re| + |Im|.
std::size_t first_largest(int path, const double* x, std::size_t n);
std::size_t first_largest(int path, const std::complex<double>* x, std::size_t n);

} // namespace numerical::detail
