#pragma once

// A step of the chase of a bulge down a real symmetric band (hermitian_band.hpp) whose blocks are
// whole: as wide as they are high, 16 or 32. The blocks lie in L1, where the passes over them
// count: the two reflections of the left block are one update, and its first column, of which the
// second reflection is made, is had before it. Declarations only, so it may be included from any
// target.

#include <cstddef>

namespace numerical::detail {

// The blocks of a step, both with rows `stride` apart: L, and right of it D, symmetric and stored
// in both triangles but for its last column, which the last row replaces.
struct chase_blocks
{
    double* left;
    double* diagonal;
    std::size_t stride;
};

// L := H·L·G and D := H·D·H with G = I - 2·u·uᵀ and the H = I - 2·v·vᵀ that leaves of the first
// column of L·G only the first element; `reflector` holds u, then v. False, with nothing done,
// where that column is nearly zero below its first element, or too large to be squared. Products
// are fused; sums along a row are taken by lanes, sums over rows of even and odd ones apart.
using chase_kernel = bool (*)(const chase_blocks& at, double* reflector);
bool avx2_chase_16(const chase_blocks& at, double* reflector);
bool avx2_chase_32(const chase_blocks& at, double* reflector);
bool avx512_chase_16(const chase_blocks& at, double* reflector);
bool avx512_chase_32(const chase_blocks& at, double* reflector);

} // namespace numerical::detail
