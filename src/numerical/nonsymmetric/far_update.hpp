#pragma once

// Updates far from the diagonal. What an iteration does inside a window of H is gathered in a small
// unitary U; the rest of the window's rows and columns and the rows of Zᴴ are then multiplied by it
// as products, which run on the pool (Braman, Byers and Mathias 2002, part I).

#include "numerical/nonsymmetric/schur_views.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Storage kept between updates.
template <class T>
struct far_storage
{
    std::vector<T> copy;
    std::vector<T> direct; // U
};

// U acts on rows and columns [k, k + u.rows); `adjoint` is Uᴴ. Columns are multiplied in rows
// [reach.row_from, row_to), rows of h in columns [col_from, reach.col_to), rows of z throughout.
template <class T>
void update_far(const schur_views<T>& s, block_view<const T> adjoint, std::size_t k,
                std::size_t row_to, std::size_t col_from, const similarity_reach& reach,
                far_storage<T>& storage);

} // namespace numerical::detail
