#pragma once

// The loops of the elementary functions, one set for each path. Declarations only, so that the
// header may be included from any target. All sets give the same bits: one algorithm is compiled
// over lanes of one, four and eight doubles, and an element's result depends on it alone.

#include <cstddef>

namespace numerical::vector_math {

// to[i] = f(from[i]) for i < count. `to` may be `from`, else they don't overlap.
using unary_kernel = void (*)(const double* from, double* to, std::size_t count);

// to[i] = f(x[i], y[i]); an operand that does not move gives its first element to all.
using binary_kernel = void (*)(const double* x, const double* y, double* to, std::size_t count);

struct binary_kernels
{
    binary_kernel both;
    binary_kernel only_x; // moves
    binary_kernel only_y;
};

struct kernel_set
{
    unary_kernel exp;
    unary_kernel exp2;
    unary_kernel expm1;
    unary_kernel log;
    unary_kernel log2;
    unary_kernel log10;
    unary_kernel log1p;
    unary_kernel sin;
    unary_kernel cos;
    unary_kernel tan;
    unary_kernel sinh;
    unary_kernel cosh;
    unary_kernel tanh;
    unary_kernel arcsin;
    unary_kernel arccos;
    unary_kernel arctan;
    unary_kernel arcsinh;
    unary_kernel arccosh;
    unary_kernel arctanh;
    binary_kernels pow;
    binary_kernels arctan2;
    binary_kernels hypot;
};

extern const kernel_set portable_kernels;
extern const kernel_set avx2_kernels;
extern const kernel_set avx512_kernels;

// Those of the current path.
const kernel_set& kernels_in_force();

} // namespace numerical::vector_math
