#pragma once

// The passage of a bulge through a strip: consecutive reflectors down the rows of a narrow block in
// L1. A row is loaded and stored once for the three reflectors that touch it, which makes this
// faster than a product with the accumulated reflectors (Van Zee,
// van de Geijn and Quintana-Orti 2014, for rotations). Declarations only, so it may be included
// from any target.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// The columns of a strip. The rows that a bulge crosses in a window stay in L1, and a row is six
// AVX-512 vectors: each reflector waits for three sums that follow one another, which the sums of
// so many vectors hide, and three such rows fit into the registers.
constexpr std::size_t strip_doubles = 48;
template <class T>
constexpr std::size_t strip_columns = strip_doubles * sizeof(double) / sizeof(T);

// H = I - tau·w·wᴴ with w = (1, w1, w2) as the kernels take it.
template <class T>
struct strip_reflector
{
    double tau;
    T w1;
    T w2;
    T tau_w1;
    T tau_w2;
};

// Applies reflector i of `count` to rows i, i + 1 and i + 2 of the strip, which is contiguous: t =
// r0 + conj(w1)·r1 + conj(w2)·r2, then r0 - tau·t, r1 - tau_w1·t and r2 - tau_w2·t; fused except in
// the portable form. Of each row the first `doubles` are wanted; the others may be left as they
// are.
template <class T>
void reflect_strip(T* rows, const strip_reflector<T>* reflectors, std::size_t count,
                   std::size_t doubles);
void avx2_reflect_strip(double* rows, const double* reflectors, std::size_t count,
                        std::size_t doubles);
void avx512_reflect_strip(double* rows, const double* reflectors, std::size_t count,
                          std::size_t doubles);
void avx2_reflect_complex_strip(double* rows, const double* reflectors, std::size_t count,
                                std::size_t doubles);
void avx512_reflect_complex_strip(double* rows, const double* reflectors, std::size_t count,
                                  std::size_t doubles);

// The form of a path.
void reflect_strip_on(int path, double* rows, const strip_reflector<double>* reflectors,
                      std::size_t count, std::size_t doubles);
void reflect_strip_on(int path, std::complex<double>* rows,
                      const strip_reflector<std::complex<double>>* reflectors, std::size_t count,
                      std::size_t doubles);

} // namespace numerical::detail
