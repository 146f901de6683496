#pragma once

// A panel of a tall QR: some columns of a block of rows, alone or below a triangle that is
// reflected with them.

#include "numerical/strided/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

// The greatest width of a panel.
constexpr std::size_t tall_panel_columns = 32;

// I - V·T·Vᴴ with V = [ diag(tops) ; below ], or V = below where there is no triangle. Columns of V
// have any length.
template <class T>
struct tall_panel
{
    block_view<T> r;            // w × w: R; before, the triangle above the block if there is one
    block_view<T> below;        // V; before, the columns of the block
    T* tops;                    // w elements; null if there is no triangle
    block_view<T> minus_factor; // w × w: -T
};

// Factors a panel on the calling thread. Only the upper triangle of r is read or written. Elements
// are at most 2^900.
template <class T>
void factor_tall_panel(const tall_panel<T>& panel);

} // namespace numerical::detail
