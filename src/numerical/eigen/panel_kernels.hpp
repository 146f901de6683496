#pragma once

// What a panel of the tridiagonal reduction asks of many rows at once, in AVX2 and AVX-512 forms.
// Complex data is interleaved (real, imaginary); counts and strides are in elements. A row has
// sums of its own, so that its result does not depend on the rows beside it. Products are fused.
// Declarations only, so it may be included from any target.

#include <array>
#include <complex>
#include <cstddef>

namespace numerical::detail {

// out[t] = sum over j < n of conj(rows[t·stride + j])·v[j] for t < count.
using row_dots_kernel = void (*)(double* out, const double* v, const double* rows,
                                 std::size_t stride, std::size_t count, std::size_t n);
void avx2_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                   std::size_t count, std::size_t n);
void avx512_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                     std::size_t count, std::size_t n);
void avx2_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                           std::size_t count, std::size_t n);
void avx512_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                             std::size_t count, std::size_t n);

// Four rows of a Hermitian lower triangle, as far as they lie left of column n, in both their
// roles: y[j] gains the sum over r of x[n + r]·conj(row_r[j]), and the result is each row's sum of
// row_r[j]·x[j].
using hermitian_rows_kernel = std::array<std::complex<double>, 4> (*)(const double* rows,
                                                                      std::size_t stride,
                                                                      const double* x, double* y,
                                                                      std::size_t n);
std::array<std::complex<double>, 4> avx2_hermitian_rows(const double* rows, std::size_t stride,
                                                        const double* x, double* y, std::size_t n);
std::array<std::complex<double>, 4> avx512_hermitian_rows(const double* rows, std::size_t stride,
                                                          const double* x, double* y,
                                                          std::size_t n);

} // namespace numerical::detail
