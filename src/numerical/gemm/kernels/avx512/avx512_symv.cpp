#include "numerical/gemm/kernels/symv.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/symv_loops.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

double avx512_symmetric_row(const double* row, const double* x, double alpha, double* y,
                            std::size_t n)
{
    return symmetric_row_pass<lanes>(row, x, alpha, y, n);
}

std::array<double, 4> avx512_symmetric_rows(const double* rows, std::size_t stride, const double* x,
                                            double* y, std::size_t n)
{
    return symmetric_rows_pass<lanes, 1>(rows, stride, x, y, n);
}

// Short rows are those of a triangle in L2, or few of a larger one.
void avx512_symmetric_eight_rows(const double* rows, std::size_t stride, const double* x, double* y,
                                 std::size_t n)
{
    constexpr std::size_t least_prefetched = 400;
    if (n < least_prefetched)
        symmetric_eight_rows_pass<lanes, false>(rows, stride, x, y, n);
    else
        symmetric_eight_rows_pass<lanes, true>(rows, stride, x, y, n);
}

std::complex<double> avx512_hermitian_row(const double* row, const double* x, double alpha_real,
                                          double alpha_imag, double* y, std::size_t n)
{
    return hermitian_row_pass<lanes>(row, x, {alpha_real, alpha_imag}, y, n);
}

std::array<std::complex<double>, 4> avx512_hermitian_rows(const double* rows, std::size_t stride,
                                                          const double* x, double* y, std::size_t n)
{
    return hermitian_rows_pass<lanes>(rows, stride, x, y, n);
}

} // namespace numerical::detail
