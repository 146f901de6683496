#pragma once

// A panel of columns of the blocked reduction to Hessenberg form. Within it the trailing matrix A
// stays unchanged while Y = A·V·T and Vᴴ·A are formed along with the reflectors; then products
// update everything (hessenberg_update.hpp). The only operation that isn't blocked is the product
// of each reflector with the trailing matrix, restricted to the rows below the panel (Quintana-Orti
// and van de Geijn 2006). It is bound by the reading of A, so that vᴴ·A comes with A·v at little
// cost.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace numerical::detail {

// Two bands of the register tile's 12 rows: with 32 columns the vector passes within a panel cost
// more than the deeper products save, with 16 the products are too shallow for large matrices.
constexpr std::size_t hessenberg_panel = 24;

// The rows that a panel's reflectors act on, cut into blocks that tasks multiply and update. Who
// has a block in cache mostly gets it again, as it keeps its place among the others. Their number
// is mostly even and serves eight threads at most; so few rows as are left in one block take less
// time than the start of a loop.
struct row_blocks
{
    static constexpr std::size_t most_rows_in_one = 128;
    std::size_t height;

    std::size_t count() const
    {
        if (height <= most_rows_in_one)
            return 1;
        return std::min<std::size_t>(8, 2 * ceil_div(height, 2 * most_rows_in_one));
    }

    // Block b is [begin(b), begin(b + 1)).
    std::size_t begin(std::size_t b) const
    {
        return std::min(b * round_up(ceil_div(height, count()), 8), height);
    }
};

// A reduced panel's Q = I - V·T·Vᴴ, acting on `height` rows and columns from `first` on. The arrays
// are the reducer's, by rows of equal strides, until the next panel.
template <class T>
struct reduced_panel
{
    std::size_t first;
    std::size_t height;
    block_view<T> v;                     // Vᵀ, count × height
    block_view<T> y;                     // (A·V·T)ᵀ, count × height
    block_view<const T> factor;          // Tᵀ
    std::vector<block_view<const T>> us; // Vᴴ·A is their sum, count × height

    std::size_t count() const { return v.rows; }
};

// A panel is columns [from, to) below row `from`; its reflectors act on [from + 1, n).
template <class T>
class panel_reducer
{
public:
    // The rows of the matrix begin on lines.
    explicit panel_reducer(block_view<T> matrix);

    // Columns [from, to) become those of H; nothing else changes.
    reduced_panel<T> reduce(std::size_t from, std::size_t to);

private:
    void bring_up_to_date(std::size_t p);
    void add_reflector(std::size_t p);
    void multiply_trailing(std::size_t p);
    void extend_factor(std::size_t p, const T* dots);

    const int path = gemm_path_current();
    const block_view<T> a;
    const std::size_t n;
    std::size_t first = 0;  // the row and column at which V begins
    std::size_t height = 0; // n - first
    std::size_t margin = 0; // from the beginning of a line of A to `first`
    // In rows that begin on a line, as those of A do, with `margin` elements before the first one:
    // those before V are zeros.
    const std::size_t stride;
    aligned_vector<T> columns;      // of the panel
    aligned_vector<T> vectors;      // V
    aligned_vector<T> products;     // Y = A·V·T
    aligned_vector<T> row_products; // Vᴴ·A, a part for each block of rows
    aligned_vector<T> factor;       // T by rows, transposed: row p is column p
    aligned_vector<T> coefficients;

    row_blocks blocks() const { return {height}; }

    T* column(std::size_t p) { return columns.data() + p * stride + margin; }

    T* v_row(std::size_t p) { return vectors.data() + p * stride + margin; }

    T* y_row(std::size_t p) { return products.data() + p * stride + margin; }

    T* u_row(std::size_t block, std::size_t p)
    {
        return row_products.data() + (block * hessenberg_panel + p) * stride + margin;
    }

    T* factor_column(std::size_t p) { return factor.data() + p * hessenberg_panel; }
};

} // namespace numerical::detail
