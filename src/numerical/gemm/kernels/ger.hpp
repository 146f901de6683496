#pragma once

// Rank-one updates, rows[i] -= coeffs[i]·x, with x kept in registers for all rows. The
// bits are those of subtract_scaled_on row by row. Declarations only, so it may be included from
// any target. Strides and n are in elements; complex numbers are pairs.

#include <complex>
#include <cstddef>

namespace numerical::detail {

void avx2_subtract_from_rows(double* rows, std::size_t stride, std::size_t count,
                             const double* coeffs, const double* x, std::size_t n);
void avx2_subtract_from_complex_rows(double* rows, std::size_t stride, std::size_t count,
                                     const double* coeffs, const double* x, std::size_t n);
void avx512_subtract_from_rows(double* rows, std::size_t stride, std::size_t count,
                               const double* coeffs, const double* x, std::size_t n);
void avx512_subtract_from_complex_rows(double* rows, std::size_t stride, std::size_t count,
                                       const double* coeffs, const double* x, std::size_t n);

void subtract_from_rows_on(int path, double* rows, std::size_t stride, std::size_t count,
                           const double* coeffs, const double* x, std::size_t n);
void subtract_from_rows_on(int path, std::complex<double>* rows, std::size_t stride,
                           std::size_t count, const std::complex<double>* coeffs,
                           const std::complex<double>* x, std::size_t n);

} // namespace numerical::detail
