#pragma once

// Dots of one vector with many rows, each in ascending order with products and sums rounded: the
// arithmetic of a plain loop, the same bits in every form. Declarations only, so the header may be
// included from any target. Counts and strides are in elements.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// w[i] = sum over j < n of rows[i·stride + j]·x[j] for i < count.
void ascending_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                        const double* x, std::size_t n); // portable
void avx2_unfused_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                           const double* x, std::size_t n);
void ascending_row_dots_on(int path, double* w, const double* rows, std::size_t stride,
                           std::size_t count, const double* x, std::size_t n);

constexpr std::size_t rows_at_once = 4;

// sums[r] = sum of rows[r·row_stride + i]·conj(v[i]), i ascending, for r < count <= rows_at_once,
// with C99's recovery of infinities. A sum in order is bound by the latency of addition; several
// side by side hide it.
void conjugate_dots(int path, std::complex<double>* sums, const std::complex<double>* v,
                    const std::complex<double>* rows, std::size_t row_stride, std::size_t count,
                    std::size_t n);

// Four rows by the textbook formula; false if a sum is NaN.
bool avx2_unfused_conjugate_dots(double* sums, const double* v, const double* rows,
                                 std::size_t row_stride, std::size_t n);

} // namespace numerical::detail
