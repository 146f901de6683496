#pragma once

// Dots of many rows with one vector, w[i] += Σⱼ rows[i·stride + j]·x[j], for rows that come from a
// near cache in short stretches: the vector is read once for several rows. Declarations only, so it
// may be included from any target. Counts and strides are in elements; complex rows are
// interleaved (real, imaginary) doubles and come as real rows of twice the length, with the two
// vectors that make the real and the imaginary part of a dot. The order of a sum depends on the
// form and on n, never on the alignment or on the other rows.

#include <complex>
#include <cstddef>

namespace numerical::detail {

void add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                  const double* x, std::size_t n);
void avx2_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n);
void avx512_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                         const double* x, std::size_t n);

// w[2i] += row i times x, w[2i + 1] += row i times y.
void add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, const double* y, std::size_t n);
void avx2_add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                            const double* x, const double* y, std::size_t n);
void avx512_add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                              const double* x, const double* y, std::size_t n);

// w[i] = Σⱼ rows[i·stride + j]·x[j] with each sum in ascending order, products and sums rounded by
// themselves: the same bits in every form.
void ascending_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                        const double* x, std::size_t n);
void avx2_ascending_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                             const double* x, std::size_t n);
void ascending_row_dots_on(int path, double* w, const double* rows, std::size_t stride,
                           std::size_t count, const double* x, std::size_t n);

// By path, for both element types; no conjugation.
void add_row_dots_on(int path, double* w, const double* rows, std::size_t stride, std::size_t count,
                     const double* x, std::size_t n);
void add_row_dots_on(int path, std::complex<double>* w, const std::complex<double>* rows,
                     std::size_t stride, std::size_t count, const std::complex<double>* x,
                     std::size_t n);

} // namespace numerical::detail
