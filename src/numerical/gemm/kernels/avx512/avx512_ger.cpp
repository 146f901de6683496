#include "numerical/gemm/kernels/ger.hpp"

#include "numerical/gemm/kernels/ger_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx512.hpp"

namespace numerical::detail {

void avx512_subtract_from_rows(double* rows, std::size_t stride, std::size_t count,
                               const double* coeffs, const double* x, std::size_t n)
{
    subtract_from_rows<lanes, real_part_of_row>(rows, stride, count, coeffs, x, n);
}

void avx512_subtract_from_complex_rows(double* rows, std::size_t stride, std::size_t count,
                                       const double* coeffs, const double* x, std::size_t n)
{
    subtract_from_rows<lanes, complex_part_of_row>(rows, 2 * stride, count, coeffs, x, 2 * n);
}

} // namespace numerical::detail
