#include "numerical/gemm/kernels/trsm.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/trsm_loops.hpp"

namespace numerical::detail {

void avx512_subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                               std::size_t coeff_stride, const double* rows, std::size_t terms,
                               std::size_t n, four_rows among)
{
    subtract_from_four<lanes, real_row<lanes>>(out, stride, coeffs, coeff_stride, rows, terms, n,
                                               among);
}

void avx512_subtract_complex_from_four(double* out, std::size_t stride, const double* coeffs,
                                       std::size_t coeff_stride, const double* rows,
                                       std::size_t terms, std::size_t n, four_rows among)
{
    subtract_from_four<lanes, complex_row<lanes>>(out, 2 * stride, coeffs, 2 * coeff_stride, rows,
                                                  terms, 2 * n, among);
}

} // namespace numerical::detail
