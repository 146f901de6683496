#include "numerical/gemm/kernels/gemv_transposed.hpp"

#include "numerical/gemm/kernels/column_sums_loops.hpp"
#include "numerical/gemm/kernels/gemv_transposed_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/row_passes_loops.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

void avx2_subtract_products(double* out, const double* coeffs, const double* rows,
                            std::size_t row_stride, std::size_t terms, std::size_t n)
{
    subtract_rows<lanes, real_coefficient<lanes>>(out, coeffs, rows, row_stride, terms, n);
}

void avx2_subtract_complex_products(double* out, const double* coeffs, const double* rows,
                                    std::size_t row_stride, std::size_t terms, std::size_t n)
{
    subtract_rows<lanes, complex_coefficient<lanes>>(out, coeffs, rows, 2 * row_stride, terms,
                                                     2 * n);
}

void avx2_add_column_sums(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums<lanes, 1, 8>(sums, coefficients, rows, stride, count, n);
}

void avx2_add_complex_column_sums(double* sums, const double* coefficients, const double* rows,
                                  std::size_t stride, std::size_t count, std::size_t n)
{
    add_sums<lanes, 2, 8>(sums, coefficients, rows, stride, count, n);
}

void avx2_complex_gemv_transposed(double* y, const double* rows, std::size_t stride,
                                  std::size_t count, const double* x, std::size_t n)
{
    add_all_rows<lanes, 4>(y, rows, 2 * stride, count, x, 2 * n);
}

} // namespace numerical::detail
