#include "numerical/gemm/kernels/gemv_transposed.hpp"

#include <array>

namespace numerical::detail {
namespace {

constexpr std::size_t lanes = 8; // four vectors of two

} // namespace

template <class T>
void subtract_products(T* out, const T* coeffs, const T* rows, std::size_t row_stride,
                       std::size_t terms, std::size_t n)
{
    std::size_t j = 0;
    for (; j + lanes <= n; j += lanes) {
        T block[lanes];
        for (std::size_t l = 0; l < lanes; ++l)
            block[l] = out[j + l];
        for (std::size_t t = 0; t < terms; ++t)
            for (std::size_t l = 0; l < lanes; ++l)
                block[l] -= coeffs[t] * rows[t * row_stride + j + l];
        for (std::size_t l = 0; l < lanes; ++l)
            out[j + l] = block[l];
    }
    for (; j < n; ++j) {
        T element = out[j];
        for (std::size_t t = 0; t < terms; ++t)
            element -= coeffs[t] * rows[t * row_stride + j];
        out[j] = element;
    }
}

template void subtract_products(double*, const double*, const double*, std::size_t, std::size_t,
                                std::size_t);

void add_column_sums(double* sums, const double* coefficients, const double* rows,
                     std::size_t stride, std::size_t count, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j)
            sums[j] += coefficients[i] * rows[i * stride + j];
}

// (c + i·s)·(Re a, Im a) is c·(Re a, Im a) + s·(-Im a, Re a): the parts of the second sum change
// places once.
void add_complex_column_sums(double* sums, const double* coefficients, const double* rows,
                             std::size_t stride, std::size_t count, std::size_t n)
{
    std::array<double, column_tile> by_real{};
    std::array<double, column_tile> by_imaginary{};
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            by_real[j] += coefficients[2 * i] * rows[i * stride + j];
            by_imaginary[j] += coefficients[2 * i + 1] * rows[i * stride + j];
        }
    for (std::size_t j = 0; j < n; j += 2) {
        sums[j] += by_real[j] - by_imaginary[j + 1];
        sums[j + 1] += by_real[j + 1] + by_imaginary[j];
    }
}

} // namespace numerical::detail
