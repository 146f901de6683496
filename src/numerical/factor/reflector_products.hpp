#pragma once

// Products with V, the reflectors of a block: column j is zero above row j. Zeros change no sum, so
// they are left out, but only where the rest is sure to be summed in the same order as the whole
// (gemm/summation.hpp). Dots along the reflectors are long sums: those of more than 512 rows are
// taken in runs, whose sums are added by halves (sum_by_halves.hpp).

#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// Bands of rows, or of columns, in which V's zeros are left out.
constexpr std::size_t row_band = 8;

constexpr std::size_t longest_dot_run = 512;

// W += VᴴC, the first `from` rows of V or of C being zero.
template <class T>
void add_dots_from(std::size_t from, block_view<const T> v,
                   block_view<const std::type_identity_t<T>> c,
                   block_view<std::type_identity_t<T>> w);

// W += VᴴC.
template <class T>
void add_reflector_dots(block_view<const T> v, block_view<const std::type_identity_t<T>> c,
                        block_view<std::type_identity_t<T>> w);

// G += VᴴV above the diagonal; what falls below it is of no use.
template <class T>
void add_upper_gram(block_view<const T> v, block_view<std::type_identity_t<T>> gram);

// C += V·X.
template <class T>
void add_reflector_sums(block_view<const T> v, block_view<const std::type_identity_t<T>> x,
                        block_view<T> c);

} // namespace numerical::detail
