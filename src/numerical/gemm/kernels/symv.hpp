#pragma once

// Rows of a symmetric or Hermitian lower triangle in both their roles, as rows and as columns, in
// three forms. Declarations only, so the header may be included from any target. Counts and
// strides are in elements; complex data passed as double* is interleaved (real, imaginary).
// The order of a sum depends on the form and on n, never on the alignment.

#include <array>
#include <complex>
#include <cstddef>

namespace numerical::detail {

// y[j] += alpha·row[j] for j < n; returns the sum of row[j]·x[j], in the order of a dot (dot.hpp)
// but for the rest, which is fused throughout.
template <class T>
T symmetric_row(const T* row, const T* x, const T& alpha, T* y, std::size_t n); // double
double avx2_symmetric_row(const double* row, const double* x, double alpha, double* y,
                          std::size_t n);
double avx512_symmetric_row(const double* row, const double* x, double alpha, double* y,
                            std::size_t n);

// Rows n .. n+3 of the triangle, the first at `rows`: y[j] gains the columns' part of the four rows
// below the diagonal, and the result is each row's lower part, diagonal included, times x.
template <class T>
std::array<T, 4> symmetric_rows(const T* rows, std::size_t stride, const T* x, T* y,
                                std::size_t n); // double
std::array<double, 4> avx2_symmetric_rows(const double* rows, std::size_t stride, const double* x,
                                          double* y, std::size_t n);
std::array<double, 4> avx512_symmetric_rows(const double* rows, std::size_t stride, const double* x,
                                            double* y, std::size_t n);

// Rows n .. n+7, n a multiple of 8, in both roles: y[0 .. n+7] gains the bits of two passes of four
// rows, the sums of each added to y after it. A row is read once, as part of eight streams.
void avx512_symmetric_eight_rows(const double* rows, std::size_t stride, const double* x, double* y,
                                 std::size_t n);

// The columns [from, n) of the four rows and the triangle at the diagonal, unfused: what remains of
// `sums` and y after the whole steps of any form.
template <class T>
void symmetric_rows_tail(const T* rows, std::size_t stride, const T* x, T* y, std::size_t n,
                         std::size_t from, std::array<T, 4>& sums); // double

// y[j] += alpha·conj(row[j]); returns the plain sum of row[j]·x[j].
std::complex<double> avx2_hermitian_row(const double* row, const double* x, double alpha_real,
                                        double alpha_imag, double* y, std::size_t n);
std::complex<double> avx512_hermitian_row(const double* row, const double* x, double alpha_real,
                                          double alpha_imag, double* y, std::size_t n);

// Four rows of a Hermitian lower triangle, as far as they lie left of column n: y[j] gains the sum
// over r of x[n + r]·conj(row_r[j]), and the result is each row's sum of row_r[j]·x[j].
std::array<std::complex<double>, 4> avx2_hermitian_rows(const double* rows, std::size_t stride,
                                                        const double* x, double* y, std::size_t n);
std::array<std::complex<double>, 4> avx512_hermitian_rows(const double* rows, std::size_t stride,
                                                          const double* x, double* y,
                                                          std::size_t n);

} // namespace numerical::detail
