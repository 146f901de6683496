#pragma once

// Rows scaled element by element, with the bits of the scalar operators on every path: true
// quotients, never products with the reciprocal, and complex products with C99's recovery of
// infinities.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// row[j] /= divisor.
void divide_row(int path, double* row, double divisor, std::size_t n);
void divide_row(int path, std::complex<double>* row, std::complex<double> divisor, std::size_t n);

// z[i] *= factors[i·step], step 0 or 1.
void multiply_full(int path, std::complex<double>* z, const std::complex<double>* factors,
                   std::size_t step, std::size_t n);

// With c + di the divisor, |c| >= |d|, ratio = d/c and scale = c + d·ratio the quotient of a + bi
// is (a + b·ratio)/scale + (b - a·ratio)/scale·i; otherwise, with ratio = c/d and scale = d +
// c·ratio, it is (a·ratio + b)/scale + (b·ratio - a)/scale·i (Smith 1962).
struct smith_divisor
{
    bool by_real; // |c| >= |d|
    double ratio;
    double scale;
};

// Between these magnitudes, and for zero, no step of a quotient overflows or loses digits, so the
// scaling of the complex operator/ changes nothing.
constexpr double least_ordinary = 0x1p-400;
constexpr double greatest_ordinary = 0x1p400;

// x[i] /= divisor.
void avx2_unfused_divide(double* x, double divisor, std::size_t n);
void avx512_divide(double* x, double divisor, std::size_t n);

// The same for the n complex numbers at z, vector by vector, up to the first vector with a part
// that isn't ordinary: returns how many numbers were divided. The divisor and its ratio are
// ordinary.
std::size_t avx2_unfused_divide_complex(double* z, const smith_divisor& by, std::size_t n);
std::size_t avx512_divide_complex(double* z, const smith_divisor& by, std::size_t n);

// z[i] *= factors[i·step] for whole vectors of complex numbers, by the textbook formula: returns
// how many leading numbers were multiplied, up to a vector with a NaN.
std::size_t avx2_unfused_multiply(double* z, const double* factors, std::size_t step,
                                  std::size_t n);
std::size_t avx512_multiply(double* z, const double* factors, std::size_t step, std::size_t n);

// The most complex numbers in a vector.
constexpr std::size_t most_numbers_together = 4;

} // namespace numerical::detail
