#pragma once

// Quotients by one divisor in vectors, with the bits of scalar division. Declarations only, so it
// may be included from any target.

#include <cstddef>

namespace numerical::detail {

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
void avx2_divide(double* x, double divisor, std::size_t n);

// The same for the first pairs of the n complex numbers at z whose parts are all ordinary: returns
// how many numbers were divided, an even count. The divisor and its ratio are ordinary.
std::size_t avx2_divide_complex(double* z, const smith_divisor& by, std::size_t n);

} // namespace numerical::detail
