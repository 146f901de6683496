#pragma once

// Loops of complex products by C99 Annex G, each product and each sum rounded, in the order of the
// index: the arithmetic of plain loops over std::complex, which is the same on every path, in
// vectors. The AVX2 forms use the textbook formula and stop at a NaN, since only there may the
// Annex G product differ (it recovers infinities); plain loops continue from there.

#include <complex>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t rows_at_once = 4;

// sums[r] = sum of rows[r·row_stride + i]·conj(v[i]), i ascending, for r < count <= rows_at_once.
// A sum in order is bound by the latency of addition; several side by side hide it.
void conjugate_dots(int path, std::complex<double>* sums, const std::complex<double>* v,
                    const std::complex<double>* rows, std::size_t row_stride, std::size_t count,
                    std::size_t n);

// z[i] *= factors[i·step], step 0 or 1.
void multiply_full(int path, std::complex<double>* z, const std::complex<double>* factors,
                   std::size_t step, std::size_t n);

// Returns how many leading elements were multiplied: an even count, up to a pair with a NaN.
std::size_t avx2_unfused_multiply(double* z, const double* factors, std::size_t step,
                                  std::size_t n);

// Four rows; false if a sum is NaN.
bool avx2_unfused_conjugate_dots(double* sums, const double* v, const double* rows,
                                 std::size_t row_stride, std::size_t n);

} // namespace numerical::detail
