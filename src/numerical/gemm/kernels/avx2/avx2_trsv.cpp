#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/trsv_loops.hpp"

namespace numerical::detail {

void avx2_substitute(vector_triangle of, double* x, const double* m, std::size_t stride,
                     std::size_t n)
{
    substitute<lanes, false>(of, x, m, stride, n);
}

void avx2_substitute_transposed(vector_triangle of, double* x, const double* m, std::size_t stride,
                                std::size_t n)
{
    substitute<lanes, true>(of, x, m, stride, n);
}

void avx2_subtract_dots(double* y, const double* rows, std::size_t stride, std::size_t count,
                        const double* x, std::size_t n)
{
    subtract_dots<lanes>(y, rows, stride, count, x, n);
}

} // namespace numerical::detail
