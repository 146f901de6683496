#pragma once

// The matrix product one element at a time, in the order and with the roundings that each way
// promises: what gemm must give to the bit.

#include "numerical/gemm/path.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

namespace model {

using complex = std::complex<double>;

// Whether gemm goes by tiles: k >= 8 and about 512 products or more.
inline bool takes_tiles(std::size_t m, std::size_t n, std::size_t k)
{
    return k >= 8 && m * n >= (k + 511) / k;
}

// Row-major, with a stride.
template <class T>
struct operand
{
    const T* first;
    std::size_t stride;

    const T& operator()(std::size_t i, std::size_t j) const { return first[i * stride + j]; }
};

inline void multiply(int path, std::size_t m, std::size_t n, std::size_t k, operand<double> a,
                     operand<double> b, double* c, std::size_t ldc)
{
    const bool fused = path != numerical::detail::portable_path && takes_tiles(m, n, k);
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            double sum = c[i * ldc + j];
            for (std::size_t l = 0; l < k; ++l)
                sum = fused ? std::fma(a(i, l), b(l, j), sum) : sum + a(i, l) * b(l, j);
            c[i * ldc + j] = sum;
        }
}

// Finite operands: the Annex G product is then the textbook one.
inline complex textbook_product(complex a, complex b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// On vector paths a complex product of tiles is a real one of [Re A | -Im A], by blocks of 512
// columns and 256 inner positions, and each block decides anew whether it takes tiles.
inline void multiply_split(std::size_t m, std::size_t n, std::size_t k, operand<complex> a,
                           operand<complex> b, complex* c, std::size_t ldc)
{
    for (std::size_t j = 0; j < n; ++j) {
        const std::size_t cols = std::min<std::size_t>(n - j / 512 * 512, 512);
        for (std::size_t i = 0; i < m; ++i)
            for (std::size_t p0 = 0; p0 < k; p0 += 256) {
                const std::size_t depth = std::min<std::size_t>(k - p0, 256);
                const bool fused = takes_tiles(m, 2 * cols, 2 * depth);
                double re = c[i * ldc + j].real();
                double im = c[i * ldc + j].imag();
                const auto add = [fused](double& sum, double x, double y) {
                    sum = fused ? std::fma(x, y, sum) : sum + x * y;
                };
                for (std::size_t p = p0; p < p0 + depth; ++p) {
                    add(re, a(i, p).real(), b(p, j).real());
                    add(im, a(i, p).real(), b(p, j).imag());
                }
                for (std::size_t p = p0; p < p0 + depth; ++p) {
                    add(re, -a(i, p).imag(), b(p, j).imag());
                    add(im, -a(i, p).imag(), -b(p, j).real());
                }
                c[i * ldc + j] = {re, im};
            }
    }
}

inline void multiply(int path, std::size_t m, std::size_t n, std::size_t k, operand<complex> a,
                     operand<complex> b, complex* c, std::size_t ldc)
{
    if (path != numerical::detail::portable_path && takes_tiles(m, n, k))
        return multiply_split(m, n, k, a, b, c, ldc);
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t l = 0; l < k; ++l)
                c[i * ldc + j] += textbook_product(a(i, l), b(l, j));
}

} // namespace model
