#pragma once

// Four rows of a substitution side by side, in an AVX2 and an AVX-512 form. Declarations only, so
// it may be included from any target. Strides and counts are in elements; complex data is
// interleaved (real, imaginary).
//
//     out[r·stride + j] -= sum over t < terms of coeffs[r·coeff_stride + t]·rows[t·stride + j]
//
// for r < 4 and j < n, t ascending, each step fused (complex: by the real part of the coefficient,
// then by the imaginary part): the bits of subtract_products row by row. A loaded row
// serves four sums, so that the kernel is bound by arithmetic, not by loads. n is a multiple
// of substitution_strip elements.

#include <complex>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t rows_together = 4;

// Whether the four rows also eliminate one another: each then loses the multiples of the rows above
// it, by the coefficients that follow the others', as further terms.
enum class four_rows { apart, unit_triangle };

template <class T>
constexpr std::size_t substitution_strip = 16 * sizeof(double) / sizeof(T);

void avx2_subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                             std::size_t coeff_stride, const double* rows, std::size_t terms,
                             std::size_t n, four_rows among);
void avx512_subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                               std::size_t coeff_stride, const double* rows, std::size_t terms,
                               std::size_t n, four_rows among);
void avx2_subtract_complex_from_four(double* out, std::size_t stride, const double* coeffs,
                                     std::size_t coeff_stride, const double* rows,
                                     std::size_t terms, std::size_t n, four_rows among);
void avx512_subtract_complex_from_four(double* out, std::size_t stride, const double* coeffs,
                                       std::size_t coeff_stride, const double* rows,
                                       std::size_t terms, std::size_t n, four_rows among);

} // namespace numerical::detail
