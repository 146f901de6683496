#pragma once

// Products of a row vector with a matrix, combinations of rows. Declarations only,
// so the header may be included from any target. Counts and strides are in elements; complex data
// passed as double* is interleaved (real, imaginary). Sums ascend over the rows, element by
// element, so that their bits depend on nothing but the form.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// out[j] -= sum over t of coeffs[t]·rows[t·row_stride + j], t ascending; fused on AVX paths.
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

// sums[j] += Σᵢ coefficients[i]·rows[i·stride + j], i ascending from zero, for narrow tiles of
// n <= column_tile doubles whose rows lie far apart: the sums stay in registers while the rows
// stream by, and rows are prefetched.
constexpr std::size_t column_tile = 64;
void add_column_sums(double* sums, const double* coefficients, const double* rows,
                     std::size_t stride, std::size_t count, std::size_t n);
void avx2_add_column_sums(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n);
void avx512_add_column_sums(double* sums, const double* coefficients, const double* rows,
                            std::size_t stride, std::size_t count, std::size_t n);

// The same of complex rows and coefficients, n in doubles: the products with the real parts of the
// coefficients and those with the imaginary ones have a sum each, which are joined at the end.
void add_complex_column_sums(double* sums, const double* coefficients, const double* rows,
                             std::size_t stride, std::size_t count, std::size_t n);
void avx2_add_complex_column_sums(double* sums, const double* coefficients, const double* rows,
                                  std::size_t stride, std::size_t count, std::size_t n);
void avx512_add_complex_column_sums(double* sums, const double* coefficients, const double* rows,
                                    std::size_t stride, std::size_t count, std::size_t n);

// By path, for both element types; no conjugation. n elements fill at most a tile.
void add_column_sums_on(int path, double* sums, const double* coefficients, const double* rows,
                        std::size_t stride, std::size_t count, std::size_t n);
void add_column_sums_on(int path, std::complex<double>* sums,
                        const std::complex<double>* coefficients, const std::complex<double>* rows,
                        std::size_t stride, std::size_t count, std::size_t n);

// y[j] += Σᵢ x[i]·rows[i·stride + j], complex, for long rows: four rows a pass, the last one to
// three together. In a pass y[j] adds the products with the real parts of x one after the other;
// those with the imaginary parts have a sum of their own, which is added last. Both forms have
// this order.
void avx2_complex_gemv_transposed(double* y, const double* rows, std::size_t stride,
                                  std::size_t count, const double* x, std::size_t n);
void avx512_complex_gemv_transposed(double* y, const double* rows, std::size_t stride,
                                    std::size_t count, const double* x, std::size_t n);

} // namespace numerical::detail
