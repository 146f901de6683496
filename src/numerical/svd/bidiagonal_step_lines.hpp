#pragma once

// The numbers of a tile's columns as the passes of bidiagonal_step.hpp take and leave them. Number
// j of a complex tile has its place in two lines, which may lie a stride apart.

#include "numerical/scalar.hpp"
#include "numerical/svd/bidiagonal_step.hpp"

#include <cstddef>

namespace numerical::detail {

template <class T>
constexpr std::size_t step_parts = sizeof(T) / sizeof(double);

template <class T>
constexpr std::size_t step_tile_columns = step_tile_doubles / step_parts<T>;

// A factor of columns, x or z and i·z.
inline void set_factor(double* lines, std::size_t, std::size_t j, double x)
{
    lines[j] = x;
}

inline void set_factor(double* lines, std::size_t stride, std::size_t j, complex z)
{
    lines[2 * j] = z.real();
    lines[2 * j + 1] = z.imag();
    lines[stride + 2 * j] = -z.imag();
    lines[stride + 2 * j + 1] = z.real();
}

// Weights of which a row's product has the real part in the first line, and the imaginary part in
// the second.
inline void set_weight(double* lines, std::size_t j, double x)
{
    lines[j] = x;
}

inline void set_weight(double* lines, std::size_t j, complex z)
{
    lines[2 * j] = z.real();
    lines[2 * j + 1] = -z.imag();
    lines[step_tile_doubles + 2 * j] = z.imag();
    lines[step_tile_doubles + 2 * j + 1] = z.real();
}

// The number itself, of a tile's row; of weights, its conjugate.
inline double number_at(const double* line, std::size_t j, double)
{
    return line[j];
}

inline complex number_at(const double* line, std::size_t j, complex)
{
    return {line[2 * j], line[2 * j + 1]};
}

// Σ conj(u)·a from the sums of a times the parts of u.
inline double adjoint_sum(const double* sums, std::size_t j, double)
{
    return sums[j];
}

inline complex adjoint_sum(const double* sums, std::size_t j, complex)
{
    const double* const by_imaginary = sums + step_tile_doubles;
    return {sums[2 * j] + by_imaginary[2 * j + 1], sums[2 * j + 1] - by_imaginary[2 * j]};
}

// Product i, of which the imaginary parts follow the real ones by a stride.
inline double product_at(const double* products, std::size_t i, std::size_t, double)
{
    return products[i];
}

inline complex product_at(const double* products, std::size_t i, std::size_t stride, complex)
{
    return {products[i], products[stride + i]};
}

} // namespace numerical::detail
