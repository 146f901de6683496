#pragma once

// The kernels of the unfused product, in forms with the same bits. Declarations only, so it may be
// included from any target.

#include <cstddef>

namespace numerical::detail {

// A tile of C: some rows, and 8 doubles of each, that is 8 real or 4 complex columns. The elements
// of A and of B that belong to one position p lie side by side, those of the next one behind them.
constexpr std::size_t avx2_unfused_rows = 4;
constexpr std::size_t avx512_unfused_rows = 16;
constexpr std::size_t unfused_tile_doubles = 8;

// C += A·B over `depth` positions; complex numbers as pairs, ldc in doubles. Vectors multiply by
// the quick formula: where that makes a NaN, the full product may not.
void avx2_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                       std::size_t ldc);
void avx2_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                               std::size_t ldc);
void avx512_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                         std::size_t ldc);
void avx512_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                                 std::size_t ldc);

} // namespace numerical::detail
