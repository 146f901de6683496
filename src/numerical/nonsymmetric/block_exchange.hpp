#pragma once

// Exchange of neighbouring diagonal blocks of a Schur form, and its reordering by exchanges (Bai
// and Demmel 1993). Blocks are of order 1, or 2 for a real pair.

#include "numerical/nonsymmetric/schur_views.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The order of the diagonal block that begins in row k.
template <class T>
std::size_t block_order(block_view<const T> h, std::size_t k)
{
    return k + 1 < h.rows && h(k + 1, k) != T(0) ? 2 : 1;
}

// Exchanges the block of order n1 that begins in row k with the one of order n2 behind it, in the
// whole Schur form. Returns false, with nothing changed, if their eigenvalues are so close that the
// exchange would perturb the matrix by more than rounding does.
template <class T>
bool exchange_blocks(const schur_views<T>& s, std::size_t k, std::size_t n1, std::size_t n2);

// Moves the block in row `from` up past the blocks above it until it begins in row `to`. Returns
// the row in which it ends: `to`, or the row where an exchange was refused.
template <class T>
std::size_t move_block_up(const schur_views<T>& s, std::size_t from, std::size_t to);

} // namespace numerical::detail
