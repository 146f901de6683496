#pragma once

// A QR panel wider than those of 32 columns, for blocks of reflectors that are worth more products
// for each pass over the matrix.

#include "numerical/factor/reflector_block.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// Columns that are factored one by one. Real ones so few that they lie in L1, by
// factor_tall_panel: their reflectors have any length. Complex ones by factor_qr_panel.
template <class T>
constexpr std::size_t leaf_columns = std::is_same_v<T, double> ? 16 : 32;

// Factors a panel of any width that has at least as many rows as columns, on the calling thread, as
// one block of reflectors. R is left on and above the diagonal, and what lies below it means
// nothing. Elements are at most 2^900.
template <class T>
reflector_block<T> factor_wide_qr_panel(block_view<T> panel, std::size_t offset);

} // namespace numerical::detail
