#pragma once

// Transposes of blocks, for T = double or std::complex<double>. One side of a transposition runs
// along rows, the other across them: the loops are ordered so that a cache line of the source is
// used as a whole while it is in L1, and the lines that come next, which the hardware prefetcher
// doesn't foresee, are prefetched. Pure data movement, on the calling thread but for the one in
// place.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// `to` := Aᵀ for a `to` of a.cols × a.rows elements that doesn't overlap A.
template <class T>
void transpose_into(block_view<T> to, block_view<const std::type_identity_t<T>> a);

// `to` := Aᴴ, the plain transpose for double.
template <class T>
void adjoint_into(block_view<T> to, block_view<const std::type_identity_t<T>> a);

// Aᴴ, contiguous by rows.
template <class T>
aligned_vector<T> adjoint_copy(block_view<const T> a);

// The conjugate transpose, cols × rows; the plain transpose for double.
template <class T>
matrix<T> adjoint(const matrix<T>& a);

// Transposes the n × n array in place, without conjugation.
template <class T>
void transpose_in_place(aligned_vector<T>& a, std::size_t n);

} // namespace numerical::detail
