#pragma once

// Loops of full complex products, each product and each sum rounded on its own, in the order of the
// index: the arithmetic of plain loops over std::complex, which is the same on every path, at the
// speed of vectors. The AVX2 forms use the quick formula and stop where a NaN comes out, since only
// there may the full product differ (C99 Annex G recovers infinities); plain loops take over.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// out[j] -= sum over t of coeffs[t]·rows[t·row_stride + j], t ascending.
void subtract_full_products(int path, std::complex<double>* out, const std::complex<double>* coeffs,
                            const std::complex<double>* rows, std::size_t row_stride,
                            std::size_t terms, std::size_t n);

constexpr std::size_t rows_at_once = 4;

// sums[r] = sum of rows[r·row_stride + i]·conj(v[i]), i ascending, for r < count <= rows_at_once.
// Sums in order are bound by the latency of an addition; several at once hide it.
void conjugate_dots(int path, std::complex<double>* sums, const std::complex<double>* v,
                    const std::complex<double>* rows, std::size_t row_stride, std::size_t count,
                    std::size_t n);

// z[i] /= (divisor, 0) for a divisor above zero or NaN, as the quotient of C99 Annex G, signs of
// zero included, whose general way through a scaled modulus takes ten times as long.
void divide_by_real(std::complex<double>* z, std::size_t n, double divisor);

// How many leading columns are done: all n, or those before a block with a NaN, which is left as
// it was.
std::size_t avx2_unfused_subtract_products(double* out, const double* coeffs, const double* rows,
                                           std::size_t row_stride, std::size_t terms,
                                           std::size_t n);

// Four rows; false if a sum is NaN.
bool avx2_unfused_conjugate_dots(double* sums, const double* v, const double* rows,
                                 std::size_t row_stride, std::size_t n);

} // namespace numerical::detail
