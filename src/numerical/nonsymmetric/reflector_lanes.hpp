#pragma once

// The reflectors that several bulges form in the same step, in vector lanes: the square root and
// the divisions, which a single reflector waits for, take no longer for a vector of them.

#include "numerical/nonsymmetric/bulge_kernels.hpp"

#include <cstddef>

namespace numerical::detail {

// The most reflectors of a call.
constexpr std::size_t reflector_lanes = 8;

// reflector_of_three for each of `count` vectors x, with the same roundings on every path.
template <class T>
void reflectors_of_three(int path, const T (*x)[3], std::size_t count, bulge_reflector<T>* h,
                         T* beta);

// Smaller squares lose digits to underflow. Matrices are scaled so that no square overflows.
constexpr double least_safe_square = 0x1p-900;

// The vectors, and what is made of them, by parts, of which each has reflector_lanes doubles: x0,
// x1, x2 and tau, w1, w2, beta; a complex number has two parts. Returns whether all squares are in
// the range where no digits are lost and no tail vanishes; if not, `made` is undefined.
bool avx2_reflectors_of_three(const double* x, double* made);
bool avx512_reflectors_of_three(const double* x, double* made);
bool avx2_complex_reflectors_of_three(const double* x, double* made);
bool avx512_complex_reflectors_of_three(const double* x, double* made);

} // namespace numerical::detail
