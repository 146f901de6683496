#pragma once

// Sums along several rows side by side. Declarations only, so it may be included from any target.
//
//     sums[r] += sum over i < extent of from[r·apart + i],  r < rows
//
// i ascends for every row and each addition is rounded, so the bits are those of the plain loop.
// `rows` is 8 or 16: fewer would be bound by the latency of addition.

#include <complex>
#include <cstddef>

namespace numerical::detail {

void avx2_unfused_add_along_rows(double* sums, const double* from, std::size_t apart,
                                 std::size_t extent, std::size_t rows);
void avx2_unfused_add_along_rows(std::complex<double>* sums, const std::complex<double>* from,
                                 std::size_t apart, std::size_t extent, std::size_t rows);

} // namespace numerical::detail
