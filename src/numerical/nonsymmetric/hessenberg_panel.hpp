#pragma once

// A panel of columns of the blocked reduction to Hessenberg form. Within it the trailing matrix A
// stays unchanged while Y = A·V·T and U = Vᴴ·A are formed along with the reflectors; then products
// update everything. The only operation that isn't blocked is the product of each reflector with
// the trailing matrix, restricted to the rows below the panel (Quintana-Orti and van de Geijn
// 2006). It is bound by the reading of A, so that vᴴ·A comes with A·v at little cost.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Two bands of the register tile's 12 rows: with 32 columns the vector passes within a panel cost
// more than the deeper products save, with 16 the products are too shallow for large matrices.
constexpr std::size_t hessenberg_panel = 24;

// Blocks of rows that are multiplied by a reflector at the same time, each with sums of its own for
// vᴴ·A: mostly an even number, and no more than serve eight threads. So few rows as are left in one
// block take less time than the start of a loop.
constexpr std::size_t most_rows_in_one_block = 128;

constexpr std::size_t row_blocks(std::size_t height)
{
    if (height <= most_rows_in_one_block)
        return 1;
    return std::min<std::size_t>(8, 2 * ceil_div(height, 2 * most_rows_in_one_block));
}

// Whether a column needs no reflector. x isn't empty.
template <class T>
bool is_zero_beyond_first(const aligned_vector<T>& x)
{
    return std::all_of(x.begin() + 1, x.end(), [](const T& element) { return element == T(0); });
}

// A reduced panel's Q = I - V·T·Vᴴ, acting on m rows and columns, with the operands of the updates.
// C being A's m rows of some columns behind the panel, and W the same columns of Vᴴ,
//
//     Qᴴ·(C - Y·W) = C - Y·W + V·X,   X = -Tᴴ·(Vᴴ·C - Vᴴ·Y·W).
template <class T>
struct reduced_panel
{
    reflector_block<T> block;
    aligned_vector<T> adjoint; // Vᴴ, count × m
    aligned_vector<T> left;    // [-Y V], m × 2·count
    aligned_vector<T> turning; // [-Tᴴ Tᴴ·Vᴴ·Y], count × 2·count
};

// A panel is columns [from, to) below row `from`; its reflectors act on [from + 1, n).
template <class T>
class panel_reducer
{
public:
    explicit panel_reducer(block_view<T> matrix);

    // Columns [from, to) become those of H; nothing else changes.
    reduced_panel<T> reduce(std::size_t from, std::size_t to);

    // Columns [left, right) of the last panel's U, into `count` rows.
    void sum_row_products(std::size_t left, block_view<T> u) const;

private:
    void bring_up_to_date(std::size_t p);
    void add_reflector(std::size_t p);
    void multiply_trailing(std::size_t p);
    void extend_factor(std::size_t p, const T* dots);
    reduced_panel<T> gathered(std::size_t count);

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
    aligned_vector<T> row_products; // U, in so many parts as there are blocks of rows
    aligned_vector<T> factor;       // T by rows, transposed: row p is column p
    aligned_vector<T> coefficients;

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
