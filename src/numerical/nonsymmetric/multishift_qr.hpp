#pragma once

// The QR iteration for matrices of any order: sweeps with many small bulges and aggressive early
// deflation (Braman, Byers and Mathias 2002); small active blocks with one bulge at a time.

#include "numerical/nonsymmetric/small_qr.hpp"

#include <cstddef>

namespace numerical::detail {

// Active blocks with fewer rows are iterated with one bulge at a time.
constexpr std::size_t multishift_crossover = 96;

// Brings the Hessenberg matrix s.h to Schur form. Returns the number of leading rows that have not
// converged, 0 for success.
template <class T>
std::size_t multishift_qr(const schur_views<T>& s, schur_extent extent, std::size_t step_limit);

// The same by the iteration that suits the order: below multishift_crossover with one bulge at a
// time, for which rows need the padding of the bulge kernels.
template <class T>
std::size_t qr_iteration(const schur_views<T>& s, schur_extent extent, std::size_t step_limit);

} // namespace numerical::detail
