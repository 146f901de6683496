#pragma once

// What a reduced panel of a Hessenberg reduction does to the rest of the matrix. C being A's rows
// that the panel's Q acts on, in the columns behind the panel, and W the same columns of Vᴴ,
//
//     Qᴴ·(C - Y·W) = C + [Y V]·[-W ; X],   X = -Tᴴ·(Vᴴ·C - (Vᴴ·Y)·W).
//
// The rows above, in all columns that Q acts on, are multiplied by Q alone.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"

#include <cstddef>
#include <utility>

namespace numerical::detail {

template <class T>
class panel_update
{
public:
    // The panel ends before column `behind` of A.
    panel_update(const reduced_panel<T>& panel, block_view<T> a, std::size_t behind);

    // All of it, in blocks of C's rows and strips of the rows above.
    void apply() const;

    reflector_block<T> take_block() { return std::move(block); }

private:
    void gather_rows(const reduced_panel<T>& panel, std::size_t b);
    void fill_factors(const reduced_panel<T>& panel);
    void fill_columns(const reduced_panel<T>& panel, std::size_t from, std::size_t to);
    void update_block(std::size_t b) const;
    void update_strip(std::size_t strip) const;

    const row_blocks blocks;
    const std::size_t columns_before; // of Vᴴ, before W
    const block_view<T> c;
    const block_view<T> above;
    reflector_block<T> block;
    aligned_vector<T> left;    // [Y V], height × 2·count
    aligned_vector<T> dots;    // Vᴴ·Y, count × count, a part for each block of rows
    aligned_vector<T> turning; // [-Tᴴ -Tᴴ·(Vᴴ·Y)], count × 2·count
    aligned_vector<T> right;   // [Vᴴ·C ; -W ; X], 3·count × columns
    aligned_vector<T> adjoint; // Vᴴ, count × height
};

} // namespace numerical::detail
