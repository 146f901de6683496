#pragma once

// The vector kernels by path, for both element types under one name. A caller asks
// gemm_path_current() once, above its loop, and passes the code down. Complex portable forms are
// plain loops of full products (C99 recovery of infinities).

#include "numerical/gemm/kernels/axpy.hpp"
#include "numerical/gemm/kernels/dot.hpp"
#include "numerical/gemm/kernels/exchange.hpp"
#include "numerical/gemm/kernels/gemv_transposed.hpp"
#include "numerical/gemm/path.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

// Sum of a[i]·b[i], by the current path.
double dot_product(const double* a, const double* b, std::size_t n);

double dot_on(int path, const double* a, const double* b, std::size_t n);

// The same for vectors that may be very long: the dots of runs are added by halves
// (sum_by_halves.hpp). A run is long enough that folding its lanes costs little.
constexpr std::size_t longest_run = 4096;
double long_dot_on(int path, const double* a, const double* b, std::size_t n);

// Two runs that don't overlap change places.
void exchange_on(int path, double* x, double* y, std::size_t n);
void exchange_on(int path, std::complex<double>* x, std::complex<double>* y, std::size_t n);

// y[i] += alpha·x[i]; the portable form rounds twice.
void scaled_add_on(int path, double* y, const double* x, double alpha, std::size_t n);

// y[i] -= alpha·x[i]: scaled_add_on with -alpha for double, subtract_complex_products of one term
// for complex.
void subtract_scaled_on(int path, double* y, const double* x, double alpha, std::size_t n);
void subtract_scaled_on(int path, std::complex<double>* y, const std::complex<double>* x,
                        std::complex<double> alpha, std::size_t n);

// out[j] -= sum over t of coeffs[t]·rows[t·row_stride + j], t ascending.
void subtract_products_on(int path, double* out, const double* coeffs, const double* rows,
                          std::size_t row_stride, std::size_t terms, std::size_t n);
void subtract_products_on(int path, std::complex<double>* out, const std::complex<double>* coeffs,
                          const std::complex<double>* rows, std::size_t row_stride,
                          std::size_t terms, std::size_t n);

// The threaded dot product without conjugation, in chunks of 16384 whose partial sums are added in
// ascending order. T = double or std::complex<double>.
template <class T>
T chunked_dot(const T* a, const T* b, std::size_t n);

// The dot of one chunk, on the calling thread: dispatched for double, ascending for complex.
double plain_dot(const double* a, const double* b, std::size_t n);
std::complex<double> plain_dot(const std::complex<double>* a, const std::complex<double>* b,
                               std::size_t n);

// Whether a sum of squares lies in [2^-900, 2^900], where no term of weight has been lost.
inline bool is_safe_square(double square)
{
    return 0x1p-900 <= square && square <= 0x1p900;
}

// The Euclidean norm without false overflow or underflow, by sums of squares that are taken as in
// long_dot_on.
double scaled_norm(const double* x, std::size_t n);
double scaled_norm(const std::complex<double>* x, std::size_t n);

} // namespace numerical::detail
