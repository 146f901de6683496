#pragma once

// A panel of columns of the blocked reduction to Hessenberg form. Within it the trailing matrix
// stays unchanged while Y = A·V·T is formed along with the reflectors; then products update
// everything. The only operation that isn't blocked is the product of each reflector with the
// trailing matrix, restricted to the rows below the panel (Quintana-Orti and van de Geijn 2006).

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Two bands of the register tile's 12 rows: with 32 columns the vector passes within a panel cost
// more than the deeper products save, with 16 the products are too shallow for large matrices.
constexpr std::size_t hessenberg_panel = 24;

// Whether a column needs no reflector. x isn't empty.
template <class T>
bool is_zero_beyond_first(const aligned_vector<T>& x)
{
    return std::all_of(x.begin() + 1, x.end(), [](const T& element) { return element == T(0); });
}

// A reduced panel's Q = I - V·T·Vᴴ, acting on m rows, with the operands of the update from the
// right.
template <class T>
struct reduced_panel
{
    reflector_block<T> block;
    aligned_vector<T> minus_products; // -A·V·T in the block's rows, m × count
    aligned_vector<T> adjoint;        // Vᴴ, count × m
};

// A panel is columns [from, to) below row `from`; its reflectors act on [from + 1, n).
template <class T>
class panel_reducer
{
public:
    explicit panel_reducer(block_view<T> matrix);

    // Columns [from, to) become those of H; nothing else changes.
    reduced_panel<T> reduce(std::size_t from, std::size_t to);

private:
    void bring_up_to_date(std::size_t p);
    void add_reflector(std::size_t p);
    void multiply_trailing(std::size_t p, const T* v, T* y) const;
    void extend_factor(std::size_t p, const T* dots);
    reduced_panel<T> gathered(std::size_t count) const;

    const int path = gemm_path_current();
    const block_view<T> a;
    const std::size_t n;
    std::size_t first = 0;  // the row and column at which V begins
    std::size_t height = 0; // n - first
    // In rows of `height` elements, `n` apart.
    aligned_vector<T> columns;  // of the panel
    aligned_vector<T> vectors;  // V
    aligned_vector<T> products; // Y = A·V·T
    aligned_vector<T> factor;   // T by rows, transposed: row p is column p
    aligned_vector<T> coefficients;

    T* column(std::size_t p) { return columns.data() + p * n; }

    T* v_row(std::size_t p) { return vectors.data() + p * n; }

    T* y_row(std::size_t p) { return products.data() + p * n; }

    T* factor_column(std::size_t p) { return factor.data() + p * hessenberg_panel; }
};

} // namespace numerical::detail
