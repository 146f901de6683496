#pragma once

// Dots of one vector with many rows. Declarations only, so the header may be included from any
// target. Counts and strides are in elements; complex data passed as double* is interleaved (real,
// imaginary). The AVX forms fuse; the order of a row's sum depends on the form and on n, never on
// the alignment.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// --- out[t] = sum over j < n of conj(rows[t·stride + j])·v[j] for t < count ----------------------
// For long rows. On AVX2 four real rows together have two accumulators each, for vectors in turn,
// and the rows after the last four have one.
void avx2_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                   std::size_t count, std::size_t n);
void avx512_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                     std::size_t count, std::size_t n);
void avx2_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                           std::size_t count, std::size_t n);
void avx512_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                             std::size_t count, std::size_t n);

// By path; the portable form is a plain ascending loop, complex products recovering infinities.
// T = double or std::complex<double>.
template <class T>
void row_dots(int path, T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
              std::size_t n);

// --- w[i] += sum over j < n of rows[i·stride + j]·x[j] for i < count -----------------------------
// For short rows from a near cache. A row's sum does not depend on the other rows. Complex rows
// come as real rows of twice the length: w[2i] gains the products of equal parts with x, those of
// imaginary parts with the other sign, and w[2i + 1] those of different parts.
void add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                  const double* x, std::size_t n);
void avx2_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n);
void avx512_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                         const double* x, std::size_t n);
void add_complex_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                          const double* x, std::size_t n);
void avx2_add_complex_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                               const double* x, std::size_t n);
void avx512_add_complex_row_dots(double* w, const double* rows, std::size_t stride,
                                 std::size_t count, const double* x, std::size_t n);

// By path; no conjugation.
void add_row_dots_on(int path, double* w, const double* rows, std::size_t stride, std::size_t count,
                     const double* x, std::size_t n);
void add_row_dots_on(int path, std::complex<double>* w, const std::complex<double>* rows,
                     std::size_t stride, std::size_t count, const std::complex<double>* x,
                     std::size_t n);

// --- y[i] = sum over j < n of rows[i·stride + j]·x[j] for i < count ------------------------------
// For a matrix that is read once, with one order for both forms and for every row, wherever it
// stands: product j goes to partial sum j mod 8, of complex rows each of the four products of parts
// to one of j mod 4, all fused and ascending from zero; then the partial sums are folded by halves,
// and of complex ones Re·Re less Im·Im, Re·Im plus Im·Re last. No conjugation.
void avx2_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
               const double* x, std::size_t n);
void avx512_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
                 const double* x, std::size_t n);
void avx2_complex_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n);
void avx512_complex_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
                         const double* x, std::size_t n);

} // namespace numerical::detail
