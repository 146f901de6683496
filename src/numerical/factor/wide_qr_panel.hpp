#pragma once

// A QR panel wider than those of 32 columns, for blocks of reflectors that are worth more products
// for each pass over the matrix.

#include "numerical/factor/reflector_block.hpp"

#include <cstddef>

namespace numerical::detail {

// Factors a panel of any width that has at least as many rows as columns, on the calling thread, as
// one block of reflectors. Columns of no more than `leaf_columns` are factored by factor_qr_panel,
// whose conventions are kept.
template <class T>
reflector_block<T> factor_wide_qr_panel(block_view<T> panel, std::size_t offset,
                                        std::size_t leaf_columns);

} // namespace numerical::detail
