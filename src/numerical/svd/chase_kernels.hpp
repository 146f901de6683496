#pragma once

// A step of the chase of a bulge down a real upper band (band_bidiagonal.hpp) whose blocks are
// whole: as wide as they are high, 16 or 32. Declarations only, so it may be included from any
// target.

#include <cstddef>

namespace numerical::detail {

// From the row at `row`, `width` numbers of it, down to the end of the step:
//
//     row   [ x ]           1 row
//           [ A ]           width - 1 rows
//           [ B C ]         width rows, both blocks width columns wide
//
// A reflection G of the columns leaves of x only the first element, and a reflection H of the last
// rows leaves only that of the first column of B·G: A := A·G, B := H·B·G, C := H·C. False, with
// nothing done, where x or that column is nearly zero behind its first element or too large to be
// squared. Products are fused; sums along a row are taken by lanes, sums over rows of even and odd
// ones apart.
using upper_chase_kernel = bool (*)(double* row, std::size_t stride);
bool avx2_upper_chase_16(double* row, std::size_t stride);
bool avx2_upper_chase_32(double* row, std::size_t stride);
bool avx512_upper_chase_16(double* row, std::size_t stride);
bool avx512_upper_chase_32(double* row, std::size_t stride);

} // namespace numerical::detail
