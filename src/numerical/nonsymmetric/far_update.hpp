#pragma once

// Updates far from the diagonal by a small unitary U that accumulates the similarities of a
// diagonal block: the rest of the block's rows and columns and its rows of Zᴴ are multiplied by U,
// by products that run on the pool.

#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/schur_views.hpp"

#include <cstddef>

namespace numerical::detail {

// Storage kept between updates.
template <class T>
struct far_storage
{
    aligned_vector<T> copy;
    aligned_vector<T> direct; // U
};

// U acts on the rows and columns of the diagonal block from `top` on; `adjoint` is Uᴴ. Columns are
// multiplied in the rows from reach.row_from to the block, rows of h in the columns behind the
// block up to reach.col_to, rows of z in all columns.
template <class T>
void update_far(const schur_views<T>& s, block_view<const T> adjoint, std::size_t top,
                const similarity_reach& reach, far_storage<T>& storage);

} // namespace numerical::detail
