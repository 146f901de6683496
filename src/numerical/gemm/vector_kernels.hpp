#pragma once

// The level-one and level-two loops that the factorizations share, in three forms each: portable,
// avx2_ and avx512_. Declarations only, so it may be included from any target. Counts and strides
// are in elements; complex data passed as double* is interleaved (real, imaginary) with n and
// strides in complex elements. Order of summation is part of each contract: it depends on the form,
// never on the alignment.

#include <array>
#include <complex>
#include <cstddef>

namespace numerical::detail {

// --- dots: sum of a[i]·b[i] ----------------------------------------------------------------------
// Four vector accumulators take the vectors in turn; each is folded by halves, the four added in
// order (portable: the eight lanes in order); then the tail in ascending order. AVX forms fuse.
template <class T>
T dot_product(const T* a, const T* b, std::size_t n); // portable for double, no other instance
double avx2_dot(const double* a, const double* b, std::size_t n);
double avx512_dot(const double* a, const double* b, std::size_t n);

// --- y[i] = alpha·x[i] + y[i], fused -------------------------------------------------------------
void avx2_scaled_add(double* y, const double* x, double alpha, std::size_t n);
void avx512_scaled_add(double* y, const double* x, double alpha, std::size_t n);

// --- out[j] -= sum over t of coeffs[t]·rows[t·row_stride + j], t ascending -----------------------
template <class T>
void subtract_products(T* out, const T* coeffs, const T* rows, std::size_t row_stride,
                       std::size_t terms, std::size_t n); // portable for double
void avx2_subtract_products(double* out, const double* coeffs, const double* rows,
                            std::size_t row_stride, std::size_t terms, std::size_t n);
void avx512_subtract_products(double* out, const double* coeffs, const double* rows,
                              std::size_t row_stride, std::size_t terms, std::size_t n);
// Complex without conjugation; each term in two fused steps, by Re(c) and by Im(c).
void avx2_subtract_complex_products(double* out, const double* coeffs, const double* rows,
                                    std::size_t row_stride, std::size_t terms, std::size_t n);
void avx512_subtract_complex_products(double* out, const double* coeffs, const double* rows,
                                      std::size_t row_stride, std::size_t terms, std::size_t n);

// --- one row of a symmetric lower triangle in both its roles -------------------------------------
// y[j] += alpha·row[j] for j < n; returns the sum of row[j]·x[j].
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

// The dots of two runs of n complex numbers, parts in turns, that lie end to end: ascending, by the
// quick complex product, each operation rounded.
void avx2_unfused_two_complex_dots(const double* a, const double* b, std::size_t n, double* out);

} // namespace numerical::detail
